// SettingsInspection judges the contents of a settings file: its version, its top-level
// keys, and each account with its children, as loading and saving would treat them.
#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>

#include "account/BasicAccount.h"
#include "account/StringList.h"
#include "plist/Description.h"
#include "store/AccountsManager.h"
#include "store/InBatches.h"
#include "store/LoadProblems.h"
#include "tool/accounts/AccountTree.h"
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
    topLevel_.reserve(list.size());
    std::size_t index = 0;
    visitInBatches(list.begin(), list.end(), fetchDescription, [&](const PropertyList& account) {
      inspectTopLevel(account, accountLabel(account, index++));
      countAccounts(index);
    });
  }

 private:
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

  void inspectTopLevel(const PropertyList& account, const std::string& label) {
    const Dictionary* properties = account.dictionary();
    if (!properties) {
      list_.addForAccount(finding::kUnusable, label, {},
                          "The account is " + std::string(kindInWords(account)) +
                              " instead of a dictionary: it is not loaded, and the next save "
                              "drops it.");
      return;
    }
    inspectKinds(*properties, label);
    if (!inspectTypeAndClass(*properties, label)) return;
    inspectIdentifier(*properties, label);
    inspectMailClass(*properties, label);
    inspectDataclasses(*properties, label);
    inspectChildren(*properties, label);
  }

  // Values of the keys that the account model reads itself.
  void inspectKinds(const Dictionary& properties, const std::string& label) {
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

  // Whether the account is loaded at all.
  bool inspectTypeAndClass(const Dictionary& properties, const std::string& label) {
    const std::string consequence = ": it is not loaded, and the next save drops it.";
    const auto problem = typeProblem(properties);
    if (problem) {
      list_.addForAccount(finding::kUnknownType, label, std::string(kAccountType),
                          "The account " + *problem + consequence);
    }
    const bool classed = !recordProblemsOf(properties).noClass;
    if (!classed) {
      list_.addForAccount(finding::kMissingClass, label, std::string(kAccountClass),
                          "The account has no \"Class\"" + consequence);
    }
    return !problem && classed;
  }

  void inspectIdentifier(const Dictionary& properties, const std::string& label) {
    const std::string key(kAccountIdentifier);
    const auto identifier = properties.string(kAccountIdentifier);
    if (!identifier) {
      if (!properties.contains("uniqueId")) {
        list_.addForAccount(finding::kMissingIdentifier, label, key,
                            "The account has no identifier, so nothing else can refer to it.");
      }
      return;
    }
    if (!topLevel_.insert(*identifier).second) {
      list_.addForAccount(finding::kDuplicateIdentifier, label, key,
                          "Another account before it has the same identifier: the next save "
                          "writes both entries as copies of the later one.");
    }
  }

  void inspectMailClass(const Dictionary& properties, const std::string& label) {
    const std::string key(kAccountClass);
    const MailClass mail = mailClassOf(properties);
    switch (mail.result) {
      case FixResult::NothingToDo:
        break;
      case FixResult::Fixed:
        list_.addForAccount(finding::kUnknownClass, label, key,
                            "The mail class " + quoted(mail.found) +
                                " is unknown; loading repairs it to " + quoted(mail.repaired) +
                                ".");
        break;
      case FixResult::Unfixable:
        list_.addForAccount(finding::kUnfixableClass, label, key,
                            "The mail class " + quoted(mail.found) +
                                " is unknown and no mail directory tells a better one: the "
                                "account is not loaded, and the next save drops it.");
        break;
    }
  }

  void inspectDataclasses(const Dictionary& properties, const std::string& label) {
    const auto type = properties.string(kAccountType);
    if (!type) return;
    const StringList& carried = carriedBy(*type);
    std::set<std::string_view> told;
    for (const PropertyList& each : properties.arrayOrEmpty(kAccountEnabledDataclasses)) {
      const auto dataclass = each.stringValue();
      if (!dataclass || std::ranges::find(carried, *dataclass) != carried.end()) continue;
      if (!told.insert(*dataclass).second) continue;
      list_.addForAccount(
          finding::kUnsupportedDataclass, label, std::string(kAccountEnabledDataclasses),
          quoted(*dataclass) + " is stored as enabled, but accounts of type " + quoted(*type) +
              " cannot carry it; it is not reported, and some upgrade steps "
              "remove it.");
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

  void inspectChildren(const Dictionary& properties, const std::string& parent) {
    std::size_t index = 0;
    for (const PropertyList& child : properties.arrayOrEmpty(kAccountChildAccounts)) {
      inspectChild(child, parent + "/" + accountLabel(child, index++));
    }
  }

  void inspectChild(const PropertyList& child, const std::string& label) {
    const std::string consequence =
        ": the child is kept in the file, but nobody can see or edit it.";
    const Dictionary* properties = child.dictionary();
    if (!properties) {
      list_.addForAccount(finding::kInvalidChild, label, {},
                          "The child is " + std::string(kindInWords(child)) +
                              " instead of a dictionary" + consequence);
      return;
    }
    inspectKinds(*properties, label);
    if (const auto problem = typeProblem(*properties)) {
      list_.addForAccount(finding::kInvalidChild, label, std::string(kAccountType),
                          "The child " + *problem + consequence);
      return;
    }
    if (recordProblemsOf(*properties).noClass) {
      list_.addForAccount(finding::kInvalidChild, label, std::string(kAccountClass),
                          "The child has no \"Class\"" + consequence);
      return;
    }
    const auto identifier = properties->string(kAccountIdentifier);
    if (!identifier) {
      list_.addForAccount(finding::kMissingChildIdentifier, label, std::string(kAccountIdentifier),
                          "The child has no identifier: it gets another one each time it is "
                          "loaded.");
    } else if (!children_.insert(*identifier).second) {
      list_.addForAccount(finding::kDuplicateChildIdentifier, label,
                          std::string(kAccountIdentifier),
                          "Another child before it has the same identifier, and only the later "
                          "one can be found by it.");
    }
    inspectDataclasses(*properties, label);
  }

  FindingList& list_;
  // Views into the settings, which outlive this.
  std::unordered_set<std::string_view> topLevel_;
  std::unordered_set<std::string_view> children_;
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
