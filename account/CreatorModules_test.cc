// Tests that full and sync accounts are built by real modules, loaded at run time.
#include "account/CreatorModules.h"

#include <dlfcn.h>

#include <memory>
#include <string>

#include "account/BasicAccount.h"
#include "platform/AssertionFailure.h"
#include "testing/PlatformTest.h"

namespace accountsettings {
namespace {

using ::testing::HasSubstr;
using ::testing::NotNull;
using ::testing::StartsWith;

// Loads modules as a host does.
class DynamicModules : public Modules {
 public:
  Status loadDynamicLibrary(const std::string& path, ClassRegistry& registry) override {
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) return Error{dlerror(), 0};
    void* function = dlsym(module, kModuleRegistrationFunction);
    if (function == nullptr) return Error{dlerror(), 0};
    reinterpret_cast<ModuleRegistrationFunction>(function)(registry);
    return {};
  }
  Status loadBundle(const std::string& path, ClassRegistry&) override {
    return Error{path + " is no bundle", 0};
  }
};

// The fake device, but with modules that are really loaded.
Platform withModules(const Platform& device, Modules& modules) {
  return {device.files,
          device.resources,
          device.locks,
          device.processes,
          device.eventLoop,
          device.webEngineLock,
          device.notifications,
          device.preferences,
          device.deviceAnswers,
          device.deviceInfo,
          device.restrictions,
          device.externalSources,
          device.cloudAccountModel,
          modules,
          device.clock,
          device.identifiers,
          device.directories,
          device.systemLog,
          device.configuration};
}

class CreatorModulesTest : public testing::PlatformTest {
 protected:
  void SetUp() override { fake.directories.systemRoot = AS_TEST_MODULES_DIR; }

  void putEntry(const char* kind, const char* framework, const char* className) {
    fake.resources.put(
        "AccountCreators",
        Dictionary{{"Mail", Array{Dictionary{{"Type", kind},
                                             {"Description", Dictionary{{"Framework", framework},
                                                                        {"Class", className}}}}}}});
  }

  static std::shared_ptr<BasicAccount> makeAccount() {
    return BasicAccount::accountWithProperties(
        {{"Type", "Mail"}, {"Class", "IMAPAccount"}, {"Identifier", "I"}});
  }

  static std::string failure() {
    try {
      (void)makeAccount()->fullAccountUsingLoader(nullptr);
    } catch (const AssertionFailure& failure) {
      return failure.message();
    }
    return "nothing was thrown";
  }

  static PropertyList mark(const BasicAccount& account) {
    return account.accountPropertyForKey("Module").value_or("nothing");
  }

  DynamicModules modules;
  ProcessContext world{withModules(fake.platform(), modules)};
  ProcessContext::Override inWorld{world};
};

TEST_F(CreatorModulesTest, AFullAccountIsMadeByTheClassForItsType) {
  putEntry("FullAccount", "/full_by_type.so", "ModuleMailCreator");
  const auto account = makeAccount();
  EXPECT_THAT(account->fullAccountUsingLoader(nullptr), NotNull());
  EXPECT_EQ(mark(*account), PropertyList("made"));
}

TEST_F(CreatorModulesTest, AFullAccountIsMadeOfTheRecord) {
  putEntry("FullAccount", "/full_by_record.so", "ModuleRecordCreator");
  const auto account = makeAccount();
  EXPECT_THAT(account->fullAccountUsingLoader(nullptr), NotNull());
  EXPECT_EQ(mark(*account), PropertyList("made"));
  account->setFullAccount(nullptr);
  EXPECT_EQ(mark(*account), PropertyList("gone"));
}

TEST_F(CreatorModulesTest, AFullAccountMayOutliveItsRecordAndKeepsTheProperties) {
  putEntry("FullAccount", "/full_by_type.so", "ModuleMailCreator");
  auto account = makeAccount();
  auto full = account->fullAccountUsingLoader(nullptr);
  const auto properties = account->properties().shared_from_this();
  account.reset();
  EXPECT_EQ(*properties->find("Module"), PropertyList("made"));
  full.reset();
  EXPECT_EQ(*properties->find("Module"), PropertyList("gone"));
}

TEST_F(CreatorModulesTest, ASyncAccountRefreshes) {
  putEntry("SyncAccount", "/sync.so", "ModuleSyncCreator");
  const auto account = makeAccount();
  EXPECT_TRUE(account->refreshContainersForDataclassIsUserRequested("M", true));
  EXPECT_FALSE(account->refreshContainersForDataclass("M"));
  EXPECT_TRUE(account->refreshContainerWithIdentifierForDataclassIsUserRequested("1", "M", true));
  EXPECT_TRUE(account->refreshContainerListForDataclassIsUserRequested("M", true));
  expectLog({});
}

TEST_F(CreatorModulesTest, AModuleWithAnUnresolvedSymbolIsRefusedWhenItIsLoaded) {
  putEntry("FullAccount", "/unresolved.so", "Any");
  const std::string message = failure();
  EXPECT_THAT(message,
              StartsWith("Could not load the account creator framework " AS_TEST_MODULES_DIR
                         "/unresolved.so. Error "));
  EXPECT_THAT(message, HasSubstr("account_test_function_that_nobody_defines"));
}

TEST_F(CreatorModulesTest, AModuleThatIsMissingIsToldWithTheLoadersWords) {
  putEntry("FullAccount", "/missing.so", "Any");
  const std::string message = failure();
  EXPECT_THAT(message,
              StartsWith("Could not load the account creator framework " AS_TEST_MODULES_DIR
                         "/missing.so. Error "));
  EXPECT_THAT(message, HasSubstr("No such file"));
}

TEST_F(CreatorModulesTest, AModuleWithoutItsClassIsToldByTheClass) {
  putEntry("FullAccount", "/without_class.so", "ModuleMailCreator");
  EXPECT_EQ(failure(),
            "The framework/bundle where ModuleMailCreator is defined has not been loaded");
}

TEST_F(CreatorModulesTest, OneModuleServesTwoProcessContexts) {
  putEntry("FullAccount", "/full_by_type.so", "ModuleMailCreator");
  const auto first = makeAccount();
  EXPECT_THAT(first->fullAccountUsingLoader(nullptr), NotNull());

  ProcessContext other{withModules(fake.platform(), modules)};
  const ProcessContext::Override inOther{other};
  EXPECT_EQ(classNamed("ModuleMailCreator"), nullptr);
  const auto second = makeAccount();
  EXPECT_THAT(second->fullAccountUsingLoader(nullptr), NotNull());
  EXPECT_EQ(mark(*second), PropertyList("made"));
  EXPECT_NE(classNamed("ModuleMailCreator"), world.classes().classNamed("ModuleMailCreator"));
}

}  // namespace
}  // namespace accountsettings
