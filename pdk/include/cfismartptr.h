// The intrusive counted pointer, and the policies that say whether it may create what it points to.
#ifndef CFISMARTPTR_H
#define CFISMARTPTR_H

#include <cerrno>
#include <memory>
#include <system_error>
#include <utility>

#include "cfirefcount.h"

namespace qmfi_pdk_4_4 {

// Makes the object of a context singleton. Throws std::bad_alloc when memory is short.
template <typename T>
struct CFiContextSingletonAllocator {
  // A new object.
  T* operator()() const { return new T(); }
};

// For pointers that only adopt what was made elsewhere.
template <typename T>
struct CFiNullAllocator {
  // None.
  T* operator()() const { return nullptr; }
};

// Holds a mutex for a scope. A lock that fails is reported through errno and owned(), never by an exception, as the
// counted pointers require.
class CFiCountLock {
 public:
  // Waits for the mutex.
  explicit CFiCountLock(ACE_Thread_Mutex& mutex) : m_mutex(mutex), m_owned(mutex.acquire() == 0) {}
  CFiCountLock(const CFiCountLock&) = delete;
  CFiCountLock& operator=(const CFiCountLock&) = delete;
  ~CFiCountLock() {
    if (m_owned) m_mutex.release();
  }

  bool owned() const { return m_owned; }

 private:
  ACE_Thread_Mutex& m_mutex;
  const bool m_owned;
};

// Points to a T (a class with the virtual base CFiRefCount) and keeps one count of it. One pointer object belongs to
// one thread at a time; different pointers to the same object may be used from any thread.
template <typename T, typename Allocator = CFiContextSingletonAllocator<T>>
class CFiSmartPtr {
 public:
  CFiSmartPtr() = default;

  // Adopts an object, which must have been made with new; null leaves the pointer empty. An object that cannot be
  // counted because its mutex fails is not adopted and stays its maker's.
  explicit CFiSmartPtr(T* object) { acquire(object); }

  // With true creates an object through the allocator and adopts it, with false starts empty.
  explicit CFiSmartPtr(bool create) {
    if (create) {
      std::unique_ptr<T> object(Allocator{}());
      if (acquire(object.get()) > 0) static_cast<void>(object.release());
    }
  }

  // Takes one more count, and is empty when that fails.
  CFiSmartPtr(const CFiSmartPtr& other) { copyFrom(other); }

  CFiSmartPtr& operator=(const CFiSmartPtr& other) {
    if (this != &other) {
      release();
      copyFrom(other);
    }
    return *this;
  }

  // A count that only changes hands needs no lock.
  CFiSmartPtr(CFiSmartPtr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}

  CFiSmartPtr& operator=(CFiSmartPtr&& other) noexcept {
    if (this != &other) {
      release();
      m_object = std::exchange(other.m_object, nullptr);
    }
    return *this;
  }

  ~CFiSmartPtr() {
    if (m_object != nullptr) release();
  }

  // Replaces what is held by p. Returns the new count of p; for a null p the result of releasing what was held, -1 when
  // there was nothing; -1 when p's mutex fails, and then the pointer is empty.
  int acquire(T* p) {
    const int released = m_object != nullptr ? release() : -1;
    if (p == nullptr) {
      m_object = nullptr;
      return released;
    }
    CFiRefCount& counted = *p;
    const CFiCountLock lock(counted.countMutex());
    if (!lock.owned()) {
      m_object = nullptr;
      return -1;
    }
    m_object = p;
    return counted.increment();
  }

  // Gives the count back and empties the pointer; deletes the object with its last count. Returns the count that is
  // left, or -1 for an empty pointer or a mutex that fails (the pointer is kept then).
  int release() {
    if (m_object == nullptr) return -1;
    {
      // Found once: the way to the virtual base would be gone over again behind each barrier that a lock is.
      CFiRefCount& counted = *m_object;
      const CFiCountLock lock(counted.countMutex());
      if (!lock.owned()) return -1;
      const int count = counted.decrement();
      if (count != 0) {
        m_object = nullptr;
        return count;
      }
      // Required: one count stays while the object is destroyed, so that a pointer to itself which its destructor
      // copies and releases cannot delete it a second time.
      counted.increment();
    }
    delete m_object;
    m_object = nullptr;
    return 0;
  }

  // Exchanges the objects without touching a count.
  void swap(CFiSmartPtr& other) noexcept { std::swap(m_object, other.m_object); }

  T* get() const { return m_object; }
  T* operator->() const { return m_object; }
  T& operator*() const { return *m_object; }
  explicit operator bool() const { return m_object != nullptr; }

 private:
  // What is still held because its count could not be given back is forgotten.
  void copyFrom(const CFiSmartPtr& other) {
    m_object = nullptr;
    if (other.m_object == nullptr) return;
    CFiRefCount& counted = *other.m_object;
    const CFiCountLock lock(counted.countMutex());
    if (lock.owned()) {
      m_object = other.m_object;
      counted.increment();
    }
  }

  T* m_object = nullptr;
};

// A pointer that must not be empty. Throws std::system_error with the mutex's error where it is, because its object
// could not be counted.
template <typename Pointer>
Pointer counted(Pointer pointer) {
  if (!pointer) throw std::system_error(errno, std::generic_category(), "an object cannot be counted");
  return pointer;
}

// A copy that is empty only where the original is. Throws std::system_error when the object cannot be counted.
template <typename Pointer>
Pointer countedCopy(const Pointer& pointer) {
  return pointer ? counted(Pointer(pointer)) : Pointer();
}

// Adopts an object, which is destroyed where it cannot be counted. Throws std::system_error then.
template <typename Pointer, typename T>
Pointer adopt(std::unique_ptr<T> object) {
  Pointer pointer = counted(Pointer(object.get()));
  static_cast<void>(object.release());
  return pointer;
}

}  // namespace qmfi_pdk_4_4

#endif
