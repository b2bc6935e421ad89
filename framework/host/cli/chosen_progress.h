// Whether progress is told, and how.
#ifndef CHOSEN_PROGRESS_H
#define CHOSEN_PROGRESS_H

#include <memory>
#include <ostream>
#include <string>

#include "snapshot/progress.h"

namespace qmfi_host {

// What the options say of it.
struct ProgressOptions {
  bool quiet = false;
  bool verbose = false;
  std::string form = "auto";  // of --progress: "auto", "none", "text" or "json"
};

// What a command tells its progress to; never null. json: whether everything else is told as JSON. isTerminal: whether
// errors leads to a terminal. errors: must outlive the result. Throws UsageError for options that contradict each
// other.
std::unique_ptr<Progress> chosenProgress(const ProgressOptions& options, bool json, bool isTerminal,
                                         std::ostream& errors);

}  // namespace qmfi_host

#endif
