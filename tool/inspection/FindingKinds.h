// FindingKinds is the table of everything that an inspection can find.
#pragma once

#include <array>
#include <cstddef>

#include "tool/inspection/Inspection.h"

namespace accountsettings {

namespace finding {

// The rows of kFindingKinds, in their order.
enum Kind : std::size_t {
  // The settings file.
  kUnreadable,
  kForbidden,
  kUnusable,
  kWrongKind,
  kForeignRootKey,
  kNoAccount,
  kMissingVersion,
  kNegativeVersion,
  kNewerVersion,
  kUnknownType,
  kMissingClass,
  kUnfixableClass,
  kUnknownClass,
  kDuplicateIdentifier,
  kDuplicateChildIdentifier,
  kMissingIdentifier,
  kMissingChildIdentifier,
  kInvalidChild,
  kUnsupportedDataclass,
  // The legacy files.
  kLegacyUnreadable,
  kLegacyForbidden,
  kLegacyUnusable,
  kLegacyEmpty,
  kLegacyNotConvertible,
  kLegacyMissesSteps,
  kLegacyReplaces,
  kLegacyForeignKey,
  kLegacyMissingIdentifier,
  // What lies around them.
  kLeftoverSentinel,
  kSentinelDeletesLegacy,
  kSentinelIsDirectory,
  kMigrationCutShort,
  kSaveWouldFail,
  kWrongOwner,
  kWrongMode,
  kReadersLoseAccess,
  kSettingsIsLink,
  kStaleTemporary,
  kLockHeld
};

}  // namespace finding

inline constexpr std::array kFindingKinds = std::to_array<FindingKind>({
    // The settings file.
    {finding::kUnreadable, "unreadable", Severity::Error, true, true,
     "Put back a good copy (see 'accountsettings restore --list'), or move the file away; plist "
     "--recover prints what is whole of a file that was cut off."},
    {finding::kForbidden, "unreadable", Severity::Error, true, true,
     "Run as a user who may read it, for example as root."},
    {finding::kUnusable, "wrong-kind", Severity::Error, true, true,
     "Repair the value, or put back a good copy of the file."},
    {finding::kWrongKind, "wrong-kind", Severity::Warning, false, false,
     "Set the key to a value of the right kind, or remove it."},
    {finding::kForeignRootKey, "foreign-root-key", Severity::Warning, true, false,
     "Keep a copy of the value elsewhere, then go on with --accept-loss."},
    {finding::kNoAccount, "wrong-kind", Severity::Error, true, false,
     "Take it out of the list of accounts."},
    {finding::kMissingVersion, "missing-version", Severity::Error, true, true,
     "Find out which system wrote the file and give it that \"Version\" before anything is saved."},
    {finding::kNegativeVersion, "negative-version", Severity::Error, true, true,
     "Find out which system wrote the file and give it that \"Version\" before anything is saved."},
    {finding::kNewerVersion, "newer-version", Severity::Error, true, true,
     "Use the tools of the newer system; this one would write the older format."},
    {finding::kUnknownType, "unknown-type", Severity::Error, true, false,
     "Correct the account's \"Type\", or add the type to the type registry."},
    {finding::kMissingClass, "missing-class", Severity::Error, true, false,
     "Give the account the \"Class\" that handles it."},
    {finding::kUnfixableClass, "unfixable-class", Severity::Error, true, false,
     "Give the account a mail class that is known, or an \"AccountPath\" that tells it."},
    {finding::kUnknownClass, "unknown-class", Severity::Note, false, false,
     "Nothing needs to be done; the next save writes the repaired class."},
    {finding::kDuplicateIdentifier, "duplicate-identifier", Severity::Error, true, false,
     "Give one of the accounts an identifier of its own."},
    {finding::kDuplicateChildIdentifier, "duplicate-child-identifier", Severity::Warning, false,
     false, "Give the child an identifier of its own."},
    {finding::kMissingIdentifier, "missing-identifier", Severity::Note, false, false,
     "Nothing needs to be done; the next save gives the account a fresh identifier."},
    {finding::kMissingChildIdentifier, "missing-identifier", Severity::Note, false, false,
     "Give the child an \"Identifier\" in the parent's \"ChildAccounts\"."},
    {finding::kInvalidChild, "invalid-child", Severity::Warning, false, false,
     "Correct the child's \"Type\" and \"Class\" in the parent's \"ChildAccounts\", or remove it."},
    {finding::kUnsupportedDataclass, "unsupported-dataclass", Severity::Warning, false, false,
     "Switch it off with 'accountsettings disable', once the settings are migrated."},
    // The legacy files.
    {finding::kLegacyUnreadable, "unreadable", Severity::Error, true, false,
     "Put back a good copy, or move the file away so that it is not taken for an empty one."},
    {finding::kLegacyForbidden, "unreadable", Severity::Error, true, false,
     "Run as a user who may read it, for example as root."},
    {finding::kLegacyUnusable, "wrong-kind", Severity::Error, true, false,
     "Repair the value, or put back a good copy of the file."},
    {finding::kLegacyEmpty, "legacy-empty", Severity::Warning, true, false,
     "Move the file away so that it does not replace the accounts of its types by none."},
    {finding::kLegacyNotConvertible, "legacy-not-convertible", Severity::Error, true, false,
     "Correct the description or take it out of the file (plist --to json, an editor, plist --to "
     "binary --out): one that fails makes the whole file fail, and the file is removed all the "
     "same; the backup of the migration keeps it."},
    {finding::kLegacyMissesSteps, "legacy-misses-steps", Severity::Warning, true, false,
     "Migrate the settings file and the legacy files on roots of their own, or accept that the "
     "converted accounts stay as the steps that run leave them."},
    {finding::kLegacyReplaces, "legacy-replaces", Severity::Warning, true, false,
     "Compare both accounts, and move the one that is out of date away before migrating."},
    {finding::kLegacyForeignKey, "legacy-foreign-key", Severity::Note, false, false,
     "Keep a copy of the value elsewhere if it matters; the conversion passes it over."},
    {finding::kLegacyMissingIdentifier, "missing-identifier", Severity::Note, false, false,
     "Nothing needs to be done, unless something refers to the account by another identifier."},
    // What lies around them.
    {finding::kLeftoverSentinel, "leftover-sentinel", Severity::Warning, false, false,
     "Run 'accountsettings migrate' twice: the first run only finishes the interrupted removal."},
    {finding::kSentinelDeletesLegacy, "sentinel-deletes-legacy", Severity::Error, true, false,
     "If these files are to be converted, remove the sentinel first."},
    {finding::kSentinelIsDirectory, "sentinel-is-directory", Severity::Error, true, false,
     "Remove the directory; what it holds is nothing that a migration made."},
    {finding::kMigrationCutShort, "migration-cut-short", Severity::Error, true, true,
     "Put that backup back ('accountsettings restore'), then migrate again."},
    {finding::kSaveWouldFail, "save-would-fail", Severity::Error, true, true,
     "Act as a user who may write there, create the account, group or directory that is missing, "
     "or set \"Owner\", \"Group\" and \"TemporaryDirectory\" in the host's configuration."},
    {finding::kWrongOwner, "wrong-owner", Severity::Warning, false, false,
     "Nothing needs to be done if the present owner need not read it: a save sets the owner."},
    {finding::kWrongMode, "wrong-mode", Severity::Warning, false, false,
     "Nothing needs to be done: a save gives the file the mode 0600."},
    {finding::kReadersLoseAccess, "readers-lose-access", Severity::Warning, false, false,
     "Let those who read the file run as its owner, or have them told by other means."},
    {finding::kSettingsIsLink, "settings-is-link", Severity::Warning, false, false,
     "Put the file itself in the link's place: a save replaces the link and leaves its target."},
    {finding::kStaleTemporary, "stale-temporary", Severity::Warning, false, false,
     "Remove the file if nothing is saving now; it is never read again."},
    {finding::kLockHeld, "lock-held", Severity::Warning, false, false,
     "Wait for that process, or end it if it hangs."},
});

namespace detail {

constexpr bool findingKindsAreInOrder() {
  std::size_t place = 0;
  for (const FindingKind& each : kFindingKinds) {
    if (each.id != place++) return false;
  }
  return place == finding::kLockHeld + 1;
}
static_assert(findingKindsAreInOrder());

}  // namespace detail

}  // namespace accountsettings
