// Keeps the findings' codes in the schemas in step with those of the program.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
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

// The codes of every kind that the header defines, as it is written.
Codes codesOfTheProgram() {
  const std::string header = textOfFile(AS_SCHEMA_DIR "/../inspection/FindingKinds.h");
  static const std::regex kDefinition("constexpr FindingKind k\\w+");
  static const std::regex kWithCode("constexpr FindingKind k\\w+\\{\\s*\"([a-z-]+)\"");
  const std::sregex_iterator end;
  Codes codes;
  std::ptrdiff_t found = 0;
  for (std::sregex_iterator at(header.begin(), header.end(), kWithCode); at != end; ++at, ++found) {
    codes.insert((*at)[1]);
  }
  EXPECT_GT(found, 25);
  EXPECT_EQ(std::distance(std::sregex_iterator(header.begin(), header.end(), kDefinition), end),
            found);
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
                         ::testing::Values("check.schema.json", "plan.schema.json",
                                           "migrate.schema.json"));

}  // namespace
}  // namespace accountsettings::testing
