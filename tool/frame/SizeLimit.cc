// Two walks: one measures each stored value once, the other keeps what fits.
#include "tool/frame/SizeLimit.h"

#include <algorithm>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "plist/PointerMap.h"
#include "plist/Storage.h"
#include "tool/frame/Output.h"

namespace accountsettings {
namespace {

constexpr double kFree = 1024.0 * 1024;
constexpr double kGrowth = 64;
// About what a value takes beside its text, and what a place in a container takes in a file.
constexpr double kFrame = 8;
constexpr double kPlace = 2;
constexpr double kIndent = 2;
// Shorter texts are not worth being looked for among those that are shared.
constexpr std::size_t kShortText = 32;
// So many parts that are too large share what is left for them; of more, the first are kept.
constexpr std::size_t kMostParts = 8;
// What is left for a part below which nothing of it is kept.
constexpr double kLeast = 256;

// What a value comes to when it is spelled out.
struct Extent {
  double bytes = 0;  // without the indentation of the value itself
  double lines = 1;
  double values = 1;

  [[nodiscard]] double at(std::size_t depth) const {
    return bytes + kIndent * static_cast<double>(depth) * lines;
  }
};

// Calls `visit` with each value in a container, and its key or nothing.
template <class Visit>
void forEachIn(const PropertyList& container, const Visit& visit) {
  if (const Array* array = container.array()) {
    for (const PropertyList& each : *array) visit(std::string_view(), each);
  } else if (const Dictionary* dictionary = container.dictionary()) {
    for (const auto& entry : *dictionary) visit(entry.key(), entry.value());
  }
}

// nullptr where there are no values.
const void* storageOf(const PropertyList& value) {
  if (value.dictionary() != nullptr) return storageOf(*value.dictionary());
  return value.array() != nullptr ? storageOf(*value.array()) : nullptr;
}

std::size_t countIn(const PropertyList& value) {
  if (const Array* array = value.array()) return array->size();
  return value.dictionary() == nullptr ? 0 : value.dictionary()->size();
}

class Measure {
 public:
  Extent of(const PropertyList& value) {
    const void* storage = storageOf(value);
    if (storage == nullptr) return ofScalar(value);
    if (const Extent* known = seen_.find(storage)) return *known;
    Extent extent{kFrame, 2, 1};
    forEachIn(value, [&](std::string_view key, const PropertyList& each) {
      const Extent inside = of(each);
      extent.bytes += inside.at(1) + static_cast<double>(key.size());
      extent.lines += inside.lines;
      extent.values += inside.values;
      stored_ += 2 * kPlace;
    });
    seen_.insert(storage, extent);
    return extent;
  }

  // How much is stored of all that was measured.
  [[nodiscard]] double stored() const noexcept { return stored_; }

 private:
  Extent ofScalar(const PropertyList& value) {
    const auto text = value.stringValue();
    const auto data = value.dataValue();
    const std::size_t size = text ? text->size() : data ? data->size() : 0;
    const void* const place = text   ? static_cast<const void*>(text->data())
                              : data ? static_cast<const void*>(data->data())
                                     : nullptr;
    const bool isNew = size < kShortText || texts_.insert(place, true).second;
    if (isNew) stored_ += static_cast<double>(size);
    return {kFrame + static_cast<double>(data ? 4 * (size / 3 + 1) : size), 1, 1};
  }

  detail::PointerMap<Extent> seen_;
  detail::PointerMap<bool> texts_;
  double stored_ = 0;
};

class Fitter {
 public:
  explicit Fitter(Measure& measure) : measure_(measure) {}

  // What of the value comes to less than `room` bytes, `depth` levels below the root.
  PropertyList fit(const PropertyList& value, double room, std::size_t depth) {
    const Extent extent = measure_.of(value);
    if (extent.at(depth) <= room) return value;
    if (storageOf(value) == nullptr || room < kLeast) return omitted(extent.values);
    const double share = shareOfLargeParts(value, room, depth + 1);
    return share > 0 ? withPartsCut(value, share, depth + 1) : beginningOf(value, room, depth + 1);
  }

  [[nodiscard]] std::uint64_t leftOut() const {
    constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
    return leftOut_ < static_cast<double>(kMost) ? static_cast<std::uint64_t>(leftOut_) : kMost;
  }

 private:
  PropertyList omitted(double values) {
    leftOut_ += values;
    return "(left out)";
  }

  [[nodiscard]] double costOf(std::string_view key, const PropertyList& value, std::size_t depth) {
    return measure_.of(value).at(depth) + static_cast<double>(key.size());
  }

  // How much room each part has that needs more, where there are few of them; else 0.
  double shareOfLargeParts(const PropertyList& container, double room, std::size_t depth) {
    std::size_t left = countIn(container);
    if (kFrame * static_cast<double>(left) > room) return 0;
    std::vector<double> costs;
    forEachIn(container, [&](std::string_view key, const PropertyList& each) {
      costs.push_back(costOf(key, each, depth));
    });
    std::sort(costs.begin(), costs.end());
    for (const double cost : costs) {
      const double share = room / static_cast<double>(left);
      if (cost > share) return left <= kMostParts ? share : 0;
      room -= cost;
      --left;
    }
    return room;
  }

  PropertyList withPartsCut(const PropertyList& container, double share, std::size_t depth) {
    if (const Array* array = container.array()) {
      Array result = *array;
      for (std::size_t i = 0; i < array->size(); ++i) {
        if (costOf({}, (*array)[i], depth) > share) result.set(i, fit((*array)[i], share, depth));
      }
      return result;
    }
    Dictionary result = *container.dictionary();
    for (const auto& entry : *container.dictionary()) {
      if (costOf(entry.key(), entry.value(), depth) > share) {
        result.set(entry.key(), fit(entry.value(), share, depth));
      }
    }
    return result;
  }

  PropertyList beginningOf(const PropertyList& container, double room, std::size_t depth) {
    Array array;
    Dictionary dictionary;
    double told = 1;
    std::size_t kept = 0;
    forEachIn(container, [&](std::string_view key, const PropertyList& each) {
      if (room < 0) return;
      const double cost = costOf(key, each, depth);
      // The first that does not fit is shown as far as it does.
      PropertyList value = cost <= room ? each : fit(each, room, depth);
      room -= cost;
      told += measure_.of(each).values;
      ++kept;
      container.array() != nullptr ? array.append(std::move(value))
                                   : dictionary.set(key, std::move(value));
    });
    const std::size_t missing = countIn(container) - kept;
    const std::string tail = "(" + counted(missing, "more value", "more values") + ", left out)";
    if (missing > 0) {
      const PropertyList rest = omitted(measure_.of(container).values - told);
      container.array() != nullptr ? array.append(tail) : dictionary.set(tail, rest);
    }
    if (container.array() != nullptr) return array;
    return dictionary;
  }

  Measure& measure_;
  double leftOut_ = 0;
};

}  // namespace

Fitted fittedToLimit(const PropertyList& value) {
  Measure measure;
  const Extent extent = measure.of(value);
  const double room = kFree + kGrowth * measure.stored();
  if (extent.bytes <= room) return {value, 0};
  Fitter fitter(measure);
  PropertyList fitting = fitter.fit(value, room, 0);
  return {std::move(fitting), fitter.leftOut()};
}

}  // namespace accountsettings
