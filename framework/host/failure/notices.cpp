// Keeping silent.
#include "failure/notices.h"

namespace qmfi_host {

namespace {

bool& noticesTold() {
  static bool told = true;
  return told;
}

}  // namespace

void setNoticesTold(bool told) {
  noticesTold() = told;
}

bool areNoticesTold() {
  return noticesTold();
}

}  // namespace qmfi_host
