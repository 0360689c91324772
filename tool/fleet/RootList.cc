// How a list of device roots is read, divided, and held to name each device once.
#include "tool/fleet/RootList.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <numeric>

namespace accountsettings {

namespace {

namespace fs = std::filesystem;

// A hash that stays the same on every machine and in every release: FNV-1a, mixed at its end so
// that its rest by a small number depends on all of it.
std::uint64_t stableHash(std::string_view text) noexcept {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char each : text) {
    hash ^= static_cast<unsigned char>(each);
    hash *= 0x100000001b3U;
  }
  hash ^= hash >> 33U;
  hash *= 0xff51afd7ed558ccdU;
  return hash ^ (hash >> 33U);
}

// CanonicalPaths makes paths without links of those of a list, most of whose members lie in one
// directory.
class CanonicalPaths {
 public:
  std::string of(std::string_view root) {
    const fs::path path(root);
    std::error_code code;
    if (path.has_filename() && path.filename() != "." && path.filename() != ".." &&
        !fs::is_symlink(path, code)) {
      const fs::path parent = path.parent_path();
      if (parent.native() != parent_.native()) {
        parent_ = parent;
        canonicalParent_ = fs::weakly_canonical(parent_, code);
        if (code) canonicalParent_ = parent_.lexically_normal();
      }
      return canonicalParent_ / path.filename();
    }
    const fs::path whole = fs::weakly_canonical(path, code);
    return code ? path.lexically_normal() : whole;
  }

 private:
  fs::path parent_;
  fs::path canonicalParent_;
};

bool liesIn(const std::string& path, const std::string& directory) {
  if (directory == "/") return true;
  return path.size() > directory.size() && path.starts_with(directory) &&
         path[directory.size()] == '/';
}

// A path's parts in the order of the tree, so that what lies in a directory follows it at once.
bool comesFirst(const std::string& left, const std::string& right) {
  const auto rank = [](char each) { return each == '/' ? 0 : static_cast<unsigned char>(each); };
  return std::ranges::lexicographical_compare(left, right, {}, rank, rank);
}

std::optional<std::uint64_t> numberIn(std::string_view text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace

bool Shard::holds(std::string_view root) const noexcept {
  return stableHash(root) % parts == number - 1;
}

std::optional<Shard> shardIn(const std::string& text) {
  const std::size_t slash = text.find('/');
  if (slash == std::string::npos) return std::nullopt;
  const auto number = numberIn(std::string_view(text).substr(0, slash));
  const auto parts = numberIn(std::string_view(text).substr(slash + 1));
  if (!number || !parts || *number < 1 || *number > *parts) return std::nullopt;
  return Shard{*number, *parts};
}

void RootList::add(std::string_view root) {
  paths_ += root;
  ends_.push_back(paths_.size());
}

Status RootList::addLines(std::string_view text, bool endedByNul) {
  const char end = endedByNul ? '\0' : '\n';
  if (!endedByNul && text.find('\0') != std::string_view::npos) {
    return Error{"it holds a NUL, which no path on a line of its own does"};
  }
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t stop = std::min(text.find(end, at), text.size());
    if (stop > at) add(text.substr(at, stop - at));
    at = stop + 1;
  }
  return {};
}

std::string_view RootList::operator[](std::size_t index) const noexcept {
  const std::size_t begin = index == 0 ? 0 : ends_[index - 1];
  return std::string_view(paths_).substr(begin, ends_[index] - begin);
}

Result<RootList> RootList::absolute() const {
  std::error_code code;
  const fs::path here = fs::current_path(code);
  RootList all;
  for (std::size_t index = 0; index < size(); ++index) {
    std::string_view path = (*this)[index];
    while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
    if (!path.starts_with('/') && code) {
      return Error{std::string(path) + ": the current directory cannot be told: " + code.message(),
                   code.value()};
    }
    all.add((here / path).native());
  }
  return all;
}

RootList RootList::in(const Shard& shard, const RootList& named) const {
  RootList part;
  for (std::size_t index = 0; index < size(); ++index) {
    if (shard.holds(named[index])) part.add((*this)[index]);
  }
  return part;
}

Status RootList::requireSeparate() const {
  CanonicalPaths canonical;
  std::vector<std::string> paths;
  paths.reserve(size());
  for (std::size_t index = 0; index < size(); ++index)
    paths.push_back(canonical.of((*this)[index]));
  std::ranges::sort(paths, comesFirst);
  for (std::size_t index = 1; index < paths.size(); ++index) {
    const std::string& before = paths[index - 1];
    if (paths[index] == before) return Error{before + ": this root is listed twice"};
    if (liesIn(paths[index], before)) {
      return Error{paths[index] + ": this root lies inside another one, " + before};
    }
  }
  return {};
}

RootIndex::RootIndex(const RootList& roots) : roots_(roots), sorted_(roots.size()) {
  std::iota(sorted_.begin(), sorted_.end(), 0U);
  std::ranges::sort(sorted_, {}, [&](std::uint32_t index) { return roots_[index]; });
}

std::optional<std::size_t> RootIndex::find(std::string_view root) const {
  const auto found = std::ranges::lower_bound(sorted_, root, {},
                                              [&](std::uint32_t index) { return roots_[index]; });
  if (found == sorted_.end() || roots_[*found] != root) return std::nullopt;
  return *found;
}

}  // namespace accountsettings
