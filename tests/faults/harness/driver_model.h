// The kernel driver's freeze requests, answered by a model that knows which file systems are frozen. The program takes
// ioctl and sleep over; every other request goes to the kernel. Nothing here takes memory.
#ifndef DRIVER_MODEL_H
#define DRIVER_MODEL_H

#include <cstdint>

namespace faults {

enum class DriverRequestKind { freezeAll, freeze, thaw };
constexpr int driverRequestKinds = 3;

// A directory stands for the file system that is mounted on it. Requests may come from any thread; everything else is
// one thread's.
class DriverModel {
 public:
  // Nothing frozen, nothing to fail, nothing counted.
  void reset();
  // Hands the requests on to the kernel's driver instead of answering them; what is to fail still fails.
  void useKernel(bool use) { m_useKernel = use; }

  // Fails the number-th request of a kind from now on, counted from 1, with that error number; number 0 fails each.
  void fail(DriverRequestKind kind, int number, int error);
  // What others do: freeze a file system, thaw it, or let all time-outs pass. False when the directory is not there.
  bool freezeFromOutside(const char* directory, std::int32_t timeout = 1000);
  bool thawFromOutside(const char* directory);
  void passTimeouts();
  // Lets all time-outs pass just before the number-th thaw from now on.
  void passTimeoutsAtThaw(int number) { m_passAtThaw = m_requests[static_cast<int>(DriverRequestKind::thaw)] + number; }

  // The error number of one more thaw of the file system: EINVAL when it was not frozen.
  int thawAgain(const char* directory);

  // How many file systems the model has frozen.
  int frozen() const;
  int requests(DriverRequestKind kind) const { return m_requests[static_cast<int>(kind)]; }
  // The time-out of the last freeze that was asked for.
  std::int32_t lastTimeout() const { return m_lastTimeout; }
  int sleeps() const { return m_sleeps; }

  // What the functions that are taken over do: 0, or an error number.
  int request(int descriptor, std::uint32_t number, std::uintptr_t argument);
  void slept() { ++m_sleeps; }

 private:
  struct FileSystem {
    std::uint64_t device;
    std::uint64_t inode;
    bool frozen;   // no time-out has ended it
    bool expired;  // one has, and no thaw has been told of it
  };
  static constexpr int mostFileSystems = 64;

  FileSystem* fileSystemOf(int descriptor);
  int freezeOne(int descriptor, std::int32_t timeout);
  int freezeTogether(std::uintptr_t record);
  int thaw(int descriptor);
  int plannedError(DriverRequestKind kind) const;

  FileSystem m_fileSystems[mostFileSystems] = {};
  int m_count = 0;
  bool m_useKernel = false;
  int m_requests[driverRequestKinds] = {};
  struct Failure {
    int number;  // of the request, all counted; 0: each
    int error;   // 0: none
  };
  Failure m_failures[driverRequestKinds] = {};
  int m_passAtThaw = 0;
  std::int32_t m_lastTimeout = 0;
  int m_sleeps = 0;
};

DriverModel& driverModel();

}  // namespace faults

#endif
