// The exception for programming and installation errors; its type lives here.
#include "platform/AssertionFailure.h"

#include <utility>

namespace accountsettings {

AssertionFailure::AssertionFailure(const std::string& message, std::string method,
                                   std::string sourceFile, const std::string& advice)
    : std::runtime_error(advice.empty() ? message : message + ". " + advice + "."),
      message_(message),
      method_(std::move(method)),
      sourceFile_(std::move(sourceFile)) {}

AssertionFailure::~AssertionFailure() = default;

}  // namespace accountsettings
