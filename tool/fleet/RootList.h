// RootList is the device roots of one run over many, in the order in which they were given, in as
// little memory as their paths take.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/Result.h"

namespace accountsettings {

// One part of a list that is divided among machines: the `number`th, from 1, of `parts`.
struct Shard {
  std::uint64_t number = 1;
  std::uint64_t parts = 1;

  // Whether the root, as the list names it, belongs to this part. It always belongs to the same.
  [[nodiscard]] bool holds(std::string_view root) const noexcept;
};
// The shard in the form "K/N"; none for another text.
[[nodiscard]] std::optional<Shard> shardIn(const std::string& text);

class RootList {
 public:
  void add(std::string_view root);
  // Adds the paths in the text of a list, one on each line, or each ended by a NUL. Empty ones are
  // passed over. The error says what is wrong with the text.
  Status addLines(std::string_view text, bool endedByNul);

  [[nodiscard]] std::size_t size() const noexcept { return ends_.size(); }
  [[nodiscard]] std::string_view operator[](std::size_t index) const noexcept;

  // The same roots as absolute paths, without slashes at their ends. Fails where one is relative
  // and the current directory cannot be told.
  [[nodiscard]] Result<RootList> absolute() const;
  // Those of them that belong to the shard; `named` is the list that names them.
  [[nodiscard]] RootList in(const Shard& shard, const RootList& named) const;
  // The error names a root that stands twice in the list, however it is written, or lies inside
  // another.
  [[nodiscard]] Status requireSeparate() const;

 private:
  std::string paths_;              // one after the other
  std::vector<std::size_t> ends_;  // of each of them
};

// Finds the places of roots in a list, which must outlive it and stay as it is.
class RootIndex {
 public:
  explicit RootIndex(const RootList& roots);
  [[nodiscard]] std::optional<std::size_t> find(std::string_view root) const;

 private:
  const RootList& roots_;
  std::vector<std::uint32_t> sorted_;
};

}  // namespace accountsettings
