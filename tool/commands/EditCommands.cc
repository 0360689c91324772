// `set`, `enable`, `disable`, `add` and `remove`: what each does to the accounts in the store.
#include "tool/commands/EditCommands.h"

#include "account/StringList.h"
#include "tool/editing/EditRules.h"
#include "tool/values/PropertyText.h"
#include "tool/values/ReadFile.h"
#include "tool/values/ValueText.h"

namespace accountsettings {
namespace {

constexpr const char* kIdentifierHelp =
    "The account's identifier, or a child's, or the beginning of one; '#3' for one that no "
    "identifier "
    "tells apart (see 'accountsettings check')";

bool storesAsEnabled(const BasicAccount& account, std::string_view dataclass) {
  return containsString(account.properties().values().arrayOrEmpty(kAccountEnabledDataclasses),
                        dataclass);
}

}  // namespace

void SetCommand::describe(OptionSet& options) {
  options.argument("ID", identifier_, kIdentifierHelp);
  options.argument("KEY", key_, "The key of the value, for example DisplayName");
  options.argument("VALUE", value_, "The value to store");
  options.choice("-t,--type", type_, valueTypes(), "What the value is; string where left out");
  options.flag("--unset", unset_, "Remove the key instead of storing a value");
  options.flag("--fresh", fresh_,
               "Store a fresh identifier under the key Identifier or uniqueId, of an account that "
               "lacks one of "
               "its own");
  edit_.describe(options);
  options.example(
      "accountsettings set 5A0DE000-0001-4000-8000-000000000001 DisplayName 'Work mail' --root "
      "device",
      "Gives an account another name.");
  options.example(
      "accountsettings set 5A0DE000-0001-4000-8000-000000000001 PortNumber 143 --type int --root "
      "device --dry-run",
      "Shows what storing a number would change.");
}

std::optional<PropertyList> SetCommand::value() const {
  const std::string help = "see accountsettings set --help";
  const bool isIdentifier = key_ == kAccountIdentifier || key_ == "uniqueId";
  if (fresh_ && (unset_ || value_ || !isIdentifier)) {
    throw WrongUsage("", "--fresh is for the keys Identifier and uniqueId, without a VALUE", help);
  }
  if (fresh_) return std::nullopt;
  if (unset_ == value_.has_value()) {
    throw WrongUsage("", unset_ ? "--unset takes no VALUE" : "a VALUE is needed, or --unset", help);
  }
  if (unset_) return std::nullopt;
  return valueFromText(*value_, type_.value_or("string"), "VALUE");
}

ExitStatus SetCommand::run(Session& session) {
  std::optional<PropertyList> stored = value();
  AccountEditor editor(session, edit_);
  const EditedAccount account = editor.account(identifier_);
  if (fresh_) stored = PropertyList(BasicAccount::createNewAccountUID().value_or(""));
  editor.set(account, key_, stored);
  return editor.finish("set", account.name);
}

void SwitchCommand::describe(OptionSet& options) {
  options.argument("ID", identifier_, kIdentifierHelp);
  options.arguments("DATACLASS", dataclasses_, "Data classes, for example Mail Contacts");
  edit_.describe(options);
  const std::string command = enable_ ? "enable" : "disable";
  options.example("accountsettings " + command +
                      " 5A0DE000-0001-4000-8000-000000000001 Mail Notes --root device",
                  enable_ ? "Switches two data classes on." : "Switches two data classes off.");
  options.example("accountsettings " + command + " 5A0DE000-0001-4000-8000-00000000000" +
                      (enable_ ? "4 Mail" : "A Calendars") + " --root device --dry-run --json",
                  "What that would change, for a script.");
}

ExitStatus SwitchCommand::run(Session& session) {
  const std::string command = enable_ ? "enable" : "disable";
  if (dataclasses_.empty()) {
    throw WrongUsage("", "at least one DATACLASS is needed",
                     "see accountsettings " + command + " --help");
  }
  AccountEditor editor(session, edit_);
  const EditedAccount account = editor.loadedAccount(identifier_);
  StringList dataclasses;
  for (const std::string& each : dataclasses_) {
    // What is stored can be switched off, whether or not the type carries it.
    const bool isStored = storesAsEnabled(*account.record, each);
    const std::string& dataclass =
        dataclasses.emplace_back(isStored ? each : dataclassFromText(each));
    const bool isOn = storesAsEnabled(*account.record, dataclass);
    if (isOn && !enable_) {
      account.record->_forcedSetEnabledForDataclass(false, dataclass);
      continue;
    }
    requireSupports(*account.record, dataclass);
    if (enable_ && !isOn) account.record->setEnabledForDataclass(true, dataclass);
  }
  for (const std::string& dataclass : dataclasses) {
    if (account.record->isEnabledForDataclass(dataclass) == enable_) continue;
    session.output.note(std::string(shortDataclass(dataclass)) + " is stored as " + command +
                        "d, but " +
                        (account.place.isChild()
                             ? "a child reports what its parent has enabled"
                             : "not reported: it is not provisioned, or a profile restricts it"));
  }
  editor.put(account);
  return editor.finish(command, account.name);
}

void AddCommand::describe(OptionSet& options) {
  options.argument("TYPE", type_, "The account's type, for example Mail or CalDAV");
  options.argument("CLASS", class_, "The class that handles it, for example IMAPAccount");
  options.text("--parent", parent_, "ID", "Add it as a child of this account");
  options.text("--name", name_, "NAME", "Its display name");
  options.text("--username", username_, "NAME", "Its user name");
  options.list("--enable", enabled_, "DATACLASS", "A data class to enable (may be repeated)");
  options.text("--properties", file_, "FILE",
               "A property list, or JSON, with more of its properties");
  edit_.describe(options);
  options.example(
      "accountsettings add Mail IMAPAccount --name Work --username ann --enable Mail --root device",
      "Adds a mail account and shows its new identifier.");
  options.example(
      "accountsettings add CalDAV MobileCalDAVAccount --parent "
      "5A0DE000-0001-4000-8000-000000000005 --root device --dry-run",
      "Shows what adding a child would change.");
}

Dictionary AddCommand::properties() const {
  Dictionary properties;
  if (file_) {
    const Result<PropertyList> read = propertyListOrJsonIn(readFile(*file_));
    const std::string advice = "give an account's properties, as a property list or as JSON";
    if (!read) throw Prevented(*file_, read.error().message, advice, FailureCode::Unreadable);
    if (!read->dictionary()) {
      throw Prevented(*file_, "it holds no dictionary", advice, FailureCode::Unreadable);
    }
    properties = *read->dictionary();
  }
  properties.set(kAccountType, PropertyList(type_));
  properties.set(kAccountClass, PropertyList(class_));
  if (name_) properties.set(kAccountDisplayName, PropertyList(*name_));
  if (username_) properties.set(kAccountUsername, PropertyList(*username_));
  return properties;
}

ExitStatus AddCommand::run(Session& session) {
  const Dictionary given = properties();
  StringList enabled;
  for (const std::string& each : enabled_) enabled.push_back(dataclassFromText(each));
  AccountEditor editor(session, edit_);
  AccountsManager& store = editor.store();
  requireMayAdd(store, given, enabled);
  std::shared_ptr<BasicAccount> parent;
  if (parent_) {
    const EditedAccount found = editor.loadedAccount(*parent_);
    if (found.place.isChild()) {
      throw Prevented("account '" + *parent_ + "'", "it is a child itself",
                      "a child has no children; give a top-level account", FailureCode::Unfit);
    }
    parent = found.record;
  }
  const auto account = BasicAccount::accountWithProperties(given);
  for (const std::string& dataclass : enabled) account->setEnabledForDataclass(true, dataclass);
  if (parent) {
    store.addChildToAccount(account, parent);
  } else {
    store.insertAccount(account);
  }
  return editor.finish("add", account->identifier().value_or(""));
}

void RemoveCommand::describe(OptionSet& options) {
  options.argument("ID", identifier_, kIdentifierHelp);
  edit_.describe(options);
  options.example(
      "accountsettings remove 5A0DE000-0001-4000-8000-000000000005 --root device --dry-run",
      "Shows what removing an account, with its children, would take away.");
  options.example("accountsettings remove 5A0DE000-0002-4000-8000-000000000054 --root device",
                  "Removes a child from its parent.");
}

ExitStatus RemoveCommand::run(Session& session) {
  AccountEditor editor(session, edit_);
  const EditedAccount account = editor.account(identifier_);
  editor.remove(account);
  return editor.finish("remove", account.name);
}

}  // namespace accountsettings
