// What a device offers to complete a command line with. Nothing is waited for, created or said.
#include "tool/commands/Completions.h"

#include <functional>
#include <map>
#include <set>

#include "account/Dataclasses.h"
#include "platform/ReadDictionary.h"
#include "plist/Reader.h"
#include "store/AccountsManager.h"
#include "tool/accounts/AccountTree.h"
#include "tool/backup/BackupAccess.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Suggestions.h"
#include "tool/values/PropertyText.h"

namespace accountsettings {

namespace {

using Words = std::vector<Completion::Word>;

void visitAccounts(OpenedRoot& device, const NodeVisitor& visit) {
  const auto settings = readDictionary(device.files(), accountSettingsAccountsPath());
  if (settings) forEachNode(accountTreeOf(PropertyList(*settings)).accounts, visit);
}

Words accounts(OpenedRoot& device, const Completion&) {
  Words words;
  visitAccounts(device, [&](const AccountNode& each) {
    if (!each.identifier.empty()) {
      words.push_back(
          {each.identifier, each.type + " " + (each.name.empty() ? each.username : each.name)});
    }
  });
  return words;
}

Words onceEach(const std::set<std::string>& texts) {
  Words words;
  for (const std::string& each : texts) {
    if (!each.empty()) words.push_back({each, ""});
  }
  return words;
}

// Those that the device knows, and those that stand in its settings.
Words types(OpenedRoot& device, const Completion&) {
  std::set<std::string> names;
  Resources& resources = device.host().platform().resources;
  if (const auto path = resources.pathOf("AccountTypesProperties")) {
    const Result<Bytes> bytes = resources.read(*path);
    const Result<PropertyList> known = bytes ? readPropertyList(*bytes) : bytes.error();
    if (known && known->dictionary() != nullptr) {
      for (const auto& entry : *known->dictionary()) names.emplace(entry.key());
    }
  }
  visitAccounts(device, [&](const AccountNode& each) { names.insert(each.type); });
  return onceEach(names);
}

Words classes(OpenedRoot& device, const Completion&) {
  std::set<std::string> names;
  visitAccounts(device, [&](const AccountNode& each) { names.insert(each.accountClass); });
  return onceEach(names);
}

Words dataclasses(OpenedRoot&, const Completion&) {
  Words words;
  for (const std::string& each : allDataclasses()) {
    words.push_back({std::string(shortDataclass(each)), ""});
  }
  return words;
}

// Those of the account that was named before.
Words keys(OpenedRoot& device, const Completion& completion) {
  std::set<std::string> names;
  if (completion.arguments.empty()) return {};
  visitAccounts(device, [&](const AccountNode& each) {
    if (!beginsInAnyCase(each.identifier, completion.arguments.front())) return;
    for (const auto& entry : each.properties) names.emplace(entry.key());
  });
  return onceEach(names);
}

Words backups(OpenedRoot& device, const Completion&) {
  Words words;
  for (const FoundBackup& each : requireBackups(device)) {
    words.push_back({each.name, each.manifest ? "" : "damaged"});
  }
  return words;
}

using Offer = Words (*)(OpenedRoot& device, const Completion& completion);

// What is wanted, as the help names it, and who knows it.
const std::map<std::string, Offer, std::less<>> kOffers = {
    {"ID", accounts},   {"PREFIX", accounts},       {"ACCOUNT", accounts}, {"TYPE", types},
    {"CLASS", classes}, {"DATACLASS", dataclasses}, {"KEY", keys},         {"BACKUP", backups}};
const std::set<std::string, std::less<>> kDirectories = {"DIR", "ROOT"};
const std::set<std::string, std::less<>> kFiles = {"FILE", "PATH", "OLD", "NEW", "OUT"};

Words offered(const Completion& completion) {
  if (kDirectories.contains(completion.value)) return {{":directories", ""}};
  if (kFiles.contains(completion.value)) return {{":files", ""}};
  const auto offer = kOffers.find(completion.value);
  if (offer == kOffers.end()) return completion.words;
  try {
    OpenedRoot device(completion.options, DefaultLog::Nowhere);
    return offer->second(device, completion);
  } catch (const std::exception&) {
    return {};
  }
}

}  // namespace

void writeCompletions(const Completion& completion, Output& output) {
  for (const Completion::Word& each : offered(completion)) {
    // Whatever case was typed.
    if (!each.text.starts_with(':') && !beginsInAnyCase(each.text, completion.begun)) continue;
    output.data(visible(each.text) + "\t" + visible(each.meaning) + "\n");
  }
}

}  // namespace accountsettings
