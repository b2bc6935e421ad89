// What the provider remembers of a node between two calls.
#ifndef SAMPLE_PRIVATE_DATA_H
#define SAMPLE_PRIVATE_DATA_H

#include <string>

#include "cfimounttable.h"
#include "cfiprivatedata.h"

// The first sub-object is the node's device.
class CSamplePrivateData : public qmfi_pdk_4_4::CFiPrivateData {
 public:
  using CFiPrivateData::CFiPrivateData;

  // The state of the node as a text, and back. Both throw CFiFailure: for a node without a device, and for a text that
  // is none of this provider's.
  int getNodeState(kfi_blob* blob) override;
  int setNodeState(kfi_blob* blob) override;

  // Takes up what is mounted on the node. Throws CFiFailure when its device cannot be found.
  void record(const qmfi_pdk_4_4::CFiMount& mount);
  // Name of the node's device. Throws CFiFailure when there is none.
  std::string deviceName();

  std::string options;  // that the file system was mounted with
  dev_t device = 0;     // that is to be frozen

 private:
  void addDevice(const std::string& name);
};

// The private data of a node, made when there are none. Throws CFiFailure for a node without a name.
CSamplePrivateData& sampleDataOf(kfi_domain& node, bool alternate = false);

#endif
