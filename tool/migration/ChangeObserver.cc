#include "tool/migration/ChangeObserver.h"

namespace accountsettings {

void ChangeObserver::willRunStep(std::string_view step, const Array& accounts) {
  if (progress_) progress_(step);
  before_ = accounts;
}

void ChangeObserver::didRunStep(std::string_view step, const Array& accounts, bool result) {
  steps_.emplace_back(step, std::exchange(before_, {}), accounts, result);
}

}  // namespace accountsettings
