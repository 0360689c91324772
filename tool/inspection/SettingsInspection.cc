// SettingsInspection judges the contents of a settings file: its version, its top-level
// keys, and each account with its children, as loading and saving would treat them.
#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "account/BasicAccount.h"
#include "account/StringList.h"
#include "plist/Description.h"
#include "plist/Visible.h"
#include "store/AccountsManager.h"
#include "store/InBatches.h"
#include "store/LoadProblems.h"
#include "tool/accounts/AccountLookup.h"
#include "tool/accounts/AccountNaming.h"
#include "tool/accounts/UsualClasses.h"
#include "tool/frame/Options.h"
#include "tool/frame/Progress.h"
#include "tool/inspection/InspectionParts.h"

namespace accountsettings {
namespace {

using Kind = PropertyList::Kind;

// SettingsInspection walks one settings file once.
class SettingsInspection {
 public:
  explicit SettingsInspection(FindingList& list) : list_(list) {}

  void inspect(const Dictionary& settings) {
    inspectVersion(settings);
    version_ = settings.contains(kPlistVersionKey) ? settings.integer(kPlistVersionKey)
                                                   : AccountsManager::currentVersion();
    for (const auto& [key, value] : settings) {
      if (key != kPlistVersionKey && key != kPlistAccountsKey) {
        list_.addForAccount(
            finding::kForeignRootKey, {}, std::string(key),
            "The key " + quoted(key) + " at the root of the file is dropped by every save.");
      }
    }
    const PropertyList* accounts = settings.find(kPlistAccountsKey);
    if (!accounts) return;
    if (!accounts->array()) {
      list_.addForAccount(finding::kUnusable, {}, std::string(kPlistAccountsKey),
                          "\"Accounts\" is " + std::string(kindInWords(*accounts)) +
                              " instead of an array: no account is loaded, and a save drops them.");
      return;
    }
    const Array& list = *accounts->array();
    names_.emplace(list);
    loaded_.reserve(list.size());
    std::size_t index = 0;
    visitInBatches(list.begin(), list.end(), fetchDescription, [&](const PropertyList& account) {
      inspectTopLevel(account, {accountLabel(account, index), {index}});
      countAccounts(++index);
    });
    tellTakenIdentifiers(list);
  }

 private:
  // An account, as findings call it, and where it stands.
  struct Subject {
    std::string label;
    AccountPlace place;
  };

  // One that is loaded; the properties live as long as the settings.
  struct Loaded {
    std::size_t top;
    const Dictionary* properties;

    [[nodiscard]] Subject subject() const {
      const std::string_view identifier = identifierOf(*properties);
      return {identifier.empty() ? placeName(top) : std::string(identifier), {top}};
    }
  };

  // MARK: What to do, as commands that can be pasted

  // What the commands call the account; empty where none could name it.
  std::string nameFor(const Subject& subject) {
    std::string name = names_->nameAt(subject.place);
    constexpr std::size_t kLongest = 200;
    const bool isFit = name.size() <= kLongest && !name.starts_with('-') && visible(name) == name;
    return isFit ? name : "";
  }

  // To give it a value that was probably meant, or to take it away; empty where it has no name.
  std::string setOrRemove(const Subject& subject, std::string_view key, const std::string& value) {
    const std::string name = nameFor(subject);
    if (name.empty()) return "";
    const std::string remove = adviceCommand({"remove", name});
    if (value.empty()) {
      return "Give it a " + quoted(key) + " that is known with \"set\", or take it away with " +
             remove + ".";
    }
    return "Probably meant: " + adviceCommand({"set", name, std::string(key), value}) +
           "; or take it away with " + remove + ".";
  }

  // `orRemove` names the other way out too.
  std::string giveIdentifier(const Subject& subject, bool orRemove) {
    const std::string name = nameFor(subject);
    if (name.empty()) return "";
    std::string text = "Give it one of its own with " +
                       adviceCommand({"set", name, std::string(kAccountIdentifier), "--fresh"});
    if (orRemove) text += ", or take it away with " + adviceCommand({"remove", name});
    return text + ".";
  }

  // Empty where it has to be migrated first.
  std::string switchOff(const Subject& subject, std::string_view dataclass) {
    const std::string name = version_ == AccountsManager::currentVersion() ? nameFor(subject) : "";
    if (name.empty() || dataclass.starts_with('-') || visible(dataclass) != dataclass) return "";
    return "Switch it off with " + adviceCommand({"disable", name, std::string(dataclass)}) + ".";
  }

