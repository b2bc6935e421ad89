// The locks of an entry point, and nothing else.
#include "yardsticks/entry_point_locks.h"

namespace bench {

void EntryPointLocks::get(Singleton& singleton) {
  singleton.instance.acquire();
  singleton.count.acquire();
  singleton.count.release();
  singleton.instance.release();
}

void EntryPointLocks::giveBack(Singleton& singleton) {
  singleton.count.acquire();
  singleton.count.release();
}

void EntryPointLocks::take() {
  get(m_traceLog);
  giveBack(m_traceLog);
  get(m_provider);
  m_delayedInit.acquire();
  m_delayedInit.release();
  giveBack(m_provider);
  get(m_provider);
  giveBack(m_provider);
}

}  // namespace bench
