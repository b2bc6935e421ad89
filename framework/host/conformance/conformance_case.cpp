// The whole list.
#include "conformance/conformance_case.h"

#include <iterator>

namespace qmfi_host {

ConformanceCases allConformanceCases() {
  ConformanceCases all;
  for (ConformanceCases (*const cases)() : {libraryCases, startCases, identityCases, messageCases, nothingCases,
                                            argumentCases, nodeCases, processCases, fileSystemCases}) {
    ConformanceCases some = cases();
    std::move(some.begin(), some.end(), std::back_inserter(all));
  }
  return all;
}

}  // namespace qmfi_host
