// The means by which a test steers the tiny provider and sees what reached it.
#ifndef TESTS_UNIT_KIT_TINY_CONTROL_H
#define TESTS_UNIT_KIT_TINY_CONTROL_H

#include <functional>
#include <map>
#include <string>
#include <vector>

struct TinyControl {
  // Answers of the operations: of each that is named here, otherwise of all.
  int status = 0;
  std::map<std::string, int> statuses;
  // Run by every operation of the frame before it answers; may throw.
  std::function<void()> duringCall;
  // Second names that makeSnapshots gives to the nodes of its session, by key.
  std::map<std::string, std::string> secondNames;
  // The arguments that objctl puts out, as (arg, value, type).
  std::vector<std::vector<std::string>> outputs;

  // Each operation that was called, with its arguments.
  std::vector<std::string> calls;
  // Provider objects that live.
  int providers = 0;
};

// The control record of the loaded library, exported under this name.
using TinyControlFunction = TinyControl*();
inline constexpr const char* tinyControlName = "tinyfi_control";

#endif
