// What the plug-in meets in a case: programs, mount table, driver, directories; and the check that a case leaves all of
// it as it was.
#ifndef MACHINE_H
#define MACHINE_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/mount_table_file.h"
#include "support/stand_in_programs.h"

namespace faults {

// The private root's machine. Every case begins with the same: some mounted file systems, programs that do their work,
// a driver with nothing frozen. One at a time.
class Machine {
 public:
  // fileSystems: how many are mounted; their directories are fileSystem(0), fileSystem(1), ...
  explicit Machine(int fileSystems = 2);
  // With file systems that are really mounted, on these directories, and frozen by the kernel's driver.
  explicit Machine(const std::vector<std::string>& mountPoints);
  ~Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  // Puts everything back to the beginning, whatever is left of the last case; the configuration is empty.
  void reset();
  // Writes the mount table before a case; what is compared with its end begins here.
  void beginWithTable(const std::string& text);

  bool isReal() const { return m_isReal; }
  int fileSystems() const { return static_cast<int>(m_fileSystems.size()); }
  const std::string& fileSystem(int number) const { return m_fileSystems[static_cast<std::size_t>(number)]; }
  std::string device(int number) const;
  // A path below the machine's directory; nothing is made.
  std::string path(const std::string& name) const { return m_directory / name; }

  // Lets the time-outs of all freezes pass; of real ones, waits until they have.
  void passTimeouts();
  // Those whose directories are gone.
  std::vector<std::string> missingFileSystems() const;

  // The provider's configuration, read when it starts.
  void configure(const std::string& text);
  // The text of the trace log, and its records of level 1; forgotten with the next reset.
  std::string traceLog() const;
  bool tracedFailure() const;

  // What differs from the state at the last reset: mounts, mount table, directories, descriptors, threads, children,
  // file systems still frozen. Paths and descriptors that are allowed to stay are left out.
  struct Leftovers {
    std::vector<std::string> paths;        // directories, and mount points in the mount table
    std::vector<std::string> descriptors;  // paths that descriptors may be open on
    std::vector<std::string> frozen;       // directories of file systems
    std::vector<std::string> keptFrozen;   // directories of file systems that must be frozen still
    bool temporaryMountPoints = false;     // those that the plug-in generates in the root directory
  };
  std::vector<std::string> differences(const Leftovers& allowed) const;
  std::vector<std::string> differences() const { return differences({}); }

  StandInPrograms programs;
  MountTableFile table;

 private:
  struct State {
    std::string mounts;
    std::vector<std::string> mountTable;
    std::vector<std::string> directories;
    std::vector<std::string> descriptors;
    int threads = 0;
  };
  State state() const;

  void prepare();

  std::filesystem::path m_directory;
  std::vector<std::string> m_fileSystems;
  const bool m_isReal;
  State m_before;
};

}  // namespace faults

#endif
