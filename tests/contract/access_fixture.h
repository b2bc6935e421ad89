// Fixture of the tests of access to nodes: the framework's lists of them.
#ifndef ACCESS_FIXTURE_H
#define ACCESS_FIXTURE_H

#include <cstdint>
#include <deque>
#include <string>

#include "operations_fixture.h"

inline constexpr std::uint32_t disabledBit = 0x40;
inline constexpr std::uint32_t otherBits = 0x802;

// Nodes /0, /1, ... with their devices, as the framework lists them.
class Access : public OperationsTest {
 protected:
  // Adds an element to the list.
  kfi_domain& add(kfi_domain& node, const std::string& device) {
    kfi_subobj_list& subObject = m_subObjects.emplace_back(kfi_subobj_list{object(device), nullptr});
    kfi_node_subobj_list& element = m_elements.emplace_back(kfi_node_subobj_list{&node, &subObject, nullptr});
    if (m_elements.size() > 1) m_elements[m_elements.size() - 2].kns_next = &element;
    return node;
  }
  // Adds a node that is out of use: its device is not mounted.
  kfi_domain& addDisabled(const std::string& mountPoint, const std::string& device, const std::string& options = "rw") {
    kfi_domain& node = add(restoredNode(mountPoint, device, options), device);
    node.fid_attr = disabledBit | otherBits;
    return node;
  }
  // Adds a node that is in use.
  kfi_domain& addMounted(const std::string& mountPoint, const std::string& device) {
    kfi_domain& node = add(mountedNode(mountPoint, device), device);
    node.fid_attr = otherBits;
    return node;
  }
  // Empties the list.
  void clear() {
    m_elements.clear();
    m_subObjects.clear();
  }
  kfi_node_subobj_list* list() { return m_elements.empty() ? nullptr : &m_elements.front(); }
  kfi_node_subobj_list& element(std::size_t index) { return m_elements[index]; }

  int enable() { return plugin.enable_access(list(), 0, 0, 0); }
  int disable(long flags = 0) { return plugin.disable_access(list(), flags); }

 private:
  std::deque<kfi_subobj_list> m_subObjects;
  std::deque<kfi_node_subobj_list> m_elements;
};

#endif
