// `diff`: what sets two settings files, roots or backups apart.
#include "tool/commands/DiffCommand.h"

#include <utility>

#include "account/AccountConstants.h"
#include "store/AccountsManager.h"
#include "tool/accounts/AccountLookup.h"
#include "tool/accounts/AccountTree.h"
#include "tool/accounts/Differences.h"
#include "tool/accounts/DifferencesText.h"
#include "tool/commands/Input.h"
#include "tool/device/OpenedRoot.h"
#include "tool/inspection/LegacyForecast.h"

namespace accountsettings {
namespace {

// One side of the comparison. A root without settings counts as one whose settings are empty.
Dictionary settingsOf(const Input& input, Session& session) {
  const InspectedFile& file = input.files.settings;
  if (!file.content) return {};
  const Result<PropertyList>& settings = *file.content;
  if (!settings) {
    if (input.kind == Input::Kind::DeviceRoot) session.options.root = input.path;
    throw Prevented(file.name, settings.error().message, nextStepFor(settings.error()),
                    codeFor(settings.error().code, FailureCode::Unreadable));
  }
  if (!settings->dictionary()) {
    throw Prevented(file.name, "it holds no dictionary, so these are no settings",
                    "give a settings file, a device root or a backup", FailureCode::Unreadable);
  }
  return *settings->dictionary();
}

bool hasLegacyFiles(const Input& input) {
  return input.files.legacyMail.content || input.files.legacyExchange.content;
}

// The accounts with those that the legacy files describe, as a migration would make them. One that
// the settings hold already is not there twice.
Array withLegacyAccounts(const Array& accounts, const std::vector<LegacyFile>& files) {
  const AccountLookup stored(accounts);
  Array all = accounts;
  for (const LegacyFile& file : files) {
    if (file.problem)
      throw Prevented(file.path, *file.problem, "see 'accountsettings check'",
                      FailureCode::Unreadable);
    for (const LegacySection& section : file.sections) {
      for (const LegacyDescription& each : section.descriptions) {
        const auto held = stored.find(identifierOf(each.properties));
        if (!held || held->isChild()) all.append(each.properties);
      }
    }
  }
  return all;
}

// What one side of the comparison holds, in the settings and in legacy files.
Dictionary contentOf(const Input& input, Session& session) {
  Dictionary settings = settingsOf(input, session);
  const PropertyList* stored = settings.find(kPlistAccountsKey);
  if (!hasLegacyFiles(input) || (stored && !stored->array())) return settings;
  CommonOptions here = session.options;
  if (input.kind == Input::Kind::DeviceRoot) here.root = input.path;
  const OpenedRoot device(here, DefaultLog::Nowhere);
  const Array accounts = settings.arrayOrEmpty(kPlistAccountsKey);
  settings.set(kPlistAccountsKey, withLegacyAccounts(accounts, legacyFilesOf(input.files)));
  return settings;
}

std::string headlineOf(const Input& input) {
  return input.description() + (input.files.settings.content ? "" : " (no settings file)") +
         (hasLegacyFiles(input) ? " (with its legacy files)" : "");
}

}  // namespace

void DiffCommand::describe(OptionSet& options) {
  options.argument("OLD", old_,
                   "A settings file, or a device root or a backup with its legacy files");
  options.argument("NEW", new_, "What to compare it with");
  options.flag("-v,--verbose", verbose_, "Show what removed accounts held");
  options.flag("--reveal", reveal_, "Show passwords and tokens too");
  options.example(
      "accountsettings diff old device",
      "What sets two devices apart, account by account; status 1 tells that something does.");
  options.example(
      "accountsettings diff "
      "old/var/shared/Library/Logs/CrashReporter/com.zelqo.accountsettings.plist old --json",
      "What the last migration of a device changed, for a script (status 1).");
}

ExitStatus DiffCommand::run(Session& session) {
  Output& output = session.output;
  output.doing([&] { return Doing{"Reading " + old_ + " ...", placeIn("part", 1, 3)}; });
  Input before = openInput(old_, session.options);
  output.doing([&] { return Doing{"Reading " + new_ + " ...", placeIn("part", 2, 3)}; });
  Input after = openInput(new_, session.options);
  const Dictionary old = contentOf(before, session);
  const Dictionary now = contentOf(after, session);
  output.doing([&] {
    return Doing{"Comparing the accounts ...", placeIn("part", 3, 3),
                 old.arrayOrEmpty(kPlistAccountsKey).size()};
  });
  Differences differences = differencesBetween(old, now);
  const AccountCounts counts = countsOf(differences, old.arrayOrEmpty(kPlistAccountsKey));
  if (output.json()) {
    output.document("diff", {{"old", before.forScripts()},
                             {"new", after.forScripts()},
                             {"same", differences.empty()},
                             {"counts", countsForScripts(counts)},
                             {"changes", differencesForScripts(differences, reveal_)}});
  } else {
    output.line(output.paint(Colour::Bold, "--- " + headlineOf(before)));
    output.line(output.paint(Colour::Bold, "+++ " + headlineOf(after)));
    output.line(differences.empty() ? "The account settings are the same." : countsInWords(counts));
    writeDifferences(output, differences, {.reveal = reveal_, .foldRemoved = !verbose_});
    output.explainCuts("--json gives all of it");
  }
  const bool areSame = differences.empty();
  session.leave(std::move(differences));
  session.leave(std::move(before));
  session.leave(std::move(after));
  return areSame ? ExitStatus::Done : ExitStatus::No;
}

}  // namespace accountsettings
