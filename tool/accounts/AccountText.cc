// The lines and columns in which accounts are shown, and their form for scripts.
#include "tool/accounts/AccountText.h"

#include <algorithm>
#include <array>

#include "account/AccountConstants.h"
#include "account/StringList.h"
#include "tool/values/PropertyText.h"

namespace accountsettings {

namespace {

constexpr std::size_t kValueWidth = 72;
// A longer name, class or the like is cut: only something broken or hostile has one.
constexpr std::size_t kNameWidth = 60;
constexpr std::size_t kDetailsWidth = 300;

std::string shortened(std::string_view text) {
  return cutTo(text, kNameWidth);
}

// The properties that the first two lines of an account tell.
constexpr std::array<std::string_view, 6> kToldProperties = {
    kAccountIdentifier,  kAccountType,     kAccountClass,
    kAccountDisplayName, kAccountUsername, kAccountEnabledDataclasses};

bool isTold(std::string_view key) {
  return std::find(kToldProperties.begin(), kToldProperties.end(), key) != kToldProperties.end();
}

std::string enabledText(const AccountNode& account) {
  if (!account.enabled) return "";
  if (account.enabled->empty()) return "nothing enabled";
  std::vector<std::string_view> names;
  for (const std::string& each : *account.enabled) names.push_back(shortDataclass(each));
  return cutTo(joined(names, ", "), kDetailsWidth);
}

std::string detailsText(const AccountNode& account, bool withCount) {
  std::vector<std::string> parts;
  if (!account.username.empty()) parts.push_back(shortened(account.username));
  if (account.enabled) parts.push_back(enabledText(account));
  const auto more = std::count_if(account.properties.begin(), account.properties.end(),
                                  [](const auto& entry) { return !isTold(entry.key()); });
  if (withCount && more > 0) {
    parts.push_back(counted(static_cast<std::size_t>(more), "more property", "more properties"));
  }
  return joined(parts, " | ");
}

std::vector<Output::Piece> headline(const Output& output, const AccountNode& account) {
  Output::Piece title =
      output.piece(Colour::Bold, account.type.empty() ? "(no type)" : shortened(account.type));
  if (!account.name.empty()) {
    const auto name = output.piece(Colour::Plain, " \"" + shortened(account.name) + "\"");
    title.shown += name.shown;
    title.width += name.width;
  }
  std::vector<Output::Piece> pieces{title};
  if (!account.accountClass.empty()) {
    pieces.push_back(output.piece(Colour::Plain, shortened(account.accountClass)));
  }
  const std::string identifier =
      account.identifier.empty() ? "(no identifier)" : shortened(account.identifier);
  pieces.push_back(output.piece(
      Colour::Dim,
      account.placeName.empty() ? identifier : shortened(account.placeName) + " " + identifier));
  return pieces;
}

void writeProperties(Output& output, const AccountNode& account, const std::string& indent,
                     bool reveal) {
  const Dictionary shown = reveal ? account.properties : withSecretsHidden(account.properties);
  for (const auto& entry : shown) {
    if (isTold(entry.key())) continue;
    const std::string key = shortened(entry.key());
    const std::size_t width = output.columnsLeft(lengthOf(indent) + lengthOf(key) + 2, kValueWidth);
    output.line(indent + output.paint(Colour::Blue, key) + ": " +
                output.fit(propertyLine(entry.value(), 2 * width), width));
  }
}

void writeBranch(Output& output, const std::vector<AccountNode>& accounts,
                 const std::string& indent, const AccountTextOptions& options) {
  for (const AccountNode& account : accounts) {
    const bool last = &account == &accounts.back();
    const std::string inner = indent + (last ? "   " : "│  ");
    const std::string under = inner + (account.children.empty() ? "   " : "│  ");
    output.pieces(indent + (last ? "└─ " : "├─ "), under, headline(output, account), "  ");
    const std::string details = detailsText(account, !options.allProperties);
    if (!details.empty()) output.paragraph(under, details);
    if (!account.notLoaded.empty()) {
      output.paragraph(under, "not loaded: " + account.notLoaded, Colour::Red);
    }
    if (options.allProperties) writeProperties(output, account, under, options.reveal);
    writeBranch(output, account.children, inner, options);
  }
}

using Row = std::array<std::string, 6>;

void addRows(std::vector<Row>& rows, const std::vector<AccountNode>& accounts,
             const std::string& indent) {
  for (const AccountNode& account : accounts) {
    rows.push_back({indent + shortened(account.type), shortened(account.name),
                    shortened(account.username), shortened(account.accountClass),
                    shortened(account.identifier), enabledText(account)});
    addRows(rows, account.children, indent + "  ");
  }
}

using Widths = std::array<std::size_t, 6>;
constexpr std::size_t kIdentifierColumn = 4;  // whole, as people type it again
constexpr std::size_t kLeastWidth = 6;
constexpr const char* kGap = "  ";

// Takes from the widest columns what does not fit.
void fit(Widths& widths, std::size_t columns) {
  while (true) {
    std::size_t sum = 2 * (widths.size() - 1);
    std::size_t widest = 0;
    for (std::size_t i = 0; i < widths.size(); ++i) {
      sum += widths[i];
      if (i != kIdentifierColumn && widths[i] > widths[widest]) widest = i;
    }
    if (sum <= columns || widths[widest] <= kLeastWidth) return;
    --widths[widest];
  }
}

}  // namespace

void writeTree(Output& output, const std::vector<AccountNode>& accounts,
               const AccountTextOptions& options) {
  writeBranch(output, accounts, "", options);
  output.explainCuts("'get ID KEY' prints a value, and --json all of them");
}

void writeTable(Output& output, const std::vector<AccountNode>& accounts) {
  std::vector<Row> rows = {{"TYPE", "NAME", "USER", "CLASS", "IDENTIFIER", "ENABLED"}};
  addRows(rows, accounts, "");
  Widths widths{};
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], lengthOf(row[i]));
  }
  fit(widths, output.columns());
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += padded(output.fit(row[i], widths[i]), widths[i]) + kGap;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    output.line(&row == &rows.front() ? output.paint(Colour::Bold, line) : line);
  }
  output.explainCuts("show it without --table");
}

Array accountsForScripts(const std::vector<AccountNode>& accounts, bool reveal) {
  Array result;
  for (const AccountNode& account : accounts) {
    Dictionary entry;
    entry.set("identifier", account.identifier);
    entry.set("type", account.type);
    entry.set("class", account.accountClass);
    entry.set("name", account.name);
    entry.set("username", account.username);
    if (account.enabled) {
      entry.set("enabledDataclasses", arrayOf(*account.enabled));
    }
    if (!account.placeName.empty()) entry.set("place", account.placeName);
    if (!account.notLoaded.empty()) entry.set("notLoaded", account.notLoaded);
    entry.set("properties", reveal ? account.properties : withSecretsHidden(account.properties));
    if (!account.children.empty()) {
      entry.set("children", accountsForScripts(account.children, reveal));
    }
    result.append(std::move(entry));
  }
  return result;
}

}  // namespace accountsettings
