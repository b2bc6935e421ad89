// The places of the operations that the provider adds to private data.
#include <gtest/gtest.h>

#include "qmfs_private_data.h"
#include "support/virtual_slot.h"

namespace {

TEST(PrivateDataTable, HasTheProvidersOperationsBehindTheFrameworks) {
  EXPECT_EQ(slotOf(&CQmFSPrivateData::setNodeState), 17);
  EXPECT_EQ(slotOf(&CQmFSPrivateData::getNodeState), 18);
  EXPECT_EQ(slotOf(&CQmFSPrivateData::selectTargetFromConfigData), 29);
  EXPECT_EQ(slotOf(&CQmFSPrivateData::setAltObj), 30);
  EXPECT_EQ(slotOf(&CQmFSPrivateData::getAltObj), 31);
  EXPECT_EQ(slotOf(&CQmFSPrivateData::setMntOpts), 32);
  EXPECT_EQ(slotOf(&CQmFSPrivateData::getMntOpts), 33);
}

}  // namespace
