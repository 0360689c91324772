// Whole files of this machine, read, and replaced so that nobody sees half of one.
#include "tool/values/ReadFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <numeric>
#include <system_error>

#include "host/NamedFile.h"
#include "plist/Reader.h"
#include "tool/frame/Errors.h"
#include "tool/frame/Json.h"

namespace accountsettings {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxFileSize = std::size_t{1} << 30;

std::string reasonFor(int code) {
  return std::generic_category().message(code);
}

std::string nameOf(const std::string& path) {
  if (path.empty()) return "''";
  return path == "-" ? "standard input" : path;
}

[[noreturn]] void fail(const std::string& path, int code) {
  throw Prevented(nameOf(path), reasonFor(code), adviceFor(code), codeFor(code));
}

std::uint64_t bigEndian(const std::uint8_t* bytes) {
  return std::accumulate(
      bytes, bytes + 8, std::uint64_t{0},
      [](std::uint64_t number, std::uint8_t byte) { return number << 8 | byte; });
}

// Whether a binary file lacks its end, where the table of its objects and the sizes are told.
bool isCutOffBinary(const Bytes& bytes) {
  constexpr std::size_t kTrailer = 32;
  if (bytes.size() < 8 + kTrailer) return true;
  const std::uint8_t* trailer = bytes.data() + bytes.size() - kTrailer;
  const std::uint64_t offsetSize = trailer[6];
  const std::uint64_t count = bigEndian(trailer + 8);
  const std::uint64_t table = bigEndian(trailer + 24);
  const std::size_t end = bytes.size() - kTrailer;
  return offsetSize == 0 || table >= end || (end - table) / offsetSize != count;
}

// Whether the file ends before the property list does.
bool isCutOff(const Bytes& bytes) {
  constexpr std::string_view kEnd = "</plist>";
  const auto form = formOf(bytes);
  if (!form) return false;
  if (*form == PropertyListForm::Binary) return isCutOffBinary(bytes);
  // In whichever width its characters are.
  std::string text(bytes.begin(), bytes.end());
  std::erase(text, '\0');
  return text.find(kEnd) == std::string::npos;
}

[[noreturn]] void refuseSize(const std::string& path) {
  throw Prevented(nameOf(path),
                  "it holds more than a gigabyte, which nothing does that is read here",
                  "check the path", FailureCode::Unreadable);
}

// What never ends, or waits for somebody to write into it, is not begun with.
void requireRegularFile(const std::string& path) {
  std::error_code code;
  const fs::file_status status = fs::status(path, code);
  if (fs::is_directory(status)) {
    throw Prevented(path, "this is a directory", "give a file in it", FailureCode::Unreadable);
  }
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    throw Prevented(path, "this is no regular file", "copy what it gives into a file first",
                    FailureCode::Unreadable);
  }
  if (const std::uintmax_t size = fs::file_size(path, code); !code && size > kMaxFileSize) {
    refuseSize(path);
  }
}

// One byte more than the file has, so that its end is seen before the room is.
std::size_t sizeToBegin(const std::string& path) {
  constexpr std::uintmax_t kLeast = std::uintmax_t{1} << 16;
  std::error_code code;
  const std::uintmax_t size = path == "-" ? 0 : fs::file_size(path, code);
  return static_cast<std::size_t>(std::max(code ? 0 : size + 1, kLeast));
}

}  // namespace

Bytes readFile(const std::string& path) {
  if (path != "-") requireRegularFile(path);
  OpenNamedFile opened;
  std::FILE* stream = stdin;
  if (path != "-") {
    opened.reset(std::fopen(path.c_str(), "rb"));
    if (!opened) fail(path, errno);
    stream = opened.get();
  }
  Bytes content(sizeToBegin(path));
  std::size_t filled = 0;
  while (const std::size_t got =
             std::fread(content.data() + filled, 1, content.size() - filled, stream)) {
    filled += got;
    if (filled > kMaxFileSize) refuseSize(path);
    if (filled == content.size()) content.resize(2 * filled);
  }
  if (std::ferror(stream) != 0) fail(path, errno);
  content.resize(filled);
  return content;
}

Result<PropertyList> propertyListIn(const Bytes& bytes) {
  Result<PropertyList> value = readPropertyList(bytes);
  if (value || !isCutOff(bytes)) return value;
  return Error{"it is probably cut off, " + value.error().message, value.error().code};
}

Result<PropertyList> propertyListOrJsonIn(const Bytes& bytes) {
  if (formOf(bytes)) return propertyListIn(bytes);
  return fromJson({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

PropertyList readPropertyListFile(const std::string& path) {
  const Bytes bytes = readFile(path);
  if (bytes.empty()) {
    throw Prevented(nameOf(path), "the file is empty, not a property list", "check the path",
                    FailureCode::Unreadable);
  }
  Result<PropertyList> value = propertyListIn(bytes);
  if (!value) {
    throw Prevented(nameOf(path), value.error().message,
                    "it is no property list, or a damaged one: take another file or a good copy",
                    FailureCode::Unreadable);
  }
  return std::move(value).value();
}

namespace {

std::string_view textOf(const Bytes& content) {
  return {reinterpret_cast<const char*>(content.data()), content.size()};
}

void writeFile(const std::string& path, std::string_view content, std::uint32_t newMode) {
  std::error_code ignored;
  if (fs::is_directory(path, ignored)) {
    throw Prevented(path, "this is a directory", "give the name of a file in it",
                    FailureCode::Exists);
  }
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(content.data());
  const Status written = replaceNamedFile(path, {bytes, content.size()}, newMode);
  if (!written) throw Prevented(path, written.error());
}

}  // namespace

void writeFile(const std::string& path, std::string_view content) {
  writeFile(path, content, 0666);
}

void writeFile(const std::string& path, const Bytes& content) {
  writeFile(path, textOf(content), 0666);
}

void writePrivateFile(const std::string& path, const Bytes& content) {
  writeFile(path, textOf(content), 0600);
}

}  // namespace accountsettings
