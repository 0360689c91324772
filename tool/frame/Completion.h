// Completion is what may stand at the end of a command line that is being typed, as far as the
// command line alone tells; what a device has to offer is looked up by the name of the value.
#pragma once

#include <string>
#include <vector>

#include "tool/frame/Options.h"

namespace accountsettings {

struct Completion {
  struct Word {
    std::string text;
    std::string meaning;
  };

  // What begins the last word, without the option's name where it is "--option=".
  std::string begun;
  // Commands, options and choices.
  std::vector<Word> words;
  // The name of the value that is wanted, as the help has it; empty where words are.
  std::string value;
  // The options of every command that were typed before.
  CommonOptions options;
  // The command's arguments that were typed before.
  std::vector<std::string> arguments;
};

}  // namespace accountsettings
