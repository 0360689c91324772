// Tests of loading modules and bundles, and of what is refused.
#include "host/DynamicModules.h"

#include <dlfcn.h>

#include "host/DynamicWebEngineLock.h"
#include "host/HostTest.h"
#include "host/test_modules/Greeter.h"
#include "platform/AssertionFailure.h"

namespace accountsettings {
namespace {

namespace fs = std::filesystem;
using testing::Greeter;
using ::testing::HasSubstr;

constexpr const char* kModules = AS_TEST_MODULES;
const std::string kSystemPath = "/System/Library/Creators/";

std::string module(const std::string& name) {
  return std::string(kModules) + "/" + name;
}

std::string greetingIn(const ClassRegistry& registry) {
  auto* greeter = capabilityOf<Greeter>(registry.classNamed("Good"));
  return greeter == nullptr ? "none" : greeter->greeting();
}

// How often the module at `path` was asked to register, as the module itself counts.
int timesRegistered(const std::string& path) {
  void* handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  EXPECT_NE(handle, nullptr);
  return *static_cast<int*>(::dlsym(handle, "timesRegistered"));
}

class DynamicModulesTest : public ::testing::TestWithParam<bool> {
 protected:
  DynamicModules modules{GetParam(), kModules, {"BuiltIn"}};
  ClassRegistry registry;
};

// Both on this machine's root and on an image's, where nothing lies at the modules' own paths.
INSTANTIATE_TEST_SUITE_P(Roots, DynamicModulesTest, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& root) {
                           return root.param ? "Machine" : "Image";
                         });

TEST_P(DynamicModulesTest, TheFileNameIsFoundInTheModuleDirectory) {
  const Status loaded = modules.loadDynamicLibrary(kSystemPath + "Good", registry);
  ASSERT_TRUE(loaded.ok()) << loaded.error().message;
  EXPECT_EQ(greetingIn(registry), "good");
}

TEST_P(DynamicModulesTest, EachContextGetsTheClassesOnce) {
  ASSERT_TRUE(modules.loadDynamicLibrary(kSystemPath + "Good", registry).ok());
  const int before = timesRegistered(module("Good"));
  ASSERT_TRUE(modules.loadDynamicLibrary(kSystemPath + "Good", registry).ok());
  EXPECT_EQ(timesRegistered(module("Good")), before);
  ClassRegistry second;
  ASSERT_TRUE(modules.loadDynamicLibrary(kSystemPath + "Good", second).ok());
  EXPECT_EQ(timesRegistered(module("Good")), before + 1);
  EXPECT_EQ(greetingIn(second), "good");
  EXPECT_NE(registry.classNamed("Good"), second.classNamed("Good"));
}

TEST_P(DynamicModulesTest, AMissingFileIsTheLoadersError) {
  const Status loaded = modules.loadDynamicLibrary(kSystemPath + "Missing", registry);
  ASSERT_FALSE(loaded.ok());
  EXPECT_EQ(loaded.error().message,
            module("Missing") + ": cannot open shared object file: No such file or directory");
}

TEST_P(DynamicModulesTest, AnUnresolvedSymbolFailsAtOnce) {
  const Status loaded = modules.loadDynamicLibrary(kSystemPath + "Unresolved", registry);
  ASSERT_FALSE(loaded.ok());
  EXPECT_THAT(loaded.error().message, HasSubstr("functionThatNobodyDefines"));
}

TEST_P(DynamicModulesTest, ALibraryThatRegistersNothingIsNoModule) {
  const Status loaded = modules.loadDynamicLibrary(kSystemPath + "Unregistered", registry);
  ASSERT_FALSE(loaded.ok());
  EXPECT_THAT(loaded.error().message, HasSubstr("accountsettings_register_classes"));
}

// The loader finds a dependency's function too; that is not the module's own.
TEST_P(DynamicModulesTest, AnotherLibrarysFunctionRegistersNothing) {
  const Status loaded = modules.loadDynamicLibrary(kSystemPath + "Dependent", registry);
  ASSERT_FALSE(loaded.ok());
  EXPECT_THAT(loaded.error().message, HasSubstr("accountsettings_register_classes"));
  EXPECT_EQ(greetingIn(registry), "none");
}

TEST_P(DynamicModulesTest, APathThatIsNotSevenBitTextIsNotLoaded) {
  const std::string path = kSystemPath + "Gööd";
  const Status loaded = modules.loadDynamicLibrary(path, registry);
  ASSERT_FALSE(loaded.ok());
  EXPECT_THAT(loaded.error().message, ::testing::StartsWith(path + ": cannot open"));
  EXPECT_FALSE(modules.loadDynamicLibrary(kSystemPath + std::string("Good\0x", 6), registry).ok());
}

TEST_P(DynamicModulesTest, ABuiltInModuleIsThereAlready) {
  EXPECT_TRUE(modules.loadDynamicLibrary(kSystemPath + "BuiltIn", registry).ok());
}

TEST_P(DynamicModulesTest, ABundleIsADirectoryWithItsModule) {
  const testing::TemporaryDirectory directory;
  const fs::path bundle = directory.path() / "Näme.migrator";
  EXPECT_THAT(modules.loadBundle(bundle, registry).error().message,
              HasSubstr("there is no such bundle"));
  testing::DeviceRoot::writeFile(bundle, "a file");
  EXPECT_FALSE(modules.loadBundle(bundle, registry).ok());
  fs::remove(bundle);
  fs::create_directories(bundle);
  EXPECT_THAT(modules.loadBundle(bundle, registry).error().message,
              HasSubstr("AccountsDataMigrator.so"));
  fs::copy(module("Good"), bundle / "AccountsDataMigrator.so");
  const Status loaded = modules.loadBundle(bundle, registry);
  ASSERT_TRUE(loaded.ok()) << loaded.error().message;
  EXPECT_EQ(greetingIn(registry), "good");
}

TEST(DynamicModules, OnlyOnThisMachineIsCodeTakenFromItsPath) {
  const testing::TemporaryDirectory directory;
  const std::string path = directory.path() / "OnlyHere";
  fs::copy(module("Good"), path);
  ClassRegistry registry;
  DynamicModules image(false, kModules, {});
  EXPECT_FALSE(image.loadDynamicLibrary(path, registry).ok());
  EXPECT_EQ(registry.classNamed("Good"), nullptr);
  DynamicModules machine(true, kModules, {});
  EXPECT_TRUE(machine.loadDynamicLibrary(path, registry).ok());
  EXPECT_NE(registry.classNamed("Good"), nullptr);
}

// A name alone would be searched in the loader's own directories.
TEST(DynamicModules, ABareNameIsNotLeftToTheLoader) {
  ClassRegistry registry;
  DynamicModules machine(true, kModules, {});
  const Status loaded = machine.loadDynamicLibrary("libc.so.6", registry);
  ASSERT_FALSE(loaded.ok());
  EXPECT_THAT(loaded.error().message, ::testing::StartsWith(module("libc.so.6")));
}

// MARK: Web engine lock

TEST(DynamicWebEngineLock, IsNeverHeldWithoutALibrary) {
  DynamicWebEngineLock lock(std::nullopt);
  EXPECT_FALSE(lock.isHeld());
  lock.take();
  EXPECT_FALSE(lock.isHeld());
}

TEST(DynamicWebEngineLock, AsksTheLibrary) {
  DynamicWebEngineLock lock(module("WebEngine"));
  EXPECT_FALSE(lock.isHeld());
  lock.take();
  EXPECT_TRUE(lock.isHeld());
  DynamicWebEngineLock same(module("WebEngine"));
  EXPECT_TRUE(same.isHeld());
}

std::string failureOf(const std::function<void()>& body) {
  try {
    body();
  } catch (const AssertionFailure& failure) {
    return failure.method() + ": " + failure.message();
  }
  return "no failure";
}

TEST(DynamicWebEngineLock, AMissingLibraryIsAnAssertionFailureOnFirstUse) {
  DynamicWebEngineLock lock(module("NoEngine"));
  const std::string held = failureOf([&] { static_cast<void>(lock.isHeld()); });
  EXPECT_THAT(held, ::testing::StartsWith("isWebEngineLockHeld: "));
  EXPECT_THAT(held, HasSubstr(module("NoEngine") + ": cannot open shared object file"));
  EXPECT_THAT(failureOf([&] { lock.take(); }), ::testing::StartsWith("takeWebEngineLock: "));
}

TEST(DynamicWebEngineLock, AnUnresolvedSymbolIsAnAssertionFailureAtOnce) {
  DynamicWebEngineLock lock(module("Unresolved"));
  EXPECT_THAT(failureOf([&] { static_cast<void>(lock.isHeld()); }),
              HasSubstr("functionThatNobodyDefines"));
}

TEST(DynamicWebEngineLock, AMissingFunctionIsAnAssertionFailure) {
  DynamicWebEngineLock lock(module("HalfWebEngine"));
  EXPECT_TRUE(lock.isHeld());
  EXPECT_THAT(failureOf([&] { lock.take(); }), HasSubstr("undefined symbol: takeWebEngineLock"));
}

}  // namespace
}  // namespace accountsettings
