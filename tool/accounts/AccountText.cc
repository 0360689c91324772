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

// The properties that the first two lines of an account tell.
constexpr std::array<std::string_view, 6> kToldProperties = {
    kAccountIdentifier,  kAccountType,     kAccountClass,
    kAccountDisplayName, kAccountUsername, kAccountEnabledDataclasses};

bool isTold(std::string_view key) {
  return std::find(kToldProperties.begin(), kToldProperties.end(), key) != kToldProperties.end();
}

std::string detailsText(const AccountNode& account, bool withCount) {
  std::vector<std::string> parts;
  if (!account.username.empty()) parts.push_back(shortName(account.username));
  if (account.enabled) parts.push_back(enabledText(account));
  const auto more = std::count_if(account.properties.begin(), account.properties.end(),
                                  [](const auto& entry) { return !isTold(entry.key()); });
  if (withCount && more > 0) {
    parts.push_back(counted(static_cast<std::size_t>(more), "more property", "more properties"));
  }
  return joined(parts, " | ");
}

std::vector<Output::Piece> headline(const Output& output, const AccountNode& account) {
  Output::Piece title = output.piece(account.isContext ? Colour::Dim : Colour::Bold,
                                     account.type.empty() ? "(no type)" : shortName(account.type));
  if (!account.name.empty()) {
    const auto name = output.piece(Colour::Plain, " \"" + shortName(account.name) + "\"");
    title.shown += name.shown;
    title.width += name.width;
  }
  std::vector<Output::Piece> pieces{title};
  if (!account.accountClass.empty()) {
    pieces.push_back(output.piece(Colour::Plain, shortName(account.accountClass)));
  }
  const std::string identifier =
      account.identifier.empty() ? "(no identifier)" : shortName(account.identifier);
  pieces.push_back(output.piece(
      Colour::Dim,
      account.placeName.empty() ? identifier : shortName(account.placeName) + " " + identifier));
  return pieces;
}

void writeProperties(Output& output, const AccountNode& account, const std::string& indent,
                     bool reveal) {
  const Dictionary shown = reveal ? account.properties : withSecretsHidden(account.properties);
  for (const auto& entry : shown) {
    if (isTold(entry.key())) continue;
    const std::string key = shortName(entry.key());
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
    const std::string details = account.isContext ? "(shown for its children)"
                                                  : detailsText(account, !options.allProperties);
    if (!details.empty()) {
      output.paragraph(under, details, account.isContext ? Colour::Dim : Colour::Plain);
    }
    if (!account.notLoaded.empty()) {
      output.paragraph(under, "not loaded: " + account.notLoaded, Colour::Red);
    }
    if (options.allProperties && !account.isContext)
      writeProperties(output, account, under, options.reveal);
    writeBranch(output, account.children, inner, options);
  }
}

}  // namespace

std::string shortName(std::string_view text) {
  return cutTo(text, kNameWidth);
}

std::string enabledText(const AccountNode& account) {
  if (!account.enabled) return "";
  if (account.enabled->empty()) return "nothing enabled";
  std::vector<std::string_view> names;
  for (const std::string& each : *account.enabled) names.push_back(shortDataclass(each));
  return cutTo(joined(names, ", "), kDetailsWidth);
}

void writeTree(Output& output, const std::vector<AccountNode>& accounts,
               const AccountTextOptions& options) {
  writeBranch(output, accounts, "", options);
  output.explainCuts("'get ID KEY' prints a value, and --json all of them");
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
    if (account.isContext) entry.set("context", true);
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
