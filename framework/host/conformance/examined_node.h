// A record of a node, as a host hands it to a provider.
#ifndef EXAMINED_NODE_H
#define EXAMINED_NODE_H

#include <string>

#include "kfi.h"

namespace qmfi_host {

// Nothing gives back what a provider attaches to it: cases call deinit_node, or leave it to the end of their process.
class ExaminedNode {
 public:
  // name: a path, or the name of a group. kind: KFI_OBJID_. provider: the provider's name.
  ExaminedNode(const std::string& name, std::int32_t kind, std::string provider) : m_provider(std::move(provider)) {
    m_domain.fid_objid = qmfi_get_objid(name.c_str(), static_cast<std::uint32_t>(name.size()), kind);
    m_domain.fid_provider = m_provider.data();
  }
  ExaminedNode(const ExaminedNode&) = delete;
  ExaminedNode& operator=(const ExaminedNode&) = delete;

  // The record, valid as long as this object.
  kfi_domain* get() { return &m_domain; }
  kfi_domain* operator->() { return &m_domain; }

 private:
  std::string m_provider;
  kfi_domain m_domain{};
};

}  // namespace qmfi_host

#endif
