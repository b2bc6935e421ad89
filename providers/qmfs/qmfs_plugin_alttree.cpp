// The alternate tree: a snapshot device is mounted read-only beside its file system and handed out as a new object.
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "cfidomain.h"
#include "qmfs_command_lines.h"
#include "qmfs_log_texts.h"
#include "qmfs_node_access.h"
#include "qmfs_plugin.h"

using namespace qmfi_pdk_4_4;

namespace {

constexpr const char* sourceFile = "qmfs_plugin_alttree.cpp";

// Required: only the first five characters of the provider's name decide.
bool isOwnProvider(const char* provider) {
  static const char qmfs_pfx[] = "qmfsfi";
  constexpr std::size_t comparedLength = 5;
  return std::strncmp(provider, qmfs_pfx, comparedLength) == 0;
}

// Whether the node has private data, or a name for the factory to make it under.
bool hasOrCanHaveData(const kfi_domain* domain, const CFiPrivateDataFactorySPtr& factory) {
  return factory && (domain->fid_private != nullptr || objectName(domain) != nullptr);
}

}  // namespace

void CQmFSPlugin::storeAlternateIdentifier(const char* operation, const std::string& alternate,
                                           qmfi_objid** altObject) {
  *altObject = qmfi_get_objid(alternate.c_str(), static_cast<std::uint32_t>(alternate.size() + 1), KFI_OBJID_PATH);
  if (*altObject == nullptr) {
    const std::string text = std::string(operation) + qmfs_log::noIdentifier + alternate;
    trace(CFI_TRACE_ERROR, qmfs_log::text, text.c_str());
    throw CFiError(CFI_STATUS_NO_OBJECT_IDENTIFIER, text, sourceFile, operation, __LINE__);
  }
}

