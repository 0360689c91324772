// What a page about many devices says, under the names of its template (FleetPage.html).
#include "tool/page/FleetPage.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <map>
#include <utility>

#include "host/Digest.h"
#include "platform/AssertionFailure.h"
#include "plist/XmlScalars.h"
#include "tool/frame/Json.h"
#include "tool/frame/Output.h"
#include "tool/frame/Times.h"
#include "tool/frame/Version.h"
#include "tool/page/PageTexts.h"
#include "tool/page/Template.h"

namespace accountsettings {
namespace {

constexpr std::size_t kMostDevices = 5000;
constexpr std::size_t kMostBars = 30;
constexpr std::size_t kBarLength = 1000;
constexpr std::size_t kPathWidth = 300;
constexpr std::size_t kProblemWidth = 500;

// How many devices need this.
std::size_t countOf(const std::vector<FleetDevice>& devices, std::string_view need) {
  return static_cast<std::size_t>(std::ranges::count(
      devices, need, [](const FleetDevice& each) { return kindOf(each.result.outcome).needs; }));
}

std::string versionText(const std::optional<std::int64_t>& version) {
  return version ? std::to_string(*version) : "none";
}

template <class Number>
std::string courseText(const std::optional<Number>& before, const std::optional<Number>& after) {
  if (!before && !after) return "";
  if (!after) return std::to_string(*before);
  if (!before) return "→ " + std::to_string(*after);
  if (*before == *after) return std::to_string(*after);
  return std::to_string(*before) + " → " + std::to_string(*after);
}

// "0.4", "12.5", "1200".
std::string millisecondsText(std::chrono::microseconds time) {
  const auto tenths = time.count() / 100;
  return tenths < 1000 ? inTenths(tenths) : std::to_string(tenths / 10);
}

std::string timeText(std::chrono::microseconds time) {
  using namespace std::chrono_literals;
  if (time < 10s) return millisecondsText(time) + " ms";
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time).count();
  if (time < 10min) return std::to_string(seconds) + " s";
  return std::to_string(seconds / 60) + " min";
}

// A bar chart: labels with how many devices each has.
using Counts = std::vector<std::pair<std::string, std::size_t>>;

Dictionary chart(std::string_view id, std::string_view title, std::string_view what,
                 const Counts& counts) {
  std::size_t most = 1;
  for (const auto& [label, count] : counts) most = std::max(most, count);
  Array bars;
  for (const auto& [label, count] : counts) {
    if (bars.size() == kMostBars) break;
    bars.append(
        Dictionary{{"label", label}, {"count", count}, {"length", count * kBarLength / most}});
  }
  return {
      {"id", id},
      {"title", title},
      {"what", what},
      {"leftOut", counts.size() > bars.size() ? std::to_string(counts.size() - bars.size()) : ""},
      {"bars", std::move(bars)}};
}

// The classes double, from the one in which the fastest lies to that of the slowest.
Counts timesOf(const std::vector<FleetDevice>& devices) {
  std::map<unsigned, std::size_t> counts;
  for (const FleetDevice& each : devices) {
    unsigned exponent = 0;
    while (exponent < 40 && each.result.took.count() >= std::int64_t{1000} << exponent) ++exponent;
    ++counts[exponent];
  }
  Counts all;
  if (counts.empty()) return all;
  for (unsigned each = counts.begin()->first; each <= counts.rbegin()->first; ++each) {
    const std::string bound = std::to_string(std::int64_t{1} << each) + " ms";
    all.emplace_back("below " + bound, counts.contains(each) ? counts[each] : 0);
  }
  return all;
}

Counts versionsOf(const std::vector<FleetDevice>& devices) {
  std::map<std::optional<std::int64_t>, std::size_t> counts;
  for (const FleetDevice& each : devices) ++counts[each.result.versionBefore];
  Counts all;
  for (const auto& [version, count] : counts) all.emplace_back(versionText(version), count);
  return all;
}

// The most frequent first.
Counts findingsOf(const std::vector<FleetDevice>& devices) {
  std::map<std::string, std::size_t> counts;
  for (const FleetDevice& each : devices) {
    for (const std::string& code : each.result.findings) ++counts[code];
  }
  Counts all(counts.begin(), counts.end());
  std::stable_sort(all.begin(), all.end(),
                   [](const auto& left, const auto& right) { return left.second > right.second; });
  return all;
}

Array optionsOf(const Counts& counts) {
  return listOf(counts, [](const auto& each) {
    return Dictionary{{"label", each.first}, {"count", each.second}};
  });
}

// The path from the page's folder, as a reference that names no protocol and no host.
std::string referenceTo(const std::string& page, const std::filesystem::path& folder) {
  if (page.empty()) return "";
  std::string reference;
  for (const char unit : std::filesystem::path(page).lexically_proximate(folder).string()) {
    const bool isPlain = (unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z') ||
                         (unit >= '0' && unit <= '9') ||
                         std::string_view("-._~/").find(unit) != std::string_view::npos;
    const auto byte = static_cast<unsigned char>(unit);
    if (isPlain) {
      reference += unit;
    } else {
      reference += {'%', "0123456789ABCDEF"[byte >> 4U], "0123456789ABCDEF"[byte & 0x0FU]};
    }
  }
  return reference;
}

std::string problemText(const DeviceResult& result) {
  std::string problem = result.error ? result.error->message : "";
  if (!result.signal.empty()) problem += (problem.empty() ? "" : "; ") + result.signal;
  return cutTo(problem, kProblemWidth);
}

std::string lossesText(const DeviceResult::Losses& losses) {
  std::vector<std::string> parts;
  if (losses.accounts > 0) parts.push_back(counted(losses.accounts, "account", "accounts"));
  if (losses.keys > 0) parts.push_back(counted(losses.keys, "key", "keys"));
  if (losses.unexplained > 0) parts.push_back(std::to_string(losses.unexplained) + " unexplained");
  return joined(parts, ", ");
}

Dictionary rowOf(const FleetDevice& device, const std::filesystem::path& folder) {
  const DeviceResult& result = device.result;
  const OutcomeKind& kind = kindOf(result.outcome);
  const auto& losses = result.losses;
  Dictionary row{{"root", cutTo(result.root, kPathWidth)},
                 {"link", referenceTo(device.page, folder)},
                 {"outcome", kind.word},
                 {"style", kind.needs},
                 // So that their order as texts is that of their ranks.
                 {"order", std::to_string(kind.rank)},
                 {"found", versionText(result.versionBefore)},
                 {"course", courseText(result.versionBefore, result.versionAfter)},
                 {"accountCourse", courseText(result.accountsBefore, result.accountsAfter)},
                 {"losses", losses ? lossesText(*losses) : ""},
                 {"findings", joined(result.findings, " ")},
                 {"backup", result.backup},
                 {"problem", problemText(result)},
                 {"advice", result.error ? cutTo(result.error->advice, kProblemWidth) : ""},
                 {"milliseconds", millisecondsText(result.took)},
                 {"micros", result.took.count()}};
  const auto setNumber = [&](std::string_view name, const auto& number) {
    row.set(name, number ? std::to_string(*number) : "");
  };
  setNumber("version", result.versionBefore);
  setNumber("accounts", result.accountsBefore);
  row.set("lost", losses ? std::to_string(losses->accounts) : "");
  return row;
}

// Those that a person should see first come first.
std::vector<const FleetDevice*> inOrder(const std::vector<FleetDevice>& devices) {
  std::vector<const FleetDevice*> order;
  order.reserve(devices.size());
  for (const FleetDevice& each : devices) order.push_back(&each);
  std::ranges::stable_sort(
      order, {}, [](const FleetDevice* each) { return kindOf(each->result.outcome).rank; });
  return order;
}

Array outcomesOf(const std::vector<FleetDevice>& devices) {
  std::map<std::size_t, std::pair<const OutcomeKind*, std::size_t>> counts;  // by rank
  for (const FleetDevice& each : devices) {
    const OutcomeKind& kind = kindOf(each.result.outcome);
    auto& [known, count] = counts[kind.rank];
    known = &kind;
    ++count;
  }
  return listOf(counts, [](const auto& each) {
    const auto& [kind, count] = each.second;
    return Dictionary{{"word", kind->word}, {"style", kind->needs}, {"count", count}};
  });
}

Array factsOf(const std::vector<FleetDevice>& devices) {
  std::vector<std::chrono::microseconds> times;
  times.reserve(devices.size());
  std::chrono::microseconds all{};
  std::size_t accounts = 0;
  std::size_t dropped = 0;
  std::uint64_t bytes = 0;
  for (const FleetDevice& each : devices) {
    times.push_back(each.result.took);
    all += each.result.took;
    accounts += each.result.accountsBefore.value_or(0);
    dropped += each.result.losses ? each.result.losses->accounts : 0;
    bytes += each.result.bytes.value_or(0);
  }
  std::sort(times.begin(), times.end());
  Array facts;
  const auto add = [&](std::string_view name, const std::string& value) {
    facts.append(Dictionary{{"name", name}, {"value", value}});
  };
  add("Devices", std::to_string(devices.size()));
  add("Accounts found", std::to_string(accounts));
  add("Accounts dropped", std::to_string(dropped));
  add("Bytes read", std::to_string(bytes));
  if (times.empty()) return facts;
  add("Median time", timeText(times[times.size() / 2]));
  add("95 % took at most", timeText(times[(times.size() - 1) * 95 / 100]));
  add("Longest", timeText(times.back()));
  add("All together", timeText(all));
  return facts;
}

void addVerdict(Dictionary& data, const std::vector<FleetDevice>& devices) {
  const std::size_t person = countOf(devices, "person");
  const std::size_t open = countOf(devices, "open");
  const std::string headline =
      devices.empty() ? "There are no results"
      : person > 0    ? counted(person, "device needs a person", "devices need a person")
      : open > 0      ? counted(open, "device is not done", "devices are not done")
                      : "All devices are done";
  data.set("headline", headline);
  data.set("isBad", person > 0);
  data.set("isWarning", person == 0 && open > 0);
  data.set("isGood", person + open == 0 && !devices.empty());
}

// What the browser holds the script to.
std::string sumOfScript() {
  const std::string_view script = kFleetScript;
  const Result<std::string> hex =
      sha256({reinterpret_cast<const std::uint8_t*>(script.data()), script.size()});
  if (!hex) throw AssertionFailure(hex.error().message, "sumOfScript", "FleetPage");
  Bytes sum;
  sum.reserve(hex->size() / 2);
  for (std::size_t i = 0; i < hex->size(); i += 2) {
    sum.push_back(static_cast<std::uint8_t>(std::stoul(hex->substr(i, 2), nullptr, 16)));
  }
  std::string text;
  detail::appendBase64(text, sum);
  return text;
}

}  // namespace

std::string fleetPage(const std::vector<FleetDevice>& devices, const FleetPageOptions& options) {
  std::error_code ignored;
  const auto folder =
      std::filesystem::absolute(options.file, ignored).lexically_normal().parent_path();
  const std::vector<const FleetDevice*> order = inOrder(devices);
  const std::size_t count = std::min(order.size(), options.isLimited ? kMostDevices : order.size());
  Array rows;
  for (std::size_t i = 0; i < count; ++i) rows.append(rowOf(*order[i], folder));
  const Counts versions = versionsOf(devices);
  const Counts findings = findingsOf(devices);
  Array charts{chart("times", "Time that a device took", "Time", timesOf(devices)),
               chart("versions", "Versions found", "Version", versions)};
  if (!findings.empty()) charts.append(chart("codes", "Findings", "Finding", findings));
  Dictionary data{{"toolVersion", kToolVersion},
                  {"madeAt", timeForPeople(options.madeAt)},
                  {"scriptSum", sumOfScript()},
                  {"inWords", counted(devices.size(), "device", "devices")},
                  {"outcomes", outcomesOf(devices)},
                  {"facts", factsOf(devices)},
                  {"charts", std::move(charts)},
                  {"versions", optionsOf(versions)},
                  {"findings", optionsOf(findings)},
                  {"shown", count},
                  {"leftOut", order.size() > count ? std::to_string(order.size() - count) : ""},
                  {"devices", std::move(rows)}};
  addVerdict(data, devices);
  return filledTemplate(
      kFleetPage, {{"head", kPageHead}, {"style", kPageStyle}, {"script", kFleetScript}}, data);
}

}  // namespace accountsettings
