// The words and the document of a run over many devices.
#include "tool/fleet/FleetSummary.h"

#include <cmath>

#include "account/StringList.h"
#include "tool/frame/FailureCodes.h"
#include "tool/frame/Json.h"
#include "tool/frame/Times.h"

namespace accountsettings {

namespace {

// "9401 done, 86 nothing-to-do".
std::string countsInWords(const FleetTally& tally) {
  std::vector<std::string> parts;
  for (std::size_t each = 0; each < kDeviceOutcomes; ++each) {
    const auto outcome = static_cast<DeviceOutcome>(each);
    if (const std::size_t count = tally.countOf(outcome); count > 0) {
      parts.push_back(std::to_string(count) + " " + std::string(nameOf(outcome)));
    }
  }
  return parts.empty() ? "none" : joined(parts, ", ");
}

std::string headline(const FleetSummary& summary) {
  const FleetTally& tally = summary.tally;
  std::string text = summary.command + " on " + counted(tally.devices(), "device", "devices") +
                     " in " + inTenths(std::llround(summary.time.count() * 10)) + " s";
  if (summary.jobs > 0) text += " with " + counted(summary.jobs, "job", "jobs");
  text += ": " + countsInWords(tally) + ".";
  if (tally.doneEarlier() > 0) {
    text += " " + std::to_string(tally.doneEarlier()) + " had been done by an earlier run.";
  }
  if (summary.alreadyDone > 0) {
    text += " " + counted(summary.alreadyDone, "device was", "devices were") +
            " left out, whose results tell that they are done.";
  }
  if (summary.left() > 0) {
    text += " " + counted(summary.left(), "device was", "devices were") + " not begun.";
  }
  return text;
}

void writeOpen(Output& output, const FleetSummary& summary) {
  const FleetTally& tally = summary.tally;
  if (tally.openCount() == 0) return;
  output.line("");
  output.line(output.paint(Colour::Bold, "Devices that are not done"));
  for (const FleetTally::Open& each : tally.open()) {
    std::string text = each.root + ": " + std::string(nameOf(each.outcome));
    if (each.error) {
      text += ": " + each.error->message;
    } else if (!each.findings.empty()) {
      text += "; found " + joined(each.findings, ", ");
    }
    output.paragraph("  ", text);
    if (each.error && !each.error->advice.empty()) {
      output.hanging("    ", "    ", each.error->advice, Colour::Dim);
    }
  }
  if (const std::size_t more = tally.openCount() - tally.open().size(); more > 0) {
    output.line("  and " + std::to_string(more) + " more" +
                (summary.results ? "; see " + *summary.results : std::string()));
  }
}

}  // namespace

void writeSummary(Output& output, const FleetSummary& summary) {
  output.paragraph("", headline(summary), Colour::Bold);
  if (summary.tally.devices() > FleetTally::kSlowest) {
    output.line("");
    output.line(output.paint(Colour::Bold, "The slowest"));
    for (const FleetTally::Slow& each : summary.tally.slowest()) {
      output.line("  " + inTenths(std::llround(inMilliseconds(each.took) * 10)) + " ms  " +
                  each.root);
    }
  }
  writeOpen(output, summary);
  if (summary.again.empty()) return;
  output.line("");
  const std::string again = summary.left() > 0 ? "Go on with"
                            : summary.results  ? "Run those again with"
                                               : "Run all again with";
  output.line(again + (summary.listIsInput ? ", the same list on standard input: " : ": ") +
              summary.again);
}

Dictionary summaryForScripts(const FleetSummary& summary) {
  const FleetTally& tally = summary.tally;
  Dictionary outcomes;
  for (std::size_t each = 0; each < kDeviceOutcomes; ++each) {
    const auto outcome = static_cast<DeviceOutcome>(each);
    outcomes.set(nameOf(outcome), tally.countOf(outcome));
  }
  Dictionary document{
      {"command", summary.command},
      {"devices", summary.devices},
      {"alreadyDone", summary.alreadyDone},
      {"doneEarlier", tally.doneEarlier()},
      {"notBegun", summary.left()},
      {"interrupted", summary.interrupted},
      {"jobs", summary.jobs},
      {"outcomes", outcomes},
      {"slowest",
       listOf(tally.slowest(),
              [](const FleetTally::Slow& each) {
                return Dictionary{{"root", each.root}, {"milliseconds", inMilliseconds(each.took)}};
              })},
      {"notDone", tally.openCount()},
      {"firstNotDone", listOf(tally.open(), [](const FleetTally::Open& each) {
         Dictionary open{{"root", each.root},
                         {"outcome", nameOf(each.outcome)},
                         {"status", static_cast<int>(each.status)}};
         if (!each.findings.empty()) open.set("findings", arrayOf(each.findings));
         if (each.error) open.set("error", problemForScripts(*each.error, each.status));
         return open;
       })}};
  if (summary.results) document.set("results", *summary.results);
  if (!summary.again.empty()) document.set("again", summary.again);
  return document;
}

std::string inWords(const DeviceResult& result) {
  std::string text = result.root + ": " + std::string(nameOf(result.outcome));
  if (result.versionBefore) text += ", version " + std::to_string(*result.versionBefore);
  if (result.versionAfter && result.versionAfter != result.versionBefore) {
    text +=
        (result.versionBefore ? " to " : ", to version ") + std::to_string(*result.versionAfter);
  }
  if (const auto accounts = result.accountsAfter ? result.accountsAfter : result.accountsBefore) {
    text += ", " + counted(*accounts, "account", "accounts");
  }
  if (result.pending == true) text += ", a migration is pending";
  if (!result.findings.empty()) text += "; found " + joined(result.findings, ", ");
  if (result.error) text += ": " + result.error->message;
  return text;
}

}  // namespace accountsettings