  std::string justRemove(const Subject& subject) {
    const std::string name = nameFor(subject);
    return name.empty() ? "" : "Take it away with " + adviceCommand({"remove", name}) + ".";
  }

  // MARK: Findings

  void inspectVersion(const Dictionary& settings) {
    const std::string key(kPlistVersionKey);
    const PropertyList* stored = settings.find(kPlistVersionKey);
    if (!stored) {
      list_.addForAccount(finding::kMissingVersion, {}, key,
                          "The file has no \"Version\": no upgrade step ever runs on it, and the "
                          "next save stamps it as current.");
      return;
    }
    const std::int64_t version = stored->integerValue();
    if (stored->kind() != Kind::Integer) {
      list_.addForAccount(finding::kWrongKind, {}, key,
                          "\"Version\" is " + std::string(kindInWords(*stored)) +
                              " instead of an integer; it reads as " + std::to_string(version) +
                              ".");
    }
    if (version < 0) {
      list_.addForAccount(finding::kNegativeVersion, {}, key,
                          "\"Version\" is negative (" + std::to_string(version) +
                              "): no upgrade step runs, and the next save stamps the file as "
                              "current.");
    } else if (version > AccountsManager::currentVersion()) {
      list_.addForAccount(finding::kNewerVersion, {}, key,
                          "The settings were written in format " + std::to_string(version) +
                              ", newer than " + std::to_string(AccountsManager::currentVersion()) +
                              ": a save would stamp them as the older format.");
    }
  }

  void inspectTopLevel(const PropertyList& account, const Subject& subject) {
    const Dictionary* properties = account.dictionary();
    if (!properties) {
      list_.addForAccount(finding::kNoAccount, subject.label, {},
                          "The account is " + std::string(kindInWords(account)) +
                              " instead of a dictionary: it is not loaded, and the next save "
                              "drops it.",
                          justRemove(subject));
      return;
    }
    inspectKinds(*properties, subject.label);
    if (!inspectTypeAndClass(*properties, subject)) return;
    if (!inspectMailClass(*properties, subject)) return;
    inspectIdentifier(*properties, subject);
    inspectDataclasses(*properties, subject);
    inspectChildren(*properties, subject);
  }

  // Values of the keys that the account model reads itself.
  void inspectKinds(const Dictionary& properties, const std::string& label) {
    if (std::none_of(properties.begin(), properties.end(), isOfWrongKind)) return;
    for (const ModelKey& model : kModelKeys) {
      const PropertyList* value = properties.find(model.key);
      if (!value || value->kind() == model.kind) continue;
      std::string consequence = "it counts as absent.";
      if (model.kind == Kind::Boolean) {
        consequence = std::string("it reads as ") + (value->booleanValue() ? "true." : "false.");
      }
      list_.addForAccount(finding::kWrongKind, label, std::string(model.key),
                          quoted(model.key) + " is " + std::string(kindInWords(*value)) +
                              " instead of " + std::string(model.expected) + ": " + consequence);
    }
  }

  static bool isOfWrongKind(const Dictionary::Entry& entry) {
    const std::string_view key = entry.key();
    const auto model = std::ranges::find(kModelKeys, key, &ModelKey::key);
    return model != kModelKeys.end() && entry.value().kind() != model->kind;
  }

  // Whether a record is made of the account.
  bool inspectTypeAndClass(const Dictionary& properties, const Subject& subject) {
    if (!recordProblemsOf(properties).any()) return true;
    const std::string consequence = ": it is not loaded, and the next save drops it.";
    const auto problem = typeProblem(properties);
    if (problem) {
      list_.addForAccount(finding::kUnknownType, subject.label, std::string(kAccountType),
                          "The account " + *problem + consequence,
                          setOrRemove(subject, kAccountType, probableTypeOf(properties)));
    }
    const bool classed = !recordProblemsOf(properties).noClass;
    if (!classed) {
      list_.addForAccount(finding::kMissingClass, subject.label, std::string(kAccountClass),
                          "The account has no \"Class\"" + consequence,
                          setOrRemove(subject, kAccountClass, probableClassOf(properties)));
    }
    return !problem && classed;
  }

