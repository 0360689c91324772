// The command line, on top of CLI11: options, help, suggestions, and commands to be pasted.
#include "tool/frame/Options.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <array>
#include <cctype>
#include <iomanip>
#include <sstream>
#include <string_view>

#include "tool/frame/Command.h"
#include "tool/frame/Suggestions.h"
#include "tool/frame/Version.h"

namespace accountsettings {

namespace {

std::vector<std::string> optionNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    for (const std::string& name : option->get_snames()) names.push_back("-" + name);
  }
  return names;
}

// Whether the option of that name takes the argument that follows it.
bool takesValue(const CLI::App& app, const std::string& name) {
  const CLI::Option* option = app.get_option_no_throw(name);
  return option != nullptr && option->get_items_expected_max() > 0;
}

// `help [COMMAND]` and `version` are other words for options.
void askByOption(std::vector<std::string>& arguments) {
  if (arguments.empty()) return;
  if (arguments.front() == "version") arguments.front() = "--version";
  if (arguments.front() != "help") return;
  arguments.erase(arguments.begin());
  arguments.insert(arguments.begin() + (arguments.empty() ? 0 : 1), "--help");
}

// The command that does what another word asks for; empty where no command does.
std::string commandMeantBy(std::string_view word) {
  struct Meaning {
    std::string_view word;
    const char* command;
  };
  static constexpr Meaning kMeanings[] = {
      {"list", "show"},       {"ls", "show"},          {"status", "check"},
      {"verify", "check"},    {"validate", "check"},   {"undo", "restore"},
      {"revert", "restore"},  {"rollback", "restore"}, {"backups", "restore"},
      {"upgrade", "migrate"}, {"update", "migrate"},   {"compare", "diff"},
      {"log", "history"},     {"edit", "set"},         {"delete", "remove"},
      {"rm", "remove"},       {"convert", "plist"}};
  for (const Meaning& each : kMeanings) {
    if (sameInAnyCase(each.word, word)) return each.command;
  }
  return "";
}

void addCommonOptions(CLI::App& app, CommonOptions& options) {
  app.add_option("--root", options.root, "The device root to work on")
      ->type_name("DIR")
      ->capture_default_str()
      ->take_last()
      ->each([&options](const std::string& root) { options.roots.push_back(root); })
      ->group("Common options");
  app.add_option("--config", options.config, "Host configuration, instead of the root's own")
      ->type_name("FILE")
      ->group("Common options");
  app.add_flag("--json", options.json, "Machine output on standard output")
      ->disable_flag_override()
      ->group("Common options");
  app.add_flag("--no-limit", options.noLimit, "Spell out values however often a file shares them")
      ->disable_flag_override()
      ->group("Common options");
  app.add_flag("--compact", options.compact, "The same in one line")
      ->disable_flag_override()
      ->group("Common options");
  app.add_option("--color", options.colour, "Colours: on a terminal, always or never")
      ->check(CLI::IsMember({"auto", "always", "never"}).description(""))
      ->type_name("auto|always|never")
      ->capture_default_str()
      ->group("Common options");
  app.add_option("--log", options.log,
                 "Where the system log goes: a file, '-' (standard error) or 'syslog'")
      ->type_name("FILE")
      ->group("Common options");
}

// The command of the table that the arguments name, before which only common options stand; nullptr
// where there is more to look at.
const CommandEntry* commandIn(const std::vector<std::string>& arguments,
                              std::span<const CommandEntry> table) {
  constexpr std::array<std::string_view, 3> kWithValue = {"--root", "--config", "--log"};
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    const auto named = std::ranges::find_if(
        table, [&](const CommandEntry& entry) { return argument == entry.name; });
    if (named != table.end()) return &*named;
    const std::string_view option = std::string_view(argument).substr(0, argument.find('='));
    const bool isOne = std::ranges::find(kWithValue, option) != kWithValue.end();
    if (!isOne && argument != "--json") return nullptr;
    if (isOne && option.size() == argument.size()) ++i;  // its value follows
  }
  return nullptr;
}

}  // namespace

CommonOptions formAskedFor(const std::vector<std::string>& arguments) {
  const auto end = std::find(arguments.begin(), arguments.end(), "--");
  CommonOptions options;
  options.compact = std::find(arguments.begin(), end, "--compact") != end;
  options.json = options.compact || std::find(arguments.begin(), end, "--json") != end;
  options.root.clear();  // none was understood
  return options;
}

std::string quotedForShell(const std::string& word) {
  const auto isPlain = [](char letter) {
    return std::isalnum(static_cast<unsigned char>(letter)) != 0 ||
           std::string_view("_-./:@%+=,").find(letter) != std::string_view::npos;
  };
  if (!word.empty() && std::all_of(word.begin(), word.end(), isPlain)) return word;
  std::string quoted = "'";
  for (const char letter : word) {
    if (letter == '\'') {
      quoted += "'\\''";
    } else {
      quoted += letter;
    }
  }
  return quoted + "'";
}

