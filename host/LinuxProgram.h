/// \file
/// LinuxProgram is all that a program sets up before it uses the library: a host for a device root,
/// a context on it, and that context as the program's default.
#pragma once

#include <cstddef>
#include <memory>

#include "host/LinuxHost.h"
#include "platform/ProcessContext.h"
#include "plist/Result.h"

namespace accountsettings {

/// A program makes one at its start, in main(), and keeps it until its end:
///
///   accountsettings::LinuxProgram program({.root = "device"});
///   if (!program) return program.complain();
///
/// There is one at a time, and it outlives the use of every store and account. It is used from one
/// thread; so is the library, unless a thread sets up a context of its own
/// (ProcessContext::Override).
class LinuxProgram {
 public:
  /// The status with which a program ends that could not be set up.
  static constexpr int kExitStatus = 3;

  /// Serves this machine's own "/" where the options name no other root; for `size` see
  /// LinuxHost::create(). Where the root or its configuration cannot be opened, the program is
  /// false, and no default is set. AssertionFailure where the program has a default already.
  explicit LinuxProgram(const HostOptions& options = {}, std::size_t size = sizeof(HostOptions));
  /// Takes the default away.
  ~LinuxProgram();
  LinuxProgram(const LinuxProgram&) = delete;
  LinuxProgram& operator=(const LinuxProgram&) = delete;

  /// Whether everything is set up.
  [[nodiscard]] explicit operator bool() const noexcept;
  /// Says on the standard error stream why not, and answers kExitStatus.
  [[nodiscard]] int complain() const;
  /// Why not, for programs that say it elsewhere: what, where, and what was expected.
  [[nodiscard]] const Error& error() const noexcept;

  /// REQUIRES: everything is set up.
  ///@{
  [[nodiscard]] LinuxHost& host() noexcept;
  [[nodiscard]] ProcessContext& context() noexcept;
  ///@}

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace accountsettings
