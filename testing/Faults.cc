// Decides which operations of the fake device fail, and keeps count of them.
#include "testing/Faults.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace accountsettings::testing {

Error failure(std::string_view subject, int code) {
  return Error{std::string(subject) + ": " + std::generic_category().message(code), code};
}

bool Faults::Plan::isDue(std::string_view operation) {
  if (exact ? operation != name : !operation.starts_with(name)) return false;
  if (always) return true;
  return --remaining == 0;
}

void Faults::add(Plan plan) {
  const std::lock_guard lock(mutex_);
  plans_.push_back(std::move(plan));
}

void Faults::failAt(std::string_view operation, int nth, int code) {
  add({std::string(operation), true, false, nth, Effect::Fail, code, {}});
}

void Faults::failAlways(std::string_view operation, int code) {
  add({std::string(operation), true, true, 0, Effect::Fail, code, {}});
}

void Faults::failNth(int nth, std::string_view prefix, int code) {
  add({std::string(prefix), false, false, nth, Effect::Fail, code, {}});
}

void Faults::cutPowerAt(std::string_view operation, int nth) {
  add({std::string(operation), true, false, nth, Effect::PowerCut, EIO, {}});
}

void Faults::cutPowerNth(int nth, std::string_view prefix) {
  add({std::string(prefix), false, false, nth, Effect::PowerCut, EIO, {}});
}

void Faults::doAt(std::string_view operation, int nth, std::function<void()> action) {
  add({std::string(operation), true, false, nth, Effect::Action, 0, std::move(action)});
}

void Faults::clear() {
  const std::lock_guard lock(mutex_);
  plans_.clear();
  fired_ = false;
}

bool Faults::fired() const {
  const std::lock_guard lock(mutex_);
  return fired_;
}

bool Faults::powerIsCut() const {
  const std::lock_guard lock(mutex_);
  return powerIsCut_;
}

std::vector<Call> Faults::calls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

std::vector<std::string> Faults::operations(std::string_view prefix) const {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> names;
  for (const Call& call : calls_) {
    if (call.operation.starts_with(prefix)) names.push_back(call.operation);
  }
  return names;
}

std::size_t Faults::count(std::string_view operation) const {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count_if(
      calls_.begin(), calls_.end(), [&](const Call& call) { return call.operation == operation; }));
}

void Faults::forgetCalls() {
  const std::lock_guard lock(mutex_);
  calls_.clear();
}

void Faults::recordAndAct(std::string_view operation, std::string_view subject) {
  std::vector<std::function<void()>> due;
  {
    const std::lock_guard lock(mutex_);
    calls_.push_back({std::string(operation), std::string(subject)});
    for (Plan& plan : plans_) {
      if (plan.effect == Effect::Action && plan.isDue(operation)) due.push_back(plan.action);
    }
  }
  // Outside the mutex: an action may call operations itself.
  for (const auto& action : due) action();
}

std::optional<Error> Faults::check(std::string_view operation, std::string_view subject) {
  recordAndAct(operation, subject);
  const std::lock_guard lock(mutex_);
  if (powerIsCut_) return failure(subject, EIO);
  std::optional<Error> error;
  for (Plan& plan : plans_) {
    if (plan.effect == Effect::Action || !plan.isDue(operation)) continue;
    fired_ = true;
    if (plan.effect == Effect::PowerCut) {
      powerIsCut_ = true;
      throw PowerCut();
    }
    error = failure(subject, plan.code);
  }
  return error;
}

void Faults::note(std::string_view operation, std::string_view subject) {
  recordAndAct(operation, subject);
}

void Faults::restorePower() {
  const std::lock_guard lock(mutex_);
  powerIsCut_ = false;
}

}  // namespace accountsettings::testing
