// What the provider remembers of a node, and the text form in which the framework keeps it.
#ifndef LINUXFS_PRIVATE_DATA_H
#define LINUXFS_PRIVATE_DATA_H

#include <string>

#include "cfimounttable.h"
#include "cfiprivatedata.h"

// The first sub-object is the node's device.
class CLinuxFSPrivateData : public qmfi_pdk_4_4::CFiPrivateData {
 public:
  using CFiPrivateData::CFiPrivateData;

  // Both throw CFiFailure: for a node without a device, and for a text that is none of this provider's.
  int getNodeState(kfi_blob* blob) override;
  int setNodeState(kfi_blob* blob) override;

  // Takes up what is mounted on the node; a device that is known already stays.
  void record(const qmfi_pdk_4_4::CFiMount& mount);
  // Name of the node's device. Throws CFiFailure when there is none.
  std::string deviceName();

  std::string type;       // of the file system
  std::string options;    // that it was mounted with
  std::string alternate;  // mount point of its snapshot; empty when there is none
  dev_t device = 0;       // that is to be frozen

 private:
  void addDevice(const std::string& name);
};

// The private data of a node, made when there are none. Throws CFiFailure for a node without a name.
CLinuxFSPrivateData& linuxFSDataOf(kfi_domain& node, bool alternate = false);

#endif
