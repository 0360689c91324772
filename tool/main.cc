// main runs one subcommand: it takes the command line apart, runs the command, and turns
// whatever ends it into one message and an exit status.
#include <malloc.h>

#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>

#include "platform/AssertionFailure.h"
#include "tool/commands/Commands.h"
#include "tool/commands/Completions.h"
#include "tool/commands/Guide.h"
#include "tool/frame/Terminal.h"

namespace accountsettings {
namespace {

struct MemoryFailure {
  std::string_view problem;
  std::string_view advice;
};

constexpr MemoryFailure memoryFailure(bool changed) {
  if (changed) {
    return {"there is not enough memory, and the work was not finished",
            "close other programs and run the same command again"};
  }
  return {"there is not enough memory; nothing was changed", "close other programs and try again"};
}

// Takes no memory itself.
ExitStatus withoutMemory(bool changed) {
  const MemoryFailure failure = memoryFailure(changed);
  for (const std::string_view each :
       {std::string_view("accountsettings: "), failure.problem, std::string_view("; "),
        failure.advice, std::string_view("\n")}) {
    static_cast<void>(terminal::write(terminal::Stream::Errors, each));
  }
  return cutShort(changed);
}

// Whether the command had begun to change files, for a process that can only end.
const bool* hasChanged = nullptr;

// Memory may also be missing where nothing may throw, as while values are taken down.
[[noreturn]] void endWithoutMemory() {
  try {
    if (std::current_exception()) std::rethrow_exception(std::current_exception());
  } catch (const std::bad_alloc&) {
    std::_Exit(static_cast<int>(withoutMemory(hasChanged != nullptr && *hasChanged)));
  } catch (...) {  // a mistake in the program
  }
  std::abort();
}

ExitStatus fail(Session& session, const CommandFailure& failure) {
  session.output.failure(failure, adviceWithRoot(session.options, failure.advice()));
  return failure.status();
}

ExitStatus runCommand(Command& command, Session& session) {
  try {
    return command.run(session);
  } catch (const CommandFailure& failure) {
    return fail(session, failure);
  } catch (const AssertionFailure& failure) {
    return fail(session, failureOf(failure, session.changed));
  }
}

// A command that changed nothing has not done its work where its answer did not arrive; `changed`
// tells that it changed files: its status then stays what it was.
ExitStatus finish(Session& session, ExitStatus status) {
  Output& output = session.output;
  const bool changed = session.changed;
  const Status written = output.finish(session.options.root);
  if (written) return status;
  const std::string again = changed ? "" : ": run it again where all of it can be written";
  output.note("standard output: " + written.error().message +
              "; what was to be shown is incomplete" + again);
  const bool answered = status == ExitStatus::Done || status == ExitStatus::No ||
                        status == ExitStatus::Pending || status == ExitStatus::Blocked;
  return answered && !changed ? ExitStatus::Prevented : status;
}

// For a command that ended for want of memory, which it has given back with that.
ExitStatus tellWithoutMemory(const CommonOptions& options, bool changed) {
  const MemoryFailure failure = memoryFailure(changed);
  try {
    Output output(options);
    Session session{options, output};
    session.changed = changed;
    return finish(session, fail(session, {cutShort(changed), "", failure.problem, failure.advice,
                                          FailureCode::NoMemory}));
  } catch (const std::bad_alloc&) {
    return withoutMemory(changed);
  }
}

// No command is wrong usage, but nobody is scolded for it.
ExitStatus showGuide() {
  const CommonOptions options;
  Output output(options);
  Session session{options, output};
  output.block(kGuide);
  return finish(session, ExitStatus::Usage);
}

ExitStatus runProgram(std::vector<std::string> arguments) {
  terminal::keepNumbersOfClosedStreams();
  terminal::makeWritesFailInsteadOfEnding();
  if (arguments.empty()) return showGuide();
  CommandLine commandLine(allCommands());
  if (arguments.front() == kCompleteCommand) {
    const CommonOptions options;
    Output output(options);
    Session session{options, output};
    arguments.erase(arguments.begin());
    writeCompletions(commandLine.complete(arguments), output);
    return finish(session, ExitStatus::Done);
  }
  try {
    Command* const command = commandLine.parse(arguments);
    const CommonOptions& options = commandLine.options();
    Output output(options);
    Session session{options, output};
    if (command == nullptr) {
      output.block(commandLine.text());
      return finish(session, ExitStatus::Done);
    }
    hasChanged = &session.changed;
    ExitStatus status = ExitStatus::Done;
    try {
      const ExitStatus answer = runCommand(*command, session);
      status = finish(session, answer);
    } catch (const std::bad_alloc&) {
      session.leftovers.clear();
      status = tellWithoutMemory(options, session.changed);
    }
    // At once, and not by way of the end of this function: to take large settings apart piece by
    // piece takes longer than to read them.
    std::exit(static_cast<int>(status));
  } catch (const CommandFailure& failure) {
    const CommonOptions options = formAskedFor(arguments);
    Output output(options);
    Session session{options, output};
    return finish(session, fail(session, failure));
  }
}

}  // namespace
}  // namespace accountsettings

int main(int count, char** values) {
  std::set_terminate(accountsettings::endWithoutMemory);
  // Small blocks are joined with their neighbours as they are freed. The C library would keep some
  // apart, and walk all of them whenever a large block is freed.
  mallopt(M_MXFAST, 0);
  try {
    return static_cast<int>(accountsettings::runProgram({values + 1, values + count}));
  } catch (const std::bad_alloc&) {
    return static_cast<int>(accountsettings::withoutMemory(false));
  }
}
