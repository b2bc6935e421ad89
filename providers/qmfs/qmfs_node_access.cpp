// What operations read of a node's private data, and what they check before they use a name.
#include "qmfs_node_access.h"

#include <algorithm>
#include <vector>

#include "cfidomain.h"
#include "cfistringtool.h"

using namespace qmfi_pdk_4_4;

const char* deviceOf(const CFiPrivateDataSPtr& data) {
  if (!data || data->getSubObjectListLength() == 0) return nullptr;
  return objectName(data->getSubObjectList()[0]);
}

bool areCommandOptions(const std::string& options) {
  const std::vector<std::string> words = CFiStringTool::tokenize(options, " \t");
  return std::find(words.begin(), words.end(), "|") == words.end();
}

const char* firstName(qmfi_objid** objects) {
  return objects != nullptr ? objectName(objects[0]) : nullptr;
}
