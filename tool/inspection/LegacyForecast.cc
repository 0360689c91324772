// How legacy files are read, and each description converted as if the migration ran.
#include "tool/inspection/LegacyForecast.h"

#include <string_view>

#include "account/RecordProblems.h"
#include "plist/Description.h"
#include "tool/accounts/AccountNaming.h"
#include "tool/inspection/InspectionParts.h"

namespace accountsettings {
namespace {

LegacyDescription describe(const PropertyList& stored, const LegacyFormat& format,
                           std::string_view type, std::size_t index) {
  LegacyDescription description;
  const Dictionary* dictionary = stored.dictionary();
  if (!dictionary) {
    description.label = accountLabel(stored, index);
    description.problem = "is " + std::string(kindInWords(stored)) + " instead of a dictionary";
    return description;
  }
  description.properties = format.properties(*dictionary, type);
  description.label = accountLabel(description.properties, index);
  description.problem = typeProblem(description.properties);
  if (recordProblemsOf(description.properties).noClass) {
    description.problem = "tells no account class";
  }
  return description;
}

LegacySection sectionOf(const Dictionary& content, const LegacyFormat& format,
                        const LegacyList& list) {
  LegacySection section{std::string(list.key), std::string(list.type), {}};
  std::size_t index = 0;
  for (const PropertyList& each : content.arrayOrEmpty(list.key)) {
    section.descriptions.push_back(describe(each, format, list.type, index++));
  }
  return section;
}

void readContent(LegacyFile& file, const Result<PropertyList>& content) {
  if (!content) {
    file.problem = content.error().message;
    file.forbidden = isForbidden(content.error());
  } else if (const Dictionary* dictionary = content->dictionary()) {
    file.content = *dictionary;
  } else {
    file.problem = "its root is " + std::string(kindInWords(*content)) + " instead of a dictionary";
  }
}

LegacyFile legacyFileOf(const InspectedFile& inspected, const LegacyFormat& format) {
  LegacyFile file;
  file.path = inspected.name;
  file.format = &format;
  file.exists = inspected.content.has_value();
  if (file.exists) readContent(file, *inspected.content);
  for (const LegacyList& list : format.lists) {
    file.sections.push_back(sectionOf(file.content, format, list));
  }
  return file;
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

std::string whyNotConverted(const LegacyFile& file) {
  if (file.problem) return "it cannot be read (" + *file.problem + ")";
  for (const LegacySection& section : file.sections) {
    for (const LegacyDescription& each : section.descriptions) {
      if (!each.problem) continue;
      return "its description " + each.label + " under " + quoted(section.key) + " " +
             *each.problem + ", and where one cannot be converted, none is";
    }
  }
  return file.descriptionCount() == 0 ? "it holds no account descriptions" : "";
}

std::vector<LegacyFile> legacyFilesOf(const InspectedFiles& files) {
  return {legacyFileOf(files.legacyExchange, kLegacyExchange),
          legacyFileOf(files.legacyMail, kLegacyMail)};
}

}  // namespace accountsettings
