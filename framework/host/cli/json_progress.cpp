// Events as JSON.
#include "cli/json_progress.h"

#include <nlohmann/json.hpp>

#include "cli/progress_steps.h"

namespace qmfi_host {

void JsonProgress::step(Step step, const std::string& object) const {
  tell({{"event", "step"}, {"step", nameOf(step).key}, {"object", object}});
}

void JsonProgress::choice(const std::string& object, const std::string& provider, const std::string& splitter) const {
  const Json orNull = splitter.empty() ? Json() : Json(splitter);
  tell({{"event", "choice"}, {"object", object}, {"provider", provider}, {"splitter", orNull}});
}

void JsonProgress::thawed(std::chrono::microseconds frozen, const std::optional<std::string>& signal) const {
  tell({{"event", "thawed"}, {"frozen_us", frozen.count()}});
  if (signal) tell({{"event", "interrupted"}, {"signal", *signal}});
}

void JsonProgress::retry(int attempt, int attempts, std::chrono::milliseconds pause) const {
  tell({{"event", "retry"}, {"attempt", attempt}, {"attempts", attempts}, {"pause_ms", pause.count()}});
}

void JsonProgress::tell(Json event) const {
  event["elapsed_ms"] = m_time.passed().count();
  m_out << jsonLine(event) << std::flush;
  m_out.clear();
}

}  // namespace qmfi_host
