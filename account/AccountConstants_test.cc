// Holds every exported name to the text that files and resources of devices contain.
#include "account/AccountConstants.h"

#include <gtest/gtest.h>

#include <set>
#include <string_view>
#include <vector>

namespace accountsettings {
namespace {

struct NamedText {
  const char* name;
  std::string_view constant;
  std::string_view text;
};

#define NAMED(constant, text) \
  { #constant, constant, text }

const std::vector<NamedText> kPropertyKeys{
    NAMED(kAccountIdentifier, "Identifier"),
    NAMED(kAccountSyncIdentifier, "Sync Identifier"),
    NAMED(kAccountType, "Type"),
    NAMED(kAccountClass, "Class"),
    NAMED(kAccountDisplayName, "DisplayName"),
    NAMED(kAccountUsername, "Username"),
    NAMED(kAccountTypeString, "Type String"),
    NAMED(kAccountShortTypeString, "Short Type String"),
    NAMED(kAccountEnabledDataclasses, "Enabled Dataclasses"),
    NAMED(kAccountProvisionedDataclasses, "Provisioned Dataclasses"),
    NAMED(kAccountSupportedDataclasses, "Supported Dataclasses"),
    NAMED(kAccountPreventRecentsSyncing, "Prevent Recents Syncing"),
    NAMED(kCalendarsAccountSubscribedCalendars, "Subscribed Calendars"),
    NAMED(kAccountCalendarsWereMigrated, "CalendarsWereMigrated"),
    NAMED(kAccountChildAccounts, "ChildAccounts"),
};

const std::vector<NamedText> kTypes{
    NAMED(kSubscribedCalendarAccountType, "Subscribed Calendar"),
    NAMED(kCalDAVAccountType, "CalDAV"),
    NAMED(kCardDAVAccountType, "CardDAV"),
    NAMED(kBookmarkDAVAccountType, "BookmarkDAV"),
    NAMED(kSMTPAccountType, "SMTP"),
    NAMED(kExchangeAccountType, "Exchange"),
    NAMED(kLDAPAccountType, "LDAP"),
    NAMED(kMailAccountType, "Mail"),
    NAMED(kQuorraAccountType, "Quorra"),
    NAMED(kGmailAccountType, "Gmail"),
    NAMED(kYahooAccountType, "Yahoo"),
    NAMED(kOnMyDeviceAccountType, "OnMyDevice"),
    NAMED(kIMAPNotesAccountType, "IMAPNotes"),
    NAMED(kZelqoAccountType, "ZelqoAccount"),
    NAMED(kKetchIMAPAccountType, "KetchIMAP"),
};

const std::vector<NamedText> kDataclasses{
    NAMED(kAccountDataclassMail, "com.zelqo.Dataclass.Mail"),
    NAMED(kAccountDataclassContacts, "com.zelqo.Dataclass.Contacts"),
    NAMED(kAccountDataclassCalendars, "com.zelqo.Dataclass.Calendars"),
    NAMED(kAccountDataclassReminders, "com.zelqo.Dataclass.Reminders"),
    NAMED(kAccountDataclassBookmarks, "com.zelqo.Dataclass.Bookmarks"),
    NAMED(kAccountDataclassNotes, "com.zelqo.Dataclass.Notes"),
    NAMED(kAccountDataclassMediaStream, "com.zelqo.Dataclass.MediaStream"),
    NAMED(kAccountDataclassDeviceLocator, "com.zelqo.Dataclass.DeviceLocator"),
    NAMED(kAccountDataclassContactsSearch, "com.zelqo.Dataclass.ContactsSearch"),
    NAMED(kAccountDataclassBackup, "com.zelqo.Dataclass.Backup"),
    NAMED(kAccountDataclassUbiquity, "com.zelqo.Dataclass.Ubiquity"),
    NAMED(kAccountDataclassKeyValue, "com.zelqo.Dataclass.KeyValue"),
    NAMED(kAccountDataclassQuillet, "com.zelqo.Dataclass.Quillet"),
    NAMED(kAccountDataclassSharedStreams, "com.zelqo.Dataclass.SharedStreams"),
};

const std::vector<NamedText> kResourceWords{
    NAMED(kPropertiesSupportedDataclasses, "Supported Dataclasses"),
    NAMED(kPropertiesEnableDataclassActions, "Enable Actions"),
    NAMED(kPropertiesDisableDataclassActions, "Disable Actions"),
    NAMED(kPropertiesDeleteAccountActions, "Delete Account Actions"),
    NAMED(kPropertiesShowRemindersSeparately, "Show Reminders Separately"),
    NAMED(kDataclassToggleActionNone, "None"),
    NAMED(kDataclassToggleActionKeepLocalData, "Keep Local Data"),
    NAMED(kDataclassToggleActionMergeLocalData, "Merge Local Data"),
    NAMED(kDataclassToggleActionDeleteLocalData, "Delete Local Data"),
    NAMED(kDataclassToggleActionMergeSyncData, "Merge Sync Data"),
    NAMED(kDataclassToggleActionDeleteSyncData, "Delete Sync Data"),
    NAMED(kAccountDeleteActionMergeData, "Merge Data"),
    NAMED(kAccountDeleteActionDeleteData, "Delete Data"),
    NAMED(kDataclassSupportsMultipleStores, "Supports Multiple Stores"),
    NAMED(kDataclassDisplaySwitch, "Display Dataclass Switch"),
    NAMED(kDataclassRequiresUserConfirmation, "Requires User Confirmation"),
};

#undef NAMED

TEST(AccountConstants, EachHasTheTextThatDevicesStore) {
  for (const auto* table : {&kPropertyKeys, &kTypes, &kDataclasses, &kResourceWords}) {
    for (const NamedText& each : *table) EXPECT_EQ(each.constant, each.text) << each.name;
  }
}

TEST(AccountConstants, AreAsManyAsThereAre) {
  const auto distinct = [](const std::vector<NamedText>& table) {
    std::set<std::string_view> names;
    for (const NamedText& each : table) names.insert(each.name);
    return names.size();
  };
  EXPECT_EQ(distinct(kPropertyKeys), 15U);
  EXPECT_EQ(distinct(kTypes), 15U);
  EXPECT_EQ(distinct(kDataclasses), 14U);
  EXPECT_EQ(distinct(kResourceWords), 16U);
}

}  // namespace
}  // namespace accountsettings
