// `get`: the values of one account, as the store reports them.
#include "tool/commands/GetCommand.h"

#include "tool/editing/AccountEditor.h"
#include "tool/inspection/Inspection.h"
#include "tool/values/PropertyText.h"

namespace accountsettings {
namespace {

// A string as it is, so that a script can use it; on a terminal, and for anything else, as people
// read it.
void writeValue(Output& output, const PropertyList& value) {
  const auto text = value.stringValue();
  if (!text) return output.block(propertyText(output.fitting(value)));
  output.onTerminal() ? output.line(*text) : output.data(std::string(*text) + "\n");
}

// All values of the account.
Dictionary storedOf(const EditedAccount& account, const Array& accounts) {
  if (account.record) return account.record->properties().values();
  const Dictionary* stored = accountAt(accounts, account.place);
  return stored ? *stored : Dictionary();
}

}  // namespace

void GetCommand::describe(OptionSet& options) {
  options.argument("ID", identifier_,
                   "The account's identifier, or a child's, or the beginning of one; '#3' for one "
                   "that no identifier tells apart (see 'accountsettings check')");
  options.arguments("KEY", keys_, "Keys of the values; all where left out");
  options.flag("--reveal", reveal_, "Show passwords and tokens too");
  lock_.describe(options);
  options.example("accountsettings get 5A0DE000-0001-4000-8000-000000000001 --root device",
                  "Every value of an account.");
  options.example("accountsettings get 5A0DE000-0001-4000-8000-000000000001 Username --root device",
                  "One value, as it stands.");
}

ExitStatus GetCommand::run(Session& session) {
  OpenedDevice device(session.options);
  waitForMigration(session.output, device, lock_);
  const std::string path = device.shown(accountSettingsAccountsPath());
  const InspectedFiles files = filesOfRoot();
  const Dictionary& settings = requireSettings(files.settings.content, path);
  requireCurrentVersion(settings, path);
  const Array& accounts = settings.arrayOrEmpty(kPlistAccountsKey);
  const auto store = AccountsManager::init();
  const EditedAccount account =
      accountTyped(identifier_, accounts, KeptAccounts(accounts), store.get());
  const Dictionary stored = storedOf(account, accounts);
  Dictionary values;
  std::vector<std::string> missing;
  if (keys_.empty()) values = stored;
  for (const std::string& key : keys_) {
    const auto value =
        account.record ? account.record->accountPropertyForKey(key) : stored.get(key);
    if (value) {
      values.set(key, *value);
    } else {
      missing.push_back(key);
    }
  }
  if (!reveal_) {
    Dictionary visible = withSecretsHidden(values);
    // A script must not take what stands there for the password.
    if (!keys_.empty() && visible != values) {
      session.output.note("secrets are hidden; --reveal shows them");
    }
    values = std::move(visible);
  }
  Output& output = session.output;
  if (output.json()) {
    output.document("get", {{"account", account.name}, {"values", values}});
  } else if (keys_.empty()) {
    output.block(propertyText(output.fitting(values)));
  } else {
    for (const auto& entry : values) writeValue(output, entry.value());
  }
  for (const std::string& key : missing) {
    const std::string all = "all: " + device.commandLine({"get", identifier_});
    output.failure({ExitStatus::No, "account '" + identifier_ + "', key '" + key + "'",
                    "there is no such value", all, FailureCode::NoMatch},
                   all);
  }
  return missing.empty() ? ExitStatus::Done : ExitStatus::No;
}

}  // namespace accountsettings
