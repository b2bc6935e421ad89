// The places of the operations in the virtual tables, by which plug-ins and the framework find each other's.
#include "cfierrorhandlerbase.h"
#include "cfipluginbase.h"
#include "support/virtual_slot.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace qmfi_pdk_4_4;

// The places that the two destructors take ahead of the operations.
constexpr int destructors = 2;

struct Slot {
  const char* name;
  int number;
};

#define SLOT(Class, operation)            \
  Slot {                                  \
#operation, slotOf(&Class::operation) \
  }

// The operations stand one behind the other from the given place on.
void expectFrom(int first, const std::vector<Slot>& slots) {
  for (const Slot& slot : slots) {
    EXPECT_EQ(slot.number, first) << slot.name;
    ++first;
  }
}

TEST(VirtualTable, OfAProviderHasItsOperationsBehindTheDestructors) {
  const std::vector<Slot> slots = {
      SLOT(CFiPluginBase, delayedInit),
      SLOT(CFiPluginBase, globalConfigInfoList),
      SLOT(CFiPluginBase, init),
      SLOT(CFiPluginBase, fini),
      SLOT(CFiPluginBase, claim),
      SLOT(CFiPluginBase, supportsFiType),
      SLOT(CFiPluginBase, deportTree),
      SLOT(CFiPluginBase, importTreeNode),
      SLOT(CFiPluginBase, initNode),
      SLOT(CFiPluginBase, config),
      SLOT(CFiPluginBase, initAltNode),
      SLOT(CFiPluginBase, reAccessTmpObj),
      SLOT(CFiPluginBase, reAccessAltNode),
      SLOT(CFiPluginBase, deInitNode),
      SLOT(CFiPluginBase, dispose),
      SLOT(CFiPluginBase, online),
      SLOT(CFiPluginBase, subobjList),
      SLOT(CFiPluginBase, errMsg),
      SLOT(CFiPluginBase, buildAltTree),
      SLOT(CFiPluginBase, quiesce),
      SLOT(CFiPluginBase, unquiesce),
      SLOT(CFiPluginBase, make),
      SLOT(CFiPluginBase, makeSnapshots),
      SLOT(CFiPluginBase, prepare),
      SLOT(CFiPluginBase, prepareSnapshots),
      SLOT(CFiPluginBase, select),
      SLOT(CFiPluginBase, selectSnapshots),
      SLOT(CFiPluginBase, isReady),
      SLOT(CFiPluginBase, cacheDisable),
      SLOT(CFiPluginBase, cacheEnable),
      SLOT(CFiPluginBase, cacheFlush),
      SLOT(CFiPluginBase, interpose),
      SLOT(CFiPluginBase, getAttr),
      SLOT(CFiPluginBase, getProviderInfo),
      SLOT(CFiPluginBase, enumerateNodes),
      SLOT(CFiPluginBase, enumerateAssociations),
      SLOT(CFiPluginBase, enumerateGroupNodes),
      SLOT(CFiPluginBase, enumerateFims),
      SLOT(CFiPluginBase, isValidNodeAssociation),
      SLOT(CFiPluginBase, getAssociatedNodes),
      SLOT(CFiPluginBase, checkNodeExistence),
      SLOT(CFiPluginBase, objctl),
      SLOT(CFiPluginBase, processProviderState),
      SLOT(CFiPluginBase, getLastError),
      SLOT(CFiPluginBase, delLastError),
      SLOT(CFiPluginBase, getLocaleMessage),
      SLOT(CFiPluginBase, delLocaleMessage),
      SLOT(CFiPluginBase, enableAccess),
      SLOT(CFiPluginBase, disableAccess),
      SLOT(CFiPluginBase, restore),
      SLOT(CFiPluginBase, resync),
      SLOT(CFiPluginBase, getStatus),
      SLOT(CFiPluginBase, prePrepare),
      SLOT(CFiPluginBase, queryValidSecondaries),
      SLOT(CFiPluginBase, resourceStatus),
      SLOT(CFiPluginBase, revisitPluginNodes),
      SLOT(CFiPluginBase, verifyQSCombos),
      SLOT(CFiPluginBase, setImportOptions),
      SLOT(CFiPluginBase, startBuildAltTree),
      SLOT(CFiPluginBase, translateResourceNames),
      SLOT(CFiPluginBase, enumerateEnclosures),
      SLOT(CFiPluginBase, importResource),
      SLOT(CFiPluginBase, format),
      SLOT(CFiPluginBase, enumerateHostNodes),
      SLOT(CFiPluginBase, onlineResource),
      SLOT(CFiPluginBase, deportResource),
      SLOT(CFiPluginBase, isParentPgn),
      SLOT(CFiPluginBase, unformat),
      SLOT(CFiPluginBase, preDeportResource),
      SLOT(CFiPluginBase, refreshTree),
      SLOT(CFiPluginBase, getBackupset),
      SLOT(CFiPluginBase, getAppStatus),
      SLOT(CFiPluginBase, setOpStatus),
      SLOT(CFiPluginBase, setCompStatus),
      SLOT(CFiPluginBase, setRestorepaths),
      SLOT(CFiPluginBase, createSnapReplicaNode),
      SLOT(CFiPluginBase, updateSnapshotId),
      SLOT(CFiPluginBase, getSnapshotSetId),
      SLOT(CFiPluginBase, preselect),
      SLOT(CFiPluginBase, updateSnapshotHandle),
      SLOT(CFiPluginBase, getSnapdiff),
      SLOT(CFiPluginBase, postDeport),
  };
  ASSERT_EQ(slots.size(), 82U);
  expectFrom(destructors, slots);
}

