// The account that stands for what is on the device alone.
#include "account/DeviceLocalAccount.h"

#include <algorithm>
#include <utility>

#include "account/AccountTypeRegistry.h"
#include "account/UpperCase.h"
#include "platform/ProcessContext.h"

namespace accountsettings {

namespace {

// The account's identifier, which is also the name of its class and of its string table.
constexpr std::string_view kIdentifier = "DeviceLocalAccount";
// The kind of device where the device does not say, and the source of data that comes from nowhere
// else.
constexpr std::string_view kZumi = "Zumi";
constexpr std::string_view kTovi = "Tovisys";
constexpr std::string_view kPC = "Windows";
constexpr std::string_view kTetheredSyncDomain = "com.zelqo.mobile.tethered_sync";

// The name under which tethered synchronisation knows the data class, or none.
std::optional<std::string_view> tetheredNameOf(std::string_view dataclass) {
  if (dataclass == kAccountDataclassMail) return "Mail Accounts";
  if (dataclass == kAccountDataclassContacts) return "Contacts";
  // Reminders come from where the calendars come from.
  if (dataclass == kAccountDataclassCalendars) return "Calendars";
  if (dataclass == kAccountDataclassReminders) return "Calendars";
  if (dataclass == kAccountDataclassBookmarks) return "Bookmarks";
  if (dataclass == kAccountDataclassNotes) return "Notes";
  return std::nullopt;
}

std::string localized(std::string_view key) {
  return ProcessContext::current().platform().resources.localizedString(key, "", kIdentifier);
}

// The text whose key is `prefix` and the kind of device, such as "ON_MY_DEVICE_TYPE_ZUMI".
std::string localizedForDevice(std::string_view prefix) {
  const std::optional<PropertyList> answer =
      ProcessContext::current().platform().deviceAnswers.copyDeviceAnswer("DeviceClass");
  std::string device = upperCased(answer ? answer->stringValue().value_or(kZumi) : kZumi);
  std::ranges::replace(device, ' ', '_');
  return localized(std::string(prefix) + "_" + device);
}

class DeviceLocalAccountClass : public ClassObject, public AccountWithBasicAccountCapability {
 public:
  [[nodiscard]] std::shared_ptr<FullAccount> accountWithBasicAccount(
      const std::shared_ptr<BasicAccount>& account) override {
    return DeviceLocalAccount::accountWithBasicAccount(*account);
  }
};

}  // namespace

DeviceLocalAccount::DeviceLocalAccount() = default;

std::shared_ptr<DeviceLocalAccount> DeviceLocalAccount::accountWithTypeClass(
    std::string_view type, std::string_view accountClass) {
  return _initWithTypeClass(type, accountClass);
}

std::shared_ptr<DeviceLocalAccount> DeviceLocalAccount::accountWithProperties(
    const Dictionary& properties) {
  return initWithProperties(properties);
}

std::shared_ptr<DeviceLocalAccount> DeviceLocalAccount::initWithProperties(
    const Dictionary& properties) {
  if (!canMakeRecordOf(properties)) return nullptr;
  std::shared_ptr<DeviceLocalAccount> account(new DeviceLocalAccount());
  account->takeProperties(properties);
  return account;
}

std::shared_ptr<DeviceLocalAccount> DeviceLocalAccount::_initWithTypeClass(
    std::string_view type, std::string_view accountClass) {
  return initWithProperties(propertiesOfNewAccount(type, accountClass));
}

std::string DeviceLocalAccount::_identifier() {
  return std::string(kIdentifier);
}

std::string DeviceLocalAccount::typeString() {
  requireAccountTypes();
  return localizedForDevice("ON_MY_DEVICE_TYPE");
}

Dictionary DeviceLocalAccount::basicAccountProperties(std::string_view className) {
  const std::string name = typeString();
  return {{kAccountType, kOnMyDeviceAccountType},
          {kAccountClass, className},
          {kAccountTypeString, name},
          {kAccountShortTypeString, name},
          {kAccountIdentifier, kIdentifier}};
}

std::shared_ptr<DeviceLocalAccount> DeviceLocalAccount::accountWithBasicAccount(
    const BasicAccount& account) {
  return initWithProperties(account.properties().values());
}

std::string DeviceLocalAccount::tetheredSourceForDataClass(std::string_view dataclass) {
  requireAccountTypes();
  const auto connection = ProcessContext::current().platform().deviceInfo.connect();
  if (connection == nullptr) return std::string(kZumi);
  // Without a name the whole domain is asked for, so that a system named at its top decides.
  const std::optional<PropertyList> value =
      connection->copyDeviceInfoValue(kTetheredSyncDomain, tetheredNameOf(dataclass));
  const Dictionary* entry = value ? value->dictionary() : nullptr;
  const auto system = entry != nullptr ? entry->string("SyncingOS") : std::nullopt;
  return std::string(system.value_or(kZumi));
}

bool DeviceLocalAccount::isTetheredSyncingDataclass(std::string_view dataclass) {
  const std::string source = tetheredSourceForDataClass(dataclass);
  return source == kTovi || source == kPC;
}

std::string DeviceLocalAccount::localizedSyncSourceStringForDataClassForBeginningOfSentence(
    std::string_view dataclass, bool beginningOfSentence) {
  const std::string source = tetheredSourceForDataClass(dataclass);
  if (source == kTovi) {
    return localized(beginningOfSentence ? "FROM_MY_COMPUTER_TYPE_TOVI"
                                         : "FROM_MY_COMPUTER_TYPE_TOVI_MID_SENTENCE");
  }
  if (source == kPC) {
    return localized(beginningOfSentence ? "FROM_MY_COMPUTER_TYPE_PC"
                                         : "FROM_MY_COMPUTER_TYPE_PC_MID_SENTENCE");
  }
  return localizedForDevice(beginningOfSentence ? "ON_MY_DEVICE_TYPE"
                                                : "ON_MY_DEVICE_TYPE_MID_SENTENCE");
}

std::string DeviceLocalAccount::localizedReferenceToSyncSourceStringForDataClass(
    std::string_view dataclass) {
  const std::string source = tetheredSourceForDataClass(dataclass);
  if (source == kTovi) return localized("SYNCED_WITH_YOUR_COMPUTER_TYPE_TOVI_MID_SENTENCE");
  if (source == kPC) return localized("SYNCED_WITH_YOUR_COMPUTER_TYPE_PC_MID_SENTENCE");
  return localizedForDevice("ON_YOUR_DEVICE_TYPE_MID_SENTENCE");
}

std::optional<std::string> DeviceLocalAccount::identifier() const {
  return _identifier();
}

std::optional<std::string> DeviceLocalAccount::displayName() const {
  return typeString();
}

std::optional<std::string> DeviceLocalAccount::syncStoreIdentifier() const {
  return identifier();
}

void DeviceLocalAccount::setParentAccount(std::shared_ptr<BasicAccount> parent) {
  BasicAccount::setParentAccount(std::move(parent));
}

std::string_view DeviceLocalAccount::className() const noexcept {
  return kIdentifier;
}

ClassObject& deviceLocalAccountClass() {
  static DeviceLocalAccountClass object;
  return object;
}

}  // namespace accountsettings
