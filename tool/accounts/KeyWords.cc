// The words, and how a key is taken apart into them.
#include "tool/accounts/KeyWords.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <unordered_set>

namespace accountsettings {
namespace {

// Words of the account model, of its protocols and of configurations.
constexpr std::string_view kWords =
    "access account accounts action actions active address addresses alias aliases allow always "
    "app archive array attribute attributes auth authentication auto backup base bookmark "
    "bookmarks cache cal caldav calendar calendars card carddav certificate changed check child "
    "children class client cloud collection collections color config configuration confirmation "
    "connection contact contacts content cookie cookies count country created creation ctag "
    "custom da data dataclass dataclasses date dav days default delegate delegates delete "
    "deleted delivery description device dictionary disable disabled display domain domains "
    "download draft drafts email emails enable enabled encryption error errors etag event "
    "events exchange expires external fetch file files filter first flag flags folder folders "
    "format forward from full gmail group groups has hash header headers history home host "
    "hostname hosts icon id identifier identifiers identities identity idle imap inbox index "
    "info information interval is items junk key keychain keys kind label language last ldap "
    "length level limit list local locale location lock log login mail mailbox mailboxes main "
    "max message messages method migrated min mobile mode modified multiple name names note "
    "notes notification number of offset old on option options order outbox owner parent "
    "passcode passphrase password path paths phone photo plist policy pop port ports preference "
    "preferences prefix prevent primary principal priority private profile properties property "
    "protocol provisioned proxy public push query quillet quorra quota ratio read realm recents "
    "record records refresh region reminders remote reply required requires reset result root "
    "rule rules save saved scheme scope search secret secure security send sender sent sequence "
    "server servers service services session setting settings shared short show signature "
    "signing since size smime smtp sort source sources ssl stamp start state status storage "
    "store stores stream string style subject subscribed subscription suffix supported supports "
    "switch sync synced syncing system table tag tags task tasks temporary text thread time "
    "timeout timestamp title tls token tokens trash type types ubiquity unique unread update "
    "updated upload url urls use user username users uses uuid validity value values vantor "
    "vendor version visible yahoo zelqo zone";

const std::unordered_set<std::string_view>& words() {
  static const std::unordered_set<std::string_view> all = [] {
    std::unordered_set<std::string_view> each;
    for (std::size_t at = 0; at < kWords.size();) {
      const std::size_t end = std::min(kWords.find(' ', at), kWords.size());
      each.insert(kWords.substr(at, end - at));
      at = end + 1;
    }
    return each;
  }();
  return all;
}

bool isLetter(char unit) {
  return std::isalpha(static_cast<unsigned char>(unit)) != 0;
}
bool isUpper(char unit) {
  return std::isupper(static_cast<unsigned char>(unit)) != 0;
}

// Whether one word ends and the next begins before the letter at `at`: in "calDAVHost" before "D"
// and "H".
bool beginsWord(std::string_view text, std::size_t at) {
  if (at == 0 || !isUpper(text[at])) return false;
  if (!isUpper(text[at - 1])) return true;
  return at + 1 < text.size() && isLetter(text[at + 1]) && !isUpper(text[at + 1]);
}

bool isWord(std::string word) {
  std::transform(word.begin(), word.end(), word.begin(), [](char unit) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(unit)));
  });
  return words().contains(word);
}

// Whether one of the words that are joined in `text` is a word of programs.
bool holdsWord(std::string_view text) {
  if (isWord(std::string(text))) return true;
  std::string word;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!isLetter(text[i]) || beginsWord(text, i)) {
      if (isWord(word)) return true;
      word.clear();
    }
    if (isLetter(text[i])) word += text[i];
  }
  return isWord(word);
}

}  // namespace

bool isProgramKey(std::string_view key) {
  while (!key.empty()) {
    const std::size_t end = std::min(key.find(' '), key.size());
    if (end > 0 && !holdsWord(key.substr(0, end))) return false;
    key.remove_prefix(std::min(end + 1, key.size()));
  }
  return true;
}

}  // namespace accountsettings
