#include "tool/commands/DiffCommand.h"

#include "tool/accounts/Differences.h"
#include "tool/accounts/DifferencesText.h"
#include "tool/commands/Input.h"

namespace accountsettings {
namespace {

// One side of the comparison. A root without settings counts as one whose settings are empty.
Dictionary settingsOf(const Input& input) {
  const InspectedFile& file = input.files.settings;
  if (!file.content) return {};
  const Result<PropertyList>& settings = *file.content;
  if (!settings) {
    throw Prevented(file.name, settings.error().message, nextStepFor(settings.error()));
  }
  if (!settings->dictionary()) {
    throw Prevented(file.name, "it holds no dictionary, so these are no settings",
                    "give a settings file, a device root or a backup");
  }
  return *settings->dictionary();
}

std::string headlineOf(const Input& input) {
  return input.description() + (input.files.settings.content ? "" : " (no settings file)");
}

Dictionary sourceOf(const Input& input) {
  return {{"kind", nameOf(input.kind)}, {"path", input.path}};
}

}  // namespace

void DiffCommand::describe(OptionSet& options) {
  options.argument("OLD", old_, "A settings file, a device root or a backup");
  options.argument("NEW", new_, "What to compare it with");
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
  const Input before = openInput(old_, session.options);
  const Input after = openInput(new_, session.options);
  const Differences differences = differencesBetween(settingsOf(before), settingsOf(after));
  Output& output = session.output;
  if (output.json()) {
    Dictionary document{{"format", "accountsettings.diff"},
                        {"formatVersion", 1},
                        {"old", sourceOf(before)},
                        {"new", sourceOf(after)},
                        {"same", differences.empty()}};
    for (const auto& entry : differencesForScripts(differences, reveal_)) {
      document.set(entry.key(), entry.value());
    }
    const Status written = output.value(document);
    if (!written) throw Prevented(new_, written.error().message);
  } else {
    output.line(output.paint(Colour::Bold, "--- " + headlineOf(before)));
    output.line(output.paint(Colour::Bold, "+++ " + headlineOf(after)));
    writeDifferences(output, differences, reveal_);
    if (differences.empty()) output.line("The account settings are the same.");
  }
  return differences.empty() ? ExitStatus::Done : ExitStatus::No;
}

}  // namespace accountsettings
