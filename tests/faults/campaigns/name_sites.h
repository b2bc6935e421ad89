// The places where names enter the plug-in, each with what the contract makes of whatever name it is.
#ifndef NAME_SITES_H
#define NAME_SITES_H

#include <deque>
#include <string>
#include <vector>

#include "expected_calls.h"
#include "host.h"

namespace faults {

// The names of one case, of which one is hostile.
struct Names {
  std::string mountPoint;
  std::string device = "/dev/qm/dsk/dg/volume";
  std::string options = "rw";
  std::string alternate;
};

// Calls the plug-in with identifiers and nodes of any name, the empty one too, as another framework may make them.
class NameCaller {
 public:
  explicit NameCaller(Host& theHost) : host(theHost) {}

  qmfi_objid* identifier(const std::string& name);
  kfi_domain& node(const std::string& name);
  // A node whose state is restored from a text with these options and this device.
  kfi_domain& restoredNode(const Names& names);

  Host& host;

 private:
  std::deque<qmfi_objid> m_identifiers;
};

struct NameSite {
  const char* name;
  // Which of the names may be hostile.
  std::vector<std::string Names::*> hostile;
  // Whether the mount table has the device on the mount point, or on the alternate one, unless one of them is empty.
  enum class Table { empty, mountPoint, alternate } table;
  void (*run)(NameCaller& caller, const Names& names);
  void (*expect)(ExpectedCalls& calls, const Names& names);
};

// The line that the mount table has; empty for none.
std::string mountTableLine(const NameSite& site, const Names& names);

// Claims, node initialisation, states, and what else runs no program.
std::vector<NameSite> quietNameSites();
// Where names become words of commands.
std::vector<NameSite> commandNameSites();

// The text of a node's state with the options and the device.
std::string stateToRestore(const Names& names);
// The text without blanks, tabs, line feeds and carriage returns at its ends.
std::string trimmed(const std::string& text);
// Whether the mount table has a line for the case that needs one of the device on the mount point.
bool isInTable(const Names& names);
bool existsOnDisk(const std::string& path);

}  // namespace faults

#endif
