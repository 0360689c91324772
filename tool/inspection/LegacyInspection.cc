// LegacyInspection judges the files of the releases before the settings file: which of their
// descriptions would convert, what the conversion would put in the place of what, and what
// would be lost on the way.
#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "account/AccountConstants.h"
#include "plist/Description.h"
#include "store/LoadProblems.h"
#include "tool/accounts/AccountMatching.h"
#include "tool/accounts/AccountNames.h"
#include "tool/inspection/InspectionParts.h"
#include "tool/inspection/LegacyForecast.h"

namespace accountsettings {
namespace {

// An account that the settings hold while the conversions run.
struct Present {
  std::string label;
  std::string identifier;
  std::string type;
};

// The accounts that loading the settings yields.
std::vector<Present> loadedAccounts(const Dictionary* settings) {
  std::vector<Present> accounts;
  if (!settings) return accounts;
  std::size_t index = 0;
  for (const PropertyList& account : settings->arrayOrEmpty(kPlistAccountsKey)) {
    const std::string label = accountLabel(account, index++);
    const Dictionary* properties = account.dictionary();
    if (!properties || loadProblemsOf(*properties).any()) continue;
    accounts.push_back({label, std::string(properties->string(kAccountIdentifier).value_or("")),
                        std::string(*properties->string(kAccountType))});
  }
  return accounts;
}

// LegacyInspection follows the conversions in the order in which they run.
class LegacyInspection {
 public:
  LegacyInspection(const Dictionary* settings, Findings& findings)
      : settings_(settings), findings_(findings), present_(loadedAccounts(settings)) {}

  void inspect(const LegacyFile& file) {
    FindingList list(findings_, file.path);
    tellContents(file, list);
    bool converts = true;
    std::size_t descriptions = 0;
    for (const LegacySection& section : file.sections) {
      for (const LegacyDescription& description : section.descriptions) {
        ++descriptions;
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
    if (descriptions > 0) {
      tellMissedSteps(list);
    }
    std::set<std::string> identifiers;
    for (const LegacySection& section : file.sections) {
      tellRepeats(section, identifiers, list);
      replaceAccounts(section, list);
    }
  }

 private:
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
    const std::int64_t version = settings_ ? versionOf(*settings_) : 0;
    if (version == 0) return;
    const bool none = version < 0 || version >= AccountsManager::currentVersion();
    list.addForAccount(finding::kLegacyMissesSteps, {}, std::string(kPlistVersionKey),
                       "The settings beside the file have version " + std::to_string(version) +
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
        account.type = replacement->second->properties.string(kAccountType).value_or("");
        kept.push_back(account);
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
      kept.push_back({description->label, identifier,
                      std::string(description->properties.string(kAccountType).value_or(""))});
    }
    present_ = std::move(kept);
  }

  const Dictionary* settings_;
  Findings& findings_;
  std::vector<Present> present_;
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
