// main runs one subcommand: it takes the command line apart, runs the command, and turns
// whatever ends it into one message and an exit status.
#include <cstdlib>
#include <exception>

#include "platform/AssertionFailure.h"
#include "tool/commands/Commands.h"
#include "tool/commands/Completions.h"
#include "tool/frame/Terminal.h"

namespace accountsettings {
namespace {

ExitStatus runCommand(Command& command, Session& session) {
  try {
    return command.run(session);
  } catch (const CommandFailure& failure) {
    session.output.progress("");
    const std::string advice = adviceWithRoot(session.options, failure.advice());
    session.output.note(failure.problem() + (advice.empty() ? "" : "; " + advice));
    return failure.status();
  } catch (const AssertionFailure& failure) {
    session.output.progress("");
    session.output.note(failure.message() + " (" + failure.method() + " in " +
                        failure.sourceFile() + "); the installation is incomplete: reinstall it");
    return ExitStatus::Prevented;
  } catch (const std::bad_alloc&) {
    session.output.note("there is not enough memory; close other programs and try again");
    return ExitStatus::Prevented;
  }
}

// A command that changed nothing has not done its work where its answer did not arrive; `changed`
// tells that it changed files: its status then stays what it was.
ExitStatus finish(Output& output, ExitStatus status, bool changed) {
  const Status written = output.finish();
  if (written) return status;
  const std::string again = changed ? "" : ": run it again where all of it can be written";
  output.note("standard output: " + written.error().message +
              "; what was to be shown is incomplete" + again);
  const bool answered = status == ExitStatus::Done || status == ExitStatus::No ||
                        status == ExitStatus::Pending || status == ExitStatus::Blocked;
  return answered && !changed ? ExitStatus::Prevented : status;
}

ExitStatus runProgram(std::vector<std::string> arguments) {
  terminal::keepNumbersOfClosedStreams();
  terminal::makeWritesFailInsteadOfEnding();
  CommandLine commandLine(allCommands());
  if (!arguments.empty() && arguments.front() == kCompleteCommand) {
    Output output(false);
    arguments.erase(arguments.begin());
    writeCompletions(commandLine.complete(arguments), output);
    return finish(output, ExitStatus::Done, false);
  }
  Command* command = nullptr;
  try {
    command = commandLine.parse(std::move(arguments));
  } catch (const CommandFailure& failure) {
    Output(false).note(failure.what());
    return failure.status();
  }
  Output output(commandLine.options().json);
  if (command == nullptr) {
    output.block(commandLine.text());
    return finish(output, ExitStatus::Done, false);
  }
  Session session{commandLine.options(), output};
  const ExitStatus answer = runCommand(*command, session);
  const ExitStatus status = finish(output, answer, session.changed);
  // At once, and not by way of the end of this function: to take large settings apart piece by
  // piece takes longer than to read them.
  std::exit(static_cast<int>(status));
}

}  // namespace
}  // namespace accountsettings

int main(int count, char** values) {
  return static_cast<int>(accountsettings::runProgram({values + 1, values + count}));
}
