// Domains as a framework makes them.
#ifndef SUPPORT_DOMAINS_H
#define SUPPORT_DOMAINS_H

#include <cstdint>
#include <string>

#include "kfi.h"

// The framework's identifier of a path.
inline qmfi_objid* identifierOf(const std::string& name, std::int32_t kind = 1) {
  return qmfi_get_objid(name.c_str(), static_cast<std::uint32_t>(name.size()), kind);
}

inline kfi_domain domainNamed(const std::string& name) {
  kfi_domain domain{};
  domain.fid_objid = identifierOf(name);
  return domain;
}

#endif
