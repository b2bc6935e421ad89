// Progress for people.
#ifndef TEXT_PROGRESS_H
#define TEXT_PROGRESS_H

#include <ostream>
#include <string>
#include <utility>

#include "cli/elapsed_time.h"
#include "snapshot/progress.h"

namespace qmfi_host {

// Tells of each step in a line with the time that has passed: "[   0.012 s] mounting
// /run/qmfi/snapshots/nightly/mnt/a". What cannot be written is lost, and keeps nothing from being done or told later.
class TextProgress : public Progress {
 public:
  // out: must outlive the object. tellsChoices: whether the choices are told, too.
  TextProgress(std::ostream& out, bool tellsChoices, ElapsedTime time = ElapsedTime())
      : m_out(out), m_tellsChoices(tellsChoices), m_time(std::move(time)) {}

  void step(Step step, const std::string& object) const override;
  void choice(const std::string& object, const std::string& provider, const std::string& splitter) const override;
  void thawed(std::chrono::microseconds frozen, const std::optional<std::string>& signal) const override;
  void retry(int attempt, int attempts, std::chrono::milliseconds pause) const override;

 private:
  void tell(const std::string& text) const;

  std::ostream& m_out;
  const bool m_tellsChoices;
  const ElapsedTime m_time;
};

}  // namespace qmfi_host

#endif
