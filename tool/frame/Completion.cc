// A command line that is being typed, taken apart without any complaint: what is missing yet, or
// wrong, is no reason to offer nothing.
#include "tool/frame/Completion.h"

#include <CLI/App.hpp>

namespace accountsettings {

namespace {

std::string firstSentence(const std::string& text) {
  return text.substr(0, text.find_first_of(";\n"));
}

// The words of "a|b|c".
std::vector<Completion::Word> choicesIn(const std::string& shown) {
  std::vector<Completion::Word> words;
  for (std::size_t begin = 0; begin < shown.size();) {
    const std::size_t end = std::min(shown.find('|', begin), shown.size());
    words.push_back({shown.substr(begin, end - begin), ""});
    begin = end + 1;
  }
  return words;
}

// Typing is a command line up to its last word.
class Typing {
 public:
  explicit Typing(const CLI::App& app) : app_(app) {}

  void take(const std::string& word) {
    if (awaiting_ != nullptr) {
      note(*awaiting_, word);
      awaiting_ = nullptr;
    } else if (word == "--") {
      argumentsOnly_ = true;
    } else if (isOption(word)) {
      takeOption(word);
    } else if (command_ == nullptr) {
      for (const CLI::App* each : app_.get_subcommands({})) {
        if (each->check_name(word)) command_ = each;
      }
    } else {
      completion_.arguments.push_back(word);
    }
  }

  [[nodiscard]] Completion endedBy(const std::string& word) {
    completion_.begun = word;
    const std::size_t equals = isOption(word) ? word.find('=') : std::string::npos;
    if (awaiting_ == nullptr && equals != std::string::npos) {
      awaiting_ = find(word.substr(0, equals));
      completion_.begun = word.substr(equals + 1);
    }
    if (awaiting_ != nullptr) {
      want(awaiting_->get_type_name());
    } else if (isOption(word)) {
      offerOptions();
    } else if (command_ == nullptr) {
      for (const CLI::App* each : app_.get_subcommands({})) {
        completion_.words.push_back({each->get_name(), each->get_description()});
      }
    } else {
      wantArgument();
    }
    return completion_;
  }

 private:
  [[nodiscard]] bool isOption(const std::string& word) const {
    return !argumentsOnly_ && word.starts_with('-');
  }

  // Options may stand before the command: then any command's will do.
  [[nodiscard]] const CLI::Option* find(const std::string& name) const {
    if (command_ != nullptr) return command_->get_option_no_throw(name);
    for (const CLI::App* each : app_.get_subcommands({})) {
      if (const CLI::Option* option = each->get_option_no_throw(name)) return option;
    }
    return nullptr;
  }

  void takeOption(const std::string& word) {
    const std::size_t equals = word.find('=');
    const CLI::Option* option = find(word.substr(0, equals));
    if (option == nullptr || option->get_items_expected_max() == 0) return;
    if (equals == std::string::npos) {
      awaiting_ = option;
    } else {
      note(*option, word.substr(equals + 1));
    }
  }

  void note(const CLI::Option& option, const std::string& value) {
    if (option.check_lname("root")) completion_.options.root = value;
    if (option.check_lname("config")) completion_.options.config = value;
  }

  void want(const std::string& value) {
    if (value.find('|') == std::string::npos) {
      completion_.value = value;
    } else {
      completion_.words = choicesIn(value);
    }
  }

  void offerOptions() {
    // Before the command stand those of every command.
    const CLI::App& shown = command_ != nullptr ? *command_ : *app_.get_subcommands({}).front();
    for (const CLI::Option* each : shown.get_options()) {
      if (command_ == nullptr && each->get_group() != "Common options") continue;
      for (const std::string& name : each->get_lnames()) {
        completion_.words.push_back({"--" + name, firstSentence(each->get_description())});
      }
    }
    if (command_ == nullptr) {
      completion_.words.push_back({"--help", "Print the commands"});
      completion_.words.push_back({"--version", "Print the version"});
    }
  }

  void wantArgument() {
    std::size_t left = completion_.arguments.size();
    for (const CLI::Option* each : command_->get_options()) {
      if (!each->get_positional()) continue;
      const auto most = static_cast<std::size_t>(each->get_items_expected_max());
      if (left < most) return want(each->get_name(true));
      left -= most;
    }
  }

  const CLI::App& app_;
  const CLI::App* command_ = nullptr;
  const CLI::Option* awaiting_ = nullptr;
  bool argumentsOnly_ = false;
  Completion completion_;
};

}  // namespace

Completion CommandLine::complete(const std::vector<std::string>& words) {
  declareAll();
  Typing typing(*app_);
  for (std::size_t index = 0; index + 1 < words.size(); ++index) typing.take(words[index]);
  return typing.endedBy(words.empty() ? "" : words.back());
}

}  // namespace accountsettings
