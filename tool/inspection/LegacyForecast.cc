#include "tool/inspection/LegacyForecast.h"

#include <functional>

#include "account/AccountConstants.h"
#include "migration/LegacyDescriptions.h"
#include "plist/Description.h"
#include "tool/accounts/AccountTree.h"
#include "tool/inspection/InspectionParts.h"

namespace accountsettings {
namespace {

using Convert = std::function<Dictionary(const Dictionary& description)>;

LegacyDescription describe(const PropertyList& stored, const Convert& convert, std::size_t index) {
  LegacyDescription description;
  const Dictionary* dictionary = stored.dictionary();
  if (!dictionary) {
    description.label = accountLabel(stored, index);
    description.problem = "is " + std::string(kindInWords(stored)) + " instead of a dictionary";
    return description;
  }
  description.properties = convert(*dictionary);
  description.label = accountLabel(description.properties, index);
  description.problem = typeProblem(description.properties);
  if (!hasClass(description.properties)) {
    description.problem = "tells no account class";
  }
  return description;
}

void addSection(LegacyFile& file, std::string key, std::string_view replacedType,
                const Convert& convert) {
  LegacySection section{std::move(key), std::string(replacedType), {}};
  const PropertyList* stored = file.content.find(section.key);
  if (stored && stored->array()) {
    std::size_t index = 0;
    for (const PropertyList& each : *stored->array()) {
      section.descriptions.push_back(describe(each, convert, index++));
    }
  }
  file.sections.push_back(std::move(section));
}

LegacyFile legacyFileOf(const InspectedFile& inspected) {
  LegacyFile file;
  file.path = inspected.name;
  file.exists = inspected.content.has_value();
  if (!file.exists) return file;
  const Result<PropertyList>& content = *inspected.content;
  if (!content) {
    file.problem = content.error().message;
    file.forbidden = isForbidden(content.error());
  } else if (const Dictionary* dictionary = content->dictionary()) {
    file.content = *dictionary;
  } else {
    file.problem = "its root is " + std::string(kindInWords(*content)) + " instead of a dictionary";
  }
  return file;
}

Convert asMailAccountOf(std::string_view type) {
  return [type](const Dictionary& each) { return mailAccountProperties(each, type); };
}

}  // namespace

const LegacySection* LegacyFile::section(std::string_view key) const {
  for (const LegacySection& each : sections) {
    if (each.key == key) return &each;
  }
  return nullptr;
}

std::size_t LegacyFile::descriptionCount() const {
  std::size_t count = 0;
  for (const LegacySection& each : sections) {
    count += each.descriptions.size();
  }
  return count;
}

std::vector<LegacyFile> legacyFilesOf(const InspectedFiles& files) {
  LegacyFile exchange = legacyFileOf(files.legacyExchange);
  addSection(exchange, "DAAccountsKey", kExchangeAccountType, exchangeAccountProperties);
  LegacyFile mail = legacyFileOf(files.legacyMail);
  addSection(mail, "DeliveryAccounts", kSMTPAccountType, asMailAccountOf(kSMTPAccountType));
  addSection(mail, "MailAccounts", kMailAccountType, asMailAccountOf(kMailAccountType));
  return {std::move(exchange), std::move(mail)};
}

}  // namespace accountsettings
