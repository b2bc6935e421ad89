// Commands that do the same with several objects.
#ifndef OBJECT_RESULTS_H
#define OBJECT_RESULTS_H

#include <functional>
#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/command.h"
#include "failure/host_error.h"
#include "failure/json_text.h"

namespace qmfi_host {

// What became of each of several objects. As text it is told when it happens, failures on standard error; as JSON all
// is printed at the end, as one array of objects with the members "outcome" and "error".
class ObjectResults {
 public:
  // Both must outlive this object.
  ObjectResults(const Settings& settings, std::ostream& out) : m_settings(settings), m_out(out) {}

  // Works on the next object; a HostError of its is this object's failure. object: its names, by their keys. action:
  // returns the outcome ("done" or a word that says more), and may add members to the object.
  ExitStatus add(Json object, const std::function<std::string(Json& object)>& action);

  // The same for an object whose failure is known already.
  void addFailure(Json object, const HostError& error);

  // The outcome of work that belongs to none of them, and whose failures are told already.
  void addUnnamed(ExitStatus status) { m_outcomes.add(status); }

  // An object that is told of only, and does not count.
  void mention(Json object, const std::string& outcome);

  // A line of text; nothing where JSON is asked for.
  void tell(const std::string& line) const;

  // Prints the array where JSON is asked for. Returns what became of all.
  ExitStatus finish();

 private:
  void keep(Json object, const std::string& outcome, Json error);

  const Settings& m_settings;
  std::ostream& m_out;
  Json m_objects = Json::array();
  SeveralOutcomes m_outcomes;
};

}  // namespace qmfi_host

#endif
