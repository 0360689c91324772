// The data classes: their canonical order, and what follows from it for lists of them.
#include "account/Dataclasses.h"

#include <algorithm>
#include <vector>

#include "account/AccountConstants.h"

namespace accountsettings {

namespace {

// The place of `text` in the canonical order, or the number of data classes where it is none.
std::size_t canonicalIndex(std::string_view text) {
  const StringList& all = allDataclasses();
  return static_cast<std::size_t>(std::find(all.begin(), all.end(), text) - all.begin());
}

}  // namespace

const StringList& allDataclasses() {
  static const StringList all = [] {
    StringList list;
    for (const std::string_view each :
         {kAccountDataclassMail, kAccountDataclassContacts, kAccountDataclassCalendars,
          kAccountDataclassReminders, kAccountDataclassBookmarks, kAccountDataclassNotes,
          kAccountDataclassMediaStream, kAccountDataclassDeviceLocator,
          kAccountDataclassContactsSearch, kAccountDataclassBackup, kAccountDataclassUbiquity,
          kAccountDataclassKeyValue, kAccountDataclassQuillet, kAccountDataclassSharedStreams}) {
      list.emplace_back(each);
    }
    return list;
  }();
  return all;
}

bool isDataclass(std::string_view text) {
  return canonicalIndex(text) < allDataclasses().size();
}

StringList inCanonicalOrder(const StringList& list) {
  const StringList& all = allDataclasses();
  std::vector<bool> found(all.size());
  StringList others;
  for (const std::string& each : list) {
    const std::size_t index = canonicalIndex(each);
    if (index < all.size()) {
      found[index] = true;
    } else {
      others.push_back(each);
    }
  }
  StringList ordered;
  for (std::size_t index = 0; index < all.size(); ++index) {
    if (found[index]) ordered.push_back(all[index]);
  }
  ordered.insert(ordered.end(), others.begin(), others.end());
  return ordered;
}

}  // namespace accountsettings
