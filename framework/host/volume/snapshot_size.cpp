// Reading and counting of sizes.
#include "volume/snapshot_size.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>

#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

constexpr std::string_view units = "KMGT";
constexpr unsigned unitBits = 10;
constexpr std::uint64_t wholePercent = 100;

UsageError wrongSize(const std::string& text) {
  return UsageError(
      translate("\"{0}\" is no size of a snapshot: \"20%\" of the volume is one, and \"512M\" (K, M, G, T)", text));
}

std::uint64_t dividedUp(std::uint64_t number, std::uint64_t by) {
  return number / by + (number % by != 0 ? 1 : 0);
}

}  // namespace

SnapshotSize snapshotSizeOf(const std::string& text) {
  std::uint64_t number = 0;
  const char* const textEnd = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), textEnd, number);
  if (error != std::errc() || number == 0 || textEnd - end != 1) throw wrongSize(text);
  if (*end == '%') {
    if (number > wholePercent) throw wrongSize(text);
    return PartOfVolume{static_cast<int>(number)};
  }
  const std::size_t unit = units.find(*end);
  if (unit == std::string_view::npos) throw wrongSize(text);
  const auto bits = unitBits * (static_cast<unsigned>(unit) + 1);
  if (number > std::numeric_limits<std::uint64_t>::max() >> bits) throw wrongSize(text);
  return FixedSize{number << bits};
}

std::uint64_t extentsOf(const SnapshotSize& size, std::uint64_t volumeBytes, std::uint64_t extentBytes) {
  const std::uint64_t volumeExtents = dividedUp(volumeBytes, extentBytes);
  // Where all is overwritten the copy needs room for its own table, too.
  const std::uint64_t most = volumeExtents + 1;
  const auto* const fixed = std::get_if<FixedSize>(&size);
  if (fixed != nullptr) return std::min(dividedUp(fixed->bytes, extentBytes), most);
  const auto percent = static_cast<std::uint64_t>(std::get<PartOfVolume>(size).percent);
  if (percent == wholePercent) return most;
  return std::min(dividedUp(volumeExtents * percent, wholePercent), most);
}

}  // namespace qmfi_host
