// BasicAccount_Dataclasses.cc holds a record's rules for its data classes: which are
// supported, provisioned and enabled, and how switching one changes the stored list.
// Lists are reported in canonical order; what is stored may be in any order and repeat.
#include <algorithm>
#include <array>
#include <cstddef>
#include <set>
#include <span>
#include <utility>
#include <vector>

#include "account/AccountTypeRegistry.h"
#include "account/BasicAccount.h"
#include "account/Dataclasses.h"
#include "platform/ProcessContext.h"

namespace accountsettings {

namespace {

// What a configuration profile says of a switch that it explicitly turns off.
constexpr int kTurnedOffByProfile = 2;

bool contains(const StringList& list, std::string_view text) {
  return std::find(list.begin(), list.end(), text) != list.end();
}

const Array* arrayOrNull(const PropertyList* value) {
  return value != nullptr ? value->array() : nullptr;
}

// Whether `stored` already is what withSwitched() would make of it. Only short lists are looked at.
bool isSwitched(const Array& stored, bool enabled, std::string_view dataclass) {
  constexpr std::size_t kShort = 16;
  if (stored.size() > kShort) return false;
  bool isThere = false;
  for (auto each = stored.begin(); each != stored.end(); ++each) {
    const auto text = each->stringValue();
    if (!text) continue;
    isThere = isThere || *text == dataclass;
    const bool repeats = std::any_of(stored.begin(), each, [&](const PropertyList& other) {
      return other.stringValue() == text;
    });
    if (repeats) return false;
  }
  return isThere == enabled;
}

// The texts that were met, which are few as a rule.
class Seen {
 public:
  explicit Seen(std::size_t most) : isShort_(most <= kFew) {}

  // Whether the text was not there yet.
  bool insert(std::string_view text) {
    if (!isShort_) return many_.insert(text).second;
    if (contains(text)) return false;
    few_[count_++] = text;
    return true;
  }
  [[nodiscard]] bool contains(std::string_view text) const {
    if (!isShort_) return many_.contains(text);
    return std::ranges::count(std::span(few_).first(count_), text) != 0;
  }

 private:
  static constexpr std::size_t kFew = 16;

