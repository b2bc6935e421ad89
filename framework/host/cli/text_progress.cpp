// Lines with the time in front.
#include "cli/text_progress.h"

#include <iomanip>
#include <sstream>

#include "cli/progress_steps.h"
#include "cli/snapshot_output.h"
#include "failure/one_line.h"
#include "texts/translation.h"

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

}  // namespace

void TextProgress::step(Step step, const std::string& object) const {
  const char* const words = nameOf(step).words;
  tell(filledIn(words, translated(words), fmt::make_format_args(object)));
}

void TextProgress::choice(const std::string& object, const std::string& provider, const std::string& splitter) const {
  if (!m_tellsChoices) return;
  tell(splitter.empty() ? translate("{0}: provider {1}", object, provider)
                        : translate("{0}: provider {1}, splitter {2}", object, provider, splitter));
}

void TextProgress::thawed(std::chrono::microseconds frozen, const std::optional<std::string>& signal) const {
  tell(translate("frozen for {0}", millisecondsText(frozen)));
  if (signal) tell(translate("interrupted by {0}; thawed", *signal));
}

void TextProgress::retry(int attempt, int attempts, std::chrono::milliseconds pause) const {
  tell(translate("not possible now; attempt {0} of {1} in {2} ms", attempt, attempts, pause.count()));
}

void TextProgress::tell(const std::string& text) const {
  m_out << "[" + secondsText(m_time.passed()) + "] " + inOneLine(text) + "\n" << std::flush;
  m_out.clear();
}

}  // namespace qmfi_host
