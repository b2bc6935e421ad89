// The order of all calls by which the plug-in freezes and thaws: opening and closing of the split context and of mount
// points, the driver's requests, and pushed messages. The program takes over opening, marking and closing of
// descriptors and the pushing of messages; the other calls are noted by those who take them over.
#ifndef FREEZE_CALLS_H
#define FREEZE_CALLS_H

#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <vector>

// May be used from any thread.
class FreezeCalls {
 public:
  // Forgets all. library: where the framework's own function is found; null when it is gone.
  void reset(void* library);
  // Notes from now on what is done with descriptors of that path, under the last part of its name.
  void watch(const std::string& path);
  // Does something in the next pushing of a message: throws, as for want of memory.
  void doInPush(std::function<void()> action);

  void note(const std::string& call);
  // The calls since the last forget(), in order.
  std::vector<std::string> noted() const;
  void forget();

  // What the taken-over functions do.
  void opening(const char* path, int flags);
  void descriptorCall(const std::string& call, int descriptor);
  int pushError(void* manager, void* message);

 private:
  mutable std::mutex m_mutex;
  int (*m_pushError)(void* manager, void* message) = nullptr;
  std::set<std::string> m_watched;
  std::vector<std::string> m_calls;
  std::function<void()> m_pushAction;
};

FreezeCalls& freezeCalls();

// The path that a descriptor is open on.
std::string pathOfDescriptor(int descriptor);

#endif
