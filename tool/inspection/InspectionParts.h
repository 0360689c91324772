// InspectionParts are the pieces that an inspection of a root is made of.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "account/AccountConstants.h"
#include "store/AccountsManager.h"
#include "tool/inspection/FindingKinds.h"
#include "tool/inspection/Inspection.h"

namespace accountsettings {

struct LegacyFile;

// FindingList collects the findings about one file.
class FindingList {
 public:
  // `findings` must outlive the list.
  FindingList(Findings& findings, std::string file) : findings_(findings), file_(std::move(file)) {}

  void add(finding::Kind kind, std::string meaning);
  // `action` stands in the place of the kind's where it is given.
  void addForAccount(finding::Kind kind, const std::string& account, std::string key,
                     std::string meaning, std::string action = {});

 private:
  Findings& findings_;
  std::string file_;
};

// What the settings file says; `settings` is its root.
void inspectSettingsRoot(const PropertyList& settings, FindingList& list);
// The legacy files, and what converting them would do to the accounts of `settings` (nullptr:
// there is no settings file that can be read).
void inspectLegacyFiles(const std::vector<LegacyFile>& files, const Dictionary* settings,
                        Findings& findings);
// Owner, mode, lock and what killed programs left behind; `seen` as in InspectedFiles.
void inspectSurroundings(OpenedRoot& device, RememberedFiles* seen, Findings& findings);

// The text in double quotes.
[[nodiscard]] std::string quoted(std::string_view text);
// The property list in a file of the root, or why it cannot be read (without the path); none where
// there is no such file.
[[nodiscard]] std::optional<Result<PropertyList>> readPropertyListAt(const std::string& path);
// Whether this user's rights are what stands in the way.
[[nodiscard]] bool isForbidden(const Error& error);

// ModelKey is a key that the account model reads itself, with the kind of value that it expects.
struct ModelKey {
  std::string_view key;
  PropertyList::Kind kind;
  std::string_view expected;  // in words
};
inline constexpr std::array kModelKeys = {
    ModelKey{kAccountIdentifier, PropertyList::Kind::String, "a string"},
    ModelKey{kAccountSyncIdentifier, PropertyList::Kind::String, "a string"},
    ModelKey{kAccountType, PropertyList::Kind::String, "a string"},
    ModelKey{kAccountClass, PropertyList::Kind::String, "a string"},
    ModelKey{kAccountDisplayName, PropertyList::Kind::String, "a string"},
    ModelKey{kAccountUsername, PropertyList::Kind::String, "a string"},
    ModelKey{kAccountTypeString, PropertyList::Kind::String, "a string"},
    ModelKey{kAccountShortTypeString, PropertyList::Kind::String, "a string"},
    ModelKey{kAccountEnabledDataclasses, PropertyList::Kind::Array, "an array"},
    ModelKey{kAccountProvisionedDataclasses, PropertyList::Kind::Array, "an array"},
    ModelKey{kAccountChildAccounts, PropertyList::Kind::Array, "an array"},
    ModelKey{kCalendarsAccountSubscribedCalendars, PropertyList::Kind::Array, "an array"},
    ModelKey{"IsActive", PropertyList::Kind::Boolean, "a boolean"}};

// What is wrong with the type of an account of these properties ("has no ..."), or none.
[[nodiscard]] std::optional<std::string> typeProblem(const Dictionary& properties);

}  // namespace accountsettings
