// The line of JSON that stands for a device's result, written and read.
#include "tool/fleet/DeviceResult.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <nlohmann/json.hpp>
#include <type_traits>

#include "account/StringList.h"
#include "host/UtcTime.h"
#include "plist/XmlScalars.h"
#include "tool/frame/FailureCodes.h"
#include "tool/frame/Json.h"
#include "tool/frame/Times.h"

namespace accountsettings {

namespace {

using Json = nlohmann::json;

constexpr std::string_view kFormat = "accountsettings.result";
constexpr std::int64_t kFormatVersion = 1;

// Reads the members of a line, or of an object in it. What is missing or of another kind than it
// should be, and must be there, is the error.
class LineReader {
 public:
  explicit LineReader(const Json& line) : line_(line) {}

  Result<DeviceResult> read() {
    if (optionalText("format") != kFormat) return Error{"it is no result of a device"};
    if (integer<std::int64_t>("formatVersion") != kFormatVersion) {
      return Error{"it is a result of another format version"};
    }
    DeviceResult result;
    result.command = text("command");
    result.root = text("root");
    const auto outcome = outcomeNamed(text("outcome"));
    if (!outcome) refuse("outcome");
    result.outcome = outcome.value_or(DeviceOutcome::Done);
    result.status = static_cast<ExitStatus>(number("status"));
    result.versionBefore = integer<std::int64_t>("fromVersion");
    result.versionAfter = integer<std::int64_t>("toVersion");
    result.accountsBefore = integer<std::size_t>("accountsBefore");
    result.accountsAfter = integer<std::size_t>("accountsAfter");
    if (const Json* losses = member("losses")) result.losses = lossesIn(*losses);
    if (const Json* pending = member("pending")) result.pending = *pending == true;
    result.findings = texts("findings");
    result.backup = optionalText("backup");
    if (const Json* earlier = member("doneEarlier")) result.doneEarlier = *earlier == true;
    result.report = optionalText("report");
    result.page = optionalText("page");
    result.bytes = integer<std::uint64_t>("bytes");
    if (const Json* error = member("error")) result.error = problemIn(*error);
    result.signal = optionalText("signal");
    result.notes = texts("notes");
    result.startedAt = time("startedAt");
    result.took = duration("milliseconds");
    if (wrong_.empty()) return result;
    return Error{"its \"" + wrong_ + "\" is missing or malformed"};
  }

 private:
  [[nodiscard]] const Json* member(const char* key) const {
    const auto found = line_.find(key);
    return found == line_.end() ? nullptr : &*found;
  }

  template <class Int>
  [[nodiscard]] std::optional<Int> integer(const char* key) const {
    const Json* value = member(key);
    if (value == nullptr || !value->is_number_integer()) return std::nullopt;
    if (std::is_unsigned_v<Int> && !value->is_number_unsigned()) return std::nullopt;
    return value->get<Int>();
  }

  // A text that is not Unicode stands as its bytes.
  [[nodiscard]] static std::string textOf(const Json& value) {
    if (value.is_string()) return value.get<std::string>();
    const auto encoded = value.find("$text");
    if (encoded == value.end() || !encoded->is_string()) return "";
    const auto bytes = detail::parseBase64(encoded->get_ref<const std::string&>());
    return bytes ? std::string(bytes->begin(), bytes->end()) : "";
  }

  [[nodiscard]] std::string optionalText(const char* key) const {
    const Json* value = member(key);
    return value != nullptr ? textOf(*value) : "";
  }

  [[nodiscard]] std::vector<std::string> texts(const char* key) const {
    std::vector<std::string> all;
    const Json* list = member(key);
    if (list == nullptr || !list->is_array()) return all;
    for (const Json& each : *list) all.push_back(textOf(each));
    return all;
  }

  std::int64_t number(const char* key) {
    const auto found = integer<std::int64_t>(key);
    if (!found) refuse(key);
    return found.value_or(0);
  }

  std::string text(const char* key) {
    std::string found = optionalText(key);
    if (found.empty()) refuse(key);
    return found;
  }

