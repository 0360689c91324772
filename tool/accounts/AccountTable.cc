// The columns of the table: what stands in them, which are left out, and how wide they are.
#include "tool/accounts/AccountTable.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <numeric>
#include <unordered_map>

#include "tool/accounts/AccountText.h"

namespace accountsettings {

namespace {

enum Column : std::size_t { kType, kName, kUser, kClass, kIdentifier, kEnabled, kColumns };

constexpr std::array<const char*, kColumns> kHeadings = {"TYPE",  "NAME",       "USER",
                                                         "CLASS", "IDENTIFIER", "ENABLED"};
constexpr const char* kGap = "  ";
constexpr std::size_t kReadable = 20;     // columns of a type or a name
constexpr std::size_t kComfortable = 16;  // columns that others have before identifiers are cut
constexpr std::size_t kLeast = 8;         // of anything else
constexpr std::size_t kLeastOfAll = 6;

struct Row {
  std::array<std::string, kColumns> cells;
  Colour colour = Colour::Plain;
};

using Widths = std::array<std::size_t, kColumns>;

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return text;
}

// A place stands alone: cut, the identifier behind it would name nobody.
std::string identifierText(const AccountNode& account) {
  return shortName(account.placeName.empty() ? account.identifier : account.placeName);
}

void addRows(std::vector<Row>& rows, const std::vector<AccountNode>& accounts,
             const std::string& indent) {
  for (const AccountNode& account : accounts) {
    Row& row = rows.emplace_back();
    const std::string type = account.type.empty() ? "(no type)" : account.type;
    row.cells = {indent + shortName(type),    shortName(account.name),
                 shortName(account.username), shortName(account.accountClass),
                 identifierText(account),     enabledText(account)};
    if (account.isContext) row.colour = Colour::Dim;
    if (!account.notLoaded.empty()) {
      row.cells[kEnabled] = "not loaded: " + account.notLoaded;
      row.colour = Colour::Red;
    }
    addRows(rows, account.children, indent + "  ");
  }
}

class Layout {
 public:
  Layout(const std::vector<Row>& rows, std::size_t leastOfIdentifiers) {
    for (std::size_t i = 0; i < kColumns; ++i) widths_[i] = lengthOf(kHeadings[i]);
    for (const Row& row : rows) {
      for (std::size_t i = 0; i < kColumns; ++i) {
        widths_[i] = std::max(widths_[i], lengthOf(visible(row.cells[i])));
      }
      marks_ = marks_ || row.colour == Colour::Red;
    }
    least_ = {kReadable, kReadable, kLeast, kLeast, leastOfIdentifiers, kLeast};
    // Which accounts are not loaded is to be read.
    if (marks_) least_[kEnabled] = std::string_view("not loaded:").size();
    for (std::size_t i = 0; i < kColumns; ++i) least_[i] = std::min(least_[i], widths_[i]);
  }

  void fit(std::size_t columns) {
    for (const Column each : {kClass, kUser, kEnabled}) {
      if (total(least_) > columns && !(each == kEnabled && marks_)) leaveOut(each);
    }
    shrink({kUser, kClass, kEnabled}, columns, kComfortable);
    shrink({kUser, kClass, kEnabled, kIdentifier}, columns);
    shrink({kType, kName}, columns);
    for (const Column each : {kType, kName}) least_[each] = std::min(least_[each], kLeastOfAll);
    shrink({kType, kName}, columns);
  }

  [[nodiscard]] bool isShown(std::size_t column) const { return widths_[column] > 0; }
  [[nodiscard]] std::size_t width(std::size_t column) const { return widths_[column]; }
  [[nodiscard]] bool leavesOut() const noexcept { return leavesOut_; }

 private:
  static std::size_t total(const Widths& widths) {
    const auto shown = static_cast<std::size_t>(
        std::count_if(widths.begin(), widths.end(), [](std::size_t width) { return width > 0; }));
    return std::accumulate(widths.begin(), widths.end(), 2 * (shown - 1));
  }

