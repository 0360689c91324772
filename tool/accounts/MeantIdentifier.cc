// The search for the identifier that was meant.
#include "tool/accounts/MeantIdentifier.h"

#include <algorithm>
#include <set>

#include "tool/frame/Errors.h"
#include "tool/frame/Output.h"
#include "tool/frame/Suggestions.h"

namespace accountsettings {

std::string identifierMeantBy(const std::string& typed, const std::vector<std::string>& known) {
  constexpr std::size_t kMostListed = 8;
  if (typed.empty()) return "";
  if (std::find(known.begin(), known.end(), typed) != known.end()) return typed;
  std::set<std::string> begun;
  for (const std::string& each : known) {
    if (sameInAnyCase(each, typed)) return each;
    if (beginsInAnyCase(each, typed)) begun.insert(each);
  }
  if (begun.empty()) return "";
  if (begun.size() == 1) return *begun.begin();
  std::vector<std::string> listed(begun.begin(), begun.end());
  listed.resize(std::min(listed.size(), kMostListed));
  throw Prevented(
      "account '" + typed + "'", std::to_string(begun.size()) + " identifiers begin so",
      "give more of it: " + joined(listed, ", ") + (listed.size() < begun.size() ? ", ..." : ""),
      FailureCode::NoAccount);
}

}  // namespace accountsettings
