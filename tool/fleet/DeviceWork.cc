// How the work on one device ends in a result, whatever becomes of it.
#include "tool/fleet/DeviceWork.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

#include "platform/AssertionFailure.h"

namespace accountsettings {

namespace {

constexpr const char* kNextRun = "the next run ends what this one began, if it began anything";

DeviceOutcome outcomeOfFailure(ExitStatus status) {
  switch (status) {
    case ExitStatus::No:
      return DeviceOutcome::AnsweredNo;
    case ExitStatus::Broken:
      return DeviceOutcome::Broken;
    default:
      return DeviceOutcome::Refused;
  }
}

void fail(DeviceResult& result, const CommandFailure& failure, const CommonOptions& options) {
  result.status = failure.status();
  result.outcome = outcomeOfFailure(failure.status());
  result.error = problemOf(failure, adviceWithRoot(options, failure.advice()));
}

void run(const DeviceWork& work, Session& session, DeviceResult& result) {
  try {
    result.status = work(session, result);
  } catch (const CommandFailure& failure) {
    fail(result, failure, session.options);
  } catch (const AssertionFailure& failure) {
    fail(result, failureOf(failure, session.changed), session.options);
  } catch (const std::bad_alloc&) {
    fail(
        result,
        {cutShort(session.changed), "", "there is not enough memory",
         session.changed ? "run it again with more" : "nothing was changed; run it again with more",
         FailureCode::NoMemory},
        session.options);
  }
}

}  // namespace

DeviceResult resultOf(const DeviceWork& work, std::string_view command, const CommonOptions& common,
                      const std::string& root) {
  DeviceResult result;
  result.command = command;
  result.root = root;
  result.startedAt = std::chrono::system_clock::now();
  const auto started = std::chrono::steady_clock::now();
  CommonOptions options = common;
  options.root = root;
  options.json = false;
  Output output(result.notes);
  Session session{std::move(options), output};
  run(work, session, result);
  // They go with the worker, which ends without taking anything down.
  static std::vector<std::shared_ptr<void>> leftovers;
  leftovers = std::move(session.leftovers);
  result.took = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - started);
  return result;
}

DeviceResult resultOfLost(const Workers::Ended& ended, std::string_view command,
                          const std::string& root, bool killedByUs) {
  DeviceResult result;
  result.command = command;
  result.root = root;
  result.status = ExitStatus::Prevented;
  result.startedAt = ended.startedAt;
  result.took = ended.took;
  result.signal = ended.signal;
  result.error = {FailureCode::Prevented, "", kNextRun, ""};
  std::string& message = result.error->message;
  if (ended.timedOut) {
    result.outcome = DeviceOutcome::TimedOut;
    message = "it took longer than --timeout allows, and was killed";
  } else if (killedByUs) {
    result.outcome = DeviceOutcome::Interrupted;
    message = "it was killed with the whole run";
  } else {
    result.outcome = DeviceOutcome::Crashed;
    message = ended.signal.empty() ? "the worker ended with status " +
                                         std::to_string(ended.exitStatus) + " and told nothing"
                                   : "the worker was ended by " + ended.signal;
  }
  return result;
}

std::string answerOf(DeviceResult result) {
  std::string line = lineOf(result);
  if (line.size() <= Workers::kLargestAnswer) return line;
  constexpr std::size_t kLongest = 1000;
  constexpr std::size_t kNotes = 10;
  const auto cut = [](std::string& text) { text = cutTo(text, kLongest); };
  if (result.error) {
    cut(result.error->message);
    cut(result.error->advice);
  }
  result.notes.resize(std::min(result.notes.size(), kNotes));
  std::ranges::for_each(result.notes, cut);
  return lineOf(result);
}

}  // namespace accountsettings
