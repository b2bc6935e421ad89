// A row of the tables that say what entry points answer.
#ifndef ENTRY_POINT_CALL_H
#define ENTRY_POINT_CALL_H

#include <functional>
#include <string>

// One call, the rule that it shows, and the status that is decided for it.
struct Call {
  std::string entryPoint;
  std::string rule;
  int status;
  std::function<int()> make;
};

#endif
