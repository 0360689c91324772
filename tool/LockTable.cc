#include "tool/LockTable.h"

#include <array>
#include <charconv>
#include <sstream>

namespace accountsettings {
namespace {

template <class Number>
bool readNumber(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

std::string twoHexDigits(std::uint64_t number) {
  std::array<char, 16> digits{};
  const auto end = std::to_chars(digits.begin(), digits.end(), number, 16).ptr;
  const std::string text(digits.begin(), end);
  return text.size() < 2 ? "0" + text : text;
}

}  // namespace

// A line reads "1: FLOCK  ADVISORY  WRITE 4711 08:01:131073 0 EOF".
std::vector<HeldLock> heldLocksIn(std::string_view table) {
  std::vector<HeldLock> locks;
  std::istringstream lines{std::string(table)};
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string number, kind, strength, access, process, place;
    fields >> number >> kind >> strength >> access >> process >> place;
    HeldLock lock;
    const std::size_t inode = place.rfind(':');
    if (kind == "FLOCK" && inode != std::string::npos && readNumber(process, lock.process) &&
        readNumber(std::string_view(place).substr(inode + 1), lock.inode)) {
      lock.device = place.substr(0, inode);
      locks.push_back(std::move(lock));
    }
  }
  return locks;
}

std::string deviceInLockTable(std::uint64_t device) {
  // How the C library packs both parts into one number.
  const std::uint64_t major = ((device >> 8) & 0xFFF) | ((device >> 32) & ~std::uint64_t{0xFFF});
  const std::uint64_t minor = (device & 0xFF) | ((device >> 12) & ~std::uint64_t{0xFF});
  return twoHexDigits(major) + ":" + twoHexDigits(minor);
}

}  // namespace accountsettings
