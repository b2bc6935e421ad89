// From the options to what is told.
#include "cli/chosen_progress.h"

#include "cli/json_progress.h"
#include "cli/text_progress.h"
#include "failure/host_error.h"

namespace qmfi_host {

namespace {

// "none", "text" or "json".
std::string formOf(const ProgressOptions& options, bool json, bool isTerminal) {
  if (options.form != "auto") return options.form;
  if (options.quiet) return "none";
  if (options.verbose) return json ? "json" : "text";
  return isTerminal && !json ? "text" : "none";
}

void requireOneMeaning(const ProgressOptions& options, const std::string& form, bool json) {
  const std::string given = "--progress=" + options.form;
  if (options.quiet && options.verbose) throw UsageError("--quiet and --verbose cannot be given together");
  if (options.quiet && form != "none") throw UsageError("--quiet and " + given + " cannot be given together");
  if (options.verbose && form == "none") throw UsageError("--verbose and " + given + " cannot be given together");
  if (json && form == "text") {
    throw UsageError("--json and " + given + " cannot be given together: each line of the errors is JSON then");
  }
}

}  // namespace

std::unique_ptr<Progress> chosenProgress(const ProgressOptions& options, bool json, bool isTerminal,
                                         std::ostream& errors) {
  const std::string form = formOf(options, json, isTerminal);
  requireOneMeaning(options, form, json);
  if (form == "text") return std::make_unique<TextProgress>(errors, options.verbose);
  if (form == "json") return std::make_unique<JsonProgress>(errors);
  return std::make_unique<NoProgress>();
}

}  // namespace qmfi_host
