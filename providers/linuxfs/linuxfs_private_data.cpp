// What is known of a node, and its state as a text.
#include "linuxfs_private_data.h"

#include <new>
#include <vector>

#include "cfidomain.h"
#include "cfifailure.h"
#include "cfinode.h"
#include "cfistatetext.h"
#include "linuxfs_mounting.h"

using namespace qmfi_pdk_4_4;

namespace {

constexpr const char* mark = "linuxfs";

}  // namespace

int CLinuxFSPrivateData::getNodeState(kfi_blob* blob) {
  putStateText(*blob, {mark, type, deviceName(), options, alternate});
  return CFI_STATUS_SUCCESS;
}

int CLinuxFSPrivateData::setNodeState(kfi_blob* blob) {
  if (blob->kb_encoding != KFI_BLOB_TEXT || blob->kb_length == 0) return CFI_STATUS_SUCCESS;
  const std::vector<std::string> words = stateTextOf(*blob);
  constexpr std::size_t wordCount = 5;
  if (words.size() != wordCount || words[0] != mark || !isLinuxFSType(words[1]) || !words[2].starts_with('/')) {
    throw CFiFailure(CFI_STATUS_FAILED, "MSG_LINUXFS_STATE", {getObjName()});
  }
  type = words[1];
  addDevice(words[2]);
  options = words[3];
  alternate = words[4];
  return CFI_STATUS_SUCCESS;
}

void CLinuxFSPrivateData::record(const CFiMount& mount) {
  const std::string name = devicePathOf(mount);
  if (name.empty()) throw CFiFailure(CFI_STATUS_FAILED, "MSG_LINUXFS_NO_DEVICE", {mount.mountPoint, mount.source});
  addDevice(name);
  type = mount.type;
  options = mount.options;
  device = mount.device;
}

std::string CLinuxFSPrivateData::deviceName() {
  const char* const name = getSubObjectListLength() != 0 ? objectName(getSubObjectList()[0]) : nullptr;
  if (name != nullptr) return name;
  throw CFiFailure(CFI_STATUS_INVALID_ARGUMENT, "MSG_LINUXFS_UNKNOWN_DEVICE", {getObjName()});
}

void CLinuxFSPrivateData::addDevice(const std::string& name) {
  if (getSubObjectListLength() != 0) return;
  qmfi_objid* const identifier = objectIdentifier(name, KFI_OBJID_OBJECT);
  if (identifier == nullptr) throw std::bad_alloc();
  addSubObject(identifier);
}

CLinuxFSPrivateData& linuxFSDataOf(kfi_domain& node, bool alternate) {
  const CFiPrivateDataFactorySPtr factory = providerFactory();
  given(factory.get(), "start of the provider");
  given(objectName(&node), "name of the node");
  return static_cast<CLinuxFSPrivateData&>(*factory->allocate(&node, alternate));
}
