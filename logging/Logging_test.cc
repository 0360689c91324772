// Logging fills its formats as the system's log has always shown them, and describes
// nothing that is not written.
#include "logging/Logging.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "testing/PlatformTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Counts how often it was described.
struct Thing {
  std::string description() const {
    ++described;
    return "<Thing>";
  }
  static inline int described = 0;
};
struct DerivedThing : Thing {};
struct Undescribed {};

class Logging : public testing::PlatformTest {
 protected:
  // The one line that `write` logs.
  template <class Write>
  std::string lineOf(Write write) {
    write();
    const std::vector<std::string> lines = takeLog();
    EXPECT_EQ(lines.size(), 1U);
    return lines.empty() ? "" : lines.front();
  }
};

// The line that systemLog() writes for these arguments.
#define LINE(...) lineOf([&] { systemLog(__VA_ARGS__); })

// MARK: What placeholders show

TEST_F(Logging, ALineWithoutPlaceholdersStandsAsItIs) {
  EXPECT_EQ(LINE("Migrating accounts"), "Migrating accounts");
  EXPECT_EQ(LINE(""), "");
}

TEST_F(Logging, TextsShowAsTheyAre) {
  const std::string text = "a b";
  const char* const pointer = "c";
  const char* const none = nullptr;
  EXPECT_EQ(LINE("[%s] %s %s %s", "-[Class method:]", text, std::string_view("v"), pointer),
            "[-[Class method:]] a b v c");
  EXPECT_EQ(LINE("%@ %@ %@", text, std::string_view("v"), "literal"), "a b v literal");
  EXPECT_EQ(LINE("%s %@", none, none), "(null) (null)");
}

TEST_F(Logging, IntegersShowInFullWhateverTheirWidth) {
  EXPECT_EQ(LINE("%d %d", true, false), "1 0");
  EXPECT_EQ(LINE("%ld %ld", std::numeric_limits<std::int64_t>::min(), std::size_t{12}),
            "-9223372036854775808 12");
  EXPECT_EQ(LINE("%ld %d", std::numeric_limits<std::uint64_t>::max(), std::int8_t{-7}),
            "18446744073709551615 -7");
}

TEST_F(Logging, PropertyListsShowTheirDescription) {
  const Dictionary dictionary{{"Key", "value"}, {"Two words", Array{1, true}}};
  EXPECT_EQ(LINE("%@", dictionary), "{ Key = value; \"Two words\" = ( 1, true ); }");
  EXPECT_EQ(LINE("%@", PropertyList(dictionary)), LINE("%@", dictionary));
  EXPECT_EQ(LINE("%@", Array{"a", "b"}), "( a, b )");
  EXPECT_EQ(LINE("%@|%@", PropertyList("two words"), PropertyList(12)), "two words|12");
}

TEST_F(Logging, ListsOfTextsShowLikeArrays) {
  EXPECT_EQ(LINE("%@", std::vector<std::string>{"a", "b c"}), "( a, \"b c\" )");
  EXPECT_EQ(LINE("%@", std::vector<std::string_view>{"a", "b"}), "( a, b )");
}

TEST_F(Logging, ObjectsDescribeThemselvesThroughReferencesAndPointers) {
  Thing thing;
  const DerivedThing derived;
  const std::shared_ptr<Thing> shared = std::make_shared<DerivedThing>();
  const auto unique = std::make_unique<Thing>();
  EXPECT_EQ(LINE("%@ %@ %@ %@ %@", thing, &thing, derived, shared, unique),
            "<Thing> <Thing> <Thing> <Thing> <Thing>");
}

TEST_F(Logging, NothingShowsAsNull) {
  const Thing* const pointer = nullptr;
  const std::shared_ptr<Thing> shared;
  const Dictionary empty;
  EXPECT_EQ(LINE("%@ %@ %@", pointer, shared, empty.find("missing")), "(null) (null) (null)");
  EXPECT_EQ(LINE("%@ %@", empty.get("missing"), std::optional<std::string>()), "(null) (null)");
  EXPECT_EQ(LINE("%@", std::optional<Dictionary>()), "(null)");
}

TEST_F(Logging, WhatAnOptionalOrAPointerHoldsShowsAsItself) {
  const Dictionary dictionary{{"Key", "value"}};
  EXPECT_EQ(LINE("%@ %@", dictionary.get("Key"), dictionary.find("Key")), "value value");
  EXPECT_EQ(LINE("%@ %@", std::optional<std::string>("text"), std::optional(Array{1})),
            "text ( 1 )");
  EXPECT_EQ(LINE("%@", std::optional<std::string_view>("view")), "view");
  EXPECT_EQ(LINE("%@", std::optional<std::shared_ptr<Thing>>(nullptr)), "(null)");
}

TEST_F(Logging, ErrorsShowTheirMessage) {
  EXPECT_EQ(LINE("Failed. %@", Error{"/tmp/a: No space left on device", 28}),
            "Failed. /tmp/a: No space left on device");
}

TEST_F(Logging, ArgumentsAreNeverTakenForFormats) {
  EXPECT_EQ(LINE("%@ %s", "100%@ %s", "%ld%"), "100%@ %s %ld%");
}

TEST_F(Logging, TwoPercentSignsAreOne) {
  EXPECT_EQ(LINE("100%% of %@%%", "all"), "100% of all%");
}

TEST_F(Logging, ArgumentsBeyondThePlaceholdersAreNotShown) {
  EXPECT_EQ(LINE("%@:%@", "Mail", Dictionary{{"a", 1}}, std::vector<std::string>{"x"}),
            "Mail:{ a = 1; }");
}

