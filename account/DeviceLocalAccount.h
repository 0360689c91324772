// DeviceLocalAccount is the one account of the data that is kept on the device itself. Its
// identity is a constant, its name depends on the kind of device, and it can tell for each
// data class whether that data is synchronised by cable with a computer.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "account/BasicAccount.h"
#include "account/CreatorCapabilities.h"

namespace accountsettings {

class DeviceLocalAccount : public BasicAccount, public FullAccount {
 public:
  // MARK: Main - for every client.

  [[nodiscard]] static std::shared_ptr<DeviceLocalAccount> accountWithTypeClass(
      std::string_view type, std::string_view accountClass);
  [[nodiscard]] static std::shared_ptr<DeviceLocalAccount> accountWithProperties(
      const Dictionary& properties);
  [[nodiscard]] static std::shared_ptr<DeviceLocalAccount> initWithProperties(
      const Dictionary& properties);

  // The localised name of the device as a place of data ("On My ...").
  [[nodiscard]] static std::string typeString();
  // The five properties of the device-local account's record. `className` is the receiving class.
  [[nodiscard]] static Dictionary basicAccountProperties(
      std::string_view className = "DeviceLocalAccount");
  // A new instance with the record's properties; the parent is not taken over.
  [[nodiscard]] static std::shared_ptr<DeviceLocalAccount> accountWithBasicAccount(
      const BasicAccount& account);

  // The system of the computer that the data class is synchronised with, or "Zumi".
  [[nodiscard]] static std::string tetheredSourceForDataClass(std::string_view dataclass);
  [[nodiscard]] static bool isTetheredSyncingDataclass(std::string_view dataclass);
  [[nodiscard]] static std::string localizedSyncSourceStringForDataClassForBeginningOfSentence(
      std::string_view dataclass, bool beginningOfSentence);
  [[nodiscard]] static std::string localizedReferenceToSyncSourceStringForDataClass(
      std::string_view dataclass);

  [[nodiscard]] std::optional<std::string> identifier() const override;
  [[nodiscard]] std::optional<std::string> displayName() const override;
  [[nodiscard]] std::optional<std::string> syncStoreIdentifier() const override;
  void setParentAccount(std::shared_ptr<BasicAccount> parent) override;

  // MARK: Internal - for the account model's own classes.

  [[nodiscard]] static std::shared_ptr<DeviceLocalAccount> _initWithTypeClass(
      std::string_view type, std::string_view accountClass);
  [[nodiscard]] static std::string _identifier();

 protected:
  DeviceLocalAccount();
  [[nodiscard]] std::string_view className() const noexcept override;
};

// The class "DeviceLocalAccount" as it is found by name: it offers accountWithBasicAccount().
[[nodiscard]] ClassObject& deviceLocalAccountClass();

}  // namespace accountsettings
