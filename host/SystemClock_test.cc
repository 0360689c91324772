// Tests of the clock's readings and of the identifiers' form.
#include "host/SystemClock.h"

#include <stdlib.h>

#include <ctime>
#include <regex>

#include "host/HostTest.h"
#include "host/UtcTime.h"

namespace accountsettings {
namespace {

// A moment of the universal time.
std::chrono::system_clock::time_point moment(int year, unsigned month, unsigned day,
                                             std::chrono::milliseconds time) {
  return std::chrono::sys_days{std::chrono::year{year} / std::chrono::month{month} /
                               std::chrono::day{day}} +
         time;
}

// The local time in a zone, read in a child because a zone is a whole process's.
CalendarTime timeIn(const char* zone, std::chrono::system_clock::time_point when) {
  int ends[2];
  EXPECT_EQ(::pipe(ends), 0);
  testing::inChild([&] {
    ::setenv("TZ", zone, 1);
    ::tzset();
    const CalendarTime time = calendarTime(when);
    return ::write(ends[1], &time, sizeof time) == sizeof time ? 0 : 1;
  });
  CalendarTime time;
  EXPECT_EQ(::read(ends[0], &time, sizeof time), static_cast<ssize_t>(sizeof time));
  ::close(ends[0]);
  ::close(ends[1]);
  return time;
}

TEST(SystemClock, ShowsTheLocalTimeToTheMillisecond) {
  using namespace std::chrono_literals;
  const CalendarTime time = timeIn("EAST-02:30", moment(2012, 3, 4, 21h + 45min + 6s + 789ms));
  EXPECT_EQ(time.year, 2012);
  EXPECT_EQ(time.month, 3);
  EXPECT_EQ(time.day, 5);
  EXPECT_EQ(time.hour, 0);
  EXPECT_EQ(time.minute, 15);
  EXPECT_EQ(time.second, 6);
  EXPECT_EQ(time.millisecond, 789);
}

TEST(SystemClock, AWeekBelongsToTheYearOfItsThursday) {
  using namespace std::chrono_literals;
  EXPECT_EQ(timeIn("UTC", moment(2010, 1, 3, 12h)).weekBasedYear, 2009);
  EXPECT_EQ(timeIn("UTC", moment(2010, 1, 4, 12h)).weekBasedYear, 2010);
  EXPECT_EQ(timeIn("UTC", moment(2012, 12, 31, 12h)).weekBasedYear, 2013);
  EXPECT_EQ(timeIn("UTC", moment(2012, 12, 30, 12h)).weekBasedYear, 2012);
}

TEST(SystemClock, MillisecondsBeforeTheEpochCountForwardsToo) {
  using namespace std::chrono_literals;
  const CalendarTime time = timeIn("UTC", moment(1969, 12, 31, 23h + 59min + 59s + 900ms));
  EXPECT_EQ(time.second, 59);
  EXPECT_EQ(time.millisecond, 900);
}

TEST(KernelIdentifiers, AreRandomUUIDs) {
  const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  KernelIdentifiers identifiers;
  const std::string first = identifiers.makeUUID().value();
  EXPECT_TRUE(std::regex_match(first, form)) << first;
  EXPECT_NE(identifiers.makeUUID(), first);
}

TEST(UtcTime, IsReadAsItIsWritten) {
  using std::chrono::milliseconds;
  for (const auto& each :
       {moment(1970, 1, 1, milliseconds(0)), moment(2026, 11, 22, milliseconds(7)),
        moment(2200, 2, 28, milliseconds(86'399'999))}) {
    EXPECT_EQ(timeInUtc(inUtc(each)), each) << inUtc(each);
  }
  EXPECT_EQ(inUtc(moment(2026, 11, 22, milliseconds(1500))), "2026-11-22T00:00:01.500000Z");
  for (const char* each :
       {"", "2026-11-22", "2026-11-22T00:00:01Z", "2026-11-22T00:00:01.5Z",
        "2026-11-22T00:00:01.500000", "2026-11-22T00:00:01.500000z", "2026-11-22T00:00:01.+50000Z",
        "2026-11-22T00:00:01.-00001Z", "2026-13-22T00:00:01.500000Z", "1969-12-31T23:59:59.000000Z",
        "2201-01-01T00:00:00.000000Z"}) {
    EXPECT_EQ(timeInUtc(each), std::nullopt) << each;
  }
}

}  // namespace
}  // namespace accountsettings
