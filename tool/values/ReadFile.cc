// Whole files of this machine, read, and replaced so that nobody sees half of one.
#include "tool/values/ReadFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <system_error>

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

// A name beside `target` that nothing has yet.
fs::path freshNameBeside(const fs::path& target) {
  std::random_device random;
  fs::path name = target;
  name.replace_filename("." + target.filename().string() + ".new-" + std::to_string(random()));
  return name;
}

// Answers the error number of the first call that failed, or 0.
int writeWhole(std::FILE* stream, std::string_view content) {
  errno = 0;
  if (std::fwrite(content.data(), 1, content.size(), stream) != content.size() ||
      std::fflush(stream) != 0) {
    return errno != 0 ? errno : EIO;
  }
  return 0;
}

void writeInPlace(const std::string& path, std::string_view content) {
  const OpenFile stream(std::fopen(path.c_str(), "wb"));
  if (!stream) fail(path, errno);
  if (const int code = writeWhole(stream.get(), content)) fail(path, code);
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
  std::error_code code;
  const fs::file_status status = fs::status(path, code);
  if (fs::is_directory(status)) {
    throw Prevented(path, "this is a directory", "give the name of a file in it");
  }
  if (fs::exists(status) && !fs::is_regular_file(status)) return writeInPlace(path, content);
  // The file that a link leads to is replaced, not the link.
  const fs::path target = fs::exists(status) ? fs::canonical(path, code) : fs::path(path);
  const fs::path fresh = freshNameBeside(target);
  OpenFile stream(std::fopen(fresh.c_str(), "wbx"));
  if (!stream) fail(path, errno);
  int failed = writeWhole(stream.get(), content);
  if (std::fclose(stream.release()) != 0 && failed == 0) failed = errno;
  if (failed == 0) {
    fs::rename(fresh, target, code);
    failed = code.value();
  }
  if (failed != 0) {
    fs::remove(fresh, code);
    fail(path, failed);
  }
}

void writeFile(const std::string& path, const Bytes& content) {
  writeFile(path, std::string_view(reinterpret_cast<const char*>(content.data()), content.size()));
}

}  // namespace accountsettings
