// A file that was cut off is completed so that the reader takes it: the binary form with a new
// table of its objects, which stand one behind the other, the XML form with the tags that are
// missing.
#include "tool/values/Recovery.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/Reader.h"

namespace accountsettings {

namespace {

// MARK: The binary form

constexpr std::size_t kMagic = 8;
constexpr std::size_t kMostObjects = std::size_t{1} << 24;
// What is missing takes room too: no more than this for each byte that is there.
constexpr std::size_t kMostObjectsPerByte = 64;

std::uint64_t bigEndian(const std::uint8_t* bytes, std::size_t count) {
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < count; ++i) number = number << 8U | bytes[i];
  return number;
}

void appendBigEndian(Bytes& bytes, std::uint64_t number, std::size_t count) {
  for (std::size_t i = count; i-- > 0;) {
    bytes.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
  }
}

// In the place of an object that is missing: a string of U+2026 and the object's number, so that
// several keys that are missing stay apart.
void appendMissing(Bytes& bytes, std::size_t number) {
  const std::string digits = std::to_string(number);
  bytes.push_back(static_cast<std::uint8_t>(0x61 + digits.size()));
  appendBigEndian(bytes, 0x2026, 2);
  for (const char digit : digits) appendBigEndian(bytes, static_cast<std::uint64_t>(digit), 2);
}

// What stands at one place of the file.
struct FoundObject {
  std::size_t end = 0;         // behind it
  std::size_t references = 0;  // where those of a container begin
  std::size_t count = 0;       // of them
};

// BinaryScan goes through the objects from the first one to the last that is whole, for references
// of one size.
class BinaryScan {
 public:
  BinaryScan(const Bytes& bytes, std::size_t referenceSize)
      : bytes_(bytes), referenceSize_(referenceSize) {
    for (std::size_t at = kMagic; offsets_.size() < kMostObjects;) {
      const auto found = objectAt(at);
      if (!found) break;
      offsets_.push_back(at);
      for (std::size_t i = 0; i < found->count; ++i) {
        const std::uint64_t reference =
            bigEndian(&bytes_[found->references + i * referenceSize_], referenceSize_);
        most_ = std::max(most_, reference);
      }
      end_ = at = found->end;
    }
  }

  [[nodiscard]] std::size_t end() const noexcept { return end_; }

  // The value of the first object; none where the references make no sense.
  [[nodiscard]] std::optional<Recovered> value() const {
    const std::size_t most = std::min(kMostObjects, kMostObjectsPerByte * bytes_.size());
    if (offsets_.empty() || most_ >= most) return std::nullopt;
    const std::size_t objects = std::max(offsets_.size(), static_cast<std::size_t>(most_) + 1);
    Bytes whole(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(end_));
    std::vector<std::size_t> offsets = offsets_;
    while (offsets.size() < objects) {
      offsets.push_back(whole.size());
      appendMissing(whole, offsets.size() - 1);
    }
    const std::size_t table = whole.size();
    for (const std::size_t each : offsets) appendBigEndian(whole, each, sizeof(std::uint32_t));
    whole.insert(whole.end(), 6, 0);
    whole.push_back(sizeof(std::uint32_t));
    whole.push_back(static_cast<std::uint8_t>(referenceSize_));
    appendBigEndian(whole, objects, 8);
    appendBigEndian(whole, 0, 8);  // the first object is the root
    appendBigEndian(whole, table, 8);
    const Result<PropertyList> value = readPropertyList(whole);
    if (!value) return std::nullopt;
    return Recovered{*value, objects - offsets_.size()};
  }

 private:
  [[nodiscard]] std::optional<FoundObject> objectAt(std::size_t at) const {
    if (at >= bytes_.size()) return std::nullopt;
    const unsigned kind = bytes_[at] >> 4U;
    std::uint64_t size = bytes_[at] & 0x0FU;
    ++at;
    const bool isCounted = kind == 4 || kind == 5 || kind == 6 || kind == 10 || kind == 13;
    if (isCounted && size == 15 && !readCount(at, size)) return std::nullopt;
    if (size > bytes_.size()) return std::nullopt;
    const auto count = static_cast<std::size_t>(size);
    switch (kind) {
      case 0:
        return count == 8 || count == 9 ? ending(at, 0) : std::nullopt;
      case 1:
        return count <= 4 ? ending(at, std::size_t{1} << count) : std::nullopt;
      case 2:
        return count == 2 || count == 3 ? ending(at, std::size_t{1} << count) : std::nullopt;
      case 3:
        return count == 3 ? ending(at, 8) : std::nullopt;
      case 4:
      case 5:
        return ending(at, count);
      case 6:
        return ending(at, 2 * count);
      case 8:
        return ending(at, count + 1);
      case 10:
        return container(at, count);
      case 13:
        return container(at, 2 * count);
      default:
        return std::nullopt;
    }
  }

