// What a look at the machine has found.
#ifndef FINDING_H
#define FINDING_H

#include <string>
#include <utility>
#include <vector>

namespace qmfi_host {

// How much it matters.
enum class Weight {
  good,    // as it should be
  notice,  // something cannot be done here, or will not go on for long
  problem  // snapshots fail, or something was left behind
};

// One thing that was looked at.
struct Finding {
  Weight weight;
  std::string subject;  // a word for programs and people: "kernel", "provider"
  std::string text;     // what is so
  std::string mend{};   // the command that mends it; empty where there is none
};

using Findings = std::vector<Finding>;

// The weight as users read it: "good", "notice", "problem".
inline std::string weightName(Weight weight) {
  switch (weight) {
    case Weight::good:
      return "good";
    case Weight::notice:
      return "notice";
    case Weight::problem:
      break;
  }
  return "problem";
}

// Puts findings behind others.
inline void append(Findings& all, Findings more) {
  for (Finding& finding : more) all.push_back(std::move(finding));
}

}  // namespace qmfi_host

#endif
