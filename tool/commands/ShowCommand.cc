// `show`: the accounts of a root, file or backup, filtered, as tree, table or JSON.
#include "tool/commands/ShowCommand.h"

#include <algorithm>
#include <functional>

#include "migration/LegacyFormats.h"
#include "tool/accounts/AccountTable.h"
#include "tool/accounts/AccountText.h"
#include "tool/commands/Input.h"
#include "tool/device/OpenedRoot.h"
#include "tool/fleet/MigrationResult.h"
#include "tool/values/PropertyText.h"

namespace accountsettings {

namespace {

// One part of the input that holds accounts.
struct Section {
  const char* key;    // in JSON
  const char* title;  // for people
  std::string file;   // on this machine
  AccountTree tree{};
  std::string problem{};   // why it could not be read
  std::string nextStep{};  // and what to do about it
  FailureCode code = FailureCode::Unreadable;
  std::size_t found = 0;  // accounts and children, before any filter
};

std::size_t countOf(const AccountTree& tree) {
  return tree.accountCount() + tree.childCount();
}

std::optional<Section> sectionOf(const char* key, const char* title, const InspectedFile& file,
                                 const std::function<AccountTree(const PropertyList&)>& treeOf) {
  if (!file.content) return std::nullopt;
  const Result<PropertyList>& content = *file.content;
  Section section{.key = key, .title = title, .file = file.name};
  if (content && content->dictionary() != nullptr) {
    section.tree = treeOf(*content);
    section.found = countOf(section.tree);
    section.problem = section.tree.problem;
  } else {
    section.problem = content ? "its root is not a dictionary" : content.error().message;
  }
  section.nextStep = nextStepFor(content ? Error{} : content.error());
  if (!content) section.code = codeFor(content.error().code, FailureCode::Unreadable);
  return section;
}

std::vector<Section> sectionsOf(const Input& input) {
  std::vector<Section> sections;
  const auto add = [&](std::optional<Section> section) {
    if (section) sections.push_back(std::move(*section));
  };
  add(sectionOf("settings", "Settings", input.files.settings, accountTreeOf));
  const auto treeOf = [](const LegacyFormat& format) {
    return [&format](const PropertyList& file) { return legacyTreeOf(file, format); };
  };
  add(sectionOf("legacyMail", "Legacy mail file", input.files.legacyMail, treeOf(kLegacyMail)));
  add(sectionOf("legacyExchange", "Legacy Exchange file", input.files.legacyExchange,
                treeOf(kLegacyExchange)));
  return sections;
}

std::string summaryOf(const Section& section) {
  const AccountTree& tree = section.tree;
  std::string text = section.title;
  if (tree.version) text += ", version " + std::to_string(*tree.version);
  text += ": " + counted(tree.accountCount(), "account", "accounts");
  if (tree.childCount() > 0) text += ", " + counted(tree.childCount(), "child", "children");
  if (countOf(tree) < section.found) {
    text += " (of " + std::to_string(section.found) + " in all)";
  }
  if (const std::size_t lost = tree.notLoadedCount(); lost > 0) {
    text += "; " + std::to_string(lost) + " not loaded";
  }
  return text;
}

Dictionary sectionForScripts(const Section& section, bool reveal) {
  if (!section.problem.empty()) return Dictionary{{"error", section.problem}};
  Dictionary result;
  if (section.tree.version) result.set("version", *section.tree.version);
  result.set("notLoaded", section.tree.notLoadedCount());
  result.set("accounts", accountsForScripts(section.tree.accounts, reveal));
  if (!section.tree.foreignKeys.empty()) {
    result.set("otherKeys", arrayOf(section.tree.foreignKeys));
  }
  return result;
}

std::vector<const AccountTree*> treesOf(const std::vector<Section>& sections) {
  std::vector<const AccountTree*> trees;
  for (const Section& section : sections) trees.push_back(&section.tree);
  return trees;
}

bool anyNotLoaded(const std::vector<Section>& sections) {
  return std::any_of(sections.begin(), sections.end(), [](const Section& section) {
    return section.problem.empty() && section.tree.notLoadedCount() > 0;
  });
}

std::vector<std::string> identifiersIn(const std::vector<Section>& sections) {
  std::vector<std::string> identifiers;
  for (const Section& section : sections) {
    forEachNode(section.tree.accounts, [&](const AccountNode& account) {
      if (!account.identifier.empty()) identifiers.push_back(account.identifier);
    });
  }
  return identifiers;
}

// As a table where `identifiers`, all that there are, are given.
void writeSection(Output& output, const Section& section,
                  const std::optional<std::vector<std::string>>& identifiers,
                  const AccountTextOptions& options) {
  output.line("");
  if (!section.problem.empty()) {
    output.line(std::string(section.title) + ": " +
                output.paint(Colour::Red, "cannot be read: " + section.problem));
    return;
  }
  output.line(output.paint(Colour::Bold, summaryOf(section)));
  if (!section.tree.foreignKeys.empty()) {
    output.line("Other keys at the root: " + joined(section.tree.foreignKeys, ", "));
  }
  if (identifiers) {
    writeTable(output, section.tree.accounts, *identifiers);
  } else {
    writeTree(output, section.tree.accounts, options);
  }
}

// Throws Prevented where a part could not be read.
void requireRead(const std::vector<Section>& sections) {
  const auto unread = std::find_if(sections.begin(), sections.end(),
                                   [](const Section& each) { return !each.problem.empty(); });
  if (unread != sections.end()) {
    throw Prevented(unread->file, unread->problem, unread->nextStep, unread->code);
  }
}

}  // namespace

void ShowCommand::describeOwn(OptionSet& options) {
  options.argument("PATH", path_,
                   "A settings file, a device root or a backup; the --root where left out");
  options.list("--type", filter_.types, "TYPE", "Only accounts of this type (may be repeated)");
  options.list("--class", filter_.classes, "CLASS",
               "Only accounts of this class (may be repeated)");
  options.list("--dataclass", filter_.dataclasses, "DATACLASS",
               "Only accounts that have this data class enabled themselves, for example Mail (may "
               "be repeated); "
               "the parent of a child that has it is shown for its sake");
  options.list("--id", filter_.identifiers, "PREFIX",
               "Only accounts whose identifier begins so (may be repeated)");
  options.flag("--table", table_, "A table, one line for each account");
  options.flag("-a,--all", all_, "Every property of each account");
  options.flag("--reveal", reveal_, "Show passwords and tokens too");
  options.example("accountsettings show --root device --all",
                  "Every account of a device with every property.");
  options.example(
      "accountsettings show device/var/mobile/Library/Preferences/com.zelqo.accountsettings.plist "
      "--dataclass Mail --table",
      "A table of the accounts in a settings file that have mail switched on.");
}

ExitStatus ShowCommand::runOnOne(Session& session) {
  const std::string path = path_.value_or(session.options.root);
  const bool isRoot = kindOfInput(path) == Input::Kind::DeviceRoot;
  if (isRoot) useRoot(session, path);
  // Whose type registry tells which accounts are loaded.
  const OpenedRoot device(session.options, DefaultLog::Nowhere);
  const Input input = openInput(path, session.options);
  Output& output = session.output;
  std::vector<Section> sections = sectionsOf(input);
  const std::optional<CommandFailure> unmatched = filter_.unmatched(treesOf(sections));
  Dictionary document{{"source", input.forScripts()}};
  if (!output.json()) output.line(input.description());
  std::optional<std::vector<std::string>> identifiers;
  if (table_) identifiers = identifiersIn(sections);
  for (Section& section : sections) {
    filter_.applyTo(section.tree);
    if (output.json()) {
      document.set(section.key, sectionForScripts(section, reveal_));
    } else {
      writeSection(output, section, identifiers, {all_, reveal_});
    }
  }
  if (output.json()) {
    output.document("show", document);
  } else if (sections.empty()) {
    output.line("There are no account settings and no legacy files here.");
  } else if (anyNotLoaded(sections)) {
    output.line("");
    output.line("Why, and what to do about it: " +
                (isRoot ? device.commandLine({"check"}) : device.commandLine({"check", path})));
  }
  requireRead(sections);
  if (unmatched) throw CommandFailure(*unmatched);
  return ExitStatus::Done;
}

FleetCommand ShowCommand::forMany() {
  refuseForMany(path_.has_value(), "PATH");
  refuseForMany(table_, "--table");
  refuseForMany(all_, "--all");
  refuseForMany(reveal_, "--reveal");
  const auto work = [this](Session& session, DeviceResult& result) {
    OpenedDevice device(session.options);
    const Input input{Input::Kind::DeviceRoot, session.options.root, filesOfRoot()};
    std::vector<Section> sections = sectionsOf(input);
    const std::optional<CommandFailure> unmatched = filter_.unmatched(treesOf(sections));
    std::size_t accounts = 0;
    for (Section& section : sections) {
      filter_.applyTo(section.tree);
      accounts += section.tree.accountCount();
      if (section.tree.version) result.versionBefore = section.tree.version;
    }
    result.accountsBefore = accounts;
    result.bytes = sizeOf(device, input.files);
    requireRead(sections);
    if (unmatched) throw CommandFailure(*unmatched);
    return ExitStatus::Done;
  };
  return {.name = "show", .work = work, .changesDevices = false, .listsDevices = true};
}

}  // namespace accountsettings
