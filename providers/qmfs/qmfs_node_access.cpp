// How operations reach the private data of a node, and what they check before they use a name.
#include "qmfs_node_access.h"

#include "cficontextsingleton.h"
#include "cfidomain.h"
#include "cfipluginname.h"
#include "cfiprivatedatamanager.h"
#include "cfistringtool.h"

#include <algorithm>
#include <vector>

using namespace qmfi_pdk_4_4;

CFiPrivateDataFactorySPtr providerFactory() {
  return counted(CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false))->getProviderFactory();
}

CFiPrivateDataSPtr privateDataOf(kfi_domain* node) {
  const CFiPrivateDataFactorySPtr factory = providerFactory();
  return factory ? factory->access(node) : CFiPrivateDataSPtr();
}

const char* deviceOf(const CFiPrivateDataSPtr& data) {
  if (!data || data->getSubObjectListLength() == 0) {
    return nullptr;
  }
  return objectName(data->getSubObjectList()[0]);
}

bool areCommandOptions(const std::string& options) {
  const std::vector<std::string> words = CFiStringTool::tokenize(options, " \t");
  return std::find(words.begin(), words.end(), "|") == words.end();
}

const char* firstName(qmfi_objid** objects) {
  return objects != nullptr ? objectName(objects[0]) : nullptr;
}
