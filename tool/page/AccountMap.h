// AccountMap draws the accounts before a migration and after it side by side, with a line from each
// to what it became, and knows where on the page each account is told of in detail.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tool/page/AccountColumns.h"
#include "tool/page/PageContext.h"

namespace accountsettings {

enum class Side { Before, After };

class AccountMap {
 public:
  // The page must outlive this.
  explicit AccountMap(const PageContext& page);

  // The data of the section "map" of DevicePage.html; empty where there is no account.
  [[nodiscard]] Dictionary drawing() const;

  // The rows of a column, and the numbers of those that are shown: where there are too many, those
  // to which something happened, and with a child its parent.
  [[nodiscard]] const std::vector<ShownAccount>& rows(Side side) const;
  [[nodiscard]] const std::vector<std::size_t>& shown(Side side) const;
  // Where the page tells of a row; both rows of a pair have one place.
  [[nodiscard]] std::string linkTo(Side side, std::size_t row) const;
  // The numbers of the findings about a row of the device as it is now; nullptr where there are
  // none.
  [[nodiscard]] const std::vector<std::size_t>* findingsAt(Side side, std::size_t row) const;
  // Where the page tells of the account that the finding is about; empty where it is about none.
  [[nodiscard]] std::string linkToFinding(std::size_t finding) const;

  // Adds the mark of an account that is in trouble: "worst", with "severity" and "word".
  void addTrouble(Dictionary& item, const ShownAccount& account,
                  const std::vector<std::size_t>* findings) const;

 private:
  using Slots = std::map<std::size_t, std::size_t>;  // by row

  void choose();
  void placeFindings();
  [[nodiscard]] Side sideOfNow() const { return page_.wasDone() ? Side::After : Side::Before; }
  [[nodiscard]] std::string fileOf(const ShownAccount& account) const;
  [[nodiscard]] std::string headingOf(Side side, std::size_t file) const;
  [[nodiscard]] Dictionary item(Side side, std::size_t row) const;
  [[nodiscard]] Array column(Side side, Slots& slots) const;
  void addLines(Dictionary& drawing, const Slots& before, const Slots& after) const;
  [[nodiscard]] std::string sinceText() const;

  const PageContext& page_;
  AccountColumns columns_;
  std::vector<std::size_t> shownBefore_;  // in order
  std::vector<std::size_t> shownAfter_;
  std::map<std::size_t, std::vector<std::size_t>> findingsAt_;
  std::map<std::size_t, std::string> placeOfFinding_;
};

// The word for the style of a fate.
[[nodiscard]] std::string_view styleOf(AccountFate fate);
// The account's type and name, as a page writes them.
[[nodiscard]] std::string shownType(const AccountNode& account);
[[nodiscard]] std::string shownName(const AccountNode& account);
[[nodiscard]] std::string shownTitle(const AccountNode& account);

}  // namespace accountsettings
