// Text at once, JSON at the end.
#include "cli/object_results.h"

#include <iostream>
#include <utility>

namespace qmfi_host {

ExitStatus ObjectResults::add(Json object, const std::function<std::string(Json& object)>& action) {
  try {
    const std::string outcome = action(object);
    mention(std::move(object), outcome);
    m_outcomes.add(ExitStatus::done);
    return ExitStatus::done;
  } catch (const HostError& error) {
    addFailure(std::move(object), error);
    return error.exitStatus();
  }
}

void ObjectResults::addFailure(Json object, const HostError& error) {
  if (!m_settings.json) printError(std::cerr, error);
  keep(std::move(object), "failed", jsonOf(error));
  m_outcomes.add(error.exitStatus());
}

void ObjectResults::mention(Json object, const std::string& outcome) {
  keep(std::move(object), outcome, nullptr);
}

void ObjectResults::keep(Json object, const std::string& outcome, Json error) {
  object["outcome"] = outcome;
  object["error"] = std::move(error);
  m_objects.push_back(std::move(object));
}

void ObjectResults::tell(const std::string& line) const {
  if (!m_settings.json) m_out << line << "\n";
}

ExitStatus ObjectResults::finish() {
  if (m_settings.json) m_out << jsonDocument(m_objects);
  return m_outcomes.status();
}

}  // namespace qmfi_host
