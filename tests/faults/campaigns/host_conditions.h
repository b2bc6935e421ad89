// What makes a host a hard place for a library.
#ifndef HOST_CONDITIONS_H
#define HOST_CONDITIONS_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "campaign.h"
#include "machine.h"

namespace faults {

// What a host is like, from when it is made until it ends.
class Condition {
 public:
  Condition() = default;
  Condition(const Condition&) = delete;
  Condition& operator=(const Condition&) = delete;
  virtual ~Condition() = default;

  // When the plug-in has been started.
  virtual void started() {}
  // What went wrong beside the calls; asked for at the end.
  virtual std::vector<std::string> failures() { return {}; }
};

struct NamedCondition {
  const char* name;
  std::function<std::unique_ptr<Condition>(Campaign& campaign, const Machine& machine)> make;
};

// In the order in which they are made where there are several; the last one ends first.
const std::vector<NamedCondition>& hostConditions();

}  // namespace faults

#endif
