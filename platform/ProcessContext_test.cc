// ProcessContext is found per thread or per program, and makes each piece of state once.
#include "platform/ProcessContext.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/AssertionFailure.h"
#include "testing/FakePlatform.h"

namespace accountsettings {
namespace {

using testing::FakePlatform;

struct Counter {
  Counter() { ++made; }
  ~Counter() { ++gone; }
  int value = 0;
  static inline std::atomic<int> made = 0;
  static inline std::atomic<int> gone = 0;
};

const ProcessContext::Slot<Counter> counterSlot{};
const ProcessContext::Slot<int> firstNumber{};
const ProcessContext::Slot<int> secondNumber{};

// Leaves the program without a default however a test ends.
class DefaultContext {
 public:
  explicit DefaultContext(ProcessContext& context) { ProcessContext::setDefault(&context); }
  ~DefaultContext() { ProcessContext::setDefault(nullptr); }
};

TEST(ProcessContext, WithoutAnyCurrentOneIsToldToMakeOne) {
  try {
    (void)ProcessContext::current();
    FAIL() << "there is a context";
  } catch (const AssertionFailure& failure) {
    EXPECT_EQ(failure.message(), "There is no process context");
    EXPECT_NE(std::string_view(failure.what()).find("Make a LinuxProgram"), std::string_view::npos)
        << failure.what();
  }
}

TEST(ProcessContext, ASecondDefaultIsRefusedWithWhatToDo) {
  FakePlatform fake;
  ProcessContext first(fake.platform());
  ProcessContext second(fake.platform());
  const DefaultContext asDefault(first);
  EXPECT_NO_THROW(ProcessContext::setDefault(&first));
  try {
    ProcessContext::setDefault(&second);
    FAIL() << "a second default was taken";
  } catch (const AssertionFailure& failure) {
    EXPECT_NE(std::string_view(failure.what()).find("end it first"), std::string_view::npos)
        << failure.what();
  }
  EXPECT_EQ(&ProcessContext::current(), &first);
  ProcessContext::setDefault(nullptr);
  ProcessContext::setDefault(&second);
  EXPECT_EQ(&ProcessContext::current(), &second);
}

TEST(ProcessContext, TheDefaultThatEndsIsNoDefaultAnyMore) {
  FakePlatform fake;
  {
    ProcessContext passing(fake.platform());
    ProcessContext::setDefault(&passing);
    { ProcessContext other(fake.platform()); }
    EXPECT_EQ(&ProcessContext::current(), &passing);
  }
  EXPECT_THROW((void)ProcessContext::current(), AssertionFailure);
}

TEST(ProcessContext, TheProgramsDefaultIsCurrentOnEveryThread) {
  FakePlatform fake;
  ProcessContext context(fake.platform());
  const DefaultContext asDefault(context);
  EXPECT_EQ(&ProcessContext::current(), &context);
  std::thread([&] { EXPECT_EQ(&ProcessContext::current(), &context); }).join();
}

TEST(ProcessContext, AnOverrideHoldsOnItsThreadOnlyAndEndsWithItsScope) {
  FakePlatform fake;
  ProcessContext program(fake.platform());
  ProcessContext mine(fake.platform());
  ProcessContext inner(fake.platform());
  const DefaultContext asDefault(program);
  {
    const ProcessContext::Override outerScope(mine);
    EXPECT_EQ(&ProcessContext::current(), &mine);
    std::thread([&] { EXPECT_EQ(&ProcessContext::current(), &program); }).join();
    {
      const ProcessContext::Override innerScope(inner);
      EXPECT_EQ(&ProcessContext::current(), &inner);
    }
    EXPECT_EQ(&ProcessContext::current(), &mine);
  }
  EXPECT_EQ(&ProcessContext::current(), &program);
}

TEST(ProcessContext, MakesTheStateOfASlotOnceAndDropsItWithItself) {
  FakePlatform fake;
  const int made = Counter::made;
  const int gone = Counter::gone;
  {
    ProcessContext context(fake.platform());
    EXPECT_EQ(Counter::made, made);
    context.state(counterSlot).value = 5;
    EXPECT_EQ(context.state(counterSlot).value, 5);
    EXPECT_EQ(Counter::made, made + 1);
    EXPECT_EQ(Counter::gone, gone);
  }
  EXPECT_EQ(Counter::gone, gone + 1);
}

TEST(ProcessContext, SlotsOfOneTypeAreApartAndBeginEmpty) {
  FakePlatform fake;
  ProcessContext context(fake.platform());
  context.state(firstNumber) = 1;
  EXPECT_EQ(context.state(secondNumber), 0);
  EXPECT_EQ(context.state(firstNumber), 1);
}

TEST(ProcessContext, TwoContextsLiveOnTwoThreadsApart) {
  const auto live = [](int number) {
    FakePlatform fake;
    fake.directories.home = "/home/" + std::to_string(number);
    ProcessContext context(fake.platform());
    const ProcessContext::Override current(context);
    for (int turn = 1; turn <= 1000; ++turn) {
      ProcessContext& found = ProcessContext::current();
      ASSERT_EQ(++found.state(firstNumber), turn);
      ASSERT_EQ(found.platform().directories.homeDirectory(), fake.directories.home);
    }
  };
  std::thread one(live, 1);
  std::thread two(live, 2);
  one.join();
  two.join();
}

TEST(ProcessContext, ThreadsOfOneContextSeeOneState) {
  FakePlatform fake;
  ProcessContext context(fake.platform());
  const int made = Counter::made;
  std::vector<const Counter*> found(8);
  std::vector<std::thread> threads;
  for (const Counter*& each : found) {
    threads.emplace_back([&] { each = &context.state(counterSlot); });
  }
  for (std::thread& thread : threads) thread.join();
  for (const Counter* each : found) EXPECT_EQ(each, found.front());
  EXPECT_EQ(Counter::made, made + 1);
}

// A state may look up another one while it is made.
struct Outer {
  int* inner = &ProcessContext::current().state(firstNumber);
};
const ProcessContext::Slot<Outer> outerSlot{};

TEST(ProcessContext, AStateMayUseAnotherWhileItIsMade) {
  FakePlatform fake;
  ProcessContext context(fake.platform());
  const ProcessContext::Override current(context);
  EXPECT_EQ(context.state(outerSlot).inner, &context.state(firstNumber));
}

TEST(ProcessContext, AProgramOfAnotherVersionIsToldToBeBuiltAnew) {
  FakePlatform fake;
  const Platform platform = fake.platform();
  try {
    ProcessContext context(platform, sizeof(Platform) - sizeof(void*));
    FAIL() << "a platform of another size was taken";
  } catch (const AssertionFailure& failure) {
    EXPECT_NE(std::string_view(failure.what()).find("Build it anew"), std::string_view::npos);
  }
}

}  // namespace
}  // namespace accountsettings
