// FakeFiles is a file system in memory that knows what a crash would leave: content
// counts as stored once it was flushed, names (creations, renames, removals) once
// their directory was flushed. Paths are absolute; "." and ".." never lead above "/".
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Files.h"
#include "plist/PropertyList.h"
#include "testing/Faults.h"

namespace accountsettings::testing {

// CrashOutcome is one of the states in which a crash may leave the file system.
struct CrashOutcome {
  // Names that were not flushed: all of them happened, or none did.
  enum class Names { Kept, Undone };
  // Content that was not flushed: kept, back to what was flushed before (nothing for a new file),
  // cut in half, or overwritten with other bytes.
  enum class Content { Kept, Lost, CutShort, Garbled };

  Names names = Names::Undone;
  Content content = Content::Lost;
};

// Every outcome that a test of a crash has to survive.
[[nodiscard]] std::vector<CrashOutcome> allCrashOutcomes();

class FakeFiles : public Files {
 public:
  // Begins with the directories that a device has: /tmp, /var/mobile/Library/Preferences,
  // /var/mobile/Library/Mail, /var/shared, /private, and those above them.
  explicit FakeFiles(Faults& faults);
  ~FakeFiles() override;

  // Setting up and looking: never fails, is not counted, and counts as flushed.

  // Makes or replaces a file; makes the missing directories above it.
  void put(const std::string& path, std::span<const std::uint8_t> bytes);
  void put(const std::string& path, std::string_view text);
  // The same, with the value's binary form.
  void putPropertyList(const std::string& path, const PropertyList& value);
  void putDirectory(const std::string& path);
  // Takes away a file, or a directory with all it holds, if it is there.
  void erase(const std::string& path);

  [[nodiscard]] bool has(const std::string& path) const;
  // The content of a file; none where there is no file.
  [[nodiscard]] std::optional<Bytes> bytes(const std::string& path) const;
  [[nodiscard]] std::optional<std::string> text(const std::string& path) const;
  // The value in a file; none where there is no file or it holds no property list.
  [[nodiscard]] std::optional<PropertyList> propertyList(const std::string& path) const;
  // The permission bits; none where nothing is there.
  [[nodiscard]] std::optional<unsigned> mode(const std::string& path) const;
  // Account and group name of the owner; "root" and "root" for what nobody was given.
  [[nodiscard]] std::optional<std::pair<std::string, std::string>> owner(
      const std::string& path) const;
  // Every file, sorted; `prefix` narrows it down.
  [[nodiscard]] std::vector<std::string> paths(std::string_view prefix = "/") const;
  // The temporary files that were made and neither renamed nor removed.
  [[nodiscard]] std::vector<std::string> temporaryFilesLeft() const;
  // How many temporary files are still open.
  [[nodiscard]] int openFiles() const;

  // Loses what was not flushed, restores the power, and forgets the faults that were planned.
  void crash(CrashOutcome outcome = {});

  // The accounts and groups that setOwner() knows.
  std::set<std::string, std::less<>> accounts{"mobile", "root"};
  // Where temporary files are made; empty: beside the destination.
  std::string temporaryDirectory;

  // Files: the operations are named "files.read", "files.exists", "files.isDirectory",
  // "files.copy", "files.remove", "files.create", "files.makeDirectory", "files.writeAtomically",
  // "files.makeTemporary", "files.write", "files.setOwner", "files.flushAndClose", "files.rename"
  // and "files.flushDirectoryOf". A failing write leaves half of its bytes.
  [[nodiscard]] Result<Bytes> read(const std::string& path) override;
  [[nodiscard]] Presence exists(const std::string& path) override;
  [[nodiscard]] Presence isDirectory(const std::string& path) override;
  Status copy(const std::string& source, const std::string& target) override;
  Status remove(const std::string& path) override;
  Status create(const std::string& path, std::span<const std::uint8_t> bytes) override;
  Status makeDirectory(const std::string& path, unsigned mode) override;
  Status writeAtomically(const std::string& path, std::span<const std::uint8_t> bytes) override;
  [[nodiscard]] Result<std::unique_ptr<TemporaryFile>> makeTemporary(
      const std::string& destination) override;
  Status rename(const std::string& source, const std::string& target) override;
  Status flushDirectoryOf(const std::string& path) override;

 private:
  friend class FakeTemporaryFile;
  struct Node;
  using NodePointer = std::shared_ptr<Node>;
  // Where a path leads: the directory that holds it, its last name, and what is there.
  struct Place {
    NodePointer directory;
    std::string name;
    NodePointer node;
  };

  // The place of `path`; none where a directory on the way is missing or is no directory.
  [[nodiscard]] std::optional<Place> find(const std::string& path) const;
  // The place, or the error that a call about it would answer.
  [[nodiscard]] Result<Place> locate(const std::string& path) const;
  [[nodiscard]] NodePointer nodeAt(const std::string& path) const;
  [[nodiscard]] NodePointer fileAt(const std::string& path) const;
  // Writes into the file at `place` without flushing, making it where it is missing.
  void writeAt(Place& place, std::span<const std::uint8_t> bytes);

  Faults& faults_;
  mutable std::recursive_mutex mutex_;
  NodePointer root_;
  std::vector<std::pair<std::string, std::weak_ptr<Node>>> temporaries_;
  int openFiles_ = 0;
  int temporaryNumber_ = 0;
};

}  // namespace accountsettings::testing
