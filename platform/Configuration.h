/// \file
/// Configuration holds the host names, mail domains and account names that the system
/// compares against or applies and that the device maker supplies. None, like an empty
/// text, switches the rule that needs the value off.
#pragma once

#include <optional>
#include <string>

namespace accountsettings {

struct ConfigurationValues {
  /// The account and group that a saved settings file is given to.
  ///@{
  std::string owner = "mobile";
  std::string group = "mobile";
  ///@}
  /// Directory endings of the mail fixer.
  ///@{
  std::optional<std::string> gmailDomain;
  std::optional<std::string> gmailIMAPHost;
  std::optional<std::string> yahooIMAPHost;
  ///@}
  /// Expected CalDAV hosts, by class of the mail account.
  ///@{
  std::optional<std::string> gmailCalDAVHost;
  std::optional<std::string> yahooCalDAVHost;
  ///@}
  /// Mail domains of the hosted service: the current one and the older one.
  ///@{
  std::optional<std::string> quorraMailDomain;
  std::optional<std::string> vantorMailDomain;
  ///@}
};

/// \copydoc Configuration.h
class Configuration {
 public:
  virtual ~Configuration() = default;

  [[nodiscard]] virtual const ConfigurationValues& values() = 0;
};

}  // namespace accountsettings
