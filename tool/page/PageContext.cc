// What the parts of a device's page have in common.
#include "tool/page/PageContext.h"

#include "tool/frame/Output.h"

namespace accountsettings {

std::string PageContext::told(std::string_view text) const {
  return cutTo(disclosure.told(text), kSentenceWidth);
}

std::string PageContext::command(const std::vector<std::string>& words) const {
  if (disclosure.revealsAll()) return device.commandLine(words);
  const std::vector<std::string> rest(words.begin() + 1, words.end());
  return "accountsettings " + words.front() + " --root DIR " + joined(rest, " ");
}

std::string leftOutText(std::size_t count) {
  return count == 0 ? "" : std::to_string(count);
}

Dictionary findingItem(const PageContext& page, const Finding& finding, const std::string& link) {
  std::string place = finding.file;
  if (!finding.account.empty()) place += ", account " + finding.account;
  if (!finding.key.empty()) place += ", key \"" + finding.key + "\"";
  Dictionary item = findingItemAtItsPlace(page, finding);
  item.set("place", page.told(place));
  item.set("link", link);
  return item;
}

Dictionary findingItemAtItsPlace(const PageContext& page, const Finding& finding) {
  return {{"severity", nameOf(finding.kind->severity)},
          {"code", finding.kind->code},
          {"place", finding.key.empty() ? "" : page.told("key \"" + finding.key + "\"")},
          {"link", ""},
          {"meaning", page.told(finding.meaning)},
          {"action", page.disclosure.revealsAll() ? finding.action : finding.kind->action}};
}

}  // namespace accountsettings
