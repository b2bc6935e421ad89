// One status for several objects.
#include "failure/exit_status.h"

namespace qmfi_host {

namespace {

ExitStatus commonOf(ExitStatus first, ExitStatus second) {
  const bool isUncertain = first == ExitStatus::freezeUncertain || second == ExitStatus::freezeUncertain;
  if (isUncertain) return ExitStatus::freezeUncertain;
  return first == second ? first : ExitStatus::failed;
}

}  // namespace

void SeveralOutcomes::add(ExitStatus status) {
  if (status == ExitStatus::done) {
    ++m_done;
  } else {
    m_failure = commonOf(m_failure.value_or(status), status);
  }
}

ExitStatus SeveralOutcomes::status() const {
  if (!m_failure) return ExitStatus::done;
  return m_done > 0 && *m_failure != ExitStatus::freezeUncertain ? ExitStatus::partlyDone : *m_failure;
}

}  // namespace qmfi_host
