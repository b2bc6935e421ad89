// What the places where names enter the plug-in have in common.
#include "name_sites.h"

#include <sys/stat.h>

#include "host_calls.h"
#include "hostile_names.h"

namespace faults {

qmfi_objid* NameCaller::identifier(const std::string& name) {
  return &m_identifiers.emplace_back(qmfi_objid{host.text(name), static_cast<std::uint32_t>(name.size()), 1});
}

kfi_domain& NameCaller::node(const std::string& name) {
  kfi_domain& made = host.node("replaced");
  made.fid_objid = identifier(name);
  return made;
}

kfi_domain& NameCaller::restoredNode(const Names& names) {
  kfi_domain& made = node(names.mountPoint);
  storeState(host, made, stateToRestore(names));
  return made;
}

std::string stateToRestore(const Names& names) {
  return "<MNT_OPTS>" + names.options + "</MNT_OPTS>\n<SUBOBJ>" + names.device + "</SUBOBJ>\n";
}

std::string mountTableLine(const NameSite& site, const Names& names) {
  if (site.table == NameSite::Table::empty) return {};
  const std::string& place = site.table == NameSite::Table::alternate ? names.alternate : names.mountPoint;
  if (place.empty() || names.device.empty() || names.options.empty()) return {};
  return inMountTable(names.device) + " " + inMountTable(place) + " qmfs " + inMountTable(names.options) + " 0 0\n";
}

bool isInTable(const Names& names) {
  return !names.mountPoint.empty() && !names.device.empty() && !names.options.empty();
}

std::string trimmed(const std::string& text) {
  const char* const white = " \n\t\r";
  const std::size_t begin = text.find_first_not_of(white);
  return begin == std::string::npos ? std::string() : text.substr(begin, text.find_last_not_of(white) + 1 - begin);
}

bool existsOnDisk(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0;
}

}  // namespace faults
