/// \file
/// GoogleMail tells how this region calls the service of Gmail accounts.
#pragma once

namespace accountsettings {

/// Whether the service is called "Google Mail" here. The device is asked once per process; without
/// an answer it is not. Safe between threads.
[[nodiscard]] bool _UseGoogleMail();  ///< NOLINT(bugprone-reserved-identifier)

}  // namespace accountsettings
