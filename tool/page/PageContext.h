// PageContext is what every part of a device's page is made from, and the few questions that all
// parts ask.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tool/page/DeviceStory.h"
#include "tool/page/Disclosure.h"

namespace accountsettings {

// How much a page shows of what there may be much of.
inline constexpr std::size_t kMostAccounts = 1000;  // in each column
inline constexpr std::size_t kMostLines = 500;      // of a list of findings or losses
inline constexpr std::size_t kMostKeys = 60;        // of an account
inline constexpr std::size_t kNameWidth = 60;
inline constexpr std::size_t kValueWidth = 80;
inline constexpr std::size_t kSentenceWidth = 1000;

struct PageContext {
  OpenedRoot& device;
  const DeviceStory& story;
  const Disclosure& disclosure;
  bool isLimited = true;

  // Whether the page tells of a migration that was carried out.
  [[nodiscard]] bool wasDone() const { return story.migration && !story.isPlanned; }
  // A sentence or a path of the program, as it may be shown.
  [[nodiscard]] std::string told(std::string_view text) const;
  [[nodiscard]] std::size_t most(std::size_t number) const {
    return isLimited ? number : ~std::size_t{0};
  }
  // The command on this device; --root DIR stands for the root where that is nobody's business.
  [[nodiscard]] std::string command(const std::vector<std::string>& words) const;
};

// The number of what is not shown; empty where that is nothing.
[[nodiscard]] std::string leftOutText(std::size_t count);

// The data of Finding.html: with its place in the device, and `link` to its place on the page, or
// beneath the account that it is about.
[[nodiscard]] Dictionary findingItem(const PageContext& page, const Finding& finding,
                                     const std::string& link);
[[nodiscard]] Dictionary findingItemAtItsPlace(const PageContext& page, const Finding& finding);

}  // namespace accountsettings
