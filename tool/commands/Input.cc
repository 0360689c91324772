#include "tool/commands/Input.h"

#include <filesystem>

#include "host/LinuxFiles.h"
#include "plist/Reader.h"
#include "store/AccountsManager.h"
#include "tool/backup/Backup.h"
#include "tool/device/Device.h"
#include "tool/frame/Errors.h"
#include "tool/frame/ReadFile.h"

namespace accountsettings {

namespace {

namespace fs = std::filesystem;

Input::Content contentOf(Files& files, const std::string& path) {
  if (!files.exists(path)) return std::nullopt;
  const Result<Bytes> bytes = files.read(path);
  if (!bytes) return Result<PropertyList>(bytes.error());
  return readPropertyList(*bytes);
}

Input deviceRoot(const std::string& path, const CommonOptions& options) {
  CommonOptions here = options;
  here.root = path;
  Device device(here, DefaultLog::Nowhere);
  LinuxFiles& files = device.files();
  Input input;
  input.kind = Input::Kind::DeviceRoot;
  input.path = path;
  input.settingsPath = device.shown(accountSettingsAccountsPath());
  input.settings = contentOf(files, accountSettingsAccountsPath());
  input.legacyMail = contentOf(files, mailAccountsPath());
  input.legacyExchange = contentOf(files, daAccountPath());
  return input;
}

Input backup(const std::string& path) {
  const BackupManifest manifest = readManifest(path);
  const auto contentOfRole = [&](BackupRole role) -> Input::Content {
    const BackupFile* file = manifest.fileInRole(role);
    if (file == nullptr || file->savedAs.empty()) return std::nullopt;
    return readPropertyList(readFile(path + "/" + file->savedAs));
  };
  Input input;
  input.kind = Input::Kind::Backup;
  input.path = path;
  input.settings = contentOfRole(BackupRole::Settings);
  if (const BackupFile* file = manifest.fileInRole(BackupRole::Settings)) {
    input.settingsPath = path + "/" + file->savedAs;
  }
  input.legacyMail = contentOfRole(BackupRole::LegacyMail);
  input.legacyExchange = contentOfRole(BackupRole::LegacyExchange);
  return input;
}

}  // namespace

std::string Input::description() const {
  return std::string(nameOf(kind)) + " " + path;
}

Input::Kind kindOfInput(const std::string& path) {
  std::error_code code;
  if (!fs::is_directory(path, code)) return Input::Kind::SettingsFile;
  return isBackup(path) ? Input::Kind::Backup : Input::Kind::DeviceRoot;
}

Input openInput(const std::string& path, const CommonOptions& options) {
  const Input::Kind kind = kindOfInput(path);
  if (kind == Input::Kind::Backup) return backup(path);
  if (kind == Input::Kind::DeviceRoot) return deviceRoot(path, options);
  Input input;
  input.path = path;
  input.settingsPath = path;
  input.settings = readPropertyListFile(path);
  return input;
}

std::string_view nameOf(Input::Kind kind) {
  switch (kind) {
    case Input::Kind::SettingsFile:
      return "settings file";
    case Input::Kind::DeviceRoot:
      return "device root";
    case Input::Kind::Backup:
      break;
  }
  return "backup";
}

}  // namespace accountsettings
