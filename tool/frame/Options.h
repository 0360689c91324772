// OptionSet declares what a subcommand accepts, in terms of the variables that receive it.
// CommandLine is the whole command line taken apart: which subcommand, and its options.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace accountsettings {

class Command;
struct CommandEntry;
struct Completion;

// What every subcommand accepts.
struct CommonOptions {
  std::string root = "/";
  std::vector<std::string> roots;  // as --root gave them; empty where it was not given
  std::optional<std::string> config;
  bool json = false;
  bool noLimit = false;
  bool compact = false;  // JSON in one line
  std::string colour = "auto";
  std::optional<std::string> log;
  // The arguments of the program, as they were given.
  std::vector<std::string> commandLine;
};

// Whether the arguments of a wrong command line ask for JSON, and in which form. The root is empty:
// it is not known.
[[nodiscard]] CommonOptions formAskedFor(const std::vector<std::string>& arguments);

// The word as a shell reads it.
[[nodiscard]] std::string quotedForShell(const std::string& word);

// The command line, for a shell, that runs the program with these words on the same device.
[[nodiscard]] std::string commandLineFor(const CommonOptions& options,
                                         const std::vector<std::string>& words);

// A command as advice names it: 'accountsettings WORDS', a word that is not plain in double quotes.
[[nodiscard]] std::string adviceCommand(const std::vector<std::string>& words);
// The advice with every command that it names in the form 'accountsettings WORDS' made one that
// works on the same device. All advice goes through here on its way out, once.
[[nodiscard]] std::string adviceWithRoot(const CommonOptions& options, std::string_view advice);

class OptionSet {
 public:
  explicit OptionSet(CLI::App& app) : app_(app) {}

  // `names` are comma-separated, for example "-n,--dry-run". The targets must outlive the parsing.
  void flag(const std::string& names, bool& target, const std::string& help);
  void text(const std::string& names, std::optional<std::string>& target,
            const std::string& valueName, const std::string& help);
  void number(const std::string& names, int& target, int least, int most,
              const std::string& valueName, const std::string& help);
  // `shown` tells in the help what counts where it is left out.
  void number(const std::string& names, std::optional<int>& target, int least, int most,
              const std::string& valueName, const std::string& shown, const std::string& help);
  // May be given more than once.
  void list(const std::string& names, std::vector<std::string>& target,
            const std::string& valueName, const std::string& help);
  // The same, and several values may follow it at once.
  void several(const std::string& names, std::vector<std::string>& target,
               const std::string& valueName, const std::string& help);
  // One of `choices`.
  void choice(const std::string& names, std::optional<std::string>& target,
              const std::vector<std::string>& choices, const std::string& help);
  // Arguments without a name, in order; an argument for a std::string is required.
  void argument(const std::string& name, std::string& target, const std::string& help);
  void argument(const std::string& name, std::optional<std::string>& target,
                const std::string& help);
  void arguments(const std::string& name, std::vector<std::string>& target,
                 const std::string& help);
  // The options that follow stand under this title in the help.
  void group(const std::string& title) { group_ = title; }
  // A line of the help's examples.
  void example(const std::string& commandLine, const std::string& meaning);

 private:
  CLI::App& app_;
  std::string group_ = "Options";
};

class CommandLine {
 public:
  explicit CommandLine(std::span<const CommandEntry> commands);
  ~CommandLine();

  // The subcommand that the arguments (without the program's name) ask for, with its options set.
  // Empty where help or the version was asked for: `text()` then holds it. Throws CommandFailure
  // for wrong usage.
  [[nodiscard]] Command* parse(std::vector<std::string> arguments);
  // What may stand in the place of the last of these words, the program's name aside.
  [[nodiscard]] Completion complete(const std::vector<std::string>& words);
  [[nodiscard]] const CommonOptions& options() const noexcept { return options_; }
  [[nodiscard]] const std::string& text() const noexcept { return text_; }

 private:
  // Declares the subcommand that is asked for, where that is plain to see, else all of them: to
  // declare them all takes longer than most of them run.
  void declareFor(const std::vector<std::string>& arguments);
  void declareAll();
  void declare(const CommandEntry& entry);
  // The subcommand's name first, so that options may stand before it.
  void putSubcommandFirst(std::vector<std::string>& arguments) const;
  [[noreturn]] void refuse(const std::string& message) const;
  [[noreturn]] void refuseCommand(const std::string& command) const;
  [[nodiscard]] CLI::App& selected() const;

  std::span<const CommandEntry> table_;
  std::unique_ptr<CLI::App> app_;
  std::map<std::string, std::unique_ptr<Command>> commands_;  // those that are declared
  CommonOptions options_;
  std::string text_;
};

}  // namespace accountsettings