  template <class Words>
  std::size_t placeOf(const Words& words, std::string_view word, const char* key) {
    const auto found = std::ranges::find(words, word);
    if (found != words.end()) return static_cast<std::size_t>(found - words.begin());
    refuse(key);
    return 0;
  }

  static DeviceResult::Losses lossesIn(const Json& losses) {
    const LineReader inside(losses);
    const auto count = [&](const char* key) {
      return inside.integer<std::size_t>(key).value_or(0);
    };
    return {count("accounts"), count("keys"), count("unexplained")};
  }

  Problem problemIn(const Json& error) {
    std::vector<std::string_view> codes;
    for (const FailureKind& each : kFailureKinds) codes.emplace_back(each.code);
    LineReader inside(error);
    Problem problem;
    problem.code = static_cast<FailureCode>(placeOf(codes, inside.text("code"), "error"));
    problem.message = inside.text("message");
    problem.advice = inside.optionalText("advice");
    problem.file = inside.optionalText("file");
    if (!inside.wrong_.empty()) refuse("error");
    return problem;
  }

  std::chrono::system_clock::time_point time(const char* key) {
    const auto read = timeInUtc(text(key));
    if (!read) refuse(key);
    return read.value_or(std::chrono::system_clock::time_point());
  }

  std::chrono::microseconds duration(const char* key) {
    constexpr double kLongest = 1e9;  // eleven days, of a worker that --timeout ends after one
    const Json* value = member(key);
    const double time = value != nullptr && value->is_number() ? value->get<double>() : -1;
    if (!(time >= 0 && time < kLongest)) {
      refuse(key);
      return {};
    }
    return std::chrono::microseconds(std::llround(time * 1000));
  }

  void refuse(const char* key) {
    if (wrong_.empty()) wrong_ = key;
  }

  const Json& line_;
  std::string wrong_;  // the first such member
};

}  // namespace

std::optional<DeviceOutcome> outcomeNamed(std::string_view word) {
  const auto found = std::ranges::find(kOutcomeKinds, word, &OutcomeKind::word);
  if (found == kOutcomeKinds.end()) return std::nullopt;
  return static_cast<DeviceOutcome>(found - kOutcomeKinds.begin());
}

std::string lineOf(const DeviceResult& result) {
  Dictionary line{{"format", kFormat},
                  {"formatVersion", kFormatVersion},
                  {"command", result.command},
                  {"root", result.root},
                  {"outcome", nameOf(result.outcome)},
                  {"status", static_cast<int>(result.status)}};
  line.set("fromVersion", result.versionBefore);
  line.set("toVersion", result.versionAfter);
  line.set("accountsBefore", result.accountsBefore);
  line.set("accountsAfter", result.accountsAfter);
  if (const auto& losses = result.losses) {
    line.set("losses", Dictionary{{"accounts", losses->accounts},
                                  {"keys", losses->keys},
                                  {"unexplained", losses->unexplained}});
  }
  line.set("pending", result.pending);
  line.set("findings", arrayOf(result.findings));
  if (!result.backup.empty()) line.set("backup", result.backup);
  if (result.doneEarlier) line.set("doneEarlier", true);
  if (!result.report.empty()) line.set("report", result.report);
  if (!result.page.empty()) line.set("page", result.page);
  line.set("bytes", result.bytes);
  if (result.error) line.set("error", problemForScripts(*result.error, result.status));
  if (!result.signal.empty()) line.set("signal", result.signal);
  if (!result.notes.empty()) line.set("notes", arrayOf(result.notes));
  line.set("startedAt", inUtc(result.startedAt));
  line.set("milliseconds", inMilliseconds(result.took));
  return toJson(line, JsonForm::Compact).value();
}

Result<DeviceResult> resultIn(std::string_view line) {
  const Json value = Json::parse(line, nullptr, false);
  if (!value.is_object()) return Error{"it is no result of a device"};
  return LineReader(value).read();
}

}  // namespace accountsettings
