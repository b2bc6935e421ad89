// What is known of a node, and its state as a text.
#include "sample_private_data.h"

#include <new>
#include <vector>

#include "cfidomain.h"
#include "cfifailure.h"
#include "cfinode.h"
#include "cfistatetext.h"

using namespace qmfi_pdk_4_4;

namespace {

// By which a state is known as one of this provider's.
constexpr const char* mark = "sample";

}  // namespace

int CSamplePrivateData::getNodeState(kfi_blob* blob) {
  putStateText(*blob, {mark, deviceName(), options});
  return CFI_STATUS_SUCCESS;
}

// The text comes from outside.
int CSamplePrivateData::setNodeState(kfi_blob* blob) {
  if (blob->kb_encoding != KFI_BLOB_TEXT || blob->kb_length == 0) return CFI_STATUS_SUCCESS;
  const std::vector<std::string> words = stateTextOf(*blob);
  constexpr std::size_t wordCount = 3;
  if (words.size() != wordCount || words[0] != mark || !words[1].starts_with('/')) {
    throw CFiFailure(CFI_STATUS_FAILED, "MSG_SAMPLE_STATE", {getObjName()});
  }
  addDevice(words[1]);
  options = words[2];
  return CFI_STATUS_SUCCESS;
}

void CSamplePrivateData::record(const CFiMount& mount) {
  const std::string name = devicePathOf(mount);
  if (name.empty()) throw CFiFailure(CFI_STATUS_FAILED, "MSG_SAMPLE_NO_DEVICE", {getObjName()});
  addDevice(name);
  options = mount.options;
  device = mount.device;
}

std::string CSamplePrivateData::deviceName() {
  const char* const name = getSubObjectListLength() != 0 ? objectName(getSubObjectList()[0]) : nullptr;
  if (name != nullptr) return name;
  throw CFiFailure(CFI_STATUS_INVALID_ARGUMENT, "MSG_SAMPLE_NO_DEVICE", {getObjName()});
}

// A device that is known already stays.
void CSamplePrivateData::addDevice(const std::string& name) {
  if (getSubObjectListLength() != 0) return;
  qmfi_objid* const identifier = objectIdentifier(name, KFI_OBJID_OBJECT);
  if (identifier == nullptr) throw std::bad_alloc();
  addSubObject(identifier);
}

CSamplePrivateData& sampleDataOf(kfi_domain& node, bool alternate) {
  const CFiPrivateDataFactorySPtr factory = providerFactory();
  given(factory.get(), "start of the provider");
  given(objectName(&node), "name of the node");
  return static_cast<CSamplePrivateData&>(*factory->allocate(&node, alternate));
}
