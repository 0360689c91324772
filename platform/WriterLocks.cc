// WriterLocks.cc holds the locks of a platform that has none.
#include "platform/WriterLocks.h"

namespace accountsettings {

namespace {

class NoWriterLocks : public WriterLocks {
 public:
  Result<std::unique_ptr<Held>> hold(const std::string&) override {
    return std::unique_ptr<Held>();
  }
};

}  // namespace

WriterLocks& noWriterLocks() {
  static NoWriterLocks none;
  return none;
}

}  // namespace accountsettings
