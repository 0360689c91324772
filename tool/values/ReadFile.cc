// Whole files of this machine, read, and replaced so that nobody sees half of one.
#include "tool/values/ReadFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "host/NamedFile.h"
#include "plist/Reader.h"
#include "tool/frame/Errors.h"

namespace accountsettings {

namespace {

namespace fs = std::filesystem;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, CloseFile>;

std::string reasonFor(int code) {
  return std::generic_category().message(code);
}

std::string nameOf(const std::string& path) {
  if (path.empty()) return "''";
  return path == "-" ? "standard input" : path;
}

[[noreturn]] void fail(const std::string& path, int code) {
  throw Prevented(nameOf(path), reasonFor(code), adviceFor(code));
}

}  // namespace

Bytes readFile(const std::string& path) {
  std::error_code ignored;
  if (path != "-" && fs::is_directory(path, ignored)) {
    throw Prevented(path, "this is a directory", "give a file in it");
  }
  OpenFile opened;
  std::FILE* stream = stdin;
  if (path != "-") {
    opened.reset(std::fopen(path.c_str(), "rb"));
    if (!opened) fail(path, errno);
    stream = opened.get();
  }
  Bytes content;
  std::size_t filled = 0;
  for (std::size_t got = 1; got > 0; filled += got) {
    content.resize(std::max<std::size_t>(2 * filled, 1 << 16));
    got = std::fread(content.data() + filled, 1, content.size() - filled, stream);
  }
  if (std::ferror(stream) != 0) fail(path, errno);
  content.resize(filled);
  return content;
}

PropertyList readPropertyListFile(const std::string& path) {
  const Bytes bytes = readFile(path);
  if (bytes.empty()) {
    throw Prevented(nameOf(path), "the file is empty, not a property list", "check the path");
  }
  Result<PropertyList> value = readPropertyList(bytes);
  if (!value) {
    throw Prevented(nameOf(path), value.error().message,
                    "it is no property list, or a damaged one: take another file or a good copy");
  }
  return std::move(value).value();
}

void writeFile(const std::string& path, std::string_view content) {
  std::error_code ignored;
  if (fs::is_directory(path, ignored)) {
    throw Prevented(path, "this is a directory", "give the name of a file in it");
  }
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(content.data());
  const Status written = replaceNamedFile(path, {bytes, content.size()});
  if (!written) throw Prevented("", written.error().message, adviceFor(written.error().code));
}

void writeFile(const std::string& path, const Bytes& content) {
  writeFile(path, std::string_view(reinterpret_cast<const char*>(content.data()), content.size()));
}

}  // namespace accountsettings
