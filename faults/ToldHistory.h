// ToldHistory asks whether what a run added to the history is so, and whether it added what it did.
#pragma once

#include <string>

#include "faults/DiskTree.h"
#include "faults/Invariants.h"

namespace accountsettings::faults {

// Answers an empty text, or in one sentence what is wrong with what a run of the command, that
// ended by itself, told the history:
// - settings or legacy files are other ones, and no entry tells of it, nor do the words;
// - an entry lists changes and has an outcome that is without any;
// - the entries say that an account came, went or changed, and the settings do not agree; or an
//   account came or went and they do not say so.
[[nodiscard]] std::string historyIsTrue(const Told& told, const DiskTree& before,
                                        const DiskTree& disk);

}  // namespace accountsettings::faults
