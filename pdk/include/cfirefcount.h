// The reference count that every long-lived object of a plug-in carries within itself.
#ifndef CFIREFCOUNT_H
#define CFIREFCOUNT_H

#include <ace/Thread_Mutex.h>

#include <cstdint>

namespace qmfi_pdk_4_4 {

// Virtual base of all counted classes. The count operations do not lock: whoever changes the count through them holds
// countMutex(), as CFiSmartPtr does.
class CFiRefCount {
 public:
  CFiRefCount() = default;
  CFiRefCount(const CFiRefCount&) = delete;
  CFiRefCount& operator=(const CFiRefCount&) = delete;
  virtual ~CFiRefCount() = default;

  // Adds one; returns the new count.
  virtual std::int32_t increment() { return ++m_count; }

  // Takes one off; returns the new count.
  virtual std::int32_t decrement() { return --m_count; }

  virtual std::int32_t getCount() const { return m_count; }

  // Guards the count.
  ACE_Thread_Mutex& countMutex() const { return m_countMutex; }

 private:
  std::int32_t m_count = 0;
  mutable ACE_Thread_Mutex m_countMutex;
};

}  // namespace qmfi_pdk_4_4

#endif
