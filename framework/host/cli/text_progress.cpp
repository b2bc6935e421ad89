// Lines with the time in front.
#include "cli/text_progress.h"

#include <iomanip>
#include <sstream>
#include <string_view>

#include "cli/progress_steps.h"
#include "cli/snapshot_output.h"
#include "failure/one_line.h"

namespace qmfi_host {

namespace {

constexpr int millisecondsOfSecond = 1000;

// Seconds with three decimals, as wide for the first hours.
std::string secondsText(std::chrono::milliseconds time) {
  constexpr int widthOfSeconds = 4;
  constexpr int widthOfMilliseconds = 3;
  std::ostringstream text;
  text << std::setw(widthOfSeconds) << time.count() / millisecondsOfSecond << "." << std::setfill('0')
       << std::setw(widthOfMilliseconds) << time.count() % millisecondsOfSecond << " s";
  return text.str();
}

std::string withObject(std::string_view words, const std::string& object) {
  const std::size_t place = words.find('%');
  return std::string(words.substr(0, place)) + object + std::string(words.substr(place + 1));
}

}  // namespace

void TextProgress::step(Step step, const std::string& object) const {
  tell(withObject(nameOf(step).words, object));
}

void TextProgress::choice(const std::string& object, const std::string& provider, const std::string& splitter) const {
  if (!m_tellsChoices) return;
  tell(object + ": provider " + provider + (splitter.empty() ? "" : ", splitter " + splitter));
}

void TextProgress::thawed(std::chrono::microseconds frozen, const std::optional<std::string>& signal) const {
  tell("frozen for " + millisecondsText(frozen));
  if (signal) tell("interrupted by " + *signal + "; thawed");
}

void TextProgress::retry(int attempt, int attempts, std::chrono::milliseconds pause) const {
  tell("not possible now; attempt " + std::to_string(attempt) + " of " + std::to_string(attempts) + " in " +
       std::to_string(pause.count()) + " ms");
}

void TextProgress::tell(const std::string& text) const {
  m_out << "[" + secondsText(m_time.passed()) + "] " + inOneLine(text) + "\n" << std::flush;
  m_out.clear();
}

}  // namespace qmfi_host