TEST_F(Logging, AVeryLongValueIsCutShort) {
  const std::string line = LINE("%@!", Array{std::string(1'000'000, 'x')});
  EXPECT_LT(line.size(), 10'000U);
  EXPECT_TRUE(line.ends_with("...!")) << line.substr(line.size() - 10);
}

TEST_F(Logging, AFormatMayBeANamedConstant) {
  static constexpr std::string_view kFormat = "%@ and %ld";
  EXPECT_EQ(LINE(kFormat, "one", 2), "one and 2");
}

TEST_F(Logging, EachLineGoesToTheCurrentContextsLog) {
  testing::FakePlatform otherFake;
  ProcessContext other(otherFake.platform());
  systemLog("mine");
  {
    const ProcessContext::Override scope(other);
    systemLog("other");
  }
  EXPECT_THAT(fake.log.lines(), ElementsAre("mine"));
  EXPECT_THAT(otherFake.log.lines(), ElementsAre("other"));
}

// MARK: What formats accept, decided when they are compiled

using detail::formatFits;

static_assert(formatFits<>("plain 100%%"));
static_assert(!formatFits<>("%@"), "too few arguments");
static_assert(!formatFits<int>("%d %d"), "too few arguments");
static_assert(formatFits<int, Undescribed>("%d"), "more arguments than placeholders");
static_assert(formatFits<bool, std::uint8_t, std::size_t>("%d%ld%d"));
static_assert(!formatFits<std::string>("%d"), "a text is no integer");
static_assert(!formatFits<char>("%d"), "a character is no integer");
static_assert(!formatFits<double>("%d"), "a real is no integer");
static_assert(!formatFits<int>("%s"), "an integer is no text");
static_assert(!formatFits<int>("%@"), "an integer is no object");
static_assert(!formatFits<std::optional<int>>("%@"), "nor is one that may be missing");
static_assert(!formatFits<int*>("%@"), "nor a pointer to one");
static_assert(!formatFits<int*>("%ld"), "a pointer is no integer");
static_assert(formatFits<char[4], const char*, std::string, std::string_view>("%s%s%s%s"));
static_assert(formatFits<char[4], const char*, std::string, std::string_view>("%@%@%@%@"));
static_assert(!formatFits<PropertyList>("%s"), "an object is no text");
static_assert(!formatFits<std::optional<std::string>>("%s"), "a text may not be missing");
static_assert(formatFits<Thing, Thing*, std::shared_ptr<const Thing>>("%@%@%@"));
static_assert(!formatFits<Undescribed>("%@"), "without a description");
static_assert(!formatFits<int>("%x"), "unknown placeholder");
static_assert(!formatFits<int>("%l"), "unknown placeholder");
static_assert(!formatFits<int>("%lu"), "unknown placeholder");
static_assert(!formatFits<int>("50%"), "a percent sign at the end");

// MARK: Tracing

TEST_F(Logging, TracesNothingAndDescribesNothingByDefault) {
  Thing::described = 0;
  RSLog("%@", Thing());
  EXPECT_THAT(log(), IsEmpty());
  EXPECT_EQ(Thing::described, 0);
  EXPECT_FALSE(getRSLoggingEnabled());
}

TEST_F(Logging, TracesLikeTheSystemLogWhenSwitchedOn) {
  switchTracingOn();
  Thing::described = 0;
  RSLog("merged to %@ %ld", Thing(), 2);
  EXPECT_THAT(log(), ElementsAre("merged to <Thing> 2"));
  EXPECT_EQ(Thing::described, 1);
}

TEST_F(Logging, ReadsTheSwitchOncePerContext) {
  EXPECT_FALSE(getRSLoggingEnabled());
  switchTracingOn();
  EXPECT_FALSE(getRSLoggingEnabled());
  RSLog("not shown");
  EXPECT_THAT(log(), IsEmpty());
  EXPECT_EQ(fake.faults.count("preferences.ownDefault"), 1U);

  ProcessContext next(fake.platform());
  const ProcessContext::Override scope(next);
  EXPECT_TRUE(getRSLoggingEnabled());
  fake.preferences.setOwnDefault("RSLoggingEnabled", false);
  EXPECT_TRUE(getRSLoggingEnabled());
  EXPECT_EQ(fake.faults.count("preferences.ownDefault"), 2U);
}

TEST_F(Logging, TheSystemLogNeverAsksForTheSwitch) {
  systemLog("always");
  EXPECT_EQ(fake.faults.count("preferences.ownDefault"), 0U);
}

TEST_F(Logging, ThreadsOfOneContextReadTheSwitchOnce) {
  switchTracingOn();
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&] {
      const ProcessContext::Override scope(context);
      EXPECT_TRUE(getRSLoggingEnabled());
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(fake.faults.count("preferences.ownDefault"), 1U);
}

class TracingSwitch : public testing::PlatformTest {};

TEST_F(TracingSwitch, IsReadAsABoolean) {
  const std::vector<std::pair<PropertyList, bool>> rows = {
      {true, true},  {false, false},       {1, true}, {0, false}, {"YES", true},
      {"no", false}, {Dictionary{}, false}};
  for (const auto& [value, isOn] : rows) {
    fake.preferences.setOwnDefault("RSLoggingEnabled", value);
    ProcessContext fresh(fake.platform());
    const ProcessContext::Override scope(fresh);
    EXPECT_EQ(getRSLoggingEnabled(), isOn);
  }
}

}  // namespace
}  // namespace accountsettings