  bool isShort_;
  std::array<std::string_view, kFew> few_;
  std::size_t count_ = 0;
  std::set<std::string_view> many_;
};

// The data class as a value. Those that everybody knows share their storage.
PropertyList valueOf(std::string_view dataclass) {
  static const std::vector<PropertyList> known(allDataclasses().begin(), allDataclasses().end());
  const auto found = std::find_if(known.begin(), known.end(), [&](const PropertyList& each) {
    return each.stringValue() == dataclass;
  });
  return found != known.end() ? *found : PropertyList(dataclass);
}

// The members of `stored` once each, with `dataclass` among them or not. Members that are no
// strings stay: they are not ours to drop.
Array withSwitched(const Array* stored, bool enabled, std::string_view dataclass) {
  std::vector<PropertyList> members;
  Seen seen(stored != nullptr ? stored->size() : 0);
  if (stored != nullptr) {
    members.reserve(stored->size() + 1);
    for (const PropertyList& each : *stored) {
      const auto text = each.stringValue();
      if (text && (!seen.insert(*text) || (!enabled && text == dataclass))) continue;
      members.push_back(each);
    }
  }
  if (enabled && !seen.contains(dataclass)) members.push_back(valueOf(dataclass));
  return Array(std::move(members));
}

}  // namespace

bool isSupported(std::string_view dataclass, const BasicAccount& account) {
  return contains(account.supportedInOrder(), dataclass);
}

const StringList& BasicAccount::supportedInOrder() const {
  static const StringList none;
  const auto type = stringOf(findProperty(kAccountType));
  const auto* entry = AccountTypeRegistry::current().find(type.value_or(std::string_view()));
  return entry != nullptr ? entry->orderedDataclasses : none;
}

StringList BasicAccount::supportedDataclasses() const {
  return supportedInOrder();
}

StringList BasicAccount::provisionedDataclasses() const {
  return provisionedAmong(nullptr);
}

StringList BasicAccount::provisionedAmong(const Array* wanted) const {
  const Array* provisioned = arrayOrNull(findProperty(kAccountProvisionedDataclasses));
  const auto restricted = _profileRestrictedDataclasses();
  StringList result;
  for (const std::string& each : supportedInOrder()) {
    // Most often few are wanted of many that are provisioned.
    const bool isWanted = wanted == nullptr || containsString(*wanted, each);
    const bool isProvisioned =
        isWanted && (provisioned == nullptr || containsString(*provisioned, each));
    if (isProvisioned && !restricted.contains(each) && !contains(result, each)) {
      result.push_back(each);
    }
  }
  return result;
}

std::optional<StringList> BasicAccount::enabledDataclasses() const {
  if (parentAccount_ != nullptr) {
    // As the parent reports it, not cut down to what this record supports itself.
    std::optional<StringList> inherited = parentAccount_->enabledDataclasses();
    if (inherited && !inherited->empty()) return inherited;
  }
  const Array* enabled = arrayOrNull(findProperty(kAccountEnabledDataclasses));
  if (enabled == nullptr) return std::nullopt;
  return provisionedAmong(enabled);
}

bool BasicAccount::isEnabledForDataclass(std::string_view dataclass) const {
  if (parentAccount_ != nullptr) {
    const std::optional<StringList> enabled = enabledDataclasses();
    return enabled && contains(*enabled, dataclass);
  }
  // The same without the list, most of which nobody asked for.
  const Array* enabled = arrayOrNull(findProperty(kAccountEnabledDataclasses));
  if (enabled == nullptr) return false;
  const Array* provisioned = arrayOrNull(findProperty(kAccountProvisionedDataclasses));
  const auto restricted = _profileRestrictedDataclasses();
  return isSupported(dataclass, *this) && containsString(*enabled, dataclass) &&
         (provisioned == nullptr || containsString(*provisioned, dataclass)) &&
         !restricted.contains(dataclass);
}

void BasicAccount::setEnabledForDataclass(bool enabled, std::string_view dataclass) {
  if (isSupported(dataclass, *this)) storeEnabled(enabled, dataclass);
}

void BasicAccount::_forcedSetEnabledForDataclass(bool enabled, std::string_view dataclass) {
  storeEnabled(enabled, dataclass);
}

void BasicAccount::storeEnabled(bool enabled, std::string_view dataclass) {
  const Array* own = properties_->values().array(kAccountEnabledDataclasses);
  // Most often it is so already, and the properties go on sharing their storage with the originals.
  if (own != nullptr && isSwitched(*own, enabled, dataclass)) return;
  setAccountPropertyForKey(withSwitched(own, enabled, dataclass), kAccountEnabledDataclasses);
}

void BasicAccount::setEnabledForDataclasses(const std::optional<StringList>& dataclasses) {
  removeAccountPropertyForKey(kAccountEnabledDataclasses);
  if (!dataclasses) return;
  for (const std::string& each : *dataclasses) setEnabledForDataclass(true, each);
}

StringList BasicAccount::_orderedDataclasses(const std::optional<StringList>& dataclasses) const {
  return dataclasses ? inCanonicalOrder(*dataclasses) : StringList();
}

std::set<std::string, std::less<>> BasicAccount::_profileRestrictedDataclasses() const {
  Restrictions& restrictions = ProcessContext::current().platform().restrictions;
  std::set<std::string, std::less<>> restricted;
  const auto ask = [&](RestrictionSwitch feature,
                       std::initializer_list<std::string_view> dataclasses) {
    if (restrictions.restrictionForFeature(feature) != kTurnedOffByProfile) return;
    restricted.insert(dataclasses.begin(), dataclasses.end());
  };
  ask(RestrictionSwitch::CloudDocuments, {kAccountDataclassUbiquity, kAccountDataclassKeyValue});
  ask(RestrictionSwitch::PhotoStream, {kAccountDataclassMediaStream});
  ask(RestrictionSwitch::SharedPhotoStreams, {kAccountDataclassSharedStreams});
  ask(RestrictionSwitch::CloudBackup, {kAccountDataclassBackup});
  ask(RestrictionSwitch::LockScreenCards, {kAccountDataclassQuillet});
  return restricted;
}

}  // namespace accountsettings
