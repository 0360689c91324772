// Completions tell a shell what may follow on a command line that is being typed: commands and
// options, and what the device holds: accounts, types, classes, data classes, keys and backups.
#pragma once

#include "tool/frame/Completion.h"
#include "tool/frame/Output.h"

namespace accountsettings {

// The word in the place of a command with which the shells ask; the words typed so far follow it.
// It stands in no help.
inline constexpr const char* kCompleteCommand = "__complete";

// Writes a line for each word that fits: the word, a tab, what it means. ":files" or ":directories"
// stands for what the shell has to look up itself. A device that cannot be read has nothing to
// offer.
void writeCompletions(const Completion& completion, Output& output);

}  // namespace accountsettings
