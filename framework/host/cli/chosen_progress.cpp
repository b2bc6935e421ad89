// From the options to what is told.
#include "cli/chosen_progress.h"

#include "cli/json_progress.h"
#include "cli/text_progress.h"
#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

// "none", "text" or "json".
std::string formOf(const ProgressOptions& options, bool json, bool isTerminal) {
  if (options.form != "auto") return options.form;
  if (options.quiet) return "none";
  if (options.verbose) return json ? "json" : "text";
  return isTerminal && !json ? "text" : "none";
}

UsageError notTogether(const std::string& one, const std::string& other) {
  return UsageError(translate("{0} and {1} cannot be given together", one, other));
}

void requireOneMeaning(const ProgressOptions& options, const std::string& form, bool json) {
  const std::string given = "--progress=" + options.form;
  if (options.quiet && options.verbose) throw notTogether("--quiet", "--verbose");
  if (options.quiet && form != "none") throw notTogether("--quiet", given);
  if (options.verbose && form == "none") throw notTogether("--verbose", given);
  if (json && form == "text") {
    throw UsageError(
        translate("{0} and {1} cannot be given together: each line of the errors is JSON then", "--json", given));
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
