// Remembered without memory of its own: an error is reported also when memory is short.
#include "failed_output.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string_view>

#include "cfiexecpipe.h"

namespace {

constexpr std::size_t longestLine = 500;

struct FailedOutput {
  std::mutex mutex;
  bool isCut = false;
  std::size_t bytes = 0;
  std::size_t hash = 0;
  std::array<char, longestLine> line{};
  std::size_t lineLength = 0;
};
FailedOutput remembered;

std::string_view withoutBlanks(std::string_view line) {
  constexpr std::string_view blanks = " \t\r\f\v";
  const std::size_t first = line.find_first_not_of(blanks);
  return first == std::string_view::npos ? "" : line.substr(first, line.find_last_not_of(blanks) - first + 1);
}

std::string_view lastLineOf(std::span<const std::string> lines) {
  for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
    const std::string_view text = withoutBlanks(*line);
    if (!text.empty()) return text.substr(0, longestLine);
  }
  return "";
}

}  // namespace

namespace qmfi_runtime {

void rememberFailedOutput(std::span<const std::string> lines, const std::string& joined) noexcept {
  // Unlike a wait for it, a try of the lock never throws, nor hangs in a child that was forked while it was held.
  const std::unique_lock<std::mutex> lock(remembered.mutex, std::try_to_lock);
  if (!lock) return;
  const std::string_view line = lastLineOf(lines);
  // There is no more to show of a single line.
  remembered.isCut = line != withoutBlanks(joined);
  remembered.bytes = joined.size();
  remembered.hash = std::hash<std::string_view>()(joined);
  remembered.lineLength = line.copy(remembered.line.data(), longestLine);
}

}  // namespace qmfi_runtime

namespace qmfi_pdk_4_4 {

std::string lastLineOfFailure(const std::string& joined) {
  const std::unique_lock<std::mutex> lock(remembered.mutex, std::try_to_lock);
  const bool isKnown = lock && remembered.isCut && joined.size() == remembered.bytes &&
                       std::hash<std::string_view>()(joined) == remembered.hash;
  return isKnown ? std::string(remembered.line.data(), remembered.lineLength) : joined;
}

}  // namespace qmfi_pdk_4_4
