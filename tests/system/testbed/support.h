// What the tests inside the testbed share: running programs, reading the mount table, issuing freeze requests.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace testbed_test {

// A program's end: its status as a shell reports it, and all it wrote to both its outputs.
struct Outcome {
  int status;
  std::string output;
};

// Runs words[0] (an absolute path) and waits for it. `environment`: "NAME=VALUE" texts in place of this process's own.
Outcome run(const std::vector<std::string>& words, const std::optional<std::vector<std::string>>& environment = {});

// The whole text of a file; empty when it cannot be read.
std::string textOf(const std::string& path);

// The lines of /etc/mtab whose second field, as it stands there, is `directory`.
std::vector<std::string> mountLines(const std::string& directory);

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

// Tells whether a file system is frozen without asking the driver: a process that writes to it waits in the kernel.
class Writer {
 public:
  // Starts a process that writes to `path` again and again.
  explicit Writer(const std::string& path);
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  // Nothing may be frozen any more, or the process cannot end.
  ~Writer();

  // Wait for the writer to be stopped by a freeze, or to get on; false after ten seconds without it.
  bool waitUntilBlocked() const;
  bool waitForProgress() const;

  // How often it has written so far.
  std::uint64_t writes() const;

 private:
  volatile std::uint64_t* m_writes;  // shared with the process
  int m_process;
};

}  // namespace testbed_test
