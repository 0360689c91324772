// The run over many devices: workers are started as long as there are devices and nobody asks to
// stop, and each that ends is told at once.
#include "tool/fleet/Fleet.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <utility>
#include <vector>

#include "tool/fleet/FleetProgress.h"
#include "tool/fleet/FleetSummary.h"
#include "tool/fleet/ResultsReader.h"
#include "tool/fleet/ResultsWriter.h"
#include "tool/fleet/WarmUp.h"

namespace accountsettings {

namespace {

constexpr auto kFlushPause = std::chrono::seconds(1);

// The status of a run that cannot go on: what its devices came to, and at least that it could not.
ExitStatus statusOfStopped(const FleetTally& tally) {
  return tally.status() == ExitStatus::Broken ? ExitStatus::Broken : ExitStatus::Prevented;
}

CommandFailure cannotTell(const Error& error, const FleetTally& tally) {
  return {statusOfStopped(tally), "", error.message,
          tally.devices() > 0 ? "no further device was begun; make room, and go on with --resume"
                              : "nothing was begun",
          codeFor(error.code)};
}

// Which of the roots the results file tells to be done by the command.
std::vector<bool> doneIn(const std::string& file, const RootList& roots, std::string_view command) {
  std::error_code none;
  if (std::filesystem::is_fifo(file, none)) {
    throw Prevented(file, "this is a pipe, which keeps no results",
                    "give the results file of the run before", FailureCode::Unreadable);
  }
  std::vector<bool> done(roots.size());
  const RootIndex index(roots);
  const Result<std::size_t> read = readResults(file, [&](const DeviceResult& each) {
    const auto place = index.find(each.root);
    if (place && each.command == command) done[*place] = isDone(each.outcome);
  });
  if (!read && read.error().code != ENOENT) {
    throw Prevented("", read.error().message, "give the results file of the run before",
                    FailureCode::Unreadable);
  }
  return done;
}

std::unique_ptr<ResultsWriter> openResults(const std::string& file, bool goOn) {
  Result<std::unique_ptr<ResultsWriter>> writer = ResultsWriter::open(file, goOn);
  if (writer) return std::move(writer).value();
  const Error& error = writer.error();
  throw Prevented("", error.message,
                  error.code == EEXIST ? "go on from them with --resume, or give another file"
                  : error.code == EWOULDBLOCK ? "wait until it has ended"
                                              : adviceFor(error.code),
                  codeFor(error.code));
}

// The command line that does again what is not done.
std::string commandLineAgain(const CommonOptions& common, const FleetOptions& options) {
  std::string line = "accountsettings";
  for (const std::string& word : common.commandLine) line += " " + quotedForShell(word);
  if (!options.results.empty() && !options.resume) line += " --resume";
  return line;
}

class Fleet {
 public:
  Fleet(Session& session, const FleetOptions& options, const FleetCommand& command)
      : session_(session),
        output_(session.output),
        options_(options),
        command_(command),
        roots_(options.roots(session.options)),
        done_(roots_.size()) {
    summary_.command = command.name;
    summary_.results = options.resultsFile();
    summary_.devices = roots_.size();
    summary_.jobs = options.workerCount();
    summary_.listIsInput = options.rootsFrom == "-";
    if (!summary_.results) return;
    if (options.resume) done_ = doneIn(*summary_.results, roots_, command.name);
    summary_.alreadyDone = static_cast<std::size_t>(std::ranges::count(done_, true));
    results_ = openResults(*summary_.results, options.resume);
  }

