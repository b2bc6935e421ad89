// Recording.
#include "call_record.h"

#include <sys/syscall.h>

#include "support/supervision/call_errors.h"
#include "support/supervision/frozen_calls.h"

namespace faults {

namespace {

class Recorder : public CallWatcher {
 public:
  Recorder(Step step, int fileSystems, std::vector<RecordedCall>& calls)
      : m_step(step), m_thawsLeft(fileSystems), m_calls(calls) {}

  Decision before(const SystemCall& call) override {
    // The first thing that qmfi does itself.
    if (call.process == 0 && call.number == SYS_rt_sigaction) m_loading = false;
    if (isThaw(call)) --m_thawsLeft;
    m_calls.push_back({m_step, call.process, call.place, call.number, call.program, m_loading, m_frozen});
    if (isFreezeAll(call) || isFreezeOfOne(call)) m_frozen = true;
    if (m_thawsLeft == 0) m_frozen = false;
    return {};
  }

 private:
  const Step m_step;
  bool m_loading = true;
  bool m_frozen = false;
  int m_thawsLeft;
  std::vector<RecordedCall>& m_calls;
};

}  // namespace

std::string RecordedCall::text() const {
  return std::string(nameOf(step)) + ": " + callName(number) + ", call " + std::to_string(place) + " of process " +
         std::to_string(process) + " (" + program + ")";
}

std::vector<RecordedCall> recordSnapshot(SnapshotRuns& runs) {
  std::vector<RecordedCall> calls;
  for (const Step step : {Step::create, Step::show, Step::remove}) {
    Recorder recorder(step, runs.fileSystems(), calls);
    runs.run(step, &recorder);
  }
  return calls;
}

Decision ActAtCall::before(const SystemCall& call) {
  if (call.process != m_call.process || call.place < m_call.place || call.number != m_call.number) return {};
  m_acted = true;
  return m_decision;
}

}  // namespace faults
