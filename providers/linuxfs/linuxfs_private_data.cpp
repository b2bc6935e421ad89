// A node's state as a line of words, escaped like those of the mount table.
#include "linuxfs_private_data.h"

#include <cstring>
#include <new>
#include <string_view>
#include <vector>

#include "cfidomain.h"
#include "cfifailure.h"
#include "cfinode.h"
#include "linuxfs_mounting.h"

using namespace qmfi_pdk_4_4;

namespace {

constexpr const char* mark = "linuxfs";

}  // namespace

int CLinuxFSPrivateData::getNodeState(kfi_blob* blob) {
  std::string text = mark;
  for (const std::string& word : {type, deviceName(), options, alternate}) text += " " + escapedWord(word);
  blob->kb_buffer = static_cast<char*>(qmfi_alloc_buf(text.size() + 1));
  if (blob->kb_buffer == nullptr) throw std::bad_alloc();
  std::memcpy(blob->kb_buffer, text.c_str(), text.size() + 1);
  blob->kb_length = text.size() + 1;
  blob->kb_encoding = KFI_BLOB_TEXT;
  return CFI_STATUS_SUCCESS;
}

int CLinuxFSPrivateData::setNodeState(kfi_blob* blob) {
  if (blob->kb_encoding != KFI_BLOB_TEXT || blob->kb_length == 0) return CFI_STATUS_SUCCESS;
  const std::string_view text(blob->kb_buffer, ::strnlen(blob->kb_buffer, blob->kb_length));
  const std::vector<std::string_view> words = wordsOf(text);
  constexpr std::size_t wordCount = 5;
  if (words.size() != wordCount || words[0] != mark || !isLinuxFSType(words[1]) || !words[2].starts_with('/')) {
    throw CFiFailure(CFI_STATUS_FAILED, "MSG_LINUXFS_STATE", {getObjName()});
  }
  type = words[1];
  addDevice(plainWord(words[2]));
  options = plainWord(words[3]);
  alternate = plainWord(words[4]);
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
