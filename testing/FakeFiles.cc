// The fake device's files in memory, with what a crash leaves of them.
#include "testing/FakeFiles.h"

#include <algorithm>

#include "platform/Directories.h"
#include "plist/BinaryWriter.h"
#include "plist/Reader.h"

namespace accountsettings::testing {

// Node is a file or a directory, with what a crash would leave of it beside what is there.
struct FakeFiles::Node {
  bool isDirectory = false;
  unsigned mode = 0644;
  std::string owner = "root";
  std::string group = "root";
  Bytes content;
  Bytes flushedContent;
  bool contentIsFlushed = true;
  std::map<std::string, NodePointer> entries;
  std::map<std::string, NodePointer> flushedEntries;

  void write(std::span<const std::uint8_t> bytes) {
    content.assign(bytes.begin(), bytes.end());
    contentIsFlushed = false;
  }
  void flushContent() {
    flushedContent = content;
    contentIsFlushed = true;
  }
};

namespace {

// The names along a path, "." and ".." resolved.
std::vector<std::string> namesOf(std::string_view path) {
  std::vector<std::string> names;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('/'), path.size());
    const std::string_view name = path.substr(0, end);
    path.remove_prefix(std::min(end + 1, path.size()));
    if (name.empty() || name == ".") continue;
    if (name != "..") {
      names.emplace_back(name);
    } else if (!names.empty()) {
      names.pop_back();
    }
  }
  return names;
}

std::span<const std::uint8_t> firstHalf(std::span<const std::uint8_t> bytes) {
  return bytes.first(bytes.size() / 2);
}

// What a crash leaves of content that was not flushed.
Bytes contentAfterCrash(const Bytes& content, const Bytes& flushed, CrashOutcome::Content outcome) {
  switch (outcome) {
    case CrashOutcome::Content::Kept:
      return content;
    case CrashOutcome::Content::Lost:
      return flushed;
    case CrashOutcome::Content::CutShort: {
      const std::span<const std::uint8_t> half = firstHalf(content);
      return Bytes(half.begin(), half.end());
    }
    case CrashOutcome::Content::Garbled: {
      Bytes garbled = content;
      for (std::uint8_t& byte : garbled) byte ^= 0x5A;
      return garbled;
    }
  }
  return content;
}

}  // namespace

std::vector<CrashOutcome> allCrashOutcomes() {
  using Names = CrashOutcome::Names;
  using Content = CrashOutcome::Content;
  std::vector<CrashOutcome> outcomes;
  for (const Names names : {Names::Kept, Names::Undone}) {
    for (const Content content :
         {Content::Kept, Content::Lost, Content::CutShort, Content::Garbled}) {
      outcomes.push_back({names, content});
    }
  }
  return outcomes;
}

// FakeTemporaryFile writes to a node, wherever its name has gone meanwhile.
class FakeTemporaryFile : public TemporaryFile {
 public:
  FakeTemporaryFile(FakeFiles& files, std::shared_ptr<FakeFiles::Node> node, std::string path)
      : files_(files), node_(std::move(node)), path_(std::move(path)) {}
  FakeTemporaryFile(const FakeTemporaryFile&) = delete;
  FakeTemporaryFile& operator=(const FakeTemporaryFile&) = delete;
  ~FakeTemporaryFile() override {
    const std::lock_guard lock(files_.mutex_);
    close();
  }

  [[nodiscard]] const std::string& path() const override { return path_; }

  Status write(std::span<const std::uint8_t> bytes) override {
    try {
      if (std::optional<Error> error = files_.faults_.check("files.write", path_)) {
        append(firstHalf(bytes));
        return *error;
      }
    } catch (const PowerCut&) {
      append(firstHalf(bytes));
      throw;
    }
    return append(bytes) ? Status() : failure(path_, EBADF);
  }

  Status setOwner(std::string_view owner, std::string_view group) override {
    if (std::optional<Error> error = files_.faults_.check("files.setOwner", path_)) return *error;
    const std::lock_guard lock(files_.mutex_);
    if (!isOpen_) return failure(path_, EBADF);
    for (const std::string_view name : {owner, group}) {
      if (!files_.accounts.contains(name)) return failure(name, ENOENT);
    }
    node_->owner = owner;
    node_->group = group;
    return {};
  }

