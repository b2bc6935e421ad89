// Texts of what is wrong in files.
#include "failure/file_error.h"

#include <utility>

#include "texts/translation.h"

namespace qmfi_host {

namespace {

// Keys stand before what is wrong with them.
std::string causeOf(const FilePlace& place, const std::string& problem) {
  return place.key.empty() ? problem : place.key + " " + problem;
}

std::string whereOf(const FilePlace& place) {
  return place.line == 0 ? place.file : place.file + ":" + std::to_string(place.line);
}

}  // namespace

FileError::FileError(Failure failure, FilePlace place, const std::string& problem, const std::string& mend)
    : HostError(failure, translate("{0}: {1}; {2}", whereOf(place), causeOf(place, problem), mend)),
      m_place(std::move(place)) {
  about(m_place.file);
  because(causeOf(m_place, problem));
  advise(mend);
}

}  // namespace qmfi_host
