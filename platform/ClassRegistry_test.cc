// ClassRegistry finds classes by name; what a class answers is what it offers.
#include "platform/ClassRegistry.h"

#include <gtest/gtest.h>

#include "platform/MigratorBase.h"

namespace accountsettings {
namespace {

class Greeter {
 public:
  virtual ~Greeter() = default;
  virtual std::string greeting() = 0;
};

struct PoliteClass : ClassObject, Greeter {
  std::string greeting() override { return "Good evening"; }
};
struct SilentClass : ClassObject {};

TEST(ClassRegistry, FindsAClassByItsWholeNameOnly) {
  ClassRegistry registry;
  EXPECT_EQ(registry.classNamed("Polite"), nullptr);
  const auto object = std::make_shared<PoliteClass>();
  registry.registerClass("Polite", object);
  EXPECT_EQ(registry.classNamed("Polite"), object.get());
  EXPECT_EQ(registry.classNamed("polite"), nullptr);
  EXPECT_EQ(registry.classNamed("Polit"), nullptr);
  EXPECT_EQ(registry.classNamed(""), nullptr);
}

TEST(ClassRegistry, ANameThatIsTakenKeepsItsFirstClass) {
  ClassRegistry registry;
  const auto first = std::make_shared<PoliteClass>();
  registry.registerClass("Name", first);
  registry.registerClass("Name", std::make_shared<SilentClass>());
  EXPECT_EQ(registry.classNamed("Name"), first.get());
}

TEST(ClassRegistry, KeepsItsClassesAlive) {
  ClassRegistry registry;
  std::weak_ptr<ClassObject> watched;
  {
    const auto object = std::make_shared<SilentClass>();
    watched = object;
    registry.registerClass("Silent", object);
  }
  EXPECT_FALSE(watched.expired());
}

TEST(ClassRegistry, AClassAnswersWhatItOffers) {
  ClassRegistry registry;
  registry.registerClass("Polite", std::make_shared<PoliteClass>());
  registry.registerClass("Silent", std::make_shared<SilentClass>());
  Greeter* const greeter = capabilityOf<Greeter>(registry.classNamed("Polite"));
  ASSERT_NE(greeter, nullptr);
  EXPECT_EQ(greeter->greeting(), "Good evening");
  EXPECT_EQ(capabilityOf<Greeter>(registry.classNamed("Silent")), nullptr);
  EXPECT_EQ(capabilityOf<MigratorClass>(registry.classNamed("Polite")), nullptr);
  EXPECT_EQ(capabilityOf<Greeter>(registry.classNamed("Missing")), nullptr);
}

}  // namespace
}  // namespace accountsettings
