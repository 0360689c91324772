/// \file
/// The names by which every client spells account properties, account types, data
/// classes and the actions offered for them. The texts are what files and resources hold.
#pragma once

#include <string_view>

namespace accountsettings {

/// Property keys of an account.
///@{
inline constexpr std::string_view kAccountIdentifier = "Identifier";
inline constexpr std::string_view kAccountSyncIdentifier = "Sync Identifier";
inline constexpr std::string_view kAccountType = "Type";
inline constexpr std::string_view kAccountClass = "Class";
inline constexpr std::string_view kAccountDisplayName = "DisplayName";
inline constexpr std::string_view kAccountUsername = "Username";
inline constexpr std::string_view kAccountTypeString = "Type String";
inline constexpr std::string_view kAccountShortTypeString = "Short Type String";
inline constexpr std::string_view kAccountEnabledDataclasses = "Enabled Dataclasses";
inline constexpr std::string_view kAccountProvisionedDataclasses = "Provisioned Dataclasses";
inline constexpr std::string_view kAccountSupportedDataclasses = "Supported Dataclasses";
inline constexpr std::string_view kAccountPreventRecentsSyncing = "Prevent Recents Syncing";
inline constexpr std::string_view kCalendarsAccountSubscribedCalendars = "Subscribed Calendars";
inline constexpr std::string_view kAccountCalendarsWereMigrated = "CalendarsWereMigrated";
inline constexpr std::string_view kAccountChildAccounts = "ChildAccounts";
///@}

/// Account types.
///@{
inline constexpr std::string_view kSubscribedCalendarAccountType = "Subscribed Calendar";
inline constexpr std::string_view kCalDAVAccountType = "CalDAV";
inline constexpr std::string_view kCardDAVAccountType = "CardDAV";
inline constexpr std::string_view kBookmarkDAVAccountType = "BookmarkDAV";
inline constexpr std::string_view kSMTPAccountType = "SMTP";
inline constexpr std::string_view kExchangeAccountType = "Exchange";
inline constexpr std::string_view kLDAPAccountType = "LDAP";
inline constexpr std::string_view kMailAccountType = "Mail";
inline constexpr std::string_view kQuorraAccountType = "Quorra";
inline constexpr std::string_view kGmailAccountType = "Gmail";
inline constexpr std::string_view kYahooAccountType = "Yahoo";
inline constexpr std::string_view kOnMyDeviceAccountType = "OnMyDevice";
inline constexpr std::string_view kIMAPNotesAccountType = "IMAPNotes";
inline constexpr std::string_view kZelqoAccountType = "ZelqoAccount";
inline constexpr std::string_view kKetchIMAPAccountType = "KetchIMAP";
///@}

/// Data classes, in canonical order.
///@{
inline constexpr std::string_view kAccountDataclassMail = "com.zelqo.Dataclass.Mail";
inline constexpr std::string_view kAccountDataclassContacts = "com.zelqo.Dataclass.Contacts";
inline constexpr std::string_view kAccountDataclassCalendars = "com.zelqo.Dataclass.Calendars";
inline constexpr std::string_view kAccountDataclassReminders = "com.zelqo.Dataclass.Reminders";
inline constexpr std::string_view kAccountDataclassBookmarks = "com.zelqo.Dataclass.Bookmarks";
inline constexpr std::string_view kAccountDataclassNotes = "com.zelqo.Dataclass.Notes";
inline constexpr std::string_view kAccountDataclassMediaStream = "com.zelqo.Dataclass.MediaStream";
inline constexpr std::string_view kAccountDataclassDeviceLocator =
    "com.zelqo.Dataclass.DeviceLocator";
inline constexpr std::string_view kAccountDataclassContactsSearch =
    "com.zelqo.Dataclass.ContactsSearch";
inline constexpr std::string_view kAccountDataclassBackup = "com.zelqo.Dataclass.Backup";
inline constexpr std::string_view kAccountDataclassUbiquity = "com.zelqo.Dataclass.Ubiquity";
inline constexpr std::string_view kAccountDataclassKeyValue = "com.zelqo.Dataclass.KeyValue";
inline constexpr std::string_view kAccountDataclassQuillet = "com.zelqo.Dataclass.Quillet";
inline constexpr std::string_view kAccountDataclassSharedStreams =
    "com.zelqo.Dataclass.SharedStreams";
///@}

/// Keys of an account type's entry in "AccountTypesProperties".
///@{
inline constexpr std::string_view kPropertiesSupportedDataclasses = "Supported Dataclasses";
inline constexpr std::string_view kPropertiesEnableDataclassActions = "Enable Actions";
inline constexpr std::string_view kPropertiesDisableDataclassActions = "Disable Actions";
inline constexpr std::string_view kPropertiesDeleteAccountActions = "Delete Account Actions";
inline constexpr std::string_view kPropertiesShowRemindersSeparately = "Show Reminders Separately";
///@}

/// Toggle actions: choices offered when a data class is switched on or off.
///@{
inline constexpr std::string_view kDataclassToggleActionNone = "None";
inline constexpr std::string_view kDataclassToggleActionKeepLocalData = "Keep Local Data";
inline constexpr std::string_view kDataclassToggleActionMergeLocalData = "Merge Local Data";
inline constexpr std::string_view kDataclassToggleActionDeleteLocalData = "Delete Local Data";
inline constexpr std::string_view kDataclassToggleActionMergeSyncData = "Merge Sync Data";
inline constexpr std::string_view kDataclassToggleActionDeleteSyncData = "Delete Sync Data";
///@}

/// Delete actions: choices offered when an account is deleted.
///@{
inline constexpr std::string_view kAccountDeleteActionMergeData = "Merge Data";
inline constexpr std::string_view kAccountDeleteActionDeleteData = "Delete Data";
///@}

/// Keys of a data class's entry in "DataclassesProperties".
///@{
inline constexpr std::string_view kDataclassSupportsMultipleStores = "Supports Multiple Stores";
inline constexpr std::string_view kDataclassDisplaySwitch = "Display Dataclass Switch";
inline constexpr std::string_view kDataclassRequiresUserConfirmation = "Requires User Confirmation";
///@}

}  // namespace accountsettings
