// LinuxProgram.cc sets up what a program stands on, and takes it down in the opposite order.
#include "host/LinuxProgram.h"

#include <cstdio>
#include <optional>
#include <utility>

namespace accountsettings {

struct LinuxProgram::Parts {
  Error error;
  std::unique_ptr<LinuxHost> host;
  std::optional<ProcessContext> context;  // goes before the host that it stands on
};

LinuxProgram::LinuxProgram(const HostOptions& options, std::size_t size)
    : parts_(std::make_unique<Parts>()) {
  Result<std::unique_ptr<LinuxHost>> host = LinuxHost::create(options, size);
  if (!host) {
    parts_->error = host.error();
    return;
  }
  parts_->host = std::move(host).value();
  ProcessContext::setDefault(&parts_->context.emplace(parts_->host->platform()));
}

LinuxProgram::~LinuxProgram() = default;

LinuxProgram::operator bool() const noexcept {
  return parts_->context.has_value();
}

int LinuxProgram::complain() const {
  std::fprintf(stderr, "%s\n", parts_->error.message.c_str());
  return kExitStatus;
}

const Error& LinuxProgram::error() const noexcept {
  return parts_->error;
}

LinuxHost& LinuxProgram::host() noexcept {
  return *parts_->host;
}

ProcessContext& LinuxProgram::context() noexcept {
  return *parts_->context;
}

}  // namespace accountsettings
