// What a plug-in remembers of one node between the framework's calls.
#ifndef CFIPRIVATEDATA_H
#define CFIPRIVATEDATA_H

#include <ace/SString.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "cficonfigparam.h"
#include "cfismartptr.h"
#include "cfistringallocator.h"
#include "cfitracelog.h"
#include "kfi.h"

namespace qmfi_pdk_4_4 {

// Shared by all domains whose object identifier has the same name. Made and released by factories only. Its members are
// not locked: the framework serialises the calls about one node. Identifiers are the framework's and never freed here.
class CFiPrivateData : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  // Number of the lists of parameters and of values.
  static constexpr int categories = 2;

  // objId is the identifier of the domain that causes the allocation.
  CFiPrivateData(qmfi_objid* objId, bool isAltNode) : m_objId(objId), m_isAltNode(isAltNode) {}
  // Required: declared ahead of the operations, since a plug-in finds them by their slots in the virtual table.
  ~CFiPrivateData() override = default;

  // Both tell whether the list of the category has been made. The category, here and below, is 0 or 1 and not checked.
  virtual bool hasConfigInfoList(int category) const { return m_configInfoList[category] != nullptr; }
  virtual bool hasConfigDataList(int category) const { return m_configDataList[category] != nullptr; }
  // Fills the data list of the category with the default values of the descriptions, which may be null; values that are
  // there stay.
  virtual void addDefaultConfigParamsToDataList(int category, CFiConfigParamInfoList* infos);
  // Both return the list of the category, made empty on first use; never null, owned by this object.
  virtual CFiConfigParamInfoList* configInfoList(int category);
  virtual CFiConfigDataList* configDataList(int category);

  // What the framework intends to do with the node; 0 until it says so.
  virtual void setIntent(kfi_intent intent) { m_intent = intent; }
  virtual kfi_intent getIntent() const { return m_intent; }
  // splitType must not be null.
  virtual void setSplitType(const char* splitType) { m_splitType = splitType; }
  virtual std::string getSplitType() const { return m_splitType; }
  // A null identifier counts as empty.
  virtual void setSessionId(const char* sessionId);
  virtual std::string getSessionId() const { return m_sessionId; }
  virtual std::vector<ACE_String_Base<char>> getHostList() const { return m_hostList; }
  // Appends copies of the non-null names, in order; null does nothing.
  virtual void setHostList(kfi_host_info* hosts) {
    for (; hosts != nullptr; hosts = hosts->khi_next) {
      if (hosts->khi_name != nullptr) m_hostList.emplace_back(hosts->khi_name, CFiStringAllocator::instance());
    }
  }
  // Both are about whether the node may be moved to another host; false at first.
  virtual bool getTransportable() const { return m_transportable; }
  virtual void setTransportable(bool transportable) { m_transportable = transportable; }
  // Both are for providers that have a state to store and fetch; the framework's own forms return 0 and change nothing.
  virtual int setNodeState(kfi_blob* blob);
  virtual int getNodeState(kfi_blob* blob);
  // Name of the identifier.
  virtual const char* getObjName() const { return m_objId->vid_name; }
  // Appends an identifier, which stays the framework's.
  virtual void addSubObject(qmfi_objid* subObject) { m_subObjectList.push_back(subObject); }
  // First element of the list, valid until it grows; null when it is empty.
  virtual qmfi_objid** getSubObjectList() { return m_subObjectList.empty() ? nullptr : m_subObjectList.data(); }
  // Number of elements of that list.
  virtual std::size_t getSubObjectListLength() const { return m_subObjectList.size(); }
  // Whether it belongs to an alternate node, and so to the other map of its factory.
  virtual void setIsAltNode(bool isAltNode) { m_isAltNode = isAltNode; }
  virtual bool getIsAltNode() const { return m_isAltNode; }
  // The target that was set or chosen; empty at first.
  virtual std::string getConfiguredTarget() const;
  // All targets, in the order in which they were added.
  virtual std::vector<std::string> getTargets() const { return m_targets; }
  // Appends a target.
  virtual void addTarget(std::string target) { m_targets.push_back(std::move(target)); }
  // Sets the target, whether it is one of the targets or not.
  virtual void setConfiguredTarget(std::string& target);
  // Chooses the configured target from the value of the parameter "target" in data list 0, when it is one of the
  // targets.
  virtual void selectTargetFromConfigData();

 private:
  qmfi_objid* m_objId;
  std::vector<qmfi_objid*> m_subObjectList;
  bool m_isAltNode;
  std::string m_sessionId;
  std::string m_splitType;
  std::string m_configuredTarget;
  std::vector<std::string> m_targets;
  bool m_transportable = false;
  std::vector<ACE_String_Base<char>> m_hostList;
  kfi_intent m_intent = 0;
  std::unique_ptr<CFiConfigParamInfoList> m_configInfoList[categories];
  std::unique_ptr<CFiConfigDataList> m_configDataList[categories];
};

using CFiPrivateDataSPtr = CFiSmartPtr<CFiPrivateData, CFiNullAllocator<CFiPrivateData>>;

}  // namespace qmfi_pdk_4_4

#endif
