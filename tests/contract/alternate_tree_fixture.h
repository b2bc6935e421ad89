// Fixture of the tests of the alternate tree: a clock that stands, and the two operations that make one.
#ifndef ALTERNATE_TREE_FIXTURE_H
#define ALTERNATE_TREE_FIXTURE_H

#include <ctime>
#include <optional>
#include <string>

#include "operations_fixture.h"
#include "support/environment.h"

inline const std::string SNAPSHOT = "/dev/qm/dsk/dg1/snap1";

// The time zone of the process, put back when it goes.
class TimeZone {
 public:
  explicit TimeZone(const char* zone) {
    m_variable.emplace("TZ", zone);
    tzset();
  }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;
  ~TimeZone() {
    m_variable.reset();
    tzset();
  }

 private:
  std::optional<EnvironmentVariable> m_variable;
};

class AlternateTree : public OperationsTest {
 protected:
  // Stops the clock on 15 November 2026 at 14:15:30 of a zone five and a half hours ahead of UTC.
  void stopClock() { importedCalls().stopClock(1794732330); }

  // A node of this provider, whose own name is that of its identifier.
  kfi_domain& ownNode(const std::string& name) { return owned(node(name)); }
  static kfi_domain& owned(kfi_domain& domain) {
    domain.fid_provider = "qmfsfi"_text;
    domain.fid_name = domain.fid_objid->vid_name;
    return domain;
  }

  int build(kfi_domain& domain, const std::string& snapshot = SNAPSHOT) {
    qmfi_objid* snapObjects[] = {object(snapshot)};
    return plugin.build_alttree(&domain, "fiid"_text, nullptr, snapObjects, 1, &alternate);
  }
  int import(kfi_domain& domain, const std::string& snapshot = SNAPSHOT) {
    qmfi_objid* snapObjects[] = {object(snapshot)};
    return plugin.import_tree(&domain, nullptr, snapObjects, 1, &alternate);
  }

  std::string alternateName() const { return alternate != nullptr ? alternate->vid_name : ""; }

  TimeZone m_zone{"TST-5:30"};
  qmfi_objid* alternate = nullptr;
};

// The records of the two commands.
inline TraceRecord made(const std::string& path) {
  return {3, "Command : /bin/mkdir -p  " + path};
}

inline TraceRecord mounted(const std::string& path, const std::string& device = SNAPSHOT) {
  return {3, "Command : /bin/mount -t qmfs  -o ro " + device + " " + path};
}

#endif
