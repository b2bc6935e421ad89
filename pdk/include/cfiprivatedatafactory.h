// Creates, finds and releases the private data of domains, by object name.
#ifndef CFIPRIVATEDATAFACTORY_H
#define CFIPRIVATEDATAFACTORY_H

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "cfiprivatedata.h"

namespace qmfi_pdk_4_4 {

// Keeps ordinary and alternate nodes apart: the same name may have one object of each kind. May be used from any
// thread; a domain's own slot is used by one thread at a time. Domains passed in have an object identifier with a name,
// unless an operation says otherwise. Operations throw std::system_error when a mutex fails.
class CFiPrivateDataFactory : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  // The object attached to the domain, or an empty pointer. Looks at the domain's slot only.
  virtual CFiPrivateDataSPtr access(kfi_domain* domain) = 0;

  // The object attached to the domain; when there is none yet, the one that other domains of the same name and kind
  // share, or a new one, is attached first. Throws std::bad_alloc when memory is short, and then nothing is attached.
  virtual CFiPrivateDataSPtr allocate(kfi_domain* domain, bool alternate) = 0;

  // Detaches the object and destroys it when no other domain shares it. The domain may have lost its identifier or the
  // name of it. Returns -1 for a null domain or an empty slot, otherwise 0.
  virtual int deallocate(kfi_domain* domain) = 0;

  // The object of a name and kind, or an empty pointer.
  virtual CFiPrivateDataSPtr accessByName(const ACE_String_Base<char>& name, bool alternate) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const Map& map = mapOf(alternate);
    const auto found = map.find(std::string_view(name.c_str(), name.length()));
    return found != map.end() ? counted(CFiPrivateDataSPtr(found->second)) : CFiPrivateDataSPtr();
  }

  // All objects of a kind, by ascending name: the bytes count, as unsigned numbers.
  virtual std::vector<CFiPrivateDataSPtr> getPrivateDataList(bool alternate) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::map<std::string_view, const CFiPrivateDataSPtr*> ordered;
    for (const auto& [name, data] : mapOf(alternate)) ordered.emplace(name, &data);
    std::vector<CFiPrivateDataSPtr> list;
    list.reserve(ordered.size());
    for (const auto& [name, data] : ordered) list.push_back(counted(CFiPrivateDataSPtr(*data)));
    return list;
  }

 protected:
  // Any kind of string is looked up without a copy of it. Not noexcept, so that the container keeps the hash of a name
  // instead of working it out again for each neighbour it passes.
  struct Hash {
    using is_transparent = void;
    // Equal for equal names, whatever kind of string they are.
    std::size_t operator()(std::string_view name) const { return std::hash<std::string_view>()(name); }
  };

  // Hashed, since each call looks its node up by name, while lists are rare: those are put in order when asked for.
  using Map = std::unordered_map<std::string, CFiPrivateDataSPtr, Hash, std::equal_to<>>;

  // The map of alternate or of ordinary nodes. Whoever uses it holds the mutex.
  Map& mapOf(bool alternate) { return alternate ? m_altNodes : m_nodes; }

  // Guards both maps. No object is destroyed while it is held.
  std::mutex m_mutex;

 private:
  Map m_nodes;
  Map m_altNodes;
};

using CFiPrivateDataFactorySPtr = CFiSmartPtr<CFiPrivateDataFactory, CFiNullAllocator<CFiPrivateDataFactory>>;

// The factory of one private-data type T, a CFiPrivateData with the same constructor.
template <typename T>
class CFiPrivateDataConcreteFactory : public CFiPrivateDataFactory {
 public:
  CFiPrivateDataSPtr access(kfi_domain* domain) override {
    const auto* const holder = static_cast<CFiPrivateDataSPtr*>(domain->fid_private);
    return holder != nullptr ? counted(CFiPrivateDataSPtr(*holder)) : CFiPrivateDataSPtr();
  }

  CFiPrivateDataSPtr allocate(kfi_domain* domain, bool alternate) override {
    if (domain->fid_private != nullptr) return access(domain);
    auto holder = std::make_unique<CFiPrivateDataSPtr>();
    // Declared ahead of the lock, so that an object that cannot be kept is destroyed when the mutex is free.
    std::unique_ptr<T> object;
    CFiPrivateDataSPtr created;
    {
      const std::string_view key = domain->fid_objid->vid_name;
      const std::lock_guard<std::mutex> lock(m_mutex);
      Map& map = mapOf(alternate);
      const auto place = map.find(key);
      if (place == map.end()) {
        object = std::make_unique<T>(domain->fid_objid, alternate);
        object->registerTraceLog(traceLog());
        created = counted(CFiPrivateDataSPtr(object.get()));
        static_cast<void>(object.release());
        *holder = counted(CFiPrivateDataSPtr(created));
        map.try_emplace(std::string(key)).first->second.swap(created);
      } else {
        *holder = counted(CFiPrivateDataSPtr(place->second));
      }
    }
    domain->fid_private = holder.release();
    return access(domain);
  }

  int deallocate(kfi_domain* domain) override {
    if (domain == nullptr || domain->fid_private == nullptr) return -1;
    // Declared first, so that what the map gives up is destroyed after its mutex is unlocked.
    CFiPrivateDataSPtr dropped;
    const std::unique_ptr<CFiPrivateDataSPtr> holder(static_cast<CFiPrivateDataSPtr*>(domain->fid_private));
    domain->fid_private = nullptr;
    const CFiPrivateData* const object = holder->get();
    const bool alternate = object->getIsAltNode();
    holder->release();
    const std::lock_guard<std::mutex> lock(m_mutex);
    Map& map = mapOf(alternate);
    const auto found = placeOf(*domain, object, map);
    if (found == map.end() || countOf(found->second) != 1) return 0;
    dropped.swap(found->second);
    map.erase(found);
    return 0;
  }

 private:
  // The entry of a domain's name. The object is only compared: it finds the entry where the name is gone.
  static typename Map::iterator placeOf(const kfi_domain& domain, const CFiPrivateData* object, Map& map) {
    if (domain.fid_objid != nullptr && domain.fid_objid->vid_name != nullptr) {
      return map.find(std::string_view(domain.fid_objid->vid_name));
    }
    return std::find_if(map.begin(), map.end(), [&](const auto& entry) { return entry.second.get() == object; });
  }

  static int countOf(const CFiPrivateDataSPtr& data) {
    const CFiRefCount& counted = *data;
    const CFiCountLock lock(counted.countMutex());
    return counted.getCount();
  }
};

}  // namespace qmfi_pdk_4_4

#endif
