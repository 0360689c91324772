// ReportCommand collects what support needs to know about a device root in one file that its
// owner can hand on, for programs or as a page for people: everything personal in it is replaced by
// stand-ins.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tool/accounts/Redactor.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Command.h"

namespace accountsettings {

class ReportCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  using Counts = std::vector<Redactor::Count>;
  void requireOneFile() const;
  // Each writes its file and answers what was replaced in it.
  Counts writeReport(Session& session, OpenedRoot& device) const;
  Counts writePage(Session& session, OpenedRoot& device) const;
  void writeFleetPage(Session& session) const;
  void tell(Output& output, const std::string& file, const Counts& counts) const;

  std::optional<std::string> root_;
  std::optional<std::string> out_;
  std::optional<std::string> html_;
  std::vector<std::string> results_;
  bool reveal_ = false;
  std::optional<std::string> logFile_;
};

}  // namespace accountsettings
