// What is shown of a text, with and without a redactor.
#include "tool/page/Disclosure.h"

#include "tool/frame/SizeLimit.h"
#include "tool/values/PropertyText.h"

namespace accountsettings {

Dictionary Disclosure::stored(const Dictionary& content) const {
  const PropertyList fitting = fittedToLimit(content).value;
  const Dictionary* fitted = fitting.dictionary();
  if (fitted == nullptr) return {};
  return revealsAll() ? withSecretsHidden(*fitted) : *redactor_->stored(*fitted).dictionary();
}

std::string Disclosure::told(std::string_view text) const {
  return revealsAll() ? std::string(text) : redactor_->sentence(text);
}

}  // namespace accountsettings
