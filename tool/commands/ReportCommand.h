// ReportCommand collects what support needs to know about a device root in one file that its
// owner can hand on, for programs or as a page for people: everything personal in it is replaced by
// stand-ins. Of many devices it makes a page each, and one about all of them from their results.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tool/accounts/Redactor.h"
#include "tool/device/OpenedRoot.h"
#include "tool/fleet/DeviceCommand.h"
#include "tool/page/DevicePage.h"

namespace accountsettings {

class ReportCommand : public DeviceCommand {
 public:
  ExitStatus run(Session& session) override;

 protected:
  void describeOwn(OptionSet& options) override;
  ExitStatus runOnOne(Session& session) override;
  FleetCommand forMany() override;
  [[nodiscard]] bool readsResults() const override { return true; }

 private:
  using Counts = std::vector<Redactor::Count>;
  void requireOneFile() const;
  // Each writes its file and answers what was replaced in it.
  Counts writeReport(Session& session, OpenedRoot& device, const std::string& file) const;
  [[nodiscard]] DevicePage pageOf(Session& session, OpenedRoot& device) const;
  Counts writePage(Session& session, OpenedRoot& device) const;
  // Whether it is about devices of which nothing is told but in results files: then it writes a
  // page about them, or sums them up, with one results file of them all where it is asked for.
  [[nodiscard]] bool tellsResults(const Session& session) const;
  void writeFleetPage(Session& session) const;
  ExitStatus sumUp(Session& session) const;
  void tell(Output& output, const std::string& file, const Counts& counts) const;

  std::optional<std::string> root_;
  std::optional<std::string> out_;
  std::optional<std::string> html_;
  bool reveal_ = false;
  std::optional<std::string> logFile_;
};

}  // namespace accountsettings