  Status flushAndClose() override {
    const std::optional<Error> error = files_.faults_.check("files.flushAndClose", path_);
    const std::lock_guard lock(files_.mutex_);
    if (!isOpen_) return failure(path_, EBADF);
    close();
    if (error) return *error;
    node_->flushContent();
    return {};
  }

 private:
  // False where the file is closed already.
  bool append(std::span<const std::uint8_t> bytes) {
    const std::lock_guard lock(files_.mutex_);
    if (!isOpen_) return false;
    node_->content.insert(node_->content.end(), bytes.begin(), bytes.end());
    node_->contentIsFlushed = false;
    return true;
  }

  void close() {
    if (std::exchange(isOpen_, false)) --files_.openFiles_;
  }

  FakeFiles& files_;
  std::shared_ptr<FakeFiles::Node> node_;
  std::string path_;
  bool isOpen_ = true;
};

FakeFiles::FakeFiles(Faults& faults) : faults_(faults), root_(std::make_shared<Node>()) {
  root_->isDirectory = true;
  root_->mode = 0755;
  for (const char* path : {"/tmp", "/private", "/var/shared", "/var/mobile/Library/Mail",
                           "/var/mobile/Library/Preferences"}) {
    putDirectory(path);
  }
}

FakeFiles::~FakeFiles() = default;

// MARK: Places

std::optional<FakeFiles::Place> FakeFiles::find(const std::string& path) const {
  Place place{nullptr, "", root_};
  for (std::string& name : namesOf(path)) {
    if (place.node == nullptr || !place.node->isDirectory) return std::nullopt;
    place.directory = place.node;
    const auto found = place.directory->entries.find(name);
    place.node = found == place.directory->entries.end() ? nullptr : found->second;
    place.name = std::move(name);
  }
  return place;
}

Result<FakeFiles::Place> FakeFiles::locate(const std::string& path) const {
  if (std::optional<Place> place = find(path)) return *place;
  return failure(path, ENOENT);
}

FakeFiles::NodePointer FakeFiles::nodeAt(const std::string& path) const {
  const std::optional<Place> place = find(path);
  return place ? place->node : nullptr;
}

FakeFiles::NodePointer FakeFiles::fileAt(const std::string& path) const {
  NodePointer node = nodeAt(path);
  return node != nullptr && node->isDirectory ? nullptr : node;
}

void FakeFiles::writeAt(Place& place, std::span<const std::uint8_t> bytes) {
  if (place.node == nullptr) {
    place.node = std::make_shared<Node>();
    place.directory->entries[place.name] = place.node;
  }
  place.node->write(bytes);
}

// MARK: Setting up and looking

void FakeFiles::put(const std::string& path, std::span<const std::uint8_t> bytes) {
  putDirectory(path + "/..");
  const std::lock_guard lock(mutex_);
  Place place = *find(path);
  writeAt(place, bytes);
  place.node->flushContent();
  place.directory->flushedEntries[place.name] = place.node;
}

void FakeFiles::put(const std::string& path, std::string_view text) {
  put(path, Bytes(text.begin(), text.end()));
}

void FakeFiles::putPropertyList(const std::string& path, const PropertyList& value) {
  put(path, writeBinary(value).value());
}

void FakeFiles::putDirectory(const std::string& path) {
  const std::lock_guard lock(mutex_);
  NodePointer directory = root_;
  for (const std::string& name : namesOf(path)) {
    NodePointer& node = directory->entries[name];
    if (node == nullptr) {
      node = std::make_shared<Node>();
      node->isDirectory = true;
      node->mode = 0755;
      directory->flushedEntries[name] = node;
    }
    directory = node;
  }
}

void FakeFiles::erase(const std::string& path) {
  const std::lock_guard lock(mutex_);
  const std::optional<Place> place = find(path);
  if (!place || place->directory == nullptr) return;
  place->directory->entries.erase(place->name);
  place->directory->flushedEntries.erase(place->name);
}

bool FakeFiles::has(const std::string& path) const {
  const std::lock_guard lock(mutex_);
  return nodeAt(path) != nullptr;
}

