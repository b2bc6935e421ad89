// The per-plug-in singleton through which every long-lived object of a plug-in is reached.
#ifndef CFICONTEXTSINGLETON_H
#define CFICONTEXTSINGLETON_H

#include "cfiprocessowned.h"
#include "cfismartptr.h"

namespace qmfi_pdk_4_4 {

// The tag PluginName keeps the singletons of one plug-in apart from those of any other in the same process. May be used
// from any thread; lock order: the singleton's mutex, then the object's count mutex. The object is made and, with its
// singleton's count as the last one, destroyed under the singleton's mutex, so that the two never overlap; its
// constructor and destructor therefore must not ask for their own singleton. No object of a plug-in asks for any there,
// so no two of these mutexes are ever held at once.
template <typename T, typename PluginName>
class CFiContextSingleton {
 public:
  using Pointer = CFiSmartPtr<T, CFiContextSingletonAllocator<T>>;

  // With false returns the object, creating it when there is none: always a live one, unless the singleton's mutex
  // fails (errno is set then) or memory is short (std::bad_alloc). With true drops the singleton's own reference and
  // returns an empty pointer; the object lives on while a caller still holds it, and the next call makes a new one. A
  // reference that cannot be given back because the object's mutex fails stays the singleton's. The singleton's own
  // reference is dropped too when the process exits or unloads the plug-in, but not when a forked child does.
  static Pointer instance(bool destroy) {
    static CFiProcessOwned<Pointer> owned;
    static ACE_Thread_Mutex mutex;
    Pointer& contextInstance = owned.get();

    const CFiCountLock lock(mutex);
    if (!lock.owned()) return contextInstance;
    if (destroy) {
      contextInstance.release();
      return Pointer();
    }
    if (!contextInstance) create(contextInstance);
    return contextInstance;
  }

 private:
  // Apart, so that the calls that find an object, which are all but one, need not save registers for it.
  [[gnu::noinline]] static void create(Pointer& object) { object = Pointer(true); }
};

}  // namespace qmfi_pdk_4_4

#endif