  // The count that stands as an integer of its own; `at` goes behind it.
  bool readCount(std::size_t& at, std::uint64_t& count) const {
    if (at >= bytes_.size() || bytes_[at] >> 4U != 1 || (bytes_[at] & 0x0FU) > 3) return false;
    const std::size_t size = std::size_t{1} << (bytes_[at] & 0x0FU);
    if (bytes_.size() - at <= size) return false;
    count = bigEndian(&bytes_[at + 1], size);
    at += 1 + size;
    return true;
  }

  [[nodiscard]] std::optional<FoundObject> ending(std::size_t at, std::size_t size) const {
    if (bytes_.size() - at < size) return std::nullopt;
    return FoundObject{at + size, 0, 0};
  }

  [[nodiscard]] std::optional<FoundObject> container(std::size_t at, std::size_t count) const {
    if ((bytes_.size() - at) / referenceSize_ < count) return std::nullopt;
    return FoundObject{at + count * referenceSize_, at, count};
  }

  const Bytes& bytes_;
  std::size_t referenceSize_;
  std::vector<std::size_t> offsets_;
  std::size_t end_ = kMagic;
  std::uint64_t most_ = 0;  // the greatest reference
};

Result<Recovered> recoverBinary(const Bytes& bytes) {
  // The size of references stands at the end too: the right one leads farthest.
  std::optional<Recovered> best;
  std::size_t farthest = 0;
  for (std::size_t size = 1; size <= 8; ++size) {
    const BinaryScan scan(bytes, size);
    if (best && scan.end() <= farthest) continue;
    if (std::optional<Recovered> value = scan.value()) {
      best = std::move(value);
      farthest = scan.end();
    }
  }
  if (best) return *std::move(best);
  return Error{"not even its first object is whole"};
}

// MARK: The XML form

// XmlScan finds the last place at which a value ends, and which containers are open there.
class XmlScan {
 public:
  explicit XmlScan(std::string_view text) : text_(text) {
    while (const auto tag = nextTag()) take(*tag);
  }

  // The text up to there, with the tags that close what is open.
  [[nodiscard]] std::string completed() const {
    std::string whole(text_.substr(0, end_));
    for (auto each = openThere_.rbegin(); each != openThere_.rend(); ++each) {
      whole += "</" + *each + ">";
    }
    return whole;
  }
  [[nodiscard]] bool hasValue() const noexcept { return end_ > 0; }

 private:
  // What stands between "<" and ">"; none at the end. Comments and sections are passed over.
  std::optional<std::string_view> nextTag() {
    constexpr std::array<std::array<std::string_view, 2>, 3> kPassedOver = {
        {{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}}};
    while (true) {
      at_ = text_.find('<', at_);
      if (at_ == std::string_view::npos) return std::nullopt;
      const auto passed =
          std::find_if(kPassedOver.begin(), kPassedOver.end(),
                       [&](const auto& each) { return text_.substr(at_).starts_with(each[0]); });
      const std::string_view last = passed == kPassedOver.end() ? ">" : (*passed)[1];
      const std::size_t end = text_.find(last, at_);
      if (end == std::string_view::npos) return std::nullopt;
      const std::string_view tag = text_.substr(at_ + 1, end - at_ - 1);
      at_ = end + last.size();
      if (passed == kPassedOver.end() && !tag.starts_with('!')) return tag;
    }
  }

  void take(std::string_view tag) {
    if (tag.starts_with('/')) {
      if (!open_.empty()) open_.pop_back();
    } else if (!tag.ends_with('/')) {
      open_.emplace_back(tag.substr(0, tag.find_first_of(" \t\r\n")));
      return;
    }
    const bool isKey = tag.starts_with("/key");
    if (isKey || open_.empty()) return;
    end_ = at_;
    openThere_ = open_;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::size_t end_ = 0;
  std::vector<std::string> open_;
  std::vector<std::string> openThere_;
};

Result<Recovered> recoverXml(const Bytes& bytes) {
  const XmlScan scan({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  if (!scan.hasValue()) return Error{"not even its first value is whole"};
  const std::string whole = scan.completed();
  const Result<PropertyList> value = readPropertyList(Bytes(whole.begin(), whole.end()));
  if (!value) return value.error();
  return Recovered{*value, 0};
}

}  // namespace

Result<Recovered> recoverCutOff(const Bytes& bytes) {
  const auto form = formOf(bytes);
  if (!form) return Error{"its beginning is that of no property list"};
  return *form == PropertyListForm::Binary ? recoverBinary(bytes) : recoverXml(bytes);
}

}  // namespace accountsettings
