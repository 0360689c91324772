// OwnContext is the process context that a store was made in. A store that was saved in another one
// would write the accounts of one device over those of another.
#pragma once

#include <memory>

namespace accountsettings {

class OwnContext {
 public:
  // The current context.
  OwnContext();

  // AssertionFailure where another one is current, or none.
  void require() const;

 private:
  // Kept beyond the context's end, so that no later one has the same.
  std::shared_ptr<const void> mark_;
};

}  // namespace accountsettings
