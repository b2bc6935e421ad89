// The places of the operations in the virtual tables, by which plug-ins and the framework find each other's.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "cfierrorhandlerbase.h"
#include "cfipluginbase.h"
#include "support/virtual_slot.h"

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
  expectFrom(destructors, {SLOT(CFiPluginBase, delayedInit), SLOT(CFiPluginBase, globalConfigInfoList),
                           SLOT(CFiPluginBase, init), SLOT(CFiPluginBase, fini), SLOT(CFiPluginBase, claim)});
}

TEST(VirtualTable, OfAProviderHasEveryOperationAtItsPlaceInTheList) {
  int operations = 0;
// The list counts from 1.
#define FI_OPERATION(place, operation, answer, parameters, arguments)    \
  EXPECT_EQ(slotOf(&CFiPluginBase::operation) + 1, place) << #operation; \
  ++operations;
#include "cfientrypoints.def"
  EXPECT_EQ(operations, 78);
}

// Plug-ins that are already built find these operations there, whatever the list says.
TEST(VirtualTable, OfAProviderNeverChanges) {
  const std::vector<std::pair<Slot, int>> places = {
      {SLOT(CFiPluginBase, claim), 7},           {SLOT(CFiPluginBase, initNode), 11},
      {SLOT(CFiPluginBase, deInitNode), 16},     {SLOT(CFiPluginBase, quiesce), 22},
      {SLOT(CFiPluginBase, make), 24},           {SLOT(CFiPluginBase, isReady), 30},
      {SLOT(CFiPluginBase, cacheFlush), 33},     {SLOT(CFiPluginBase, getProviderInfo), 36},
      {SLOT(CFiPluginBase, objctl), 44},         {SLOT(CFiPluginBase, getLastError), 46},
      {SLOT(CFiPluginBase, enableAccess), 50},   {SLOT(CFiPluginBase, resourceStatus), 57},
      {SLOT(CFiPluginBase, importResource), 64}, {SLOT(CFiPluginBase, onlineResource), 67},
      {SLOT(CFiPluginBase, refreshTree), 72},    {SLOT(CFiPluginBase, setRestorepaths), 77},
      {SLOT(CFiPluginBase, preselect), 81},      {SLOT(CFiPluginBase, updateSnapshotHandle), 82},
      {SLOT(CFiPluginBase, postDeport), 84},
  };
  for (const auto& [slot, place] : places) {
    EXPECT_EQ(slot.number + 1, place) << slot.name;
  }
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
