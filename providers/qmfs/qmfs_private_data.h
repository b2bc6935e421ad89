// What the provider remembers of a file-system node, and the text form in which the framework keeps it.
#ifndef QMFS_PRIVATE_DATA_H
#define QMFS_PRIVATE_DATA_H

#include <string>
#include <string_view>

#include "cfiprivatedata.h"

// Private data with the node's filtered mount options and its alternate object. The state blob holds only these two and
// the first sub-object, not what the framework's base keeps.
class CQmFSPrivateData : public qmfi_pdk_4_4::CFiPrivateData {
 public:
  using CFiPrivateData::CFiPrivateData;

  // Restores the members from a blob and returns 0; a blob without text changes nothing. Sub-objects are added to those
  // that are there. The blob must not be null. Throws std::out_of_range for a text that is too short to have its tags.
  int setNodeState(kfi_blob* blob) override;

  // Fills the blob with a new buffer, which the framework frees, and returns 0. The blob must not be null and the node
  // must have a sub-object. Throws CFiError 5 when memory is short.
  int getNodeState(kfi_blob* blob) override;

  // Name of the alternate object, empty when there is none. name must not be null.
  virtual void setAltObj(const char* name) { m_altObj = name; }
  virtual std::string getAltObj() const { return m_altObj; }

  // Filters and stores mount options; null changes nothing.
  virtual void setMntOpts(const char* options);
  virtual std::string getMntOpts() const { return m_mntOpts; }

 private:
  std::string m_mntOpts;
  std::string m_altObj;
};

// The options without "log" when "ro" is among them: a read-only mount cannot have the log.
std::string filterMountOptions(const std::string& options);

// What a node-state text says of the node.
struct NodeStateText {
  std::string_view mountOptions;
  std::string_view subObject;
  std::string_view altObject;
};

// The text of a node's state: a line each for the options, the sub-object and, when it is not empty, the alternate
// object.
std::string composeNodeState(const NodeStateText& state);

#endif
