// LegacyInspection judges the files of the releases before the settings file: which of their
// descriptions would convert, what the conversion would put in the place of what, and what
// would be lost on the way.
#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "account/AccountConstants.h"
#include "plist/Description.h"
#include "store/LoadProblems.h"
#include "tool/accounts/AccountLookup.h"
#include "tool/accounts/AccountMatching.h"
#include "tool/accounts/AccountNaming.h"
#include "tool/inspection/InspectionParts.h"
#include "tool/inspection/LegacyForecast.h"

namespace accountsettings {
namespace {

// An account that the settings hold while the conversions run.
struct Present {
  std::string label;
  std::string identifier;
  std::string type;
  std::string upgraded;                            // the identifier after the upgrade steps
  const LegacyDescription* description = nullptr;  // that it was made of
};

Present presentAs(const std::string& label, const Dictionary& properties, std::int64_t version) {
  return {label, std::string(identifierOf(properties)),
          std::string(properties.string(kAccountType).value_or("")),
          std::string(identifierOnceUpgraded(properties, version)), nullptr};
}

Present presentAs(const std::string& label, const LegacyDescription& made, std::int64_t version) {
  Present present = presentAs(label, made.properties, version);
  present.description = &made;
  return present;
}

// The accounts that loading the settings yields.
std::vector<Present> loadedAccounts(const Dictionary* settings) {
  std::vector<Present> accounts;
  if (!settings) return accounts;
  std::size_t index = 0;
  for (const PropertyList& account : settings->arrayOrEmpty(kPlistAccountsKey)) {
    const std::string label = accountLabel(account, index++);
    const Dictionary* properties = account.dictionary();
    if (!properties || loadProblemsOf(*properties).any()) continue;
    accounts.push_back(presentAs(label, *properties, versionOf(*settings)));
  }
  return accounts;
}

// LegacyInspection follows the conversions in the order in which they run.
class LegacyInspection {
 public:
  LegacyInspection(const Dictionary* settings, Findings& findings)
      : version_(settings ? versionOf(*settings) : 0),
        findings_(findings),
        present_(loadedAccounts(settings)),
        stored_(storedAccountsIn(settings)),
        lookup_(stored_) {}

  void inspect(const LegacyFile& file) {
    FindingList list(findings_, file.path);
    tellContents(file, list);
    bool converts = true;
    bool holdsAny = false;
    for (const LegacySection& section : file.sections) {
      for (const LegacyDescription& description : section.descriptions) {
        holdsAny = true;
        if (description.problem) {
          converts = false;
          list.addForAccount(finding::kLegacyNotConvertible, description.label, section.key,
                             "The description " + *description.problem +
                                 ", so none of the file's accounts is converted.");
        } else {
          tellMailClass(description, section, list);
          tellNoIdentifier(description, section, *file.format, list);
        }
      }
    }
    if (!converts) return;
    if (holdsAny) tellMissedSteps(list);
    std::set<std::string> identifiers;
    for (const LegacySection& section : file.sections) {
      tellRepeats(section, identifiers, list);
      replaceAccounts(section, list);
    }
    tellTakenIdentifiers(file, list);
  }

 private:
  static Array storedAccountsIn(const Dictionary* settings) {
    return settings ? settings->arrayOrEmpty(kPlistAccountsKey) : Array();
  }

  void tellContents(const LegacyFile& file, FindingList& list) {
    if (file.forbidden) {
      list.add(finding::kLegacyForbidden, "The file may not be read (" + *file.problem +
                                              "), so that nothing can be told about what it "
                                              "holds.");
      return;
    }
    if (file.problem) {
      list.add(finding::kLegacyUnreadable, "The file cannot be read as a property list (" +
                                               *file.problem +
                                               "): it converts to nothing and is removed.");
      return;
    }
    bool anySection = false;
    for (const Dictionary::Entry& entry : file.content) {
      const LegacySection* section = file.section(entry.key());
      if (!section) {
        list.addForAccount(finding::kLegacyForeignKey, {}, std::string(entry.key()),
                           "The key " + quoted(entry.key()) +
                               " at the root of the file is not converted, and the file is "
                               "removed.");
      } else if (!entry.value().array()) {
        list.addForAccount(finding::kLegacyUnusable, {}, std::string(entry.key()),
                           quoted(entry.key()) + " is " + std::string(kindInWords(entry.value())) +
                               " instead of an array: it converts to nothing, and the file is "
                               "removed.");
      }
      anySection = anySection || section;
    }
    if (!anySection) {
      list.add(finding::kLegacyEmpty,
               "The file holds no account descriptions: it converts to "
               "nothing and is removed.");
    }
  }

  void tellMailClass(const LegacyDescription& description, const LegacySection& section,
                     FindingList& list) {
    const MailClass mail = mailClassOf(description.properties);
    if (mail.result == FixResult::Unfixable) {
      list.addForAccount(finding::kUnfixableClass, description.label, section.key,
                         "The mail class " + quoted(mail.found) +
                             " is unknown and no mail directory tells a better one: the account "
                             "is converted, but not loaded afterwards, and then dropped.");
    }
  }

  static void tellNoIdentifier(const LegacyDescription& description, const LegacySection& section,
                               const LegacyFormat& format, FindingList& list) {
    if (!identifierOf(description.properties).empty()) return;
    list.addForAccount(finding::kLegacyMissingIdentifier, description.label, section.key,
                       "The description has no " + quoted(format.identifierKey) +
                           ": the migration gives the account a new identifier.");
  }

