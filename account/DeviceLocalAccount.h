/// \file
/// DeviceLocalAccount is the one account of the data that is kept on the device itself. Its
/// identity is a constant, its name depends on the kind of device, and it can tell for each
/// data class whether that data is synchronised by cable with a computer.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "account/BasicAccount.h"
#include "account/CreatorCapabilities.h"

namespace accountsettings {

/// \copydoc DeviceLocalAccount.h
class DeviceLocalAccount : public BasicAccount, public FullAccount {
 public:
  // MARK: Main - for every client.

  /// As those of BasicAccount, but of this class.
  ///@{
  [[nodiscard]] static std::shared_ptr<DeviceLocalAccount> accountWithTypeClass(
      std::string_view type, std::string_view accountClass);
  [[nodiscard]] static std::shared_ptr<DeviceLocalAccount> accountWithProperties(
      const Dictionary& properties);
  [[nodiscard]] static std::shared_ptr<DeviceLocalAccount> initWithProperties(
      const Dictionary& properties);
  ///@}

  /// The localised name of the device as a place of data ("On My ..."); the text's key where the
  /// string table lacks it. The property of that name is BasicAccount::typeString().
  [[nodiscard]] static std::string typeString();
  /// The five properties of the device-local account's record: type, class, both type strings and
  /// the identifier. `className` is the receiving class.
  [[nodiscard]] static Dictionary basicAccountProperties(
      std::string_view className = "DeviceLocalAccount");
  /// A new instance with the record's properties, or empty as initWithProperties(); the parent is
  /// not taken over.
  [[nodiscard]] static std::shared_ptr<DeviceLocalAccount> accountWithBasicAccount(
      const BasicAccount& account);

  /// The system of the computer that the data class is synchronised with by cable, known or not, or
  /// "Zumi" where it is not. The device is asked afresh at every call.
  [[nodiscard]] static std::string tetheredSourceForDataClass(std::string_view dataclass);
  /// Whether that is one of the two known systems, "Tovisys" and "Windows".
  [[nodiscard]] static bool isTetheredSyncingDataclass(std::string_view dataclass);
  /// The localised name of the place that local data of the data class comes from, a known computer
  /// or the device, as a sentence begins with it or as it stands within one.
  [[nodiscard]] static std::string localizedSyncSourceStringForDataClassForBeginningOfSentence(
      std::string_view dataclass, bool beginningOfSentence);
  /// The same place as a reference within a sentence ("synced with your ...").
  [[nodiscard]] static std::string localizedReferenceToSyncSourceStringForDataClass(
      std::string_view dataclass);

  /// The constants, whatever the record stores; displayName() is typeString().
  ///@{
  [[nodiscard]] std::optional<std::string> identifier() const override;
  [[nodiscard]] std::optional<std::string> displayName() const override;
  [[nodiscard]] std::optional<std::string> syncStoreIdentifier() const override;
  ///@}
  void setParentAccount(std::shared_ptr<BasicAccount> parent) override;

  // MARK: Internal - for the account model's own classes.

  [[nodiscard]] static std::shared_ptr<DeviceLocalAccount> _initWithTypeClass(
      std::string_view type, std::string_view accountClass);
  /// "DeviceLocalAccount", which also names the class and its string table.
  [[nodiscard]] static std::string _identifier();

 protected:
  DeviceLocalAccount();
  [[nodiscard]] std::string_view className() const noexcept override;
};

/// The class "DeviceLocalAccount" as it is found by name: it offers accountWithBasicAccount().
[[nodiscard]] ClassObject& deviceLocalAccountClass();

}  // namespace accountsettings
