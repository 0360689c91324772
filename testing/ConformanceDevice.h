/// \file
/// ConformanceDevice is one implementation of the platform, as the conformance suite tests it
/// (ConformanceSuite.h). A program that runs the suite derives from it, and lists in the function
/// conformanceDevices() what is to be tested.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/Platform.h"

namespace accountsettings::testing {

/// ConformanceDevice is one device to test, with what a test has to set up or look at past the
/// platform's interfaces. It begins with the directories /tmp and
/// /var/mobile/Library/Preferences, knows the account and the group "mobile", and makes temporary
/// files beside their destination.
class ConformanceDevice {
 public:
  virtual ~ConformanceDevice() = default;

  [[nodiscard]] virtual Platform platform() = 0;

  /// Stores a value where copyAppPreference() or ownDefault() is to find it.
  ///@{
  virtual void setPreference(const std::string& domain, const std::string& key,
                             const PropertyList& value) = 0;
  virtual void setOwnDefault(const std::string& key, const PropertyList& value) = 0;
  ///@}

  /// Starts a process with this command name that runs until it is killed; answers its identifier.
  /// The platform's processes must list it, and may list it alone.
  /// The device ends it at the latest when it is dropped.
  virtual int startProcess(const std::string& commandName) = 0;

  /// The permission bits of what lies at a device path.
  [[nodiscard]] virtual unsigned mode(const std::string& path) = 0;
  /// Whether this process has the right to give files to other accounts.
  [[nodiscard]] virtual bool mayGiveFilesAway() { return true; }
  /// Whether it belongs to this account and group.
  [[nodiscard]] virtual bool isOwnedBy(const std::string& path, const std::string& owner,
                                       const std::string& group) = 0;
};

/// One implementation to test: a name of letters and digits, and what makes a device.
struct ConformanceFactory {
  std::string name;
  std::function<std::unique_ptr<ConformanceDevice>()> make;
};

/// The implementations to run the suite over. Defined by the program that runs it.
[[nodiscard]] std::vector<ConformanceFactory> conformanceDevices();

}  // namespace accountsettings::testing
