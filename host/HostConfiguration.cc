// The configuration's keys, read one by one, each wrong value an error that names its place.
#include "host/HostConfiguration.h"

#include <array>
#include <limits>
#include <utility>

#include "plist/Description.h"
#include "plist/Reader.h"

namespace accountsettings {

namespace {

// Item is one value of the configuration with its place: the file and the keys that lead to it.
struct Item {
  const PropertyList& value;
  std::string place;

  [[nodiscard]] Item child(std::string_view key, const PropertyList& inner) const {
    return {inner, place + ": " + std::string(key)};
  }
};

Error expected(const Item& item, std::string_view what) {
  return Error{item.place + ": expected " + std::string(what) + ", found " +
               std::string(kindInWords(item.value))};
}

Result<std::string> stringIn(const Item& item) {
  const std::optional<std::string_view> text = item.value.stringValue();
  if (!text) return expected(item, "a string");
  return std::string(*text);
}

Result<std::string> absolutePathIn(const Item& item) {
  Result<std::string> text = stringIn(item);
  if (!text) return text;
  if (!text->starts_with('/') || text->find('\0') != std::string::npos) {
    return Error{item.place + ": expected an absolute path, found \"" + *text + '"'};
  }
  return text;
}

Result<std::string> nameIn(const Item& item) {
  Result<std::string> text = stringIn(item);
  if (text && text->empty()) return Error{item.place + ": expected a name, found an empty string"};
  return text;
}

Result<int> integerIn(const Item& item) {
  if (item.value.kind() != PropertyList::Kind::Integer) return expected(item, "an integer");
  const std::int64_t number = item.value.integerValue();
  if (number < std::numeric_limits<int>::min() || number > std::numeric_limits<int>::max()) {
    return Error{item.place + ": expected an integer of at most 32 bits"};
  }
  return static_cast<int>(number);
}

Result<std::vector<std::string>> stringsIn(const Item& item) {
  if (item.value.array() == nullptr) return expected(item, "an array of strings");
  std::vector<std::string> strings;
  for (const PropertyList& member : *item.value.array()) {
    Result<std::string> text =
        stringIn(item.child("item " + std::to_string(strings.size() + 1), member));
    if (!text) return text.error();
    strings.push_back(std::move(*text));
  }
  return strings;
}

template <class Target, class Value>
Status store(Target& target, Result<Value> value) {
  if (!value) return value.error();
  target = std::move(*value);
  return {};
}

// Reads the value of one key into a configuration.
using Apply = Status (*)(HostConfiguration& configuration, const Item& item);

struct Key {
  std::string_view name;
  Apply apply;
  bool namesCode = false;
};

// Applies every entry of a dictionary by the key table; an unknown key is a warning.
template <std::size_t Count>
Status applyEntries(HostConfiguration& configuration, const Item& item,
                    const std::array<Key, Count>& keys, bool mayNameCode = true) {
  if (item.value.dictionary() == nullptr) return expected(item, "a dictionary");
  for (const Dictionary::Entry& entry : *item.value.dictionary()) {
    const Item inner = item.child(entry.key(), entry.value());
    const Key* known = nullptr;
    for (const Key& key : keys) {
      if (key.name == entry.key()) known = &key;
    }
    if (known == nullptr) {
      configuration.warnings.push_back(inner.place + ": unknown key, ignored");
    } else if (known->namesCode && !mayNameCode) {
      configuration.warnings.push_back(
          inner.place + ": ignored, because a file beneath the root cannot name code to load");
    } else if (Status applied = known->apply(configuration, inner); !applied) {
      return applied;
    }
  }
  return {};
}

template <RestrictionSwitch Switch>
Status applyRestriction(HostConfiguration& configuration, const Item& item) {
  return store(configuration.restrictions[Switch], integerIn(item));
}

template <SyncDataType Type>
Status applySources(HostConfiguration& configuration, const Item& item) {
  return store(configuration.externalSources[Type].sources, stringsIn(item));
}

template <SyncDataType Type>
Status applySourcesError(HostConfiguration& configuration, const Item& item) {
  return store(configuration.externalSources[Type].error, stringIn(item));
}

template <auto Member, auto Read = stringIn>
Status apply(HostConfiguration& configuration, const Item& item) {
  return store(configuration.*Member, Read(item));
}

template <auto Member, auto Read = stringIn>
Status applyValue(HostConfiguration& configuration, const Item& item) {
  return store(configuration.values.*Member, Read(item));
}

constexpr std::array kRestrictions = {
    Key{"CloudDocuments", applyRestriction<RestrictionSwitch::CloudDocuments>},
    Key{"PhotoStream", applyRestriction<RestrictionSwitch::PhotoStream>},
    Key{"SharedPhotoStreams", applyRestriction<RestrictionSwitch::SharedPhotoStreams>},
    Key{"CloudBackup", applyRestriction<RestrictionSwitch::CloudBackup>},
    Key{"LockScreenCards", applyRestriction<RestrictionSwitch::LockScreenCards>},
};

constexpr std::array kExternalSources = {
    Key{"Bookmarks", applySources<SyncDataType::Bookmarks>},
    Key{"Calendars", applySources<SyncDataType::Calendars>},
    Key{"Contacts", applySources<SyncDataType::Contacts>},
    Key{"Notes", applySources<SyncDataType::Notes>},
};

constexpr std::array kExternalSourceErrors = {
    Key{"Bookmarks", applySourcesError<SyncDataType::Bookmarks>},
    Key{"Calendars", applySourcesError<SyncDataType::Calendars>},
    Key{"Contacts", applySourcesError<SyncDataType::Contacts>},
    Key{"Notes", applySourcesError<SyncDataType::Notes>},
};

constexpr std::array kCloudAccount = {
    Key{"StatusKey", apply<&HostConfiguration::cloudAccountStatusKey>},
    Key{"PrimaryKey", apply<&HostConfiguration::cloudAccountPrimaryKey>},
    Key{"TypeString", apply<&HostConfiguration::cloudAccountTypeString>},
};

constexpr std::array kMailHosts = {
    Key{"GmailDomain", applyValue<&ConfigurationValues::gmailDomain>},
    Key{"GmailIMAPHost", applyValue<&ConfigurationValues::gmailIMAPHost>},
    Key{"YahooIMAPHost", applyValue<&ConfigurationValues::yahooIMAPHost>},
};

constexpr std::array kCalDAVHosts = {
    Key{"GmailAccount", applyValue<&ConfigurationValues::gmailCalDAVHost>},
    Key{"YahooAccount", applyValue<&ConfigurationValues::yahooCalDAVHost>},
};

constexpr std::array kHostedMailDomains = {
    Key{"QuorraAccount", applyValue<&ConfigurationValues::quorraMailDomain>},
    Key{"VantorAccount", applyValue<&ConfigurationValues::vantorMailDomain>},
};

template <const auto& Keys>
Status applyDictionary(HostConfiguration& configuration, const Item& item) {
  return applyEntries(configuration, item, Keys);
}

Status applyDeviceAnswers(HostConfiguration& configuration, const Item& item) {
  if (item.value.dictionary() == nullptr) return expected(item, "a dictionary");
  configuration.deviceAnswers = *item.value.dictionary();
  return {};
}

Status applyDeviceInfo(HostConfiguration& configuration, const Item& item) {
  if (item.value.dictionary() == nullptr) return expected(item, "a dictionary");
  for (const Dictionary::Entry& domain : *item.value.dictionary()) {
    const Item inner = item.child(domain.key(), domain.value());
    if (domain.value().dictionary() == nullptr) return expected(inner, "a dictionary");
    configuration.deviceInfo[std::string(domain.key())] = *domain.value().dictionary();
  }
  return {};
}

constexpr std::array kKeys = {
    Key{"HomeDirectory", apply<&HostConfiguration::homeDirectory, absolutePathIn>},
    Key{"SharedResourcesDirectory",
        apply<&HostConfiguration::sharedResourcesDirectory, absolutePathIn>},
    Key{"MailDataDirectory", apply<&HostConfiguration::mailDataDirectory, absolutePathIn>},
    Key{"TemporaryDirectory", apply<&HostConfiguration::temporaryDirectory, absolutePathIn>},
    Key{"Owner", applyValue<&ConfigurationValues::owner, nameIn>},
    Key{"Group", applyValue<&ConfigurationValues::group, nameIn>},
    Key{"DeviceAnswers", applyDeviceAnswers},
    Key{"DeviceInfo", applyDeviceInfo},
    Key{"Restrictions", applyDictionary<kRestrictions>},
    Key{"ExternalSources", applyDictionary<kExternalSources>},
    Key{"ExternalSourceErrors", applyDictionary<kExternalSourceErrors>},
    Key{"CloudAccount", applyDictionary<kCloudAccount>},
    Key{"MailHosts", applyDictionary<kMailHosts>},
    Key{"CalDAVHosts", applyDictionary<kCalDAVHosts>},
    Key{"HostedMailDomains", applyDictionary<kHostedMailDomains>},
    Key{"WebEngineLibrary", apply<&HostConfiguration::webEngineLibrary, absolutePathIn>, true},
    Key{"Language", apply<&HostConfiguration::language, nameIn>},
    Key{"PlugInDirectory", apply<&HostConfiguration::plugInDirectory, absolutePathIn>, true},
    Key{"ModuleDirectory", apply<&HostConfiguration::moduleDirectory, absolutePathIn>, true},
    Key{"DefaultsDomain", apply<&HostConfiguration::defaultsDomain, nameIn>},
};

}  // namespace

ConfigurationValues HostConfiguration::defaultValues() {
  ConfigurationValues values;
  values.gmailDomain = "gmail.com";
  values.gmailIMAPHost = "imap.gmail.com";
  values.gmailCalDAVHost = "www.google.com";
  values.yahooCalDAVHost = "caldav.calendar.yahoo.com";
  return values;
}

Result<HostConfiguration> HostConfiguration::parse(std::span<const std::uint8_t> bytes,
                                                   const std::string& file, bool mayNameCode) {
  const Result<PropertyList> root = readPropertyList(bytes);
  if (!root) return Error{file + ": " + root.error().message};
  HostConfiguration configuration;
  if (Status applied = applyEntries(configuration, Item{*root, file}, kKeys, mayNameCode);
      !applied) {
    return applied.error();
  }
  return configuration;
}

}  // namespace accountsettings
