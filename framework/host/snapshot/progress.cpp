// Progress that nobody is told of.
#include "snapshot/progress.h"

namespace qmfi_host {

void NoProgress::step(Step /*step*/, const std::string& /*object*/) const {}

void NoProgress::choice(const std::string& /*object*/, const std::string& /*provider*/,
                        const std::string& /*splitter*/) const {}

void NoProgress::thawed(std::chrono::microseconds /*frozen*/, const std::optional<std::string>& /*signal*/) const {}

void NoProgress::retry(int /*attempt*/, int /*attempts*/, std::chrono::milliseconds /*pause*/) const {}

const Progress& noProgress() {
  static const NoProgress none;
  return none;
}

}  // namespace qmfi_host
