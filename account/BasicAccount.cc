// BasicAccount.cc makes records and reads and writes their properties.
#include "account/BasicAccount.h"

#include <typeinfo>
#include <utility>

#include "account/AccountTypeRegistry.h"
#include "account/PlainRecord.h"
#include "account/RecordProblems.h"
#include "logging/Logging.h"
#include "platform/AssertionFailure.h"
#include "platform/ProcessContext.h"

namespace accountsettings {

namespace {

constexpr const char* kInitWithProperties = "-[BasicAccount initWithProperties:]";

[[noreturn]] void fail(const std::string& message, const char* method) {
  throw AssertionFailure(message, method, "BasicAccount");
}

// A class that make_shared() may construct: one piece of memory for the record and its count.
struct Record : BasicAccount {};

}  // namespace

bool isPlainRecord(const BasicAccount& account) noexcept {
  return typeid(account) == typeid(Record);
}

BasicAccount::BasicAccount() = default;

// Another module's full or sync account may look at what it was built from while it goes, so the
// companions go last. The order of declaration would give another one.
BasicAccount::~BasicAccount() {
  parentAccount_.reset();
  originalProperties_ = Dictionary();
  properties_.reset();
  fullAccount_.reset();
  syncAccount_.reset();
}

std::shared_ptr<BasicAccount> BasicAccount::accountWithTypeClass(std::string_view type,
                                                                 std::string_view accountClass) {
  return _initWithTypeClass(type, accountClass);
}

RecordProblems recordProblemsOf(const Dictionary& properties) {
  RecordProblems problems;
  const std::string_view type = properties.string(kAccountType).value_or("");
  // The registry is asked in any case: a device without one cannot load anything.
  const bool isKnown = BasicAccount::_isValidAccountType(type);
  problems.noType = type.empty();
  problems.unknownType = !isKnown && !problems.noType;
  problems.noClass = properties.string(kAccountClass).value_or("").empty();
  return problems;
}

std::shared_ptr<BasicAccount> BasicAccount::accountWithProperties(const Dictionary& properties) {
  return initWithProperties(properties);
}

std::shared_ptr<BasicAccount> BasicAccount::initWithProperties(const Dictionary& properties) {
  if (!canMakeRecordOf(properties)) return nullptr;
  std::shared_ptr<BasicAccount> account = std::make_shared<Record>();
  account->takeProperties(properties);
  return account;
}

std::shared_ptr<BasicAccount> BasicAccount::init() {
  fail("Don't use this method", "-[BasicAccount init]");
}

std::shared_ptr<BasicAccount> BasicAccount::_initWithTypeClass(std::string_view type,
                                                               std::string_view accountClass) {
  return initWithProperties(propertiesOfNewAccount(type, accountClass));
}

bool BasicAccount::canMakeRecordOf(const Dictionary& properties) {
  // The log tells everything that is wrong.
  const RecordProblems problems = recordProblemsOf(properties);
  if (problems.noType || problems.unknownType) {
    systemLog("[%s] Invalid account type: %@", kInitWithProperties, properties.get(kAccountType));
  }
  if (problems.noClass) systemLog("[%s] Missing account class.", kInitWithProperties);
  return !problems.any();
}

Dictionary BasicAccount::propertiesOfNewAccount(std::string_view type,
                                                std::string_view accountClass) {
  constexpr const char* kMethod = "-[BasicAccount(Internal) _initWithType:class:]";
  if (accountClass.empty()) fail("The account class is required.", kMethod);
  if (!_isValidAccountType(type)) {
    fail("The account type (" + std::string(type) + ") is not supported", kMethod);
  }
  const std::optional<std::string> identifier = createNewAccountUID();
  Dictionary properties;
  properties.set(kAccountType, type);
  properties.set(kAccountIdentifier, identifier);
  properties.set(kAccountSyncIdentifier, identifier);
  properties.set(kAccountClass, accountClass);
  return properties;
}

void BasicAccount::takeProperties(const Dictionary& properties) {
  setOriginalProperties(properties);
  Dictionary values = properties;
  if (!values.contains(kAccountIdentifier)) {
    const std::optional<std::string> identifier = createNewAccountUID();
    values.set(kAccountIdentifier, identifier);
    // An account that came with an identifier of its own but without one for synchronisation keeps
    // having none: the migration's first identifier step gives it the right one.
    if (!values.contains(kAccountSyncIdentifier)) values.set(kAccountSyncIdentifier, identifier);
  }
  properties_->assign(std::move(values));
}

const PropertyList* BasicAccount::findProperty(std::string_view key) const noexcept {
  for (const BasicAccount* each = this; each != nullptr; each = each->parentAccount_.get()) {
    if (const PropertyList* value = each->properties_->find(key)) return value;
  }
  return nullptr;
}

std::optional<PropertyList> BasicAccount::accountPropertyForKey(std::string_view key) const {
  const PropertyList* value = findProperty(key);
  return value != nullptr ? std::optional(*value) : std::nullopt;
}

std::optional<std::string_view> BasicAccount::textForKey(std::string_view key) const noexcept {
  return stringOf(findProperty(key));
}

std::optional<std::string> BasicAccount::stringPropertyForKey(std::string_view key) const {
  const auto text = stringOf(findProperty(key));
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

void BasicAccount::setAccountPropertyForKey(std::optional<PropertyList> value,
                                            std::string_view key) {
  if (key == kAccountClass || key == kAccountType) return;
  properties_->set(key, std::move(value));
}

void BasicAccount::_forcedSetAccountPropertyForKey(std::optional<PropertyList> value,
                                                   std::string_view key) {
  properties_->set(key, std::move(value));
}

void BasicAccount::removeAccountPropertyForKey(std::string_view key) {
  properties_->remove(key);
}

Dictionary BasicAccount::propertiesToSave() const {
  return properties_->values();
}

const Dictionary& BasicAccount::originalProperties() const noexcept {
  return originalProperties_;
}

void BasicAccount::setOriginalProperties(const Dictionary& properties) {
  originalProperties_ = properties;
}

std::optional<std::string> BasicAccount::identifier() const {
  return stringPropertyForKey(kAccountIdentifier);
}

std::optional<std::string> BasicAccount::syncStoreIdentifier() const {
  return stringPropertyForKey(kAccountSyncIdentifier);
}

std::optional<std::string> BasicAccount::displayName() const {
  return stringPropertyForKey(kAccountDisplayName);
}

std::optional<std::string> BasicAccount::type() const {
  return stringPropertyForKey(kAccountType);
}

std::optional<std::string> BasicAccount::accountClass() const {
  return stringPropertyForKey(kAccountClass);
}

std::optional<std::string> BasicAccount::typeString() const {
  return stringPropertyForKey(kAccountTypeString);
}

std::optional<std::string> BasicAccount::shortTypeString() const {
  return stringPropertyForKey(kAccountShortTypeString);
}

void BasicAccount::setAccountClass(std::optional<std::string_view> accountClass) {
  // The inherited class counts too: a child needs no entry of its own to be of its parent's class.
  if (accountClass && accountClass == stringOf(findProperty(kAccountClass))) return;
  _forcedSetAccountPropertyForKey(
      accountClass ? std::optional<PropertyList>(*accountClass) : std::nullopt, kAccountClass);
}

void BasicAccount::setDisplayName(const std::optional<std::string>& name) {
  const PropertyList* own = properties_->find(kAccountDisplayName);
  if (!name) {
    if (own == nullptr) return;
    fail("The display name is required", "-[BasicAccount(Private) setDisplayName:]");
  }
  if (stringOf(own) != *name) setAccountPropertyForKey(*name, kAccountDisplayName);
}

const std::shared_ptr<BasicAccount>& BasicAccount::parentAccount() const noexcept {
  return parentAccount_;
}

void BasicAccount::setParentAccount(std::shared_ptr<BasicAccount> parent) {
  parentAccount_ = std::move(parent);
  properties_->noteIdentityChange();
}

std::optional<std::string> BasicAccount::parentAccountIdentifier() const {
  return parentAccount_ != nullptr ? parentAccount_->identifier() : std::nullopt;
}

std::optional<std::string> BasicAccount::createNewAccountUID() {
  requireAccountTypes();
  return ProcessContext::current().platform().identifiers.makeUUID();
}

std::string_view BasicAccount::className() const noexcept {
  return "BasicAccount";
}

std::string BasicAccount::description() const {
  const auto shown = [](const std::optional<std::string>& text) {
    return text ? *text : std::string("(null)");
  };
  return "<" + std::string(className()) + ": class " + shown(accountClass()) + ", identifier " +
         shown(identifier()) + ", type " + shown(type()) + ">";
}

}  // namespace accountsettings
