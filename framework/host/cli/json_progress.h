// Progress for programs.
#ifndef JSON_PROGRESS_H
#define JSON_PROGRESS_H

#include <ostream>
#include <utility>

#include "cli/elapsed_time.h"
#include "failure/json_text.h"
#include "snapshot/progress.h"

namespace qmfi_host {

// Tells of each event as a JSON object in a line, of which share/qmfi/schema/progress.json is the schema. What cannot
// be written is lost, and keeps nothing from being done or told later.
class JsonProgress : public Progress {
 public:
  // out: must outlive the object.
  explicit JsonProgress(std::ostream& out, ElapsedTime time = ElapsedTime()) : m_out(out), m_time(std::move(time)) {}

  void step(Step step, const std::string& object) const override;
  void choice(const std::string& object, const std::string& provider, const std::string& splitter) const override;
  void thawed(std::chrono::microseconds frozen, const std::optional<std::string>& signal) const override;
  void retry(int attempt, int attempts, std::chrono::milliseconds pause) const override;

 private:
  void tell(Json event) const;

  std::ostream& m_out;
  const ElapsedTime m_time;
};

}  // namespace qmfi_host

#endif
