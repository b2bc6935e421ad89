// The calls of one of many threads: every entry point with valid arguments about nodes and sessions of its own, and
// about some names that all threads ask for.
#ifndef THREAD_CALLS_H
#define THREAD_CALLS_H

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "machine.h"
#include "provider.h"

namespace faults {

// What every thread may use, and none changes.
struct SharedNames {
  std::string mountPoint;  // in the mount table, on a device
  std::string device;
};

class Worker {
 public:
  // What came of a thread's calls: how many of each entry point, and those that went wrong.
  struct Record {
    std::map<std::string, std::uint64_t> calls = {};
    std::vector<std::string> failures = {};
  };

  // Initialises its nodes. mountPoint is its own, and in the mount table.
  Worker(Provider& provider, const SharedNames& shared, const std::string& mountPoint, std::uint64_t seed,
         Record& record);
  // De-initialises them.
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // Makes about so many calls, chosen at random.
  void work(int calls);

  // Notes a call and what it gave.
  void expect(const char* entryPoint, int expected, int status);
  kfi_domain named(const std::string& name);
  // Calls online_resource for a device and gives back what it hands out.
  void bringOnline(std::string device, std::string place);

  Provider& provider;
  const ForeignFunctions& call;
  const SharedNames& shared;
  std::string mountPoint;
  std::string name;  // of sessions and whatever else is to be its own
  // A mounted file system's node, one of an alternate mount point, one restored whose device is not mounted, and the
  // configuration domain.
  kfi_domain node{};
  kfi_domain alternate{};
  kfi_domain restored{};
  kfi_domain configuration{};

 private:
  std::mt19937_64 m_random;
  Record& m_record;
  int m_callsMade = 0;
};

using ThreadCall = void (*)(Worker& worker);

// Calls that run no program; those that do; and those that the provider leaves to its base.
const std::vector<ThreadCall>& quickThreadCalls();
const std::vector<ThreadCall>& commandThreadCalls();
const std::vector<ThreadCall>& baseThreadCalls();

}  // namespace faults

#endif