  // Of an account that is loaded.
  void inspectIdentifier(const Dictionary& properties, const Subject& subject) {
    const std::string key(kAccountIdentifier);
    const std::string_view identifier = identifierOnceUpgraded(properties, version_);
    if (identifier.empty()) {
      if (!properties.contains("uniqueId")) {
        list_.addForAccount(finding::kMissingIdentifier, subject.label, key,
                            "The account has no identifier, so nothing else can refer to it: the "
                            "next save or migration gives it a new one.",
                            giveIdentifier(subject, false));
      }
      return;
    }
    const Loaded now{subject.place.top, &properties};
    if (identifier != identifierOf(properties)) renamed_.push_back(now);
    const auto [known, isFirst] = loaded_.emplace(identifier, now);
    if (isFirst) return;
    const Loaded before = std::exchange(known->second, now);
    if (identifierOf(*before.properties) == identifierOf(properties)) {
      tellDuplicate(before.subject(), subject, identifierOf(properties));
    } else {
      tellFutureDuplicate(before, now, identifier);
    }
  }

  // The later one is loaded in the place of the one before.
  void tellDuplicate(const Subject& before, const Subject& later, std::string_view identifier) {
    list_.addForAccount(finding::kDuplicateIdentifier, placeName(before.place.top),
                        std::string(kAccountIdentifier),
                        "The account has the identifier " + quoted(identifier) + ", as has " +
                            placeName(later.place.top) +
                            " behind it, which is loaded in its place: the next save writes both "
                            "as copies of that one.",
                        giveIdentifier(before, true));
  }

  // Of accounts that are told apart until an upgrade step takes the identifier of one from under
  // "uniqueId".
  void tellFutureDuplicate(const Loaded& before, const Loaded& later, std::string_view identifier) {
    const bool isOfLater = identifierOf(*later.properties) != identifier;
    const Subject subject = (isOfLater ? later : before).subject();
    const Subject other = (isOfLater ? before : later).subject();
    tellFutureIdentifier(subject, identifier,
                         other.label + " gets or has too: only one of them would be left.");
  }

  // `whose` goes on after "which".
  void tellFutureIdentifier(const Subject& subject, std::string_view identifier,
                            const std::string& whose) {
    const std::string name = nameFor(subject);
    list_.addForAccount(
        finding::kDuplicateIdentifier, subject.label, "uniqueId",
        "A migration gives the account the identifier " + quoted(identifier) + ", which " + whose,
        name.empty()
            ? ""
            : "Give it one of its own with " + adviceCommand({"set", name, "uniqueId", "--fresh"}) +
                  ", or take it away with " + adviceCommand({"remove", name}) + ".");
  }

  // Of accounts that an upgrade step renames: the save after it finds what has the new identifier
  // in the file still, and writes that.
  void tellTakenIdentifiers(const Array& accounts) {
    if (renamed_.empty()) return;
    const AccountLookup stored(accounts);
    for (const Loaded& each : renamed_) {
      const std::string_view identifier = identifierOnceUpgraded(*each.properties, version_);
      const std::optional<AccountPlace> found = stored.find(identifier);
      if (!found || found->top == each.top) continue;
      const Dictionary& owner = *accountAt(accounts, found->parent());
      const bool isTold =
          !found->isChild() && identifierOnceUpgraded(owner, version_) == identifier;
      if (!isTold) tellTakenIdentifier(each, identifier, *found);
    }
  }

  void tellTakenIdentifier(const Loaded& renamed, std::string_view identifier, AccountPlace found) {
    const std::string owner = names_->nameAt(found.parent());
    tellFutureIdentifier(renamed.subject(), identifier,
                         (found.isChild() ? "a child of " + owner : owner) +
                             " has until then: the values of " + owner +
                             " would be written in its place.");
  }

  // Whether the account is loaded, with its class or a repaired one.
  bool inspectMailClass(const Dictionary& properties, const Subject& subject) {
    const std::string key(kAccountClass);
    const MailClass mail = mailClassOf(properties);
    if (mail.result == FixResult::Fixed) {
      list_.addForAccount(finding::kUnknownClass, subject.label, key,
                          "The mail class " + quoted(mail.found) +
                              " is unknown; loading repairs it to " + quoted(mail.repaired) + ".");
    }
    if (mail.result != FixResult::Unfixable) return true;
    list_.addForAccount(finding::kUnfixableClass, subject.label, key,
                        "The mail class " + quoted(mail.found) +
                            " is unknown and no mail directory tells a better one: the account is "
                            "not loaded, and the next save drops it.",
                        setOrRemove(subject, kAccountClass, probableClassOf(properties)));
    return false;
  }

