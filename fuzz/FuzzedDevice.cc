// How the bytes become a device. The resources are read from the disk once.
#include "fuzz/FuzzedDevice.h"

#include "fuzz/Demand.h"
#include "plist/BinaryWriter.h"
#include "plist/Reader.h"

namespace accountsettings::fuzz {

namespace {

const Bytes& resource(const std::string& name) {
  static std::map<std::string, Bytes> read;
  Bytes& bytes = read[name];
  if (bytes.empty()) {
    testing::Faults none;
    testing::FakeResources shipped(none);
    const Bytes text = shipped.read(shipped.pathOf(name).value()).value();
    bytes = writeBinary(readPropertyList(text).value()).value();  // which is read in less time
  }
  return bytes;
}

}  // namespace

FuzzedDevice::FuzzedDevice(Chooser& choose, Kind kind) {
  putResources();
  configure(choose);
  if (kind == Kind::Any) {
    putMigrationFiles(choose);
    return;
  }
  fake.files.putPropertyList(kSettings,
                             Dictionary{{"Version", 12}, {"Accounts", choose.accounts()}});
}

void FuzzedDevice::putResources() {
  for (const char* name : {"AccountTypesProperties", "DataclassesProperties", "AccountCreators"}) {
    fake.resources.putBytes(name, resource(name));
  }
  for (const char* key : {"ON_MY_DEVICE_TYPE", "ON_MY_DEVICE_TYPE_ZUMI"}) {
    fake.resources.putText("DeviceLocalAccount", key, "On My Device");
  }
  fake.files.putDirectory("/var/shared/Library/Logs/CrashReporter");
}

void FuzzedDevice::configure(Chooser& choose) {
  fake.configuration.current.gmailCalDAVHost = "www.google.com";
  fake.configuration.current.yahooCalDAVHost = "caldav.calendar.yahoo.com";
  if (choose.flag()) {
    fake.configuration.current.quorraMailDomain = "quorra.test";
    fake.configuration.current.vantorMailDomain = "vantor.test";
  }
  if (choose.rarely(4)) {
    fake.preferences.set("com.zelqo.accountsettings-logging", "RSSaveMigrationInformation", true);
  }
  if (choose.rarely(8)) fake.preferences.setOwnDefault("RSLoggingEnabled", true);
  if (choose.rarely(4)) fake.processes.add(7, "dataaccessd");
}

void FuzzedDevice::putMigrationFiles(Chooser& choose) {
  const std::size_t version = choose.below(16);
  if (version < 14) {
    Dictionary root{{"Version", static_cast<std::int64_t>(version)},
                    {"Accounts", choose.accounts()}};
    if (choose.rarely(16)) root.remove("Version");
    if (choose.rarely(16)) root.set(choose.word(), choose.value());
    fake.files.putPropertyList(kSettings, root);
  } else if (version == 14) {
    fake.files.putPropertyList(kSettings, choose.value());
  }
  if (choose.rarely(3)) {
    Dictionary mail;
    for (const char* key : {"MailAccounts", "DeliveryAccounts"}) {
      Array list;
      for (std::size_t count = choose.below(4); count > 0; --count) {
        list.append(choose.mailDescription());
      }
      if (!choose.rarely(16)) mail.set(key, list);
    }
    fake.files.putPropertyList(kMail, mail);
    if (choose.flag()) fake.files.put(std::string(kMail) + ".original", "old");
  }
  if (choose.rarely(3)) {
    Array list;
    for (std::size_t count = choose.below(4); count > 0; --count) {
      list.append(choose.exchangeDescription());
    }
    fake.files.putPropertyList(kExchange, Dictionary{{"DAAccountsKey", list}});
  }
  if (choose.rarely(8)) fake.files.put(kSentinel, "");
}

void FuzzedDevice::demandWhole() const {
  if (const auto bytes = fake.files.bytes(kSettings)) {
    const Result<PropertyList> read = readPropertyList(*bytes);
    demand(read.ok(), "the settings can be read");
  }
  demand(fake.files.temporaryFilesLeft().empty(), "no temporary file is left");
  demand(fake.files.openFiles() == 0, "no file stays open");
  demand(!fake.locks.isHeld("AccountMigrationInProgress"), "the migration lock is free");
  demand(!fake.writerLocks.isHeld(kSettings), "the writer lock is free");
}

std::map<std::string, Bytes> FuzzedDevice::contents() const {
  std::map<std::string, Bytes> all;
  for (const std::string& path : fake.files.paths()) all[path] = *fake.files.bytes(path);
  return all;
}

}  // namespace accountsettings::fuzz
