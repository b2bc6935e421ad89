// The command line of the testbed.
#ifndef ARGUMENTS_H
#define ARGUMENTS_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "driver/fault.h"

namespace testbed {

// A volume to be made.
struct VolumeSpec {
  std::string name;                         // last part of /dev/qm/dsk/dg1/NAME
  std::uint64_t bytes = 512ULL << 20;       // the file system wants 300 MiB or more
  std::optional<std::string> mountPoint{};  // where it is mounted after formatting; without it, it stays blank
  std::string type = "qmfs";                // of its file system: qmfs, xfs or ext4
};

// One parameter of the plug-in's configuration.
struct Setting {
  std::string key;
  std::string value;
};

// What the testbed is to do.
struct Arguments {
  std::vector<VolumeSpec> volumes;
  std::vector<Setting> settings;
  std::vector<Fault> faults;
  std::optional<std::filesystem::path> pool{};  // a directory that serves as pool and outlives the testbed
  std::vector<std::string> command;             // at least one word
  std::filesystem::path buildTree;              // absolute, without symbolic links
};

// A command line that cannot be understood; the text says why.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Asked for help instead of a run; the text is the help.
class HelpRequest : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads the command line (with the program's name at its head), and the build tree from the environment. Throws
// UsageError or HelpRequest, and std::runtime_error where there is no build tree.
Arguments parseArguments(int count, const char* const* words);

}  // namespace testbed

#endif