  void inspectDataclasses(const Dictionary& properties, const Subject& subject) {
    const auto type = properties.string(kAccountType);
    if (!type) return;
    const StringList& carried = carriedBy(*type);
    std::set<std::string_view> told;
    for (const PropertyList& each : properties.arrayOrEmpty(kAccountEnabledDataclasses)) {
      const auto dataclass = each.stringValue();
      if (!dataclass || std::ranges::find(carried, *dataclass) != carried.end()) continue;
      if (!told.insert(*dataclass).second) continue;
      list_.addForAccount(
          finding::kUnsupportedDataclass, subject.label, std::string(kAccountEnabledDataclasses),
          quoted(*dataclass) + " is stored as enabled, but accounts of type " + quoted(*type) +
              " cannot carry it; it is not reported, and some upgrade steps "
              "remove it.",
          switchOff(subject, *dataclass));
    }
  }

  // The data classes that accounts of the type can carry.
  const StringList& carriedBy(std::string_view type) {
    const auto known = carried_.find(type);
    if (known != carried_.end()) return known->second;
    return carried_
        .emplace(type,
                 BasicAccount::supportedDataclassesForAccountType(type).value_or(StringList()))
        .first->second;
  }

  void inspectChildren(const Dictionary& properties, const Subject& parent) {
    std::size_t index = 0;
    for (const PropertyList& child : properties.arrayOrEmpty(kAccountChildAccounts)) {
      const std::string label = parent.label + "/" + accountLabel(child, index);
      inspectChild(child, {label, {parent.place.top, index++}});
    }
  }

  void inspectChild(const PropertyList& child, const Subject& subject) {
    const std::string consequence =
        ": the child is kept in the file, but nobody can see or edit it.";
    const Dictionary* properties = child.dictionary();
    if (!properties) {
      list_.addForAccount(finding::kInvalidChild, subject.label, {},
                          "The child is " + std::string(kindInWords(child)) +
                              " instead of a dictionary" + consequence,
                          justRemove(subject));
      return;
    }
    inspectKinds(*properties, subject.label);
    if (const auto problem = typeProblem(*properties)) {
      list_.addForAccount(finding::kInvalidChild, subject.label, std::string(kAccountType),
                          "The child " + *problem + consequence,
                          setOrRemove(subject, kAccountType, probableTypeOf(*properties)));
      return;
    }
    if (recordProblemsOf(*properties).noClass) {
      list_.addForAccount(finding::kInvalidChild, subject.label, std::string(kAccountClass),
                          "The child has no \"Class\"" + consequence,
                          setOrRemove(subject, kAccountClass, probableClassOf(*properties)));
      return;
    }
    inspectChildIdentifier(*properties, subject);
    inspectDataclasses(*properties, subject);
  }

  void inspectChildIdentifier(const Dictionary& properties, const Subject& subject) {
    const std::string key(kAccountIdentifier);
    const std::string_view identifier = identifierOf(properties);
    if (identifier.empty()) {
      list_.addForAccount(finding::kMissingChildIdentifier, subject.label, key,
                          loadProblemsOfChild(properties).noIdentifier
                              ? "The child has no identifier: it is kept in the file, but nobody "
                                "can see or edit it."
                              : "The child has an empty identifier: it is loaded, but nothing else "
                                "can refer to it.",
                          giveIdentifier(subject, false));
      return;
    }
    const auto [known, isFirst] = children_.emplace(identifier, subject.place);
    if (isFirst) return;
    const AccountPlace place = std::exchange(known->second, subject.place);
    const Subject before{names_->nameAt(place), place};
    list_.addForAccount(finding::kDuplicateChildIdentifier, before.label, key,
                        "The child has the identifier " + quoted(identifier) + ", as has " +
                            names_->nameAt(subject.place) +
                            " behind it, and only that one can be found by it.",
                        giveIdentifier(before, true));
  }

  FindingList& list_;
  std::int64_t version_ = 0;
  // Views into the settings, which outlive this.
  std::optional<AccountNaming> names_;
  std::unordered_map<std::string_view, Loaded> loaded_;  // the last of each identifier
  std::vector<Loaded> renamed_;                          // by an upgrade step that is to come
  std::unordered_map<std::string_view, AccountPlace> children_;
  std::map<std::string, StringList, std::less<>> carried_;
};

}  // namespace

void inspectSettingsRoot(const PropertyList& settings, FindingList& list) {
  if (const Dictionary* dictionary = settings.dictionary()) {
    SettingsInspection(list).inspect(*dictionary);
  } else {
    list.add(finding::kUnusable, "The file holds " + std::string(kindInWords(settings)) +
                                     " instead of a dictionary: it counts as empty, and a save "
                                     "would replace it.");
  }
}

}  // namespace accountsettings
