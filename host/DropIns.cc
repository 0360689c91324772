// DropIns.cc reads the files of a folder one by one; what is wrong with one spoils no other.
#include "host/DropIns.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "host/FileIO.h"
#include "plist/BinaryWriter.h"
#include "plist/Reader.h"

namespace accountsettings {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kLargestDropIn = std::uint64_t{16} << 20;

// The files of the folder; none where there is none.
std::vector<std::string> filesIn(const std::string& directory, SystemLog& log) {
  std::vector<std::string> files;
  std::error_code code;
  for (fs::directory_iterator each(directory, code), end; !code && each != end;
       each.increment(code)) {
    if (each->path().extension() == ".plist") files.push_back(each->path().string());
  }
  if (code && code != std::errc::no_such_file_or_directory) {
    log.write(directory + ": " + code.message());
  }
  std::ranges::sort(files);
  return files;
}

void add(Dictionary& resource, const std::string& file, SystemLog& log) {
  const Result<Bytes> bytes = readRegular(openerOf(file), kLargestDropIn, file);
  if (!bytes) return log.write(bytes.error().message);
  const Result<PropertyList> value = readPropertyList(*bytes);
  if (!value) return log.write(file + ": " + value.error().message);
  const Dictionary* lists = value->dictionary();
  if (lists == nullptr) return log.write(file + ": a dictionary of lists was expected");
  for (const auto& entry : *lists) {
    const Array* added = entry.value().array();
    const PropertyList* known = resource.find(entry.key());
    if (added == nullptr || (known != nullptr && known->array() == nullptr)) {
      log.write(file + ": the value of \"" + std::string(entry.key()) +
                "\" is no list that adds to a list");
      continue;
    }
    Array entries = known != nullptr ? *known->array() : Array();
    for (const PropertyList& each : *added) entries.append(each);
    resource.set(entry.key(), std::move(entries));
  }
}

}  // namespace

Result<Bytes> withDropIns(Result<Bytes> resource, const std::string& directory, SystemLog& log) {
  if (!resource) return resource;
  const std::vector<std::string> files = filesIn(directory, log);
  if (files.empty()) return resource;
  const Result<PropertyList> value = readPropertyList(*resource);
  // Who reads the resource says what is wrong with it.
  if (!value || value->dictionary() == nullptr) return resource;
  Dictionary completed = *value->dictionary();
  for (const std::string& file : files) add(completed, file, log);
  return writeBinary(completed);
}

}  // namespace accountsettings
