// A second provider, built with the kit alone: xfs file systems, frozen by the kernel's own requests.
#ifndef PLAIN_XFS_PLUGIN_H
#define PLAIN_XFS_PLUGIN_H

#include <string>
#include <vector>

#include "cfipluginbase.h"

// Mount points and devices are those of the kernel's mount table; what /etc/mtab knows by another type is another
// provider's. No program is run.
class CPlainXfsPlugin : public qmfi_pdk_4_4::CFiPluginBase {
 public:
  int init() override;
  void fini() override;
  int getProviderInfo(kfi_provider_list** list) override;
  int claim(qmfi_objid* object, qmfi_objid*** groups, int* count) override;
  int checkNodeExistence(kfi_domain* node, int* exists) override;
  int isParentPgn(char* device, int* isParent, int reserved) override;
  int initNode(kfi_domain* node, kfi_domain** domains, int count, qmfi_objid* object) override;
  int initAltNode(kfi_domain* first, kfi_domain* second, kfi_domain* target, bool remote) override;
  int quiesce(kfi_quiescenode** nodes, int count, char* options) override;
  int unquiesce(kfi_quiescenode** nodes, int count) override;
  int buildAltTree(kfi_domain* domain, char* fiid, qmfi_objid** objects, qmfi_objid** snapObjects, int count,
                   qmfi_objid** altObject) override;
  int online(kfi_domain* domain, kfi_domain* node, int mode, kfi_disposition disposition) override;
  int dispose(kfi_domain* first, kfi_domain* node, kfi_splitnode* splitNode, kfi_disposition disposition) override;
  int deportTree(kfi_domain* primary, kfi_domain* alternate, kfi_accessnode* access) override;
  int processProviderState(kfi_domain* node, kfi_blob* blob, kfi_op_providerstate operation) override;

 private:
  void thaw(std::size_t count);

  std::vector<int> m_descriptors;  // of the quiesced mount points
};

#endif
