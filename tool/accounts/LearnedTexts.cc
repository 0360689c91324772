// The texts stand in order, so that the search for one is a search in a sorted list; each knows the
// next shorter one that it begins with.
#include "tool/accounts/LearnedTexts.h"

#include <algorithm>
#include <cctype>
#include <tuple>
#include <utility>

namespace accountsettings {

bool isWordUnit(char unit) {
  const auto byte = static_cast<unsigned char>(unit);
  return byte >= 0x80 || std::isalnum(byte) != 0;
}

void LearnedTexts::add(std::string_view text) {
  const auto* const first = std::find_if(text.begin(), text.end(), isWordUnit);
  if (first == text.end()) return;
  const auto* const end = std::find_if_not(first, text.end(), isWordUnit);
  entries_.push_back({text, static_cast<std::uint32_t>(first - text.begin()),
                      static_cast<std::uint32_t>(end - text.begin())});
  isOrdered_ = false;
}

void LearnedTexts::order() {
  if (isOrdered_) return;
  isOrdered_ = true;
  byWord_.clear();
  std::vector<Range*> ranges;  // of each entry
  ranges.reserve(entries_.size());
  for (const Entry& each : entries_) {
    Range& range = byWord_[each.word()];
    ++range.end;
    ranges.push_back(&range);
  }
  std::size_t place = 0;
  for (auto& [word, range] : byWord_) {
    range.begin = place;
    place += std::exchange(range.end, place);
  }
  std::vector<Entry> ordered(entries_.size());
  for (std::size_t i = 0; i < entries_.size(); ++i) ordered[ranges[i]->end++] = entries_[i];
  entries_ = std::move(ordered);
  for (const auto& [word, range] : byWord_) orderOneWord(range);
}

void LearnedTexts::orderOneWord(Range range) {
  std::sort(entries_.begin() + static_cast<std::ptrdiff_t>(range.begin),
            entries_.begin() + static_cast<std::ptrdiff_t>(range.end),
            [](const Entry& left, const Entry& right) {
              return std::tie(left.offset, left.text) < std::tie(right.offset, right.text);
            });
  for (std::size_t i = range.begin; i < range.end; ++i) {
    Entry& entry = entries_[i];
    entry.shorter = kNone;
    if (i == range.begin || entries_[i - 1].offset != entry.offset) continue;
    // What this one begins with is the one before it, or what that begins with, and so on.
    entry.shorter = i - 1;
    while (entry.shorter != kNone && !entry.text.starts_with(entries_[entry.shorter].text)) {
      entry.shorter = entries_[entry.shorter].shorter;
    }
  }
}

const LearnedTexts::Entry* LearnedTexts::longestIn(Range range, std::string_view rest) const {
  const auto begin = entries_.begin() + static_cast<std::ptrdiff_t>(range.begin);
  const auto end = entries_.begin() + static_cast<std::ptrdiff_t>(range.end);
  const auto after = std::upper_bound(
      begin, end, rest, [](std::string_view text, const Entry& each) { return text < each.text; });
  if (after == begin) return nullptr;
  // Whatever `rest` begins with, the last entry that is not behind it begins with, too.
  const auto endsWord = [&](std::string_view text) {
    return text.size() == rest.size() || !isWordUnit(text.back()) || !isWordUnit(rest[text.size()]);
  };
  for (auto place = static_cast<std::size_t>(after - entries_.begin()) - 1; place != kNone;
       place = entries_[place].shorter) {
    const Entry& entry = entries_[place];
    if (rest.starts_with(entry.text) && endsWord(entry.text)) return &entry;
  }
  return nullptr;
}

std::optional<LearnedTexts::Found> LearnedTexts::longestAt(std::string_view sentence,
                                                           std::size_t word, std::size_t wordEnd) {
  order();
  const auto found = byWord_.find(sentence.substr(word, wordEnd - word));
  if (found == byWord_.end()) return std::nullopt;
  const Entry* longest = nullptr;
  for (Range range = found->second; range.begin < range.end;) {
    const std::uint32_t offset = entries_[range.begin].offset;
    const auto next =
        std::partition_point(entries_.begin() + static_cast<std::ptrdiff_t>(range.begin),
                             entries_.begin() + static_cast<std::ptrdiff_t>(range.end),
                             [&](const Entry& each) { return each.offset == offset; });
    const auto end = static_cast<std::size_t>(next - entries_.begin());
    if (offset <= word) {
      const Entry* entry = longestIn({range.begin, end}, sentence.substr(word - offset));
      if (entry != nullptr && (!longest || entry->text.size() > longest->text.size())) {
        longest = entry;
      }
    }
    range.begin = end;
  }
  if (longest == nullptr) return std::nullopt;
  return Found{word - longest->offset, longest->text};
}

}  // namespace accountsettings