std::optional<Bytes> FakeFiles::bytes(const std::string& path) const {
  const std::lock_guard lock(mutex_);
  const NodePointer file = fileAt(path);
  if (file == nullptr) return std::nullopt;
  return file->content;
}

std::optional<std::string> FakeFiles::text(const std::string& path) const {
  const std::optional<Bytes> content = bytes(path);
  if (!content) return std::nullopt;
  return std::string(content->begin(), content->end());
}

std::optional<PropertyList> FakeFiles::propertyList(const std::string& path) const {
  const std::optional<Bytes> content = bytes(path);
  if (!content) return std::nullopt;
  const Result<PropertyList> value = readPropertyList(*content);
  if (!value) return std::nullopt;
  return *value;
}

std::optional<unsigned> FakeFiles::mode(const std::string& path) const {
  const std::lock_guard lock(mutex_);
  const NodePointer node = nodeAt(path);
  if (node == nullptr) return std::nullopt;
  return node->mode;
}

std::optional<std::pair<std::string, std::string>> FakeFiles::owner(const std::string& path) const {
  const std::lock_guard lock(mutex_);
  const NodePointer node = nodeAt(path);
  if (node == nullptr) return std::nullopt;
  return std::pair(node->owner, node->group);
}

std::vector<std::string> FakeFiles::paths(std::string_view prefix) const {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> found;
  std::vector<std::pair<std::string, NodePointer>> pending{{"", root_}};
  while (!pending.empty()) {
    const auto [path, node] = std::move(pending.back());
    pending.pop_back();
    if (!node->isDirectory) {
      if (path.starts_with(prefix)) found.push_back(path);
      continue;
    }
    for (const auto& [name, entry] : node->entries) {
      pending.emplace_back(appendPathComponent(path, name), entry);
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

std::vector<std::string> FakeFiles::temporaryFilesLeft() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> left;
  for (const auto& [path, node] : temporaries_) {
    const NodePointer there = nodeAt(path);
    if (there != nullptr && there == node.lock()) left.push_back(path);
  }
  return left;
}

int FakeFiles::openFiles() const {
  const std::lock_guard lock(mutex_);
  return openFiles_;
}

void FakeFiles::crash(CrashOutcome outcome) {
  const std::lock_guard lock(mutex_);
  std::vector<NodePointer> pending{root_};
  while (!pending.empty()) {
    const NodePointer node = std::move(pending.back());
    pending.pop_back();
    if (!node->contentIsFlushed) {
      node->content = contentAfterCrash(node->content, node->flushedContent, outcome.content);
      node->flushContent();
    }
    if (outcome.names == CrashOutcome::Names::Undone) {
      node->entries = node->flushedEntries;
    } else {
      node->flushedEntries = node->entries;
    }
    for (const auto& [name, entry] : node->entries) pending.push_back(entry);
  }
  faults_.clear();
  faults_.restorePower();
}

// MARK: Files

Result<Bytes> FakeFiles::read(const std::string& path) {
  if (std::optional<Error> error = faults_.check("files.read", path)) return *error;
  const std::lock_guard lock(mutex_);
  const NodePointer node = nodeAt(path);
  if (node == nullptr) return failure(path, ENOENT);
  if (node->isDirectory) return failure(path, EISDIR);
  return node->content;
}

Presence FakeFiles::exists(const std::string& path) {
  if (std::optional<Error> error = faults_.check("files.exists", path)) return *error;
  return Presence::of(has(path));
}

Presence FakeFiles::isDirectory(const std::string& path) {
  if (std::optional<Error> error = faults_.check("files.isDirectory", path)) return *error;
  const std::lock_guard lock(mutex_);
  const NodePointer node = nodeAt(path);
  return Presence::of(node != nullptr && node->isDirectory);
}

Status FakeFiles::copy(const std::string& source, const std::string& target) {
  if (std::optional<Error> error = faults_.check("files.copy", source)) return *error;
  const std::lock_guard lock(mutex_);
  const NodePointer from = nodeAt(source);
  if (from == nullptr) return failure(source, ENOENT);
  if (from->isDirectory) return failure(source, EISDIR);
  Result<Place> place = locate(target);
  if (!place) return place.error();
  if (place->node != nullptr) return failure(target, EEXIST);
  writeAt(*place, from->content);
  place->node->mode = from->mode;
  return {};
}

Status FakeFiles::remove(const std::string& path) {
  if (std::optional<Error> error = faults_.check("files.remove", path)) return *error;
  const std::lock_guard lock(mutex_);
  const Result<Place> place = locate(path);
  if (!place) return place.error();
  if (place->node == nullptr) return failure(path, ENOENT);
  if (place->node->isDirectory) return failure(path, EISDIR);
  place->directory->entries.erase(place->name);
  return {};
}

Status FakeFiles::create(const std::string& path, std::span<const std::uint8_t> bytes) {
  if (std::optional<Error> error = faults_.check("files.create", path)) return *error;
  const std::lock_guard lock(mutex_);
  Result<Place> place = locate(path);
  if (!place) return place.error();
  if (place->node != nullptr && place->node->isDirectory) return failure(path, EISDIR);
  writeAt(*place, bytes);
  return {};
}

Status FakeFiles::makeDirectory(const std::string& path, unsigned mode) {
  if (std::optional<Error> error = faults_.check("files.makeDirectory", path)) return *error;
  const std::lock_guard lock(mutex_);
  NodePointer directory = root_;
  for (const std::string& name : namesOf(path)) {
    NodePointer& node = directory->entries[name];
    if (node == nullptr) {
      node = std::make_shared<Node>();
      node->isDirectory = true;
      node->mode = mode;
    }
    if (!node->isDirectory) return failure(path, ENOTDIR);
    directory = node;
  }
  return {};
}

Status FakeFiles::writeAtomically(const std::string& path, std::span<const std::uint8_t> bytes) {
  if (std::optional<Error> error = faults_.check("files.writeAtomically", path)) return *error;
  const std::lock_guard lock(mutex_);
  Result<Place> place = locate(path);
  if (!place) return place.error();
  if (place->node != nullptr && place->node->isDirectory) return failure(path, EISDIR);
  place->node = nullptr;  // a new file takes the name
  writeAt(*place, bytes);
  place->node->flushContent();
  return {};
}

Result<std::unique_ptr<TemporaryFile>> FakeFiles::makeTemporary(const std::string& destination) {
  if (std::optional<Error> error = faults_.check("files.makeTemporary", destination)) {
    return *error;
  }
  const std::lock_guard lock(mutex_);
  const std::vector<std::string> names = namesOf(destination);
  if (names.empty()) return failure(destination, EISDIR);
  std::string path = temporaryDirectory;
  if (path.empty()) {
    for (std::size_t index = 0; index + 1 < names.size(); ++index) path += "/" + names[index];
  }
  path += "/." + names.back() + "." + std::to_string(++temporaryNumber_);
  Result<Place> place = locate(path);
  if (!place) return place.error();
  if (place->node != nullptr) return failure(path, EEXIST);
  writeAt(*place, {});
  place->node->mode = 0600;
  temporaries_.emplace_back(path, place->node);
  ++openFiles_;
  return std::unique_ptr<TemporaryFile>(
      std::make_unique<FakeTemporaryFile>(*this, place->node, std::move(path)));
}

Status FakeFiles::rename(const std::string& source, const std::string& target) {
  if (std::optional<Error> error = faults_.check("files.rename", source)) return *error;
  const std::lock_guard lock(mutex_);
  const Result<Place> from = locate(source);
  if (!from) return from.error();
  if (from->node == nullptr) return failure(source, ENOENT);
  if (from->node->isDirectory) return failure(source, EISDIR);
  const Result<Place> to = locate(target);
  if (!to) return to.error();
  if (to->node == from->node) return {};
  if (to->node != nullptr && to->node->isDirectory) return failure(target, EISDIR);
  to->directory->entries[to->name] = from->node;
  from->directory->entries.erase(from->name);
  return {};
}

Status FakeFiles::flushDirectoryOf(const std::string& path) {
  if (std::optional<Error> error = faults_.check("files.flushDirectoryOf", path)) return *error;
  const std::lock_guard lock(mutex_);
  const Result<Place> place = locate(path);
  if (!place) return place.error();
  if (place->directory == nullptr) return failure(path, EINVAL);
  place->directory->flushedEntries = place->directory->entries;
  return {};
}

}  // namespace accountsettings::testing
