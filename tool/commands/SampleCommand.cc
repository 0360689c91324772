#include "tool/commands/SampleCommand.h"

#include <array>
#include <filesystem>
#include <vector>

#include "host/LinuxFiles.h"
#include "plist/BinaryWriter.h"
#include "plist/XmlWriter.h"
#include "store/AccountsManager.h"
#include "tool/commands/SampleAccounts.h"
#include "tool/device/Device.h"
#include "tool/frame/ReadFile.h"
#include "tool/frame/Terminal.h"

namespace accountsettings {

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kLegacyFiles = -1;

// A release by the build that wrote its settings.
struct Release {
  const char* name;
  std::int64_t version;  // of its settings, or kLegacyFiles
  const char* meaning;
};

constexpr std::array<Release, 9> kReleases = {{
    {"current", 12, "settings of the current release"},
    {"legacy", kLegacyFiles, "legacy mail and Exchange files, no settings yet"},
    {"oldest", 0, "settings of the oldest release (version 0)"},
    {"7A153", 2, "settings of build 7A153 (version 2)"},
    {"8A293", 5, "settings of build 8A293 (version 5)"},
    {"8C136", 7, "settings of build 8C136 (version 7)"},
    {"9A182", 9, "settings of build 9A182 (version 9)"},
    {"9A334", 10, "settings of build 9A334 (version 10)"},
    {"9B176", 11, "settings of build 9B176 (version 11)"},
}};

const Release& releaseNamed(const std::string& name) {
  for (const Release& each : kReleases) {
    if (each.name == name) return each;
  }
  return kReleases.front();  // the option admits no other name
}

constexpr std::array<const char*, 5> kDirectories = {
    "etc/accountsettings", "var/mobile/Library/Preferences", "var/mobile/Library/Mail",
    "var/shared/Library/Logs/CrashReporter", "tmp"};

[[noreturn]] void fail(const std::string& path, const std::error_code& code) {
  throw Prevented(path, code.message(), "choose a directory that can be written to");
}

void makeDirectories(const fs::path& root) {
  std::error_code code;
  if (fs::exists(root, code) && !fs::is_directory(root, code)) {
    throw Prevented(root.string(), "this is no directory", "give the name of a new one");
  }
  if (fs::is_directory(root, code) && !fs::is_empty(root, code)) {
    throw Prevented(root.string(), "the directory is not empty",
                    "give the name of a new one; nothing is ever written over");
  }
  for (const char* each : kDirectories) {
    fs::create_directories(root / each, code);
    if (code) fail((root / each).string(), code);
  }
  fs::permissions(root / "tmp", fs::perms::all | fs::perms::sticky_bit, code);
  if (code) fail((root / "tmp").string(), code);
}

// The image's accounts. A person without privilege can give files to nobody else, so there
// "mobile" is that person.
void writeAccountNames(const fs::path& root, std::uint32_t user, std::uint32_t group) {
  const std::string numbers = std::to_string(user) + ":" + std::to_string(group);
  writeFile((root / "etc/passwd").string(), "root:x:0:0:root:/root:/bin/sh\nmobile:x:" + numbers +
                                                ":Mobile user:/var/mobile:/bin/sh\n");
  writeFile((root / "etc/group").string(), "root:x:0:\nmobile:x:" + std::to_string(group) + ":\n");
}

Bytes orRefuse(Result<Bytes> bytes) {
  if (!bytes) throw Prevented("sample", bytes.error().message);
  return std::move(bytes).value();
}

void writeHostConfiguration(const fs::path& root) {
  const Dictionary configuration{
      {"DeviceAnswers", Dictionary{{"DeviceClass", "Zumi"}, {"CPUArchitecture", "armv7"}}},
      {"HostedMailDomains",
       Dictionary{{"QuorraAccount", "quorra.example"}, {"VantorAccount", "vantor.example"}}}};
  writeFile((root / "etc/accountsettings/host.plist").string(), orRefuse(writeXml(configuration)));
}

// Writes device files as the mobile user's own.
class DeviceWriter {
 public:
  DeviceWriter(const CommonOptions& options, std::uint32_t user, std::uint32_t group)
      : device_(options, DefaultLog::Nowhere) {
    attributes_.mode = 0600;
    attributes_.owner = user;
    attributes_.group = group;
  }

  void write(const std::string& path, const Bytes& bytes) {
    const Status written = device_.files().replace(path, bytes, attributes_);
    if (!written) {
      throw Prevented("", written.error().message, "choose a directory that can be written to");
    }
    written_.push_back(path);
  }

  [[nodiscard]] const std::vector<std::string>& written() const { return written_; }

 private:
  Device device_;
  FileAttributes attributes_;
  std::vector<std::string> written_;
};

void writeAccounts(DeviceWriter& device, const Release& release) {
  if (release.version == kLegacyFiles) {
    device.write(mailAccountsPath(), orRefuse(writeXml(sampleLegacyMail())));
    device.write(daAccountPath(), orRefuse(writeBinary(sampleLegacyExchange())));
  } else {
    device.write(accountSettingsAccountsPath(),
                 orRefuse(writeBinary(sampleSettings(release.version))));
  }
  if (release.version == 12) return;
  // A migration of this device leaves the dated record of what it did.
  device.write("/var/mobile/Library/Preferences/com.zelqo.accountsettings-logging.plist",
               orRefuse(writeXml(Dictionary{{"RSSaveMigrationInformation", true}})));
}

}  // namespace

void SampleCommand::describe(OptionSet& options) {
  options.argument("DIR", directory_, "Where to write the device root: a new or empty directory");
  std::vector<std::string> names;
  for (const Release& each : kReleases) names.emplace_back(each.name);
  options.choice("--release", release_, names,
                 "Whose settings: a release's, named by its build, or none but legacy mail and "
                 "Exchange files; current where left out");
  options.example("accountsettings sample device",
                  "Writes a device root of the current release to the directory 'device'.");
  options.example("accountsettings sample old --release oldest",
                  "Writes a device of the oldest release, which waits for its migration.");
}

ExitStatus SampleCommand::run(Session& session) {
  constexpr std::uint32_t kMobile = 501;
  const bool privileged = terminal::userIdentifier() == 0;
  const std::uint32_t user = privileged ? kMobile : terminal::userIdentifier();
  const std::uint32_t group = privileged ? kMobile : terminal::groupIdentifier();
  const Release& release = releaseNamed(release_.value_or("current"));

  makeDirectories(directory_);
  writeAccountNames(directory_, user, group);
  writeHostConfiguration(directory_);
  CommonOptions options;
  options.root = directory_;
  DeviceWriter device(options, user, group);
  writeAccounts(device, release);
  session.changed = true;

  Output& output = session.output;
  if (output.json()) {
    Array files;
    for (const std::string& path : device.written()) files.append(path);
    (void)output.value(Dictionary{{"format", "accountsettings.sample"},
                                  {"formatVersion", 1},
                                  {"root", directory_},
                                  {"release", release.name},
                                  {"files", files}});
    return ExitStatus::Done;
  }
  output.line("Wrote a device root with " + std::string(release.meaning) + ":");
  for (const std::string& path : device.written()) output.line("  " + directory_ + path);
  output.line("Look at it with: accountsettings show --root " + directory_);
  return ExitStatus::Done;
}

}  // namespace accountsettings
