// What a provider is asked for, case by case.
#ifndef CONFORMANCE_CASE_H
#define CONFORMANCE_CASE_H

#include <functional>
#include <string>
#include <vector>

#include "conformance/examination.h"

namespace qmfi_host {

// What must be there for a case to be tried.
enum class CaseNeeds {
  first,        // nothing; when it fails no other is tried
  library,      // a library that has passed those
  fileSystem,   // and a file system to try it on
  fileSystems,  // two of them
};

// One case.
struct ConformanceCase {
  std::string name;  // "messages.text": what it is about, a dot, and what is asked for
  std::string rule;  // what the contract says, a sentence
  CaseNeeds needs;
  std::function<void(Examination&)> check;  // examines the provider; may throw what Examination throws
};

using ConformanceCases = std::vector<ConformanceCase>;

// The cases of each subject, in the order in which they are tried.
ConformanceCases libraryCases();     // the shared library itself
ConformanceCases startCases();       // init and fini
ConformanceCases identityCases();    // what the provider says of itself, and of statuses
ConformanceCases messageCases();     // the queue of messages, and their texts
ConformanceCases nothingCases();     // every entry point with nothing but null pointers
ConformanceCases argumentCases();    // arguments that make no sense, and outputs that stay
ConformanceCases nodeCases();        // nodes that need no file system
ConformanceCases processCases();     // the process that the provider is loaded into, and its threads
ConformanceCases fileSystemCases();  // claim, state, freeze and thaw of real file systems

// All of them.
ConformanceCases allConformanceCases();

}  // namespace qmfi_host

#endif