TEST(VirtualTable, OfPrivateDataHasItsOperationsBehindTheDestructors) {
  const std::vector<Slot> slots = {
      SLOT(CFiPrivateData, hasConfigInfoList),
      SLOT(CFiPrivateData, hasConfigDataList),
      SLOT(CFiPrivateData, addDefaultConfigParamsToDataList),
      SLOT(CFiPrivateData, configInfoList),
      SLOT(CFiPrivateData, configDataList),
      SLOT(CFiPrivateData, setIntent),
      SLOT(CFiPrivateData, getIntent),
      SLOT(CFiPrivateData, setSplitType),
      SLOT(CFiPrivateData, getSplitType),
      SLOT(CFiPrivateData, setSessionId),
      SLOT(CFiPrivateData, getSessionId),
      SLOT(CFiPrivateData, getHostList),
      SLOT(CFiPrivateData, setHostList),
      SLOT(CFiPrivateData, getTransportable),
      SLOT(CFiPrivateData, setTransportable),
      SLOT(CFiPrivateData, setNodeState),
      SLOT(CFiPrivateData, getNodeState),
      SLOT(CFiPrivateData, getObjName),
      SLOT(CFiPrivateData, addSubObject),
      SLOT(CFiPrivateData, getSubObjectList),
      SLOT(CFiPrivateData, getSubObjectListLength),
      SLOT(CFiPrivateData, setIsAltNode),
      SLOT(CFiPrivateData, getIsAltNode),
      SLOT(CFiPrivateData, getConfiguredTarget),
      SLOT(CFiPrivateData, getTargets),
      SLOT(CFiPrivateData, addTarget),
      SLOT(CFiPrivateData, setConfiguredTarget),
      SLOT(CFiPrivateData, selectTargetFromConfigData),
  };
  ASSERT_EQ(slots.size(), 28U);
  expectFrom(destructors, slots);
}

TEST(VirtualTable, OfAFactoryHasItsOperationsFirst) {
  expectFrom(0, {SLOT(CFiPrivateDataFactory, access), SLOT(CFiPrivateDataFactory, allocate),
                 SLOT(CFiPrivateDataFactory, deallocate), SLOT(CFiPrivateDataFactory, accessByName),
                 SLOT(CFiPrivateDataFactory, getPrivateDataList)});
}

TEST(VirtualTable, OfASessionManagerHasItsOperationFirst) {
  expectFrom(0, {SLOT(CFiSessionManager, getSession)});
}

TEST(VirtualTable, OfTheVirtualBasesHasTheirOperationsBehindTheDestructors) {
  expectFrom(destructors, {SLOT(CFiRefCount, increment), SLOT(CFiRefCount, decrement), SLOT(CFiRefCount, getCount)});
  expectFrom(destructors, {SLOT(CFiTraceable, registerTraceLog)});
}

TEST(VirtualTable, OfAnErrorHandlerHasTheTextsOperationAheadOfTheMessages) {
  using Text = int (CFiErrorHandlerBase::*)(const char*, kfi_eseverity);
  using Message = int (CFiErrorHandlerBase::*)(CFiMessageSPtr);
  EXPECT_EQ(slotOf(static_cast<Text>(&CFiErrorHandlerBase::handleMessage)), destructors);
  EXPECT_EQ(slotOf(static_cast<Message>(&CFiErrorHandlerBase::handleMessage)), destructors + 1);
}

}  // namespace
