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

ShownText headline(const Output& output, const AccountNode& account) {
  ShownText text =
      output.paint(Colour::Bold, account.type.empty() ? "(no type)" : shortened(account.type));
  if (!account.name.empty()) text += " \"" + shortened(account.name) + "\"";
  if (!account.accountClass.empty()) text += "  " + shortened(account.accountClass);
  text +=
      "  " + output.paint(Colour::Dim, account.identifier.empty() ? "(no identifier)"
                                                                  : shortened(account.identifier));
  return text;
}

void writeProperties(Output& output, const AccountNode& account, const std::string& indent,
                     bool reveal) {
  const Dictionary shown = reveal ? account.properties : withSecretsHidden(account.properties);
  for (const auto& entry : shown) {
    if (isTold(entry.key())) continue;
    output.line(indent + output.paint(Colour::Blue, shortened(entry.key())) + ": " +
                propertyLine(entry.value(), kValueWidth));
  }
}

void writeBranch(Output& output, const std::vector<AccountNode>& accounts,
                 const std::string& indent, const AccountTextOptions& options) {
  for (const AccountNode& account : accounts) {
    const bool last = &account == &accounts.back();
    const std::string inner = indent + (last ? "   " : "│  ");
    output.line(indent + (last ? "└─ " : "├─ ") + headline(output, account));
    const std::string under = inner + (account.children.empty() ? "   " : "│  ");
    const std::string details = detailsText(account, !options.allProperties);
    if (!details.empty()) output.line(under + details);
    if (!account.notLoaded.empty()) {
      output.line(under + output.paint(Colour::Red, "not loaded: " + account.notLoaded));
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

}  // namespace

void writeTree(Output& output, const std::vector<AccountNode>& accounts,
               const AccountTextOptions& options) {
  writeBranch(output, accounts, "", options);
}

void writeTable(Output& output, const std::vector<AccountNode>& accounts) {
  std::vector<Row> rows = {{"TYPE", "NAME", "USER", "CLASS", "IDENTIFIER", "ENABLED"}};
  addRows(rows, accounts, "");
  std::array<std::size_t, 6> widths{};
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], lengthOf(row[i]));
  }
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t i = 0; i + 1 < row.size(); ++i) line += padded(row[i], widths[i]) + "  ";
    line += row.back();
    line.erase(line.find_last_not_of(' ') + 1);
    output.line(&row == &rows.front() ? output.paint(Colour::Bold, line) : line);
  }
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
