// `sample`: a device root of each release, small enough to be read.
#include "tool/commands/SampleCommand.h"

#include <array>
#include <filesystem>
#include <vector>

#include "host/LinuxFiles.h"
#include "migration/MigrationSteps.h"
#include "plist/BinaryWriter.h"
#include "plist/XmlWriter.h"
#include "store/AccountsManager.h"
#include "tool/commands/SampleAccounts.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Json.h"
#include "tool/frame/Terminal.h"
#include "tool/values/ReadFile.h"

namespace accountsettings {

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kLegacyFiles = -1;

// The version of the settings that a build wrote: the one that its step takes. Not a constant
// expression for a build that has no step.
constexpr std::int64_t versionOfBuild(std::string_view build) {
  const VersionStep* step = kVersionSteps.data();
  while (step->step.name != build) ++step;
  return step->before;
}

// A release by the build that wrote its settings.
struct Release {
  const char* name;
  std::int64_t version;  // of its settings, or kLegacyFiles

  [[nodiscard]] std::string meaning() const {
    if (version == kLegacyFiles) return "legacy mail and Exchange files, no settings yet";
    if (version == AccountsManager::currentVersion()) return "settings of the current release";
    const std::string whose = version == 0 ? "the oldest release" : "build " + std::string(name);
    return "settings of " + whose + " (version " + std::to_string(version) + ")";
  }
};

constexpr std::array<Release, 9> kReleases = {{
    {"current", AccountsManager::currentVersion()},
    {"legacy", kLegacyFiles},
    {"oldest", kVersionSteps.front().before},
    {"7A153", versionOfBuild("7A153")},
    {"8A293", versionOfBuild("8A293")},
    {"8C136", versionOfBuild("8C136")},
    {"9A182", versionOfBuild("9A182")},
    {"9A334", versionOfBuild("9A334")},
    {"9B176", versionOfBuild("9B176")},
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
  throw Prevented(path, Error{code.message(), code.value()},
                  "choose a directory that can be written to");
}

// Nothing is ever written over.
void requireFresh(const fs::path& root) {
  std::error_code code;
  if (fs::exists(root, code) && !fs::is_directory(root, code)) {
    throw Prevented(root.string(), "this is no directory", "give the name of a new one",
                    FailureCode::Exists);
  }
  if (fs::is_directory(root, code) && !fs::is_empty(root, code)) {
    throw Prevented(root.string(), "the directory is not empty",
                    "give the name of a new one; nothing is ever written over",
                    FailureCode::Exists);
  }
}

void makeDirectories(const fs::path& root) {
  std::error_code code;
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

// DeviceFile is a file of the mobile user's, by its path on the device.
struct DeviceFile {
  std::string path;
  Bytes bytes;
};

std::string inPreferences(const char* name) {
  return std::string("/var/mobile/Library/Preferences/") + name;
}

// The places are those of a device whose configuration does not move them.
std::vector<DeviceFile> filesOf(const Release& release) {
  std::vector<DeviceFile> files;
  if (release.version == kLegacyFiles) {
    files.push_back(
        {"/var/mobile/Library/Mail/Accounts.plist", orRefuse(writeXml(sampleLegacyMail()))});
    files.push_back({inPreferences("com.zelqo.DataAccess.plist"),
                     orRefuse(writeBinary(sampleLegacyExchange()))});
  } else {
    files.push_back({inPreferences("com.zelqo.accountsettings.plist"),
                     orRefuse(writeBinary(sampleSettings(release.version)))});
  }
  if (release.version == AccountsManager::currentVersion()) return files;
  // A migration of this device leaves the dated record of what it did.
  files.push_back({inPreferences("com.zelqo.accountsettings-logging.plist"),
                   orRefuse(writeXml(Dictionary{{"RSSaveMigrationInformation", true}}))});
  return files;
}

void writeDevice(const std::string& root, const std::vector<DeviceFile>& files) {
  constexpr std::uint32_t kMobile = 501;
  const bool privileged = terminal::userIdentifier() == 0;
  const FileOwner owner{privileged ? kMobile : terminal::userIdentifier(),
                        privileged ? kMobile : terminal::groupIdentifier()};
  makeDirectories(root);
  writeAccountNames(root, owner.owner, owner.group);
  writeHostConfiguration(root);

  CommonOptions options;
  options.root = root;
  OpenedRoot device(options, DefaultLog::Nowhere);
  for (const DeviceFile& each : files) {
    const Status written = device.files().replace(each.path, each.bytes, 0600, owner);
    if (written) continue;
    throw Prevented("", written.error(), "choose a directory that can be written to");
  }
}

void show(Output& output, const std::string& root, const Release& release,
          const std::vector<DeviceFile>& files, bool dryRun) {
  if (output.json()) {
    return output.document(
        "sample", {{"dryRun", dryRun},
                   {"root", root},
                   {"release", release.name},
                   {"paths", listOf(files, [](const DeviceFile& each) { return each.path; })}});
  }
  output.line(std::string(dryRun ? "Would write" : "Wrote") + " a device root with " +
              release.meaning() + ":");
  for (const DeviceFile& each : files) output.line("  " + root + each.path);
  if (dryRun) return;
  CommonOptions there;
  there.root = root;
  output.line("Look at it with: " + commandLineFor(there, {"show"}));
}

}  // namespace

void SampleCommand::describe(OptionSet& options) {
  options.argument("DIR", directory_, "Where to write the device root: a new or empty directory");
  std::vector<std::string> names;
  names.reserve(kReleases.size());
  for (const Release& each : kReleases) names.emplace_back(each.name);
  options.choice("--release", release_, names,
                 "Whose settings: a release's, named by its build, or none but legacy mail and "
                 "Exchange files; current where left out");
  options.flag("-n,--dry-run", dryRun_, "Say what would be written and write nothing");
  options.example("accountsettings sample device",
                  "Writes a device root of the current release to the directory 'device'.");
  options.example("accountsettings sample old --release oldest",
                  "Writes a device of the oldest release, which waits for its migration.");
}

ExitStatus SampleCommand::run(Session& session) {
  const Release& release = releaseNamed(release_.value_or("current"));
  requireFresh(directory_);
  const std::vector<DeviceFile> files = filesOf(release);
  if (!dryRun_) {
    writeDevice(directory_, files);
    session.changed = true;
  }
  show(session.output, directory_, release, files, dryRun_);
  return ExitStatus::Done;
}

}  // namespace accountsettings
