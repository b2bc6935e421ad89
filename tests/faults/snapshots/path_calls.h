// Calls that take a path, and watchers that let somebody else act just before one.
#ifndef PATH_CALLS_H
#define PATH_CALLS_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/supervision/tracer.h"

namespace faults {

// A call, as it can be found again in another run.
struct PathCall {
  int process = 0;
  int place = 0;
  long number = 0;
  std::string program;
  std::string path;

  std::string text() const;
};

// The path that a call is given; nothing for a call that takes none. Requests to freeze and to write out act on what a
// path has led to, and count with an empty one.
std::optional<std::string> pathOf(const SystemCall& call);

// Notes the calls of a run, but for the dynamic loader's own.
class PathCallRecorder : public CallWatcher {
 public:
  Decision before(const SystemCall& call) override;
  const std::vector<PathCall>& calls() const { return m_calls; }

 private:
  std::vector<PathCall> m_calls{};
};

// Acts just before a call, and is asked again whether it wants to at each such call that follows, until it says that it
// is done.
class ActFromCall : public CallWatcher {
 public:
  using Action = std::function<bool(int sinceFirst)>;  // returns whether it is done

  ActFromCall(const PathCall& call, Action action) : m_call(call), m_action(std::move(action)) {}

  Decision before(const SystemCall& call) override;
  bool acted() const { return m_since > 0; }

 private:
  bool isReached(const SystemCall& call) const;

  const PathCall& m_call;
  const Action m_action;
  int m_since = 0;
};

}  // namespace faults

#endif