int CQmFSPlugin::buildAltTree(kfi_domain* domain, char* fiid, qmfi_objid** /*objects*/, qmfi_objid** snapObjects,
                              int /*count*/, qmfi_objid** altObject) {
  const auto scope = traceScope("buildAltTree");
  return guarded([&]() -> int {
    if (domain == nullptr || fiid == nullptr) {
      throw CFiError(CFI_STATUS_INVALID_ARGUMENT, "buildAltTree(): Invalid session or fiid", sourceFile, "buildAltTree",
                     __LINE__);
    }
    if (domain->fid_provider == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
    if (!isOwnProvider(domain->fid_provider)) {
      const std::string text = std::string(qmfs_log::invalidPrefix) + domain->fid_provider;
      trace(CFI_TRACE_ERROR, qmfs_log::text, text.c_str());
      throw CFiError(CFI_STATUS_INVALID_PREFIX, text, sourceFile, "buildAltTree", __LINE__);
    }
    const CFiPrivateDataFactorySPtr factory = providerFactory();
    if (nodeName(domain) == nullptr || altObject == nullptr || !hasOrCanHaveData(domain, factory)) {
      return CFI_STATUS_INVALID_ARGUMENT;
    }
    const auto device = acceptedDevice(firstName(snapObjects));
    return device ? buildAltNode(domain, *device, *factory, altObject) : CFI_STATUS_INVALID_ARGUMENT;
  });
}

int CQmFSPlugin::buildAltNode(kfi_domain* domain, const CommandWord& device, CFiPrivateDataFactory& factory,
                              qmfi_objid** altObject) {
  const char* const given = askedAlternate(*domain);
  const std::string alternate = given != nullptr ? given : std::string(nodeName(domain)) + "_alt" + getTime();
  if (given == nullptr) trace(CFI_TRACE_PROGRESS, qmfs_log::buildGenerated, alternate.c_str());
  const auto mountPoint = acceptedMountPoint(alternate);
  if (!mountPoint) return CFI_STATUS_INVALID_ARGUMENT;
  CQmFSCommandRunner runner = commandRunner();
  const CQmFSCommandRun made = runner.runTraced(mkdirCommand(*mountPoint));
  if (!made.succeeded()) {
    trace(CFI_TRACE_ERROR, qmfs_log::buildMountFailed, made.command.c_str(), made.error.getCode());
    runner.throwFailed(made);
  }
  runner.runOrThrow(snapshotMountCommand(device, *mountPoint));
  storeAlternateIdentifier("buildAltTree", alternate, altObject);

  CFiPrivateDataSPtr data = factory.access(domain);
  if (!data) {
    trace(CFI_TRACE_WARNING, qmfs_log::noPrivateData);
    data = factory.allocate(domain, false);
  }
  qmfsDataOf(data).setAltObj(alternate.c_str());
  trace(CFI_TRACE_PROGRESS, qmfs_log::buildSucceeded);
  return 0;
}

// The alternate mount point that private data remembers, or else the one that the first sub-object asks for; empty when
// there is neither.
std::string CQmFSPlugin::importedAlternateName(const kfi_domain* domain, const CFiPrivateDataSPtr& data) {
  std::string remembered = data ? qmfsDataOf(data).getAltObj() : std::string();
  if (!remembered.empty()) return remembered;
  const kfi_subobj_entry* const first = domain->fid_subobjs;
  if (first == nullptr || first->kse_name == nullptr) return std::string();
  const char* const given = nonEmptyOrNull(first->kse_altname);
  if (given != nullptr) return given;
  std::string generated = std::string(first->kse_name) + "_alt" + getTime();
  trace(CFI_TRACE_PROGRESS, qmfs_log::importGenerated, generated.c_str());
  return generated;
}

int CQmFSPlugin::importTreeNode(kfi_domain* domain, qmfi_objid** /*objects*/, qmfi_objid** snapObjects, int /*count*/,
                                qmfi_objid** altObject) {
  const auto scope = traceScope("importTreeNode");
  return guarded([&]() -> int {
    const CFiPrivateDataFactorySPtr factory = providerFactory();
    if (domain == nullptr || altObject == nullptr || !hasOrCanHaveData(domain, factory)) {
      return CFI_STATUS_INVALID_ARGUMENT;
    }
    CFiPrivateDataSPtr data = factory->access(domain);
    const std::string alternate = importedAlternateName(domain, data);
    const auto mountPoint = !alternate.empty() ? acceptedMountPoint(alternate) : std::nullopt;
    if (!mountPoint) return CFI_STATUS_INVALID_ARGUMENT;
    // Without a usable snapshot object the import can only reuse a mount, which must be known before the first command.
    if (qmfs_check_claim(alternate.c_str()) == 0 && !acceptedDevice(firstName(snapObjects))) {
      return CFI_STATUS_INVALID_ARGUMENT;
    }
    const int status = importAltNode(*mountPoint, snapObjects);
    if (status != 0) return status;
    storeAlternateIdentifier("importTreeNode", alternate, altObject);
    if (!data) data = factory->allocate(domain, false);
    qmfsDataOf(data).setAltObj(alternate.c_str());
    return 0;
  });
}

int CQmFSPlugin::importAltNode(const CommandWord& alternate, qmfi_objid** snapObjects) {
  commandRunner().runOrThrow(mkdirCommand(alternate));
  trace(CFI_TRACE_DETAIL, qmfs_log::importCallingGetsubobj, alternate.c_str());
  const MountTableAnswer mounted = deviceOfMount(alternate.c_str());
  if (mounted.result < 0) {
    trace(CFI_TRACE_ERROR, qmfs_log::lookupFailed);
    return CFI_STATUS_FAILED;
  }
  if (mounted.found != nullptr) return 0;
  // Asked again: what was mounted may have been unmounted meanwhile.
  const auto device = acceptedDevice(firstName(snapObjects));
  if (!device) return CFI_STATUS_INVALID_ARGUMENT;
  commandRunner().runOrThrow(snapshotMountCommand(*device, alternate));
  return 0;
}

int CQmFSPlugin::reAccessAltNode(kfi_domain* /*domain*/, qmfi_objid* altObject, qmfi_objid* /*other*/, char* /*name*/,
                                 qmfi_objid** /*out1*/, qmfi_objid** /*out2*/, int /*count*/, kfi_intent intent) {
  const auto scope = traceScope("reAccessAltNode");
  return guarded([&]() -> int {
    if (intent == KFI_INTENT_LOOK) return 0;
    const char* const path = objectName(altObject);
    if (path == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
    struct stat status {};
    if (::stat(path, &status) != 0) {
      trace(CFI_TRACE_ERROR, qmfs_log::reAccessStatFailed, path, errno);
      throw CFiError(CFI_STATUS_STAT_FAILED, std::string("reAccessAltNode(): stat failed for ") + path, sourceFile,
                     "reAccessAltNode", __LINE__);
    }
    return 0;
  });
}
