// ModuleAccount is the full account that the modules of these tests make. It writes a mark into
// the live properties that it shares, so that a test sees whose code ran.
#pragma once

#include <memory>
#include <utility>

#include "account/CreatorCapabilities.h"
#include "account/LiveProperties.h"
#include "plist/PropertyList.h"

namespace {

class ModuleAccount : public accountsettings::FullAccount {
 public:
  explicit ModuleAccount(std::shared_ptr<accountsettings::LiveProperties> properties)
      : properties_(std::move(properties)) {
    properties_->set("Module", accountsettings::PropertyList("made"));
  }
  ~ModuleAccount() override { properties_->set("Module", accountsettings::PropertyList("gone")); }
  ModuleAccount(const ModuleAccount&) = delete;
  ModuleAccount& operator=(const ModuleAccount&) = delete;

  void setParentAccount(std::shared_ptr<accountsettings::BasicAccount> parent) override {
    parent_ = std::move(parent);
  }

 private:
  std::shared_ptr<accountsettings::LiveProperties> properties_;
  std::shared_ptr<accountsettings::BasicAccount> parent_;
};

}  // namespace
