// A snapshot provider to begin with: it freezes file systems of one type that the kernel knows.
#ifndef SAMPLE_PLUGIN_H
#define SAMPLE_PLUGIN_H

#include "cfiquiescence.h"
#include "cfitracedpluginbase.h"

// The type, the group of objects that the provider quiesces, and the parameter with the freeze time-out in seconds. The
// last one stands in the descriptor file, too.
inline constexpr const char* sampleType = "ext4";
inline constexpr const char* sampleQuiesceGroup = "sample-quiesce";
inline constexpr const char* sampleFreezeTimeout = "sampleFreezeTimeout";

// What an operation does, takes and answers stands in cfientrypoints.def. Those that are not overridden are answered by
// the base, with 2: not supported.
class CSamplePlugin : public qmfi_pdk_4_4::CFiTracedPluginBase {
 public:
  int init() override;
  void fini() override;
  int getProviderInfo(kfi_provider_list** list) override;
  int supportsFiType(kfi_domain* domain, char* fiType) override;
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
  qmfi_pdk_4_4::CFiOutstandingQuiesce m_quiesce;
  qmfi_objid* m_groups[1] = {nullptr};  // as claim hands it out
};

#endif
