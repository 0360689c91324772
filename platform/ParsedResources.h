// ParsedResources keeps what the bytes of a resource were parsed to: a process that works on many
// devices reads the same ones for each. Only the same bytes are answered the same, so that nothing
// of one device reaches another.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "plist/Reader.h"
#include "plist/Result.h"

namespace accountsettings {

// Safe between threads.
class ParsedResources {
 public:
  // What readPropertyList() answers of the bytes, which are those of the resource now.
  [[nodiscard]] Result<PropertyList> parse(const std::string& path, Bytes bytes) {
    const std::lock_guard lock(mutex_);
    const auto known = parsed_.find(path);
    if (known != parsed_.end() && known->second.bytes == bytes) return known->second.content;
    Result<PropertyList> content = readPropertyList(bytes);
    if (content) parsed_.insert_or_assign(path, Parsed{std::move(bytes), *content});
    return content;
  }

 private:
  struct Parsed {
    Bytes bytes;
    PropertyList content;
  };
  std::mutex mutex_;
  std::map<std::string, Parsed> parsed_;
};

}  // namespace accountsettings
