// ProcessTable lists and signals the processes of this machine, as /proc shows them. On a
// device root that is not this machine's there are none.
#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "platform/Processes.h"

namespace accountsettings {

class ProcessTable : public Processes {
 public:
  // `filter` may be empty; see HostOptions.
  ProcessTable(bool rootIsThisMachine, std::function<bool(int)> filter);

  [[nodiscard]] int ownIdentifier() override;
  [[nodiscard]] Result<std::vector<Process>> list() override;
  // Refuses identifiers below 1, which stand for groups of processes, and what list() leaves out
  // by filter or root.
  Status kill(int identifier) override;

 private:
  [[nodiscard]] bool concernsUs(int identifier) const;

  bool rootIsThisMachine_;
  std::function<bool(int)> filter_;
};

// The running process of this machine with that identifier; none where it is gone, a zombie or may
// not be looked at.
[[nodiscard]] std::optional<Process> runningProcess(int identifier);

// The process that a "stat" file of /proc describes, or none where it is dead, a zombie, or the
// text is no such file. A zombie with living threads is a running process whose first thread has
// ended.
[[nodiscard]] std::optional<Process> runningProcessIn(std::string_view stat);

}  // namespace accountsettings
