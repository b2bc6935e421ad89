// The registry of a plug-in's private-data factories.
#ifndef CFIPRIVATEDATAMANAGER_H
#define CFIPRIVATEDATAMANAGER_H

#include <mutex>

#include "cfiprivatedatafactory.h"

namespace qmfi_pdk_4_4 {

// Finds the factories for whoever needs private data. May be used from any thread. Operations throw std::system_error
// when a mutex fails.
class CFiPrivateDataManager : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  // Both are about the factory of plain private data, which is set once, together with the manager.
  void setDefaultFactory(const CFiPrivateDataFactorySPtr& factory) { m_defaultFactory = countedCopy(factory); }
  CFiPrivateDataFactorySPtr getDefaultFactory() const { return countedCopy(m_defaultFactory); }

  // The provider's factory; empty until the provider's start installs it.
  void setProviderFactory(const CFiPrivateDataFactorySPtr& factory) {
    // Declared first, so that a factory that is replaced is destroyed after the mutex is unlocked.
    CFiPrivateDataFactorySPtr replacement = countedCopy(factory);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_providerFactory.swap(replacement);
  }
  // The one that was installed last; empty before.
  CFiPrivateDataFactorySPtr getProviderFactory() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return countedCopy(m_providerFactory);
  }

 private:
  CFiPrivateDataFactorySPtr m_defaultFactory;
  CFiPrivateDataFactorySPtr m_providerFactory;
  mutable std::mutex m_mutex;
};

using CFiPrivateDataManagerSPtr = CFiSmartPtr<CFiPrivateDataManager>;

// Builds the manager together with its default factory.
template <>
struct CFiContextSingletonAllocator<CFiPrivateDataManager> {
  // A new manager. Throws std::bad_alloc when memory is short.
  CFiPrivateDataManager* operator()() const {
    auto manager = std::make_unique<CFiPrivateDataManager>();
    manager->setDefaultFactory(
        adopt<CFiPrivateDataFactorySPtr>(std::make_unique<CFiPrivateDataConcreteFactory<CFiPrivateData>>()));
    return manager.release();
  }
};

}  // namespace qmfi_pdk_4_4

#endif
