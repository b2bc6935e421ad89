// Sessions: the split nodes that one snapshot operation runs over, by session identifier.
#ifndef CFISESSION_H
#define CFISESSION_H

#include <ace/SString.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "cfidomain.h"
#include "cfismartptr.h"
#include "cfistringallocator.h"
#include "cfitracelog.h"
#include "kfi.h"

namespace qmfi_pdk_4_4 {

// One split node of a session. The second name and the numbers belong to the session-wide operations.
struct CFiSplitNode {
  ACE_String_Base<char> key{CFiStringAllocator::instance()};  // the node's own name
  // By which make reports the node; empty until a provider gives it one.
  ACE_String_Base<char> secondName{CFiStringAllocator::instance()};
  std::string nodeName;  // as the host calls it
  std::int32_t numbers[4] = {0, 0, 0, 0};
};

// The split nodes that share a session identifier. They only accumulate. May be used from any thread.
class CFiSession : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  // Without nodes; id is the session's name.
  explicit CFiSession(std::string id) : m_id(std::move(id)) {}

  const std::string& getId() const { return m_id; }

  // Adds count nodes, none of them null and each with a name and a key; a count of 0 or less adds nothing. The first
  // node under a key stays.
  void addNodes(kfi_splitnode** nodes, int count) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (int i = 0; i < count; ++i) {
      const char* const key = nodeName(nodes[i]->ksn_domain);
      CFiSplitNode node;
      node.key = key;
      node.nodeName = nodes[i]->ksn_name;
      m_splitNodes.emplace(key, std::move(node));
    }
  }

  // Whether the session knows the key; then its entry is copied to node.
  bool findNode(const std::string& key, CFiSplitNode& node) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_splitNodes.find(key);
    if (found == m_splitNodes.end()) return false;
    node = found->second;
    return true;
  }

  // Gives a node its second name, by which make reports it. False when the session does not know the key.
  bool setSecondName(const std::string& key, const std::string& name) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_splitNodes.find(key);
    if (found == m_splitNodes.end()) return false;
    found->second.secondName.set(name.c_str(), name.size(), true);
    return true;
  }

  // Number of nodes.
  std::size_t size() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_splitNodes.size();
  }

 private:
  const std::string m_id;
  mutable std::mutex m_mutex;
  std::map<std::string, CFiSplitNode> m_splitNodes;
};

using CFiSessionSPtr = CFiSmartPtr<CFiSession, CFiNullAllocator<CFiSession>>;

// The sessions of a plug-in. A session lives as long as the manager. May be used from any thread.
class CFiSessionManager : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  // The session of an identifier, made when there is none. A null identifier gives an empty pointer, as does a session
  // that cannot be counted because its mutex fails.
  virtual CFiSessionSPtr getSession(const char* id) {
    if (id == nullptr) return CFiSessionSPtr();
    const std::string_view name = id;
    // Declared ahead of the lock, so that a session that finds no room in the map is destroyed when the mutex is free.
    std::unique_ptr<CFiSession> session;
    CFiSessionSPtr created;
    const std::lock_guard<std::mutex> lock(m_mutex);
    auto place = m_sessions.lower_bound(name);
    if (place == m_sessions.end() || place->first != name) {
      session = std::make_unique<CFiSession>(id);
      if (created.acquire(session.get()) < 0) return created;
      static_cast<void>(session.release());
      place = m_sessions.try_emplace(place, std::string(name));
      place->second.swap(created);
    }
    return place->second;
  }

 private:
  std::mutex m_mutex;
  std::map<std::string, CFiSessionSPtr, std::less<>> m_sessions;
};

using CFiSessionManagerSPtr = CFiSmartPtr<CFiSessionManager>;

}  // namespace qmfi_pdk_4_4

#endif
