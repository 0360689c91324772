// Hostile holds what an image that means harm may put in the place of a file or directory.
#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "faults/DiskTree.h"
#include "faults/Invariants.h"

namespace accountsettings::faults {

struct Replacement {
  const char* name;
  // Puts it at a path where nothing is any more; `outside` is a directory that nobody may touch.
  void (*put)(const std::filesystem::path& at, const std::filesystem::path& outside);
  // What goes on there while a command runs, in a process of its own; nullptr for nothing.
  void (*keepUp)(const std::filesystem::path& at) = nullptr;
};
// Links out of the root and in circles, pipes, sockets, devices, endless, sparse and growing files,
// a file in the place of a directory and the other way round.
[[nodiscard]] std::span<const Replacement> replacements();
// Puts it in the place of what lies at `path` beneath the root.
void replace(const std::filesystem::path& root, const std::string& path,
             const Replacement& replacement, const std::filesystem::path& outside);

// Keeps up what lies at `path`, for as long as it lives.
class KeptUp {
 public:
  KeptUp(const std::filesystem::path& root, const std::string& path,
         const Replacement& replacement);
  ~KeptUp();
  KeptUp(const KeptUp&) = delete;
  KeptUp& operator=(const KeptUp&) = delete;

 private:
  int process_ = -1;
};

// The paths that are replaced in turn: every file and directory that a command may meet.
[[nodiscard]] std::vector<std::string> pathsToReplace(const DiskTree& device);
// Every command, as it is run on such an image; those that write come last.
[[nodiscard]] std::span<const std::vector<std::string>> commandsOnImages();

// Makes the directory that nobody may touch, with something in each place that a link could lead
// to.
void makeOutside(const std::filesystem::path& outside);

// No command waits, is ended by a signal, or answers with a status that there is not.
[[nodiscard]] std::string endsAsItShould(const Told& told);

}  // namespace accountsettings::faults
