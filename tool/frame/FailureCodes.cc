// A failure in the form that scripts read.
#include "tool/frame/FailureCodes.h"

namespace accountsettings {

Dictionary problemForScripts(const Problem& problem, ExitStatus status) {
  Dictionary told{{"code", kFailureKinds.at(static_cast<std::size_t>(problem.code)).code},
                  {"status", static_cast<int>(status)},
                  {"message", problem.message},
                  {"advice", problem.advice}};
  if (!problem.file.empty()) told.set("file", problem.file);
  return told;
}

}  // namespace accountsettings
