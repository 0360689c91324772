// DeviceWork is what a worker does: it runs a command on one device of many, and turns whatever
// comes of it into the device's result.
#pragma once

#include <functional>
#include <string>

#include "tool/fleet/DeviceResult.h"
#include "tool/fleet/Workers.h"
#include "tool/frame/Command.h"

namespace accountsettings {

// Works on the device `session.options.root`, and tells in the result what is known of it. The
// notes that it gives the session's output stand in the result too. Throws CommandFailure.
using DeviceWork = std::function<ExitStatus(Session& session, DeviceResult& result)>;

// The result of the work on `root`; `common` is what was given for all devices.
[[nodiscard]] DeviceResult resultOf(const DeviceWork& work, std::string_view command,
                                    const CommonOptions& common, const std::string& root);
// The result where a worker ended without an answer.
[[nodiscard]] DeviceResult resultOfLost(const Workers::Ended& ended, std::string_view command,
                                        const std::string& root, bool killedByUs);
// The line of the result, in which long texts are cut so that it is an answer.
[[nodiscard]] std::string answerOf(DeviceResult result);

}  // namespace accountsettings
