// A process that keeps a file system busy.
#ifndef HOLDER_H
#define HOLDER_H

#include <sys/types.h>

#include <string>

namespace provider_test {

// A process in a mount namespace of its own that keeps a file open since before it went there, so that the mount that
// everybody else sees stays busy.
class Holder {
 public:
  // Returns when the file is held. Throws std::runtime_error when it cannot be.
  explicit Holder(const std::string& file);
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;
  ~Holder() { release(); }

  // Lets the file go and waits for the process to end. Said again it does nothing.
  void release();

 private:
  pid_t m_process = -1;
  int m_control = -1;  // the process ends with it, however this one ends
};

// Takes the program for forced unmounts away, and puts it back when it goes.
class WithoutForcedUnmount {
 public:
  WithoutForcedUnmount();
  WithoutForcedUnmount(const WithoutForcedUnmount&) = delete;
  WithoutForcedUnmount& operator=(const WithoutForcedUnmount&) = delete;
  ~WithoutForcedUnmount();
};

}  // namespace provider_test

#endif
