// Fuzz target: the host's configuration is any property list, or any bytes. What is taken from it
// keeps what the host relies on; what is refused names the file.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "fuzz/Chooser.h"
#include "fuzz/Demand.h"
#include "host/HostConfiguration.h"
#include "plist/BinaryWriter.h"

namespace accountsettings::fuzz {
namespace {

constexpr std::string_view kKeys[] = {"HomeDirectory",
                                      "SharedResourcesDirectory",
                                      "MailDataDirectory",
                                      "TemporaryDirectory",
                                      "Owner",
                                      "Group",
                                      "DeviceAnswers",
                                      "DeviceInfo",
                                      "Restrictions",
                                      "ExternalSources",
                                      "ExternalSourceErrors",
                                      "CloudAccount",
                                      "MailHosts",
                                      "CalDAVHosts",
                                      "HostedMailDomains",
                                      "WebEngineLibrary",
                                      "Language",
                                      "PlugInDirectory",
                                      "ModuleDirectory",
                                      "DefaultsDomain"};
constexpr std::string_view kInnerKeys[] = {
    "CloudDocuments", "PhotoStream",  "SharedPhotoStreams", "CloudBackup",   "LockScreenCards",
    "Bookmarks",      "Calendars",    "Contacts",           "Notes",         "StatusKey",
    "PrimaryKey",     "TypeString",   "GmailDomain",        "GmailIMAPHost", "YahooIMAPHost",
    "GmailAccount",   "YahooAccount", "QuorraAccount"};

PropertyList innerValue(Chooser& choose) {
  switch (choose.below(4)) {
    case 0:
      return "/some/" + choose.word();
    case 1:
      return Array{choose.word(), choose.word()};
    default:
      return choose.value();
  }
}

Bytes configurationFrom(Chooser& choose) {
  Dictionary root;
  for (std::size_t count = choose.below(8); count > 0; --count) {
    const std::string key(choose.rarely() ? choose.word() : std::string(choose.oneOf(kKeys)));
    if (choose.flag()) {
      root.set(key, innerValue(choose));
      continue;
    }
    Dictionary inner;
    for (std::size_t entries = choose.below(4); entries > 0; --entries) {
      inner.set(choose.oneOf(kInnerKeys), innerValue(choose));
    }
    root.set(key, inner);
  }
  return writeBinary(root).value();
}

void demandPath(const std::optional<std::string>& path) {
  if (!path) return;
  demand(path->starts_with('/'), "a path is absolute");
  demand(path->find('\0') == std::string::npos, "a path ends where it ends");
}

void check(const Bytes& bytes, bool mayNameCode) {
  const auto read = HostConfiguration::parse(bytes, "host.plist", mayNameCode);
  if (!read) {
    demand(read.error().message.starts_with("host.plist: "), "an error names the file");
    return;
  }
  for (const auto& path :
       {std::optional(read->homeDirectory), std::optional(read->sharedResourcesDirectory),
        std::optional(read->mailDataDirectory), read->temporaryDirectory, read->webEngineLibrary,
        read->plugInDirectory, read->moduleDirectory}) {
    demandPath(path);
  }
  for (const std::string& name :
       {read->values.owner, read->values.group, read->language.value_or("x"),
        read->defaultsDomain.value_or("x")}) {
    demand(!name.empty(), "a name is not empty");
  }
  const bool namesCode = read->webEngineLibrary || read->plugInDirectory || read->moduleDirectory;
  demand(mayNameCode || !namesCode, "a file beneath the root names no code");
  for (const std::string& warning : read->warnings) {
    demand(warning.starts_with("host.plist: "), "a warning names the file");
  }
}

}  // namespace
}  // namespace accountsettings::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace accountsettings;
  fuzz::Chooser choose({data, size});
  const bool mayNameCode = choose.flag();
  if (choose.flag()) {
    fuzz::check(fuzz::configurationFrom(choose), mayNameCode);
  } else if (size > 2) {
    fuzz::check(Bytes(data + 2, data + size), mayNameCode);
  }
  return 0;
}