  // Converted accounts start at version 0, but the steps that run are those of the settings.
  void tellMissedSteps(FindingList& list) {
    if (version_ == 0) return;
    const bool none = version_ < 0 || version_ >= AccountsManager::currentVersion();
    list.addForAccount(finding::kLegacyMissesSteps, {}, std::string(kPlistVersionKey),
                       "The settings beside the file have version " + std::to_string(version_) +
                           ", so its accounts go through " +
                           (none ? "no upgrade step at all: mail accounts end without enabled "
                                   "data classes."
                                 : "the upgrade steps from that version on only."));
  }

  void tellRepeats(const LegacySection& section, std::set<std::string>& identifiers,
                   FindingList& list) {
    for (const LegacyDescription& description : section.descriptions) {
      const std::string identifier(description.properties.string(kAccountIdentifier).value_or(""));
      if (!identifier.empty() && !identifiers.insert(identifier).second) {
        list.addForAccount(finding::kDuplicateIdentifier, description.label, section.key,
                           "Another description before it has the same identifier: only one of "
                           "the two accounts is kept in the end.");
      }
    }
  }

  // Puts the section's accounts in the place of those of its type, as the conversion does.
  void replaceAccounts(const LegacySection& section, FindingList& list) {
    std::map<std::string, const LegacyDescription*, std::less<>> incoming;
    for (const LegacyDescription& description : section.descriptions) {
      const auto identifier = description.properties.string(kAccountIdentifier).value_or("");
      incoming[std::string(identifier)] = &description;
    }
    incoming.erase("");
    std::vector<Present> kept;
    for (Present& account : present_) {
      const auto replacement = incoming.find(account.identifier);
      if (replacement != incoming.end()) {
        list.addForAccount(finding::kLegacyReplaces, account.label, section.key,
                           "The settings hold an account with the identifier of this "
                           "description: the stored values stay, and the description's are lost.");
        kept.push_back(presentAs(account.label, *replacement->second, version_));
        incoming.erase(replacement);
      } else if (account.type == section.replacedType) {
        list.addForAccount(finding::kLegacyReplaces, account.label, section.key,
                           "The account in the settings is dropped: the conversion replaces all "
                           "accounts of type " +
                               quoted(section.replacedType) +
                               ", and the file does not hold this one.");
      } else {
        kept.push_back(account);
      }
    }
    for (const auto& [identifier, description] : incoming) {
      kept.push_back(presentAs(description->label, *description, version_));
    }
    for (const LegacyDescription& each : section.descriptions) {
      if (!identifierOf(each.properties).empty()) continue;
      kept.push_back(presentAs(each.label, each, version_));
    }
    present_ = std::move(kept);
  }

  // A save finds accounts by their identifiers, and by a child's its parent. What it finds under
  // that of an account which is new to the file, it writes in its place.
  void tellTakenIdentifiers(const LegacyFile& file, FindingList& list) {
    std::multimap<std::string_view, const Present*> bearers;
    for (const Present& each : present_) bearers.emplace(each.upgraded, &each);
    for (const LegacySection& section : file.sections) {
      for (const LegacyDescription& description : section.descriptions) {
        const std::string who = whoHasIdentifierOf(description, bearers);
        if (who.empty()) continue;
        list.addForAccount(finding::kDuplicateIdentifier, description.label, section.key, who);
      }
    }
  }

  // Empty where nobody else has it, or has told already that it gives way.
  std::string whoHasIdentifierOf(
      const LegacyDescription& description,
      const std::multimap<std::string_view, const Present*>& bearers) const {
    const std::string_view own = identifierOf(description.properties);
    const std::string_view upgraded = identifierOnceUpgraded(description.properties, version_);
    if (upgraded.empty()) return "";
    const auto [first, last] = bearers.equal_range(upgraded);
    for (auto each = first; each != last; ++each) {
      const Present& other = *each->second;
      const bool isRepeat = !own.empty() && other.identifier == own;  // which is told apart
      if (isRepeat || other.description == &description) continue;
      return "An upgrade step gives the account the identifier " + quoted(upgraded) + ", which " +
             other.label + " gets or has too: only one of them would be left.";
    }
    const std::optional<AccountPlace> found = lookup_.find(upgraded);
    if (!found || (!found->isChild() && upgraded == own)) return "";
    const std::string parent = accountLabel(stored_[found->top], found->top);
    return "The settings hold " + (found->isChild() ? "a child of " + parent : parent) +
           " under the identifier " + quoted(upgraded) + " that the account gets: the values of " +
           parent + " are written in its place, and the description's are lost.";
  }

  std::int64_t version_;  // of the settings before
  Findings& findings_;
  std::vector<Present> present_;
  Array stored_;
  AccountLookup lookup_;  // of what the file holds until the first save
};

}  // namespace

void inspectLegacyFiles(const std::vector<LegacyFile>& files, const Dictionary* settings,
                        Findings& findings) {
  const auto exists = [](const LegacyFile& file) { return file.exists; };
  if (std::none_of(files.begin(), files.end(), exists)) return;
  LegacyInspection inspection(settings, findings);
  for (const LegacyFile& file : files) {
    if (file.exists) inspection.inspect(file);
  }
}

}  // namespace accountsettings