  void leaveOut(Column column) {
    widths_[column] = least_[column] = 0;
    leavesOut_ = true;
  }

  // Takes from the widest of these columns what does not fit, down to the least or to `floor`.
  void shrink(const std::vector<Column>& columns, std::size_t all, std::size_t floor = 0) {
    while (total(widths_) > all) {
      std::size_t* widest = nullptr;
      for (const Column each : columns) {
        if (widths_[each] <= std::max(least_[each], floor)) continue;
        if (widest == nullptr || widths_[each] > *widest) widest = &widths_[each];
      }
      if (widest == nullptr) return;
      --*widest;
    }
  }

  Widths widths_{};
  Widths least_{};
  bool marks_ = false;  // accounts that are not loaded
  bool leavesOut_ = false;
};

std::string lineOf(Output& output, const std::array<std::string, kColumns>& cells,
                   const Layout& layout) {
  std::string line;
  for (std::size_t i = 0; i < kColumns; ++i) {
    if (!layout.isShown(i)) continue;
    line += padded(output.fit(cells[i], layout.width(i)), layout.width(i)) + kGap;
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

// How long a beginning of each text must be to be that of no other, in any case; longer than the
// text where another one begins with it.
std::vector<std::size_t> uniqueBeginnings(const std::vector<std::string>& texts) {
  std::vector<std::string> plain;
  for (const std::string& each : texts) plain.push_back(lowered(each));
  std::vector<std::size_t> order(texts.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(),
            [&](std::size_t left, std::size_t right) { return plain[left] < plain[right]; });
  std::vector<std::size_t> lengths(texts.size(), 1);
  for (std::size_t i = 1; i < order.size(); ++i) {
    const std::string& before = plain[order[i - 1]];
    const std::string& after = plain[order[i]];
    const auto shared = static_cast<std::size_t>(
        std::mismatch(before.begin(), before.end(), after.begin(), after.end()).first -
        before.begin());
    lengths[order[i - 1]] = std::max(lengths[order[i - 1]], shared + 1);
    lengths[order[i]] = std::max(lengths[order[i]], shared + 1);
  }
  return lengths;
}

// The columns that the identifiers of these accounts need, each with the sign of being cut.
std::size_t leastOfIdentifiers(const std::vector<AccountNode>& accounts,
                               const std::vector<std::string>& identifiers) {
  const std::vector<std::size_t> lengths = uniqueBeginnings(identifiers);
  std::unordered_map<std::string_view, std::size_t> needed;
  for (std::size_t i = 0; i < identifiers.size(); ++i) needed[identifiers[i]] = lengths[i] + 1;
  std::size_t least = kLeast;
  forEachNode(accounts, [&](const AccountNode& account) {
    const auto found = needed.find(account.identifier);
    const std::size_t whole = lengthOf(visible(identifierText(account)));
    const bool isWhole = !account.placeName.empty() || found == needed.end();
    const std::size_t need = isWhole ? whole : found->second;
    least = std::max(least, std::min(need, whole));
  });
  return least;
}

}  // namespace

void writeTable(Output& output, const std::vector<AccountNode>& accounts,
                const std::vector<std::string>& identifiers) {
  std::vector<Row> rows;
  addRows(rows, accounts, "");
  Layout layout(rows, leastOfIdentifiers(accounts, identifiers));
  layout.fit(output.columns());
  std::array<std::string, kColumns> headings;
  std::copy(kHeadings.begin(), kHeadings.end(), headings.begin());
  output.line(output.paint(Colour::Bold, lineOf(output, headings, layout)));
  for (const Row& row : rows) {
    output.line(output.paint(row.colour, lineOf(output, row.cells, layout)));
  }
  if (layout.leavesOut())
    output.paragraph("", "Columns are left out that do not fit.", Colour::Dim);
  output.explainCuts("show it without --table");
}

}  // namespace accountsettings