std::string commandLineFor(const CommonOptions& options, const std::vector<std::string>& words) {
  std::string line = "accountsettings " + words.front();
  if (!options.root.empty() && options.root != "/")
    line += " --root " + quotedForShell(options.root);
  if (options.config) line += " --config " + quotedForShell(*options.config);
  std::for_each(words.begin() + 1, words.end(),
                [&](const std::string& word) { line += " " + quotedForShell(word); });
  return line;
}

namespace {

// Where the quote stands that ends the command which begins at `at`; npos where none does.
std::size_t endOfCommand(std::string_view advice, std::size_t at) {
  bool quoted = false;
  for (; at < advice.size(); ++at) {
    if (quoted && advice[at] == '\\') {
      ++at;
    } else if (advice[at] == '"') {
      quoted = !quoted;
    } else if (advice[at] == '\'' && !quoted) {
      return at;
    }
  }
  return std::string_view::npos;
}

std::vector<std::string> wordsOf(std::string_view command) {
  std::istringstream named{std::string(command)};
  std::vector<std::string> words;
  for (std::string word; named >> std::quoted(word);) words.push_back(word);
  return words;
}

}  // namespace

std::string adviceCommand(const std::vector<std::string>& words) {
  std::ostringstream command;
  command << "'accountsettings";
  for (const std::string& word : words) {
    command << ' ';
    if (quotedForShell(word) == word) {
      command << word;
    } else {
      command << std::quoted(word);
    }
  }
  return command.str() + "'";
}

std::string adviceWithRoot(const CommonOptions& options, std::string_view advice) {
  constexpr std::string_view kCommand = "'accountsettings ";
  std::string result;
  while (true) {
    const std::size_t begin = advice.find(kCommand);
    const std::size_t end =
        begin == std::string_view::npos ? begin : endOfCommand(advice, begin + kCommand.size());
    if (end == std::string_view::npos) return result += advice;
    const std::vector<std::string> words =
        wordsOf(advice.substr(begin + kCommand.size(), end - begin - kCommand.size()));
    if (std::ranges::find(words, "--root") != words.end()) {  // it has been told already
      result.append(advice.substr(0, end + 1));
      advice.remove_prefix(end + 1);
      continue;
    }
    const std::string line = commandLineFor(options, words);
    // A command that holds quotes itself is set off by other ones.
    const char* quote = line.find('\'') == std::string::npos ? "'" : "`";
    result.append(advice.substr(0, begin)).append(quote).append(line).append(quote);
    advice.remove_prefix(end + 1);
  }
}

void OptionSet::flag(const std::string& names, bool& target, const std::string& help) {
  app_.add_flag(names, target, help)->disable_flag_override()->group(group_);
}

void OptionSet::text(const std::string& names, std::optional<std::string>& target,
                     const std::string& valueName, const std::string& help) {
  app_.add_option(names, target, help)->type_name(valueName)->group(group_);
}

void OptionSet::number(const std::string& names, int& target, int least, int most,
                       const std::string& valueName, const std::string& help) {
  app_.add_option(names, target, help)
      ->check(CLI::Range(least, most).description(""))
      ->type_name(valueName)
      ->capture_default_str()
      ->group(group_);
}

void OptionSet::number(const std::string& names, std::optional<int>& target, int least, int most,
                       const std::string& valueName, const std::string& shown,
                       const std::string& help) {
  app_.add_option(names, target, help)
      ->check(CLI::Range(least, most).description(""))
      ->type_name(valueName)
      ->default_str(shown)
      ->group(group_);
}

void OptionSet::list(const std::string& names, std::vector<std::string>& target,
                     const std::string& valueName, const std::string& help) {
  app_.add_option(names, target, help)
      ->type_name(valueName)
      ->allow_extra_args(false)
      ->group(group_);
}

void OptionSet::several(const std::string& names, std::vector<std::string>& target,
                        const std::string& valueName, const std::string& help) {
  app_.add_option(names, target, help)->type_name(valueName)->group(group_);
}

void OptionSet::choice(const std::string& names, std::optional<std::string>& target,
                       const std::vector<std::string>& choices, const std::string& help) {
  std::string shown;
  for (const std::string& each : choices) shown += (shown.empty() ? "" : "|") + each;
  app_.add_option(names, target, help)
      ->check(CLI::IsMember(choices).description(""))
      ->type_name(shown)
      ->group(group_);
}

void OptionSet::argument(const std::string& name, std::string& target, const std::string& help) {
  app_.add_option(name, target, help)->required()->type_name("");
}

void OptionSet::argument(const std::string& name, std::optional<std::string>& target,
                         const std::string& help) {
  app_.add_option(name, target, help)->type_name("");
}

