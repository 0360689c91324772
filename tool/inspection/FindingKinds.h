// FindingKinds lists every sort of finding that an inspection knows.
#pragma once

#include "tool/inspection/Inspection.h"

namespace accountsettings::finding {

// The settings file.
inline constexpr FindingKind kUnreadable{
    "unreadable", Severity::Error, true, true,
    "Put back a good copy (see 'accountsettings restore --list'), or move the file away."};
inline constexpr FindingKind kForbidden{"unreadable", Severity::Error, true, true,
                                        "Run as a user who may read it, for example as root."};
inline constexpr FindingKind kUnusable{"wrong-kind", Severity::Error, true, true,
                                       "Repair the value, or put back a good copy of the file."};
inline constexpr FindingKind kWrongKind{"wrong-kind", Severity::Warning, false, false,
                                        "Set the key to a value of the right kind, or remove it."};
inline constexpr FindingKind kForeignRootKey{
    "foreign-root-key", Severity::Warning, true, true,
    "Keep a copy of the value elsewhere, then go on with --accept-loss."};
inline constexpr FindingKind kMissingVersion{
    "missing-version", Severity::Error, true, true,
    "Find out which system wrote the file and give it that \"Version\" before anything is saved."};
inline constexpr FindingKind kNegativeVersion{
    "negative-version", Severity::Error, true, true,
    "Find out which system wrote the file and give it that \"Version\" before anything is saved."};
inline constexpr FindingKind kNewerVersion{
    "newer-version", Severity::Error, true, true,
    "Use the tools of the newer system; this one would write the older format."};
inline constexpr FindingKind kUnknownType{
    "unknown-type", Severity::Error, true, true,
    "Correct the account's \"Type\", or add the type to the type registry."};
inline constexpr FindingKind kMissingClass{"missing-class", Severity::Error, true, true,
                                           "Give the account the \"Class\" that handles it."};
inline constexpr FindingKind kUnfixableClass{
    "unfixable-class", Severity::Error, true, true,
    "Give the account a mail class that is known, or an \"AccountPath\" that tells it."};
inline constexpr FindingKind kUnknownClass{
    "unknown-class", Severity::Note, false, false,
    "Nothing needs to be done; the next save writes the repaired class."};
inline constexpr FindingKind kDuplicateIdentifier{
    "duplicate-identifier", Severity::Error, true, true,
    "Give one of the accounts an identifier of its own."};
inline constexpr FindingKind kDuplicateChildIdentifier{"duplicate-child-identifier",
                                                       Severity::Warning, false, false,
                                                       "Give the child an identifier of its own."};
inline constexpr FindingKind kMissingIdentifier{
    "missing-identifier", Severity::Note, false, false,
    "Nothing needs to be done; the next save gives the account a fresh identifier."};
inline constexpr FindingKind kMissingChildIdentifier{
    "missing-identifier", Severity::Note, false, false,
    "Give the child an \"Identifier\" in the parent's \"ChildAccounts\"."};
inline constexpr FindingKind kInvalidChild{
    "invalid-child", Severity::Warning, false, false,
    "Correct the child's \"Type\" and \"Class\" in the parent's \"ChildAccounts\", or remove it."};
inline constexpr FindingKind kUnsupportedDataclass{
    "unsupported-dataclass", Severity::Warning, false, false,
    "Store the list under \"Enabled Dataclasses\" without it ('accountsettings set')."};

// The legacy files.
inline constexpr FindingKind kLegacyUnreadable{
    "unreadable", Severity::Error, true, false,
    "Put back a good copy, or move the file away so that it is not taken for an empty one."};
inline constexpr FindingKind kLegacyForbidden{
    "unreadable", Severity::Error, true, false,
    "Run as a user who may read it, for example as root."};
inline constexpr FindingKind kLegacyUnusable{
    "wrong-kind", Severity::Error, true, false,
    "Repair the value, or put back a good copy of the file."};
inline constexpr FindingKind kLegacyEmpty{
    "legacy-empty", Severity::Warning, true, false,
    "Move the file away so that it does not replace the accounts of its types by none."};
inline constexpr FindingKind kLegacyNotConvertible{
    "legacy-not-convertible", Severity::Error, true, false,
    "Correct the description or take it out of the file: one that fails makes the whole file fail, "
    "and the file is removed all the same."};
inline constexpr FindingKind kLegacyMissesSteps{
    "legacy-misses-steps", Severity::Warning, true, false,
    "Migrate the settings file and the legacy files on roots of their own, or accept that the "
    "converted accounts stay as the steps that run leave them."};
inline constexpr FindingKind kLegacyReplaces{
    "legacy-replaces", Severity::Warning, true, false,
    "Compare both accounts, and move the one that is out of date away before migrating."};
inline constexpr FindingKind kLegacyForeignKey{
    "legacy-foreign-key", Severity::Note, false, false,
    "Keep a copy of the value elsewhere if it matters; the conversion passes it over."};

// What lies around them.
inline constexpr FindingKind kLeftoverSentinel{
    "leftover-sentinel", Severity::Warning, false, false,
    "Run 'accountsettings migrate' twice: the first run only finishes the interrupted removal."};
inline constexpr FindingKind kSentinelDeletesLegacy{
    "sentinel-deletes-legacy", Severity::Error, true, false,
    "If these files are to be converted, remove the sentinel first."};
inline constexpr FindingKind kMigrationCutShort{
    "migration-cut-short", Severity::Error, true, true,
    "Put that backup back ('accountsettings restore'), then migrate again."};
inline constexpr FindingKind kSaveWouldFail{
    "save-would-fail", Severity::Error, true, true,
    "Act as a user who may write there, create the account, group or directory that is missing, or "
    "set \"Owner\", \"Group\" and \"TemporaryDirectory\" in the host's configuration."};
inline constexpr FindingKind kWrongOwner{
    "wrong-owner", Severity::Warning, false, false,
    "Nothing needs to be done if the present owner need not read it: a save sets the owner."};
inline constexpr FindingKind kWrongMode{
    "wrong-mode", Severity::Warning, false, false,
    "Nothing needs to be done: a save gives the file the mode 0600."};
inline constexpr FindingKind kReadersLoseAccess{
    "readers-lose-access", Severity::Warning, false, false,
    "Let those who read the file run as its owner, or have them told by other means."};
inline constexpr FindingKind kSettingsIsLink{
    "settings-is-link", Severity::Warning, false, false,
    "Put the file itself in the link's place: a save replaces the link and leaves its target."};
inline constexpr FindingKind kStaleTemporary{
    "stale-temporary", Severity::Warning, false, false,
    "Remove the file if nothing is saving now; it is never read again."};
inline constexpr FindingKind kLockHeld{"lock-held", Severity::Warning, false, false,
                                       "Wait for that process, or end it if it hangs."};

}  // namespace accountsettings::finding
