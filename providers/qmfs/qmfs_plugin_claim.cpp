// Claim, existence and parent checks: is this object ours?
#include <atomic>
#include <cstdint>

#include "cfidomain.h"
#include "cfistringtool.h"
#include "qmfs_log_texts.h"
#include "qmfs_node_access.h"
#include "qmfs_plugin.h"

using namespace qmfi_pdk_4_4;

namespace {

constexpr const char* whiteSpace = " \n\t\r";
constexpr const char* devicePrefix = "/dev/";

// Required: the group's identifier is asked for with the terminator counted.
qmfi_objid* quiesceGroupIdentifier() {
  return qmfi_get_objid(QMFS_QUIESCE_GROUP, sizeof QMFS_QUIESCE_GROUP, KFI_OBJID_OBJECT);
}

// The array is handed to the framework and claims may run side by side: an entry that is right already is not touched.
void storeGroupIdentifier(qmfi_objid* group) {
  const std::atomic_ref<qmfi_objid*> entry(CQmFSPlugin::grpobjid[0]);
  if (entry.load() != group) entry.store(group);
}

}  // namespace

int CQmFSPlugin::claim(qmfi_objid* object, qmfi_objid*** groups, int* count) {
  const auto scope = traceScope("claim");
  return guarded([&]() -> int {
    const char* const name = objectName(object);
    if (name == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
    trace(CFI_TRACE_PROGRESS, qmfs_log::primaryName, name);
    const std::string trimmed = CFiStringTool::trim(name, whiteSpace);
    if (trimmed.at(0) != '/' || trimmed.find(devicePrefix) == 0) {
      trace(CFI_TRACE_REJECTED, qmfs_log::notMountPoint, trimmed.c_str());
      return 0;
    }
    trace(CFI_TRACE_DETAIL, qmfs_log::callingCheckClaim);
    // Required: the look-up takes the name as it was given, not the trimmed one.
    const int claimed = qmfs_check_claim(name);
    trace(CFI_TRACE_DETAIL, qmfs_log::checkClaimAnswer, claimed);
    if (claimed < 0) {
      trace(CFI_TRACE_ERROR, qmfs_log::lookupFailed);
      return CFI_STATUS_FAILED;
    }
    if (claimed != 0) {
      if (groups == nullptr || count == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
      qmfi_objid* const group = quiesceGroupIdentifier();
      if (group == nullptr) return CFI_STATUS_FAILED;
      storeGroupIdentifier(group);
      *groups = grpobjid;
      *count = 1;
    }
    trace(CFI_TRACE_PROGRESS, qmfs_log::claim, claimed);
    return claimed;
  });
}

int CQmFSPlugin::checkNodeExistence(kfi_domain* node, int* exists) {
  const auto scope = traceScope("checkNodeExistence");
  return guarded([&]() -> int {
    const char* const name = objectName(node);
    if (name == nullptr || exists == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
    trace(CFI_TRACE_DETAIL, qmfs_log::callingCheckClaimOnNode, name);
    const int claimed = qmfs_check_claim(name);
    if (claimed < 0) {
      trace(CFI_TRACE_ERROR, qmfs_log::lookupFailed);
      return CFI_STATUS_FAILED;
    }
    if (claimed != 0) trace(CFI_TRACE_PROGRESS, qmfs_log::nodeExists, name);
    *exists = claimed != 0 ? 1 : 0;
    return 0;
  });
}

int CQmFSPlugin::isParentPgn(char* device, int* isParent, int /*reserved*/) {
  const auto scope = traceScope("isParentPgn");
  return guarded([&]() -> int {
    if (device == nullptr || isParent == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
    const std::string trimmed = CFiStringTool::trim(device, whiteSpace);
    const auto word = trimmed.find(devicePrefix) == 0 ? CommandWord::of(trimmed) : std::nullopt;
    if (!word) {
      trace(CFI_TRACE_REJECTED, qmfs_log::notDevice, trimmed.c_str());
      *isParent = 0;
      return 0;
    }
    *isParent = getFSType(*word) == QMFS_TYPE ? 1 : 0;
    return 0;
  });
}
