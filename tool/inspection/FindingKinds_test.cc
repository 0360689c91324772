// Keeps the findings' codes in the schemas in step with those of the program.
#include "tool/inspection/FindingKinds.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

namespace accountsettings::testing {
namespace {

using nlohmann::literals::operator""_json_pointer;

using Codes = std::set<std::string>;

std::string textOfFile(const std::string& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

Codes codesOfTheProgram() {
  Codes codes;
  for (const FindingKind& each : kFindingKinds) codes.insert(each.code);
  return codes;
}

// The codes that the schema lets a finding have.
Codes codesOfSchema(const std::string& name) {
  const auto schema = nlohmann::json::parse(textOfFile(std::string(AS_SCHEMA_DIR "/") + name));
  Codes codes;
  for (const auto& each : schema.at("/definitions/finding/properties/code/enum"_json_pointer)) {
    EXPECT_TRUE(codes.insert(each).second) << each;
  }
  return codes;
}

class SchemaOfFindings : public ::testing::TestWithParam<const char*> {};

TEST_P(SchemaOfFindings, ListsTheCodesOfTheProgramAndNoOthers) {
  EXPECT_EQ(codesOfSchema(GetParam()), codesOfTheProgram());
}

INSTANTIATE_TEST_SUITE_P(All, SchemaOfFindings,
                         ::testing::Values("check.schema.json", "migration.schema.json"));

}  // namespace
}  // namespace accountsettings::testing
