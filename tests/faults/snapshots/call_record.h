// The system calls of a whole snapshot, and watchers that act on one of them.
#ifndef CALL_RECORD_H
#define CALL_RECORD_H

#include <string>
#include <vector>

#include "snapshot_runs.h"
#include "support/supervision/tracer.h"

namespace faults {

// A call, as it can be found again in another run.
struct RecordedCall {
  Step step = Step::create;
  int process = 0;
  int place = 0;
  long number = 0;
  std::string program;
  // Made by the dynamic loader before qmfi's own first line.
  bool loading = false;
  // Made while file systems are frozen: after the freeze, the last thaw included.
  bool frozen = false;

  std::string text() const;
};

// The calls of a snapshot's creation, look and removal, in their order.
std::vector<RecordedCall> recordSnapshot(SnapshotRuns& runs);

// Acts on a recorded call, or on the next one of its kind where a run differs a little.
class ActAtCall : public CallWatcher {
 public:
  ActAtCall(const RecordedCall& call, Decision decision) : m_call(call), m_decision(decision) {}

  Decision before(const SystemCall& call) override;
  bool acted() const { return m_acted; }

 private:
  const RecordedCall& m_call;
  const Decision m_decision;
  bool m_acted = false;
};

// Ends the program at its n-th call, children's included; counts from 1.
class EndAtCall : public CallWatcher {
 public:
  explicit EndAtCall(int n) : m_left(n) {}

  Decision before(const SystemCall& /*call*/) override {
    return --m_left > 0 ? Decision{} : Decision{Decision::Kind::endProgram};
  }

 private:
  int m_left;
};

}  // namespace faults

#endif
