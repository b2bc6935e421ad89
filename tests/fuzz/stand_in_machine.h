// The machine that the provider's calls meet in a fuzz target: a mount table, a freezing driver, files and programs,
// all of them made up. The target takes the calls over that would reach the real ones, so nothing of it is touched.
#ifndef STAND_IN_MACHINE_H
#define STAND_IN_MACHINE_H

#include <cstdint>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "fuzz_input.h"

// Lives for one input and decides by it what fails. While one lives, the calls that are taken over ask it; they do what
// they always do while there is none, since the fuzzer makes such calls too.
class StandInMachine {
 public:
  explicit StandInMachine(FuzzedDataProvider& input);
  ~StandInMachine();
  StandInMachine(const StandInMachine&) = delete;
  StandInMachine& operator=(const StandInMachine&) = delete;

  void mount(const std::string& device, const std::string& mountPoint, const std::string& type);

  // What must hold when the plug-in has stopped: descriptors and freezes are given back but for those that the rules
  // leave: one descriptor of each quiesce in which a mount point could not be opened, and the file system that was
  // frozen last in each in which a single freeze failed.
  void requireNothingLeft() const;

  // What the calls that are taken over do; the system calls return as the real ones do and set errno.
  struct ProgramResult {
    std::int32_t code = 0;
    std::int32_t exitStatus = 0;
    std::vector<std::string> lines;
  };
  ProgramResult run(const std::string& command);
  std::FILE* openMountTable();
  int openMountPoint();
  int close(int descriptor);
  int driver(int descriptor, std::uint32_t request, std::uintptr_t argument);
  bool exists() { return !fails(); }
  static bool owns(int descriptor) { return descriptor >= firstDescriptor; }

 private:
  struct Mount {
    std::string device;
    std::string type;
  };
  static constexpr int firstDescriptor = 0x40000000;

  // Seldom true, so that long sequences get far.
  bool fails();
  int freeze(int descriptor, std::int32_t timeout);
  int thaw(int descriptor);
  void effect(const std::vector<std::string>& words);

  FuzzedDataProvider& m_input;
  std::map<std::string, Mount> m_mounts;  // by mount point
  std::string m_tableText;
  std::set<int> m_open;
  std::set<int> m_frozen;
  int m_nextDescriptor = firstDescriptor;
  std::size_t m_failedOpens = 0;
  std::size_t m_failedFreezes = 0;
};

// The one that lives now; null when there is none.
extern StandInMachine* standInMachine;

#endif
