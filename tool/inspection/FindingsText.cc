// The lines that tell findings, and their form for scripts.
#include "tool/inspection/FindingsText.h"

#include <algorithm>
#include <array>
#include <vector>

namespace accountsettings {
namespace {

Colour colourOf(Severity severity) {
  return std::array{Colour::Blue, Colour::Yellow, Colour::Red}.at(
      static_cast<std::size_t>(severity));
}

std::size_t countOf(const Findings& findings, Severity severity) {
  return static_cast<std::size_t>(
      std::count_if(findings.begin(), findings.end(),
                    [&](const Finding& each) { return each.kind->severity == severity; }));
}

std::vector<std::string> placesOf(const Finding& finding) {
  std::vector<std::string> places;
  if (!finding.account.empty()) {
    places.push_back("account " + finding.account + (finding.key.empty() ? "" : ","));
  }
  if (!finding.key.empty()) places.push_back("key \"" + finding.key + "\"");
  return places;
}

}  // namespace

void writeFindings(Output& output, const Findings& findings, const ShownPath& shown) {
  const std::string* file = nullptr;
  for (const Finding& finding : findings) {
    if (!file || *file != finding.file) {
      output.line(output.paint(Colour::Bold, output.fitPath(shown.beneathRoot(finding.file), 0)));
    }
    file = &finding.file;
    const Severity severity = finding.kind->severity;
    Output::Piece label = output.piece(colourOf(severity), nameOf(severity));
    std::vector<Output::Piece> pieces{{label.shown + ":", label.width + 1}};
    for (const std::string& place : placesOf(finding)) {
      pieces.push_back(output.piece(Colour::Plain, place));
    }
    pieces.push_back(output.piece(Colour::Dim, std::string("[") + finding.kind->code + "]"));
    output.pieces("  ", "    ", pieces, " ");
    output.paragraph("    ", finding.meaning);
    output.paragraph("    ", finding.action);
  }
}

std::string findingInALine(const Finding& finding, const ShownPath& shown) {
  std::string line = shown(finding.file) + ": ";
  if (!finding.account.empty()) line += "account " + finding.account + ": ";
  line += finding.meaning;
  if (line.ends_with('.')) line.pop_back();
  return line;
}

std::string countsInWords(const Findings& findings) {
  std::vector<std::string> parts;
  const auto add = [&](Severity severity, std::string_view one, std::string_view many) {
    const std::size_t count = countOf(findings, severity);
    if (count > 0) parts.push_back(counted(count, one, many));
  };
  add(Severity::Error, "error", "errors");
  add(Severity::Warning, "warning", "warnings");
  add(Severity::Note, "note", "notes");
  return parts.empty() ? "nothing" : joined(parts, ", ");
}

Array findingsForScripts(const Findings& findings, const ShownPath& shown) {
  Array result;
  for (const Finding& finding : findings) {
    Dictionary entry = shown.entryFor(finding.file);
    entry.set("severity", nameOf(finding.kind->severity));
    entry.set("code", finding.kind->code);
    if (!finding.account.empty()) entry.set("account", PropertyList(finding.account));
    if (!finding.key.empty()) entry.set("key", PropertyList(finding.key));
    entry.set("meaning", PropertyList(finding.meaning));
    entry.set("action", PropertyList(finding.action));
    entry.set("blocksMigration", PropertyList(finding.kind->blocksMigration));
    entry.set("blocksEdits", PropertyList(finding.kind->blocksEdits));
    result.append(std::move(entry));
  }
  return result;
}

}  // namespace accountsettings
