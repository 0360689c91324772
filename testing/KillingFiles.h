// KillingFiles passes every call on to other files, and kills this process, without warning, at
// one of them. A test uses it in a child process.
#pragma once

#include <signal.h>

#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

#include "platform/ForwardingFiles.h"

namespace accountsettings::testing {

class KillingFiles : public ForwardingFiles {
 public:
  // Kills just before the call of this number, from 1 on; a write is half done by then. 0 never.
  KillingFiles(Files& files, int killAt) : ForwardingFiles(files), killAt_(killAt) {}

  // How many calls there were.
  [[nodiscard]] int calls() const { return calls_; }

  Status create(const std::string& path, std::span<const std::uint8_t> bytes) override {
    if (isNext()) (void)files_.create(path, bytes.first(bytes.size() / 2));
    return ForwardingFiles::create(path, bytes);
  }

 protected:
  void willCall() override {
    if (++calls_ != killAt_) return;
    ::raise(SIGKILL);
    std::abort();
  }
  Status writeTo(TemporaryFile& file, std::span<const std::uint8_t> bytes) override {
    if (isNext()) (void)file.write(bytes.first(bytes.size() / 2));
    return ForwardingFiles::writeTo(file, bytes);
  }

 private:
  [[nodiscard]] bool isNext() const { return calls_ + 1 == killAt_; }

  int killAt_;
  int calls_ = 0;
};

}  // namespace accountsettings::testing
