// The single steps of freezing and thawing, with a driver and a split context that the test answers: the results that
// only the provider itself sees.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <deque>
#include <stdexcept>
#include <string>
#include <vector>

#include "cficontextsingleton.h"
#include "qmfs_ioctl.h"
#include "qmfs_plugin.h"
#include "support/domains.h"
#include "support/trace_capture.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::IsEmpty;

struct DriverAnswer {
  int result;
  int error;
};

// What the driver and the split context were asked for, in order, and how the driver's next requests end.
std::vector<std::string> calls;
std::deque<DriverAnswer> answers;
qmfs_freeze_all lastFreezeAll;

int driver(int descriptor, unsigned long request, std::uintptr_t argument) {
  std::string call = request == QM_FREEZE ? "freeze " : request == QM_THAW ? "thaw " : "freeze all ";
  call += std::to_string(descriptor);
  if (request == QM_FREEZE_ALL) {
    lastFreezeAll = *reinterpret_cast<const qmfs_freeze_all*>(argument);
  } else {
    call += " argument " + std::to_string(static_cast<std::intptr_t>(argument));
  }
  calls.push_back(call);
  if (answers.empty()) return 0;
  const DriverAnswer answer = answers.front();
  answers.pop_front();
  errno = answer.error;
  return answer.result;
}

// A provider's factory that cannot tell a node's private data.
class FailingFactory : public CFiPrivateDataConcreteFactory<CQmFSPrivateData> {
 public:
  CFiPrivateDataSPtr access(kfi_domain*) override { throw std::runtime_error("no private data today"); }
};

class FreezeSteps : public testing::Test {
 protected:
  FreezeSteps() {
    calls.clear();
    answers.clear();
    m_plugin.registerTraceLog(m_capture.log());
    for (std::size_t i = 0; i < m_nodes.size(); ++i) {
      m_domains[i] = domainNamed("/mnt/" + std::to_string(i));
      m_quiesceNodes[i] = {nullptr, &m_domains[i], &m_domains[0]};
      m_nodes[i] = &m_quiesceNodes[i];
    }
  }
  ~FreezeSteps() override {
    CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(true);
    CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(true);
  }

  // The records but those of entered and left functions.
  std::vector<std::string> trace() const {
    std::vector<std::string> records = m_capture.records();
    std::erase_if(records, [](const std::string& record) { return record.find(" Function ") != std::string::npos; });
    return records;
  }
  static std::vector<CFiMessageSPtr> messages() {
    return CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(false)->messages();
  }

  TraceCapture m_capture;
  CQmFSPlugin m_plugin;
  const std::array<std::int32_t, 4> m_descriptors = {1001, 1002, 1003, 1004};
  std::array<kfi_domain, 4> m_domains{};
  std::array<kfi_quiescenode, 4> m_quiesceNodes{};
  std::array<kfi_quiescenode*, 4> m_nodes{};
};

TEST_F(FreezeSteps, ThawOfAListGoesOnPastFailuresAndReturnsTheResultOfTheLastOne) {
  answers = {{-2, EIO}, {0, 0}, {-3, EINVAL}, {5, EBUSY}};
  EXPECT_EQ(m_plugin.thawFileSystemList(m_descriptors.data(), m_nodes.data(), 4), -3);
  EXPECT_THAT(calls, ElementsAre("thaw 1001 argument 0", "thaw 1002 argument 0", "thaw 1003 argument 0",
                                 "thaw 1004 argument 0"));
  EXPECT_THAT(trace(),
              ElementsAre("L1 CQmFSPlugin::thawFileSystemList : ioctl QM_THAW failed for /mnt/0 with errno : 5 ",
                          "L1 CQmFSPlugin::thawFileSystemList : ioctl QM_THAW failed for /mnt/2 with errno : 22 "));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(FreezeSteps, ThawOfAListIsASuccessUnlessAResultIsNegative) {
  answers = {{0, 0}, {7, EIO}};
  EXPECT_EQ(m_plugin.thawFileSystemList(m_descriptors.data(), m_nodes.data(), 2), 0);
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(FreezeSteps, ThawOfAListReturnsAFailureOfTheFirstWhenTheOthersSucceed) {
  answers = {{-1, EIO}};
  EXPECT_EQ(m_plugin.thawFileSystemList(m_descriptors.data(), m_nodes.data(), 3), -1);
}

TEST_F(FreezeSteps, ThawOfAnEmptyListAsksTheDriverForNothing) {
  EXPECT_EQ(m_plugin.thawFileSystemList(m_descriptors.data(), m_nodes.data(), 0), 0);
  EXPECT_EQ(m_plugin.thawFileSystemList(m_descriptors.data(), m_nodes.data(), -1), 0);
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(FreezeSteps, FreezingTogetherHandsTheListOverOnItsFirstDescriptor) {
  EXPECT_EQ(m_plugin.qmFreezeAll(m_descriptors.data(), 3, 30), 0);
  EXPECT_THAT(calls, ElementsAre("freeze all 1001"));
  EXPECT_EQ(lastFreezeAll.count, 3);
  EXPECT_EQ(lastFreezeAll.timeout, 30);
  EXPECT_EQ(lastFreezeAll.descriptors, m_descriptors.data());
  EXPECT_THAT(trace(), ElementsAre("L6 CQmFSPlugin::qmFreezeAll : calling ioctl QM_FREEZE_ALL"));
}

TEST_F(FreezeSteps, FreezingTogetherFailsWithAnyResultButZero) {
  for (const int result : {-1, 1}) {
    answers = {{result, EBUSY}};
    EXPECT_EQ(m_plugin.qmFreezeAll(m_descriptors.data(), 3, 30), 6);
    EXPECT_EQ(trace().back(), "L1 CQmFSPlugin::qmFreezeAll : ioctl QM_FREEZE_ALL failed with errno : 16 ");
  }
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(FreezeSteps, FreezingOneByOneFailsWithANegativeResultOnly) {
  answers = {{3, EIO}, {0, 0}, {0, 0}};
  EXPECT_EQ(m_plugin.qmFreeze(m_descriptors.data(), m_nodes.data(), 3, -9), 0);
  EXPECT_THAT(calls, ElementsAre("freeze 1001 argument -9", "freeze 1002 argument -9", "freeze 1003 argument -9"));
  answers = {{-7, EIO}};
  EXPECT_EQ(m_plugin.qmFreeze(m_descriptors.data(), m_nodes.data(), 3, 4), 6);
  EXPECT_EQ(calls.back(), "freeze 1001 argument 4");
}

// A context that was never opened may be another provider's, with file systems frozen in it.
TEST_F(FreezeSteps, ExceptionAheadOfTheContextLeavesItAlone) {
  const CFiPrivateDataFactorySPtr factory(new FailingFactory);
  CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false)->setProviderFactory(factory);
  EXPECT_EQ(m_plugin.quiesce(m_nodes.data(), 2, nullptr), 6);
  EXPECT_THAT(calls, IsEmpty());
  EXPECT_THAT(trace(), ElementsAre("L1 CQmFSPlugin::quiesce : caught exception, calling close_context"));
  ASSERT_EQ(messages().size(), 1U);
  EXPECT_EQ(messages()[0]->getMessageId(), "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION");
}

}  // namespace

extern "C" {

int ioctl(int descriptor, unsigned long request, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, request);
  const auto argument = va_arg(arguments, std::uintptr_t);
  va_end(arguments);
  return driver(descriptor, request, argument);
}

int qmfi_create_context() {
  calls.emplace_back("create context");
  return 0;
}

void qmfi_close_context() {
  calls.emplace_back("close context");
}
}
