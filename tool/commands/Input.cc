// How what a command was given is recognised and read.
#include "tool/commands/Input.h"

#include <filesystem>

#include "tool/backup/BackupAccess.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Errors.h"
#include "tool/frame/Words.h"
#include "tool/values/ReadFile.h"

namespace accountsettings {

namespace {

namespace fs = std::filesystem;

Input deviceRoot(const std::string& path, const CommonOptions& options) {
  CommonOptions here = options;
  here.root = path;
  OpenedDevice device(here);
  Input input{Input::Kind::DeviceRoot, path, filesOfRoot()};
  for (InspectedFile* file :
       {&input.files.settings, &input.files.legacyExchange, &input.files.legacyMail}) {
    file->name = device.shown(file->name);
  }
  return input;
}

Input backup(const std::string& path) {
  const BackupManifest manifest = readManifest(path);
  const auto fileInRole = [&](PathRole role) -> InspectedFile {
    const BackupFile* file = manifest.fileInRole(role);
    if (file == nullptr || file->savedAs.empty()) return {path, std::nullopt};
    const std::string saved = path + "/" + file->savedAs;
    const Result<Bytes> content = readKept(path, *file);
    if (!content) return {saved, Result<PropertyList>(content.error())};
    return {saved, propertyListIn(*content)};
  };
  return {Input::Kind::Backup,
          path,
          {fileInRole(PathRole::Settings), fileInRole(PathRole::LegacyExchange),
           fileInRole(PathRole::LegacyMail)}};
}

}  // namespace

std::string Input::description() const {
  return std::string(nameOf(kind)) + " " + path;
}

Dictionary Input::forScripts() const {
  return {{"kind", nameOf(kind)}, {"file", path}};
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
  return {kind, path, {{path, Result<PropertyList>(readPropertyListFile(path))}, {}, {}}};
}

std::string_view nameOf(Input::Kind kind) {
  return wordFor(kind, {"settings file", "device root", "backup"});
}

}  // namespace accountsettings
