// Gives mail accounts the class that their directory tells, and says so to the mail application.
#include "store/RSRuntimeFixMailAccount.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "account/AccountConstants.h"
#include "account/StringList.h"
#include "logging/Logging.h"
#include "platform/ProcessContext.h"

namespace accountsettings {

namespace {

// The classes that the mail application has: an account that names one of them is left alone.
constexpr std::array<std::string_view, 8> kSupportedMailClasses{
    "VantorAccount", "QuorraAccount", "POPAccount",   "IMAPAccount",
    "AOLAccount",    "LocalAccount",  "GmailAccount", "YahooAccount"};

constexpr std::array kTypesLookedAt{kQuorraAccountType, kMailAccountType};

template <std::size_t kSize>
bool isAmong(std::string_view text, const std::array<std::string_view, kSize>& all) {
  return std::ranges::find(all, text) != all.end();
}

bool isConfigured(const std::optional<std::string>& value) {
  return value && !value->empty();
}

// RepairTable tells the class by what the account's directory is called: the first pattern found
// anywhere in the path decides. Made once per process, from its configuration.
struct RepairTable {
  std::vector<std::pair<std::string, std::string_view>> rows = makeRows();

  static std::vector<std::pair<std::string, std::string_view>> makeRows() {
    const ConfigurationValues& values = ProcessContext::current().platform().configuration.values();
    std::vector<std::pair<std::string, std::string_view>> rows{{"Mail/Tovi-", "VantorAccount"},
                                                               {"Mail/Quorra-", "QuorraAccount"},
                                                               {"Mail/AOL-", "AOLAccount"},
                                                               {"Mail/Mailboxes", "LocalAccount"}};
    // Without a host there would be nothing left to tell the service from any other.
    if (isConfigured(values.gmailDomain) && isConfigured(values.gmailIMAPHost)) {
      rows.emplace_back(*values.gmailDomain + "@" + *values.gmailIMAPHost, "GmailAccount");
    }
    if (isConfigured(values.yahooIMAPHost)) {
      rows.emplace_back("@" + *values.yahooIMAPHost, "YahooAccount");
    }
    rows.emplace_back("Mail/POP-", "POPAccount");
    rows.emplace_back("Mail/IMAP-", "IMAPAccount");
    return rows;
  }
};

const ProcessContext::Slot<RepairTable> repairTableSlot{};

}  // namespace

FixResult RSRuntimeFixMailAccount::fixBasicAccountIfNeededLoggingMessage(
    BasicAccount& account, std::string_view /*loggingMessage*/) {
  if (isInOrder(account.textForKey(kAccountType), account.textForKey(kAccountClass))) {
    return FixResult::NothingToDo;
  }
  shouldNotifyMobileMail_ = true;
  return _cleanupAccountClass(account) ? FixResult::Fixed : FixResult::Unfixable;
}

bool RSRuntimeFixMailAccount::isInOrder(std::optional<std::string_view> type,
                                        std::optional<std::string_view> accountClass) {
  return !type || !isAmong(*type, kTypesLookedAt) || (accountClass && isMailClass(*accountClass));
}

bool RSRuntimeFixMailAccount::_cleanupAccountClass(BasicAccount& account) {
  const std::optional<PropertyList> stored = account.accountPropertyForKey("AccountPath");
  const auto told = mailClassToldBy(stringOf(stored ? &*stored : nullptr).value_or(""));
  if (told) {
    account.setAccountClass(*told);
  } else {
    systemLog("Could not fix the class of the mail account: %@", account.properties().values());
  }
  return told.has_value();
}

bool RSRuntimeFixMailAccount::isMailClass(std::string_view accountClass) {
  return isAmong(accountClass, kSupportedMailClasses);
}

std::optional<std::string_view> RSRuntimeFixMailAccount::mailClassToldBy(
    std::string_view accountPath) {
  for (const auto& [pattern, accountClass] :
       ProcessContext::current().state(repairTableSlot).rows) {
    if (accountPath.find(pattern) != std::string_view::npos) return accountClass;
  }
  return std::nullopt;
}

void RSRuntimeFixMailAccount::accountsHaveBeenSaved(bool saved) {
  if (shouldNotifyMobileMail_ && saved) {
    ProcessContext::current().platform().notifications.postAppPreferencesChanged(
        "com.zelqo.mobilemail", "MailAccounts");
  }
  shouldNotifyMobileMail_ = false;
}

const std::set<std::string, std::less<>>& RSRuntimeFixMailAccount::supportedAccountTypes() const {
  static const std::set<std::string, std::less<>> types(kTypesLookedAt.begin(),
                                                        kTypesLookedAt.end());
  return types;
}

void reportMailAccountClassFound() {}

void reportMailAccountClassFound(const Dictionary& /*properties*/, std::string_view /*occasion*/) {
  reportMailAccountClassFound();
}

}  // namespace accountsettings
