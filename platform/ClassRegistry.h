/// \file
/// ClassRegistry holds the classes that loaded modules registered, by name. A class is
/// an object that offers capabilities: small interfaces, one for each message that it may
/// answer. "The class answers a message" is "the object offers that capability".
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

namespace accountsettings {

/// ClassObject is the base of every class that is found by name. Derive from it and from each
/// capability that the class offers.
class ClassObject {
 public:
  virtual ~ClassObject();
};

/// The capability, or nullptr where the class does not offer it.
template <class Capability>
[[nodiscard]] Capability* capabilityOf(ClassObject* object) noexcept {
  return dynamic_cast<Capability*>(object);
}

/// ClassRegistry is made by the ProcessContext, which hands it out.
class ClassRegistry {
 public:
  /// Keeps `object` under `name`; a name that is taken keeps its first object.
  void registerClass(std::string_view name, std::shared_ptr<ClassObject> object);
  /// The class of that name, or nullptr.
  [[nodiscard]] ClassObject* classNamed(std::string_view name) const noexcept;
  /// True the first time that a module is shown, by its loader's handle: then it registers its
  /// classes here.
  bool admitModule(const void* module);

 private:
  std::map<std::string, std::shared_ptr<ClassObject>, std::less<>> classes_;
  std::set<const void*> modules_;
};

/// The name and type of the one function that a module exports. It is called once for each process
/// context that loads the module.
///@{
inline constexpr const char* kModuleRegistrationFunction = "accountsettings_register_classes";
using ModuleRegistrationFunction = void (*)(ClassRegistry& registry);
///@}

}  // namespace accountsettings
