/// \file
/// ProcessContext is one process's world: the platform it runs on, and everything that
/// lives once per process (type registry, creators information, notification switch,
/// once-flags, cached switches). A program makes one at start; a test makes one for
/// itself, and two of them may live on two threads at once.
#pragma once

#include <cstddef>
#include <memory>

#include "platform/ClassRegistry.h"
#include "platform/Platform.h"

namespace accountsettings {

/// \copydoc ProcessContext.h
class ProcessContext {
 public:
  /// The services behind `platform` must outlive the context. `size` is how the library knows which
  /// services the caller's Platform has; AssertionFailure where they are others than its own.
  explicit ProcessContext(const Platform& platform, std::size_t size = sizeof(Platform));
  /// Stores and accounts that were made in it must not be used any more; they may be dropped later.
  /// The program has no default then, if it was this one.
  ~ProcessContext();
  ProcessContext(const ProcessContext&) = delete;
  ProcessContext& operator=(const ProcessContext&) = delete;

  /// This thread's override if one is set, else the program's default. AssertionFailure where
  /// neither exists.
  [[nodiscard]] static ProcessContext& current();
  /// Makes `context` the program's default (nullptr: none). AssertionFailure where the program has
  /// another one.
  static void setDefault(ProcessContext* context);

  /// The services that the context was made with.
  [[nodiscard]] const Platform& platform() const noexcept;
  /// The classes that modules registered in this context.
  [[nodiscard]] ClassRegistry& classes() noexcept;

  /// Slot names one piece of per-process state. Each layer defines its own as static objects in its
  /// own source file; the object's address is the name.
  template <class State>
  struct Slot {};

  /// The state of `slot`, default-constructed on first use. Creation is safe between threads.
  template <class State>
  [[nodiscard]] State& state(const Slot<State>& slot) {
    return *static_cast<State*>(
        stateAt(&slot, [] { return std::shared_ptr<void>(std::make_shared<State>()); }));
  }

  /// Override makes a context the current one on this thread for as long as it lives.
  class Override {
   public:
    explicit Override(ProcessContext& context) noexcept;
    ~Override();
    Override(const Override&) = delete;
    Override& operator=(const Override&) = delete;

   private:
    ProcessContext* previous_;
  };

 private:
  void* stateAt(const void* slot, std::shared_ptr<void> (*make)());

  struct Contents;

  std::unique_ptr<Contents> contents_;
};

}  // namespace accountsettings
