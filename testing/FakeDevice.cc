// The small services of the fake device: preferences, answers, notifications and their like.
#include "testing/FakeDevice.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace accountsettings::testing {

// MARK: Preferences

void FakePreferences::set(std::string_view domain, std::string_view key, PropertyList value) {
  domains[std::string(domain)].set(key, std::move(value));
}

void FakePreferences::setOwnDefault(std::string_view key, PropertyList value) {
  ownDefaults.set(key, std::move(value));
}

std::optional<PropertyList> FakePreferences::copyAppPreference(std::string_view domain,
                                                               std::string_view key) {
  if (faults_.check("preferences.copyAppPreference", key)) return std::nullopt;
  const auto found = domains.find(domain);
  if (found == domains.end()) return std::nullopt;
  return found->second.get(key);
}

std::optional<PropertyList> FakePreferences::ownDefault(std::string_view key) {
  if (faults_.check("preferences.ownDefault", key)) return std::nullopt;
  return ownDefaults.get(key);
}

// MARK: The device's answers

std::optional<PropertyList> FakeDeviceAnswers::copyDeviceAnswer(std::string_view key) {
  if (faults_.check("deviceAnswers.copyDeviceAnswer", key)) return std::nullopt;
  return answers.get(key);
}

class FakeDeviceInfoConnection : public DeviceInfoConnection {
 public:
  explicit FakeDeviceInfoConnection(FakeDeviceInfo& service) : service_(service) {
    ++service_.connections;
    ++service_.openConnections;
  }
  FakeDeviceInfoConnection(const FakeDeviceInfoConnection&) = delete;
  FakeDeviceInfoConnection& operator=(const FakeDeviceInfoConnection&) = delete;
  ~FakeDeviceInfoConnection() override { --service_.openConnections; }

  [[nodiscard]] std::optional<PropertyList> copyDeviceInfoValue(
      std::string_view domain, std::optional<std::string_view> key) override {
    if (service_.faults_.check("deviceInfo.copyDeviceInfoValue", domain)) return std::nullopt;
    const auto found = service_.domains.find(domain);
    if (found == service_.domains.end()) return std::nullopt;
    if (!key) return PropertyList(found->second);
    return found->second.get(*key);
  }

 private:
  FakeDeviceInfo& service_;
};

void FakeDeviceInfo::set(std::string_view domain, std::string_view key, PropertyList value) {
  domains[std::string(domain)].set(key, std::move(value));
}

std::unique_ptr<DeviceInfoConnection> FakeDeviceInfo::connect() {
  if (faults_.check("deviceInfo.connect", "") || !reachable) return nullptr;
  return std::make_unique<FakeDeviceInfoConnection>(*this);
}

int FakeRestrictions::restrictionForFeature(RestrictionSwitch feature) {
  faults_.note("restrictions.restrictionForFeature", std::to_string(static_cast<int>(feature)));
  const auto found = values_.find(feature);
  return found == values_.end() ? 0 : found->second;
}

void FakeExternalSources::set(SyncDataType type, std::vector<std::string> sources) {
  answers_[type] = {std::move(sources), std::nullopt};
}

void FakeExternalSources::setError(SyncDataType type, std::string error) {
  answers_[type] = {std::nullopt, std::move(error)};
}

ExternalSourcesAnswer FakeExternalSources::copyExternalSourcesEnabled(SyncDataType type) {
  asked.push_back(type);
  const std::string subject = std::to_string(static_cast<int>(type));
  if (const std::optional<Error> error =
          faults_.check("externalSources.copyExternalSourcesEnabled", subject)) {
    return {std::nullopt, error->message};
  }
  const auto found = answers_.find(type);
  return found == answers_.end() ? ExternalSourcesAnswer() : found->second;
}

// MARK: Identifiers, configuration, log

std::optional<std::string> FakeIdentifiers::makeUUID() {
  if (faults_.check("identifiers.makeUUID", "")) return std::nullopt;
  ++made_;
  if (!next_.empty()) {
    std::string identifier = std::move(next_.front());
    next_.pop();
    return identifier;
  }
  std::array<char, 37> text{};
  std::snprintf(text.data(), text.size(), "00000000-0000-4000-8000-%012X",
                static_cast<unsigned>(made_));
  return std::string(text.data());
}

FakeConfiguration::FakeConfiguration() {
  current.gmailDomain = "gmail.com";
  current.gmailIMAPHost = "imap.gmail.com";
  current.gmailCalDAVHost = "www.google.com";
  current.yahooCalDAVHost = "caldav.calendar.yahoo.com";
}

void FakeLog::write(std::string_view message) {
  const std::lock_guard lock(mutex_);
  lines_.emplace_back(message);
}

std::vector<std::string> FakeLog::lines() const {
  const std::lock_guard lock(mutex_);
  return lines_;
}

std::size_t FakeLog::count(std::string_view line) const {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count(lines_.begin(), lines_.end(), line));
}

bool FakeLog::contains(std::string_view text) const {
  const std::lock_guard lock(mutex_);
  return std::any_of(lines_.begin(), lines_.end(),
                     [&](const std::string& line) { return line.find(text) != std::string::npos; });
}

void FakeLog::clear() {
  const std::lock_guard lock(mutex_);
  lines_.clear();
}

}  // namespace accountsettings::testing
