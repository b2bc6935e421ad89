// The one record of the library.
#include "record.h"

FrameworkRecord& frameworkRecord() {
  static FrameworkRecord record;
  return record;
}

void noteEvent(const std::string& event) {
  frameworkRecord().events.push_back(event);
}
