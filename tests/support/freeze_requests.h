// The driver's freeze requests, issued as its callers do.
#ifndef SUPPORT_FREEZE_REQUESTS_H
#define SUPPORT_FREEZE_REQUESTS_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace testbed_test {

// A descriptor of a directory, closed at the end.
class OpenDirectory {
 public:
  explicit OpenDirectory(const std::string& path);
  OpenDirectory(const OpenDirectory&) = delete;
  OpenDirectory& operator=(const OpenDirectory&) = delete;
  ~OpenDirectory();

  int get() const { return m_descriptor; }

 private:
  int m_descriptor;
};

// The driver's requests. Each returns 0 or the errno value that the request failed with.
int freeze(int descriptor, int timeoutSeconds);
int thaw(int descriptor);
int freezeAll(int issuedOn, const std::vector<std::int32_t>& descriptors, int timeoutSeconds);

// Thaws the given descriptors when it goes, so that a failing test leaves nothing frozen.
class ThawAtEnd {
 public:
  explicit ThawAtEnd(std::vector<int> descriptors) : m_descriptors(std::move(descriptors)) {}
  ThawAtEnd(const ThawAtEnd&) = delete;
  ThawAtEnd& operator=(const ThawAtEnd&) = delete;
  ~ThawAtEnd();

 private:
  std::vector<int> m_descriptors;
};

}  // namespace testbed_test

#endif