void OptionSet::arguments(const std::string& name, std::vector<std::string>& target,
                          const std::string& help) {
  app_.add_option(name, target, help)->type_name("");
}

void OptionSet::example(const std::string& commandLine, const std::string& meaning) {
  const std::string before = app_.get_footer();
  app_.footer((before.empty() ? std::string("Examples:") : before) + "\n  " + commandLine +
              "\n      " + meaning);
}

CommandLine::CommandLine(std::span<const CommandEntry> commands)
    : table_(commands),
      app_(std::make_unique<CLI::App>("Looks at, checks, edits and migrates the account settings "
                                      "of a device, a device image or a backup.",
                                      "accountsettings")) {
  app_->set_version_flag("--version", std::string("accountsettings ") + kToolVersion);
  app_->require_subcommand(1);
  app_->get_formatter()->column_width(32);
}

CommandLine::~CommandLine() = default;

void CommandLine::declare(const CommandEntry& entry) {
  std::unique_ptr<Command> command = entry.make();
  CLI::App* subcommand = app_->add_subcommand(entry.name, entry.summary);
  OptionSet set(*subcommand);
  command->describe(set);
  addCommonOptions(*subcommand, options_);
  commands_.emplace(entry.name, std::move(command));
}

void CommandLine::declareAll() {
  for (const CommandEntry& entry : table_) declare(entry);
}

void CommandLine::declareFor(const std::vector<std::string>& arguments) {
  if (const CommandEntry* plain = commandIn(arguments, table_)) {
    declare(*plain);
  } else {
    declareAll();
  }
  // After the subcommands, which would inherit it.
  app_->footer(
      "accountsettings help COMMAND tells more about each command, with two examples. The examples "
      "use\nthe device roots that those of accountsettings help sample write.");
}

Command* CommandLine::parse(std::vector<std::string> arguments) {
  options_.commandLine = arguments;
  askByOption(arguments);
  declareFor(arguments);
  putSubcommandFirst(arguments);
  if (!arguments.empty() && !arguments.front().starts_with('-') &&
      !commands_.contains(arguments.front())) {
    refuseCommand(arguments.front());
  }
  std::reverse(arguments.begin(), arguments.end());  // the order in which the parser takes them
  try {
    app_->parse(arguments);
  } catch (const CLI::CallForHelp&) {
    text_ = app_->help();
    return nullptr;
  } catch (const CLI::CallForVersion& version) {
    text_ = std::string(version.what()) + "\n";
    return nullptr;
  } catch (const CLI::ParseError& error) {
    refuse(error.what());
  }
  options_.json = options_.json || options_.compact;
  Command* const command = commands_.at(selected().get_name()).get();
  if (options_.roots.size() > 1 && !command->takesManyRoots()) {
    throw WrongUsage("--root", "this command works on one device root",
                     "see accountsettings " + selected().get_name() + " --help");
  }
  return command;
}

void CommandLine::putSubcommandFirst(std::vector<std::string>& arguments) const {
  bool isValue = false;
  for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
    if (*argument == "--") return;
    if (!isValue && commands_.contains(*argument)) {
      std::rotate(arguments.begin(), argument, argument + 1);
      return;
    }
    const auto& apps = app_->get_subcommands({});
    isValue = !isValue && argument->starts_with('-') &&
              std::any_of(apps.begin(), apps.end(),
                          [&](const CLI::App* each) { return takesValue(*each, *argument); });
  }
}

void CommandLine::refuse(const std::string& message) const {
  std::string advice = "see accountsettings ";
  if (!app_->get_subcommands().empty()) advice += selected().get_name() + " ";
  advice += "--help";
  for (const std::string& extra : selected().remaining(true)) {
    if (!extra.starts_with('-')) {
      throw WrongUsage("'" + extra + "'", "one argument too many", advice);
    }
    const std::string option = extra.substr(0, extra.find('='));
    throw WrongUsage(option, "unknown option",
                     suggestionFor(option, optionNames(selected())) + advice);
  }
  constexpr std::string_view kFlagWithValue = " was given a disallowed flag override";
  if (message.ends_with(kFlagWithValue)) {
    throw WrongUsage("--" + message.substr(0, message.size() - kFlagWithValue.size()),
                     "it takes no value", advice);
  }
  throw WrongUsage("", message, advice);
}

void CommandLine::refuseCommand(const std::string& command) const {
  std::vector<std::string> names;
  for (const CommandEntry& each : table_) names.emplace_back(each.name);
  std::sort(names.begin(), names.end());
  const std::string meant = commandMeantBy(command);
  throw WrongUsage("'" + command + "'", "unknown command",
                   (meant.empty() ? suggestionFor(command, names) : suggestionFor(meant, names)) +
                       "see accountsettings help");
}

CLI::App& CommandLine::selected() const {
  const auto chosen = app_->get_subcommands();
  return chosen.empty() ? *app_ : *chosen.front();
}

}  // namespace accountsettings
