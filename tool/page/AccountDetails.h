// AccountDetails tells on a page what became of each account, property by property, and what was
// dropped by which rule.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "tool/page/AccountMap.h"
#include "tool/page/PageContext.h"

namespace accountsettings {

class AccountDetails {
 public:
  // Both must outlive this.
  AccountDetails(const PageContext& page, const AccountMap& map);

  // The data of the section "details" of DevicePage.html: the accounts that the map shows.
  [[nodiscard]] Array accounts() const;
  // The data of the section "dropped"; empty where nothing is.
  [[nodiscard]] Dictionary dropped() const;

 private:
  using Entries = std::vector<const LedgerEntry*>;

  [[nodiscard]] const Entries& entriesOf(const ShownAccount& account) const;
  [[nodiscard]] Dictionary common(const ShownAccount& account, const std::string& id,
                                  const std::vector<std::size_t>* findings) const;
  [[nodiscard]] Dictionary before(std::size_t row) const;
  [[nodiscard]] Dictionary after(std::size_t row) const;
  [[nodiscard]] std::string became(const ShownAccount& account) const;
  [[nodiscard]] std::string droppedText(const ShownAccount& account) const;
  [[nodiscard]] std::string parentOf(std::size_t row) const;
  void addKeys(Dictionary& data, const ShownAccount& account) const;
  [[nodiscard]] Dictionary keyRow(const LedgerEntry& entry, const Dictionary& before,
                                  const Dictionary& after) const;
  [[nodiscard]] std::string newKeys(const Dictionary& before, const Dictionary& after) const;
  [[nodiscard]] std::string shownKey(const std::string& key) const;
  [[nodiscard]] Dictionary droppedAccount(const LedgerEntry& entry) const;
  void addDroppedKeys(Dictionary& data) const;

  const PageContext& page_;
  const AccountMap& map_;
  std::map<std::size_t, Entries> entries_;         // by route
  std::map<std::size_t, std::size_t> rowOfRoute_;  // of those that are shown
};

}  // namespace accountsettings