  ExitStatus run() {
    // The first of them, so that a signal waits until all there is to clean up is.
    Workers workers(summary_.jobs, options_.limits());
    warmUp(session_.options);
    FleetProgress progress(output_, roots_.size());
    for (beginMore(workers); workers.busy() > 0; beginMore(workers)) {
      const Workers::Event event = workers.wait(progress.pause());
      if (event.ended) take(*event.ended);
      if (event.interrupted) interrupt(workers);
      progress.show(summary_.alreadyDone + summary_.tally.devices(), summary_.alreadyDone,
                    summary_.tally.openCount());
    }
    progress.end();
    summary_.time = progress.time();
    finish();
    if (summary_.interrupted) {
      static_cast<void>(output_.finish(""));
      workers.endAsAsked();
    }
    return summary_.tally.status();
  }

 private:
  // Starts workers for the next devices, as many as there is room for.
  void beginMore(Workers& workers) {
    while (workers.hasRoom()) {
      while (next_ < roots_.size() && done_[next_]) ++next_;
      if (next_ == roots_.size() || summary_.interrupted || unwritten_) return;
      const std::string root(roots_[next_]);
      if (command_.changesDevices) session_.changed = true;
      const Status started = workers.start(next_, [&] {
        return answerOf(resultOf(command_.work, command_.name, session_.options, root));
      });
      if (!started && workers.busy() > 0) return;  // those that work free what is missing
      if (!started) {
        throw CommandFailure(statusOfStopped(summary_.tally), "",
                             "no process can be started: " + started.error().message, "try again");
      }
      ++next_;
    }
  }

  // The program is asked to end: what is under way is brought to its end, unless it is asked again.
  void interrupt(Workers& workers) {
    output_.drawLine("");
    if (summary_.interrupted) {
      killed_ = true;
      return workers.killAll();
    }
    summary_.interrupted = true;
    output_.note("stopping: " + counted(workers.busy(), "device is", "devices are") +
                 " being brought to an end, and no other is begun; once more kills the work");
  }

  void take(const Workers::Ended& ended) {
    const std::string root(roots_[ended.work]);
    Result<DeviceResult> told = resultIn(ended.answer);
    if (told) return tell(*told, ended.answer);
    const DeviceResult lost = resultOfLost(ended, command_.name, root, killed_);
    tell(lost, lineOf(lost));
  }

  void tell(const DeviceResult& result, std::string_view line) {
    summary_.tally.add(result);
    if (command_.listsDevices && !output_.json()) {
      output_.drawLine("");
      output_.line(inWords(result));
      if (output_.onTerminal()) output_.showNow();
    }
    if (!results_) return;
    Status written = results_->append(line);
    if (const auto now = std::chrono::steady_clock::now(); written && now >= nextFlush_) {
      nextFlush_ = now + kFlushPause;
      written = results_->flush();
    }
    if (!written && !unwritten_) unwritten_ = written.error();
  }

  void finish() {
    if (results_ && !unwritten_) {
      if (const Status flushed = results_->flush(); !flushed) unwritten_ = flushed.error();
    }
    if (summary_.left() > 0 || summary_.tally.openCount() > 0) {
      summary_.again = commandLineAgain(session_.options, options_);
    }
    if (output_.json()) {
      output_.document("fleet", summaryForScripts(summary_));
    } else {
      if (command_.listsDevices) output_.line("");
      writeSummary(output_, summary_);
    }
    output_.showNow();
    if (unwritten_) throw cannotTell(*unwritten_, summary_.tally);
  }

  Session& session_;
  Output& output_;
  const FleetOptions& options_;
  const FleetCommand& command_;
  RootList roots_;
  std::vector<bool> done_;  // before this run
  std::size_t next_ = 0;
  std::unique_ptr<ResultsWriter> results_;
  std::chrono::steady_clock::time_point nextFlush_{};
  std::optional<Error> unwritten_;  // why results could not be written
  bool killed_ = false;
  FleetSummary summary_;
};

}  // namespace

ExitStatus runFleet(Session& session, const FleetOptions& options, const FleetCommand& command) {
  const ExitStatus status = Fleet(session, options, command).run();
  session.options.root.clear();  // there is no one of them that the document is about
  return status;
}

}  // namespace accountsettings
