// Quiesce and thaw: all file systems of a snapshot are frozen together, or one after another where that is allowed.
//
// Between the freeze and the thaw nothing is written, executed or waited for: the trace log and the error manager keep
// what they get in memory while the split context is open.
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "cfidomain.h"
#include "cfientryguard.h"
#include "cfiscopeexit.h"
#include "cfistringtool.h"
#include "cfiundisturbed.h"
#include "qmfs_frozen_set.h"
#include "qmfs_ioctl.h"
#include "qmfs_log_texts.h"
#include "qmfs_node_access.h"
#include "qmfs_plugin.h"

using namespace qmfi_pdk_4_4;

namespace {

// Whether every node of the list has a mount point, and the first a configuration domain.
bool areQuiesceNodes(kfi_quiescenode** nodes, int count) {
  if (nodes == nullptr || count < 1) return false;
  for (int i = 0; i < count; ++i) {
    if (nodes[i] == nullptr || objectName(nodes[i]->kqn_node) == nullptr) return false;
  }
  return nodes[0]->kqn_config != nullptr;
}

const char* mountPointOf(const kfi_quiescenode* node) {
  return objectName(node->kqn_node);
}

std::vector<CQmFSFrozenSet::FileSystem> fileSystemsOf(kfi_quiescenode** nodes, std::int32_t count) {
  std::vector<CQmFSFrozenSet::FileSystem> fileSystems;
  fileSystems.reserve(static_cast<std::size_t>(count));
  for (std::int32_t i = 0; i < count; ++i) fileSystems.push_back({mountPointOf(nodes[i]), false});
  return fileSystems;
}

}  // namespace

int CQmFSPlugin::quiesce(kfi_quiescenode** nodes, int count, char* /*options*/) {
  const auto scope = traceScope("quiesce");
  QuiesceState idle = QuiesceState::idle;
  if (!m_quiesceState.compare_exchange_strong(idle, QuiesceState::changing)) {
    trace(CFI_TRACE_ERROR, qmfs_log::quiesceOutstanding);
    return CFI_STATUS_FAILED;
  }
  bool finished = false;
  const CFiScopeExit leave([&] {
    if (!finished) {
      trace(CFI_TRACE_ERROR, qmfs_log::quiesceException);
      abandonQuiesce();
    }
    m_quiesceState = m_frozenSet.isHolding() ? QuiesceState::quiesced : QuiesceState::idle;
  });
  return guarded([&] {
    const int status = quiesceNodes(nodes, count);
    finished = true;
    return status;
  });
}

int CQmFSPlugin::quiesceNodes(kfi_quiescenode** nodes, std::int32_t count) {
  if (!areQuiesceNodes(nodes, count)) return CFI_STATUS_INVALID_ARGUMENT;
  const CFiPrivateDataSPtr config = privateDataOf(nodes[0]->kqn_config);
  if (!config) return CFI_STATUS_INVALID_ARGUMENT;
  const std::int32_t timeout = freezeTimeout(*config);
  trace(CFI_TRACE_DETAIL, qmfs_log::creatingContext);
  m_isContextOpen = true;
  const int error = qmfi_create_context();
  if (error != 0) {
    trace(CFI_TRACE_ERROR, qmfs_log::contextFailed, error);
    closeContext(ThawReport::messages);
    return CFI_STATUS_FAILED;
  }
  const int status = openMountPoints(nodes, count);
  return status == 0 ? freezeNodes(nodes, count, timeout) : status;
}

std::int32_t CQmFSPlugin::freezeTimeout(CFiPrivateData& config) {
  CFiConfigDataList& values = *config.configDataList(0);
  std::string configured;
  if (values.find(QMFS_FREEZE_TIMEOUT) != values.end()) {
    configured = CFiStringTool::tstr2str(values[QMFS_FREEZE_TIMEOUT].value);
  }
  const std::int32_t timeout =
      configured.empty() ? m_tuningParams.quiescenceTimeout : CFiStringTool::str2int(configured);
  trace(CFI_TRACE_PROGRESS, qmfs_log::freezeTimeout, timeout);
  return timeout;
}

int CQmFSPlugin::openMountPoints(kfi_quiescenode** nodes, std::int32_t count) {
  // The thaw reports by the names that are kept here, so that it needs no memory.
  m_frozenSet.hold(fileSystemsOf(nodes, count));
  for (std::int32_t i = 0; i < count; ++i) {
    if (!m_frozenSet.openNext()) {
      const char* const path = mountPointOf(nodes[i]);
      trace(CFI_TRACE_ERROR, qmfs_log::openFailed, path, errno);
      pushMessage("MSG_ERROR_FILE_OPEN_FOR_QUIESCE", {messageText(path)}, KFI_SEVERITY_ERROR,
                  CFiSourceLocation::here());
      // Required: the count is one short, so the descriptor opened last stays open.
      return endQuiesce(i - 1);
    }
  }
  return 0;
}

int CQmFSPlugin::freezeNodes(kfi_quiescenode** nodes, std::int32_t count, std::int32_t timeout) {
  if (qmFreezeAll(m_frozenSet.descriptors(), count, timeout) == 0) return 0;
  trace(CFI_TRACE_WARNING, qmfs_log::freezeAllFailed);
  if (m_tuningParams.allowSerialQuiescence != 1) {
    trace(CFI_TRACE_ERROR, qmfs_log::serialNotAllowed);
    return endQuiesce(count);
  }
  if (qmFreeze(m_frozenSet.descriptors(), nodes, count, timeout) == 0) return 0;
  trace(CFI_TRACE_ERROR, qmfs_log::bothFreezesFailed);
  return endQuiesce(count);
}

int CQmFSPlugin::endQuiesce(std::int32_t count) {
  closeFDList(m_frozenSet.descriptors(), count);
  m_frozenSet.release();
  closeContext(ThawReport::messages);
  return CFI_STATUS_FAILED;
}

// Once for each opening, which counts also when it failed. An exception of the closing ends no call.
void CQmFSPlugin::closeContext(ThawReport report) noexcept {
  if (!std::exchange(m_isContextOpen, false)) return;
  const CFiNotCancelled notCancelled;
  const auto close = [] {
    qmfi_close_context();
    return 0;
  };
  try {
    report == ThawReport::messages ? guarded(close) : close();
  } catch (...) {
    if (report == ThawReport::messages) reportUnknownException(CFiSourceLocation::here());
  }
}

// An exception may have come at any point, also when file systems were frozen already. What somebody else has frozen
// stays so.
void CQmFSPlugin::abandonQuiesce() {
  thawEach(m_frozenSet.descriptors(), m_frozenSet.frozen(), [&](std::int32_t, const auto& thaw) {
    if (thaw() != 0) trace(CFI_TRACE_ERROR, qmfs_log::quiesceThawFailed, errno);
  });
  endQuiesce(m_frozenSet.opened());
}

int CQmFSPlugin::qmFreezeAll(const std::int32_t* descriptors, std::int32_t count, std::int32_t timeout) {
  const auto scope = traceScope("qmFreezeAll");
  trace(CFI_TRACE_DETAIL, qmfs_log::requestingFreezeAll);
  qmfs_freeze_all request{count, timeout, descriptors};
  if (::ioctl(descriptors[0], QM_FREEZE_ALL, &request) != 0) {
    trace(CFI_TRACE_ERROR, qmfs_log::freezeAllRequestFailed, errno);
    return CFI_STATUS_FAILED;
  }
  m_frozenSet.setFrozen(count);
  return 0;
}

int CQmFSPlugin::qmFreeze(const std::int32_t* descriptors, kfi_quiescenode** nodes, std::int32_t count,
                          std::int32_t timeout) {
  const auto scope = traceScope("qmFreeze");
  for (std::int32_t i = 0; i < count; ++i) {
    const char* const path = mountPointOf(nodes[i]);
    trace(CFI_TRACE_DETAIL, qmfs_log::requestingFreeze, path);
    if (::ioctl(descriptors[i], QM_FREEZE, static_cast<long>(timeout)) < 0) {
      trace(CFI_TRACE_ERROR, qmfs_log::freezeRequestFailed, path, errno);
      pushMessage("MSG_ERROR_FREEZE", {messageText(path)}, KFI_SEVERITY_ERROR, CFiSourceLocation::here());
      // Required: the count is one short, so the file system frozen last stays so until its time-out.
      thawFileSystemList(descriptors, nodes, i - 1);
      m_frozenSet.setFrozen(0);
      return CFI_STATUS_FAILED;
    }
    m_frozenSet.setFrozen(i + 1);
  }
  return 0;
}

int CQmFSPlugin::thawFileSystemList(const std::int32_t* descriptors, kfi_quiescenode** nodes, std::int32_t count) {
  const auto scope = traceScope("thawFileSystemList");
  int lastFailure = 0;
  thawEach(descriptors, count, [&](std::int32_t i, const auto& thaw) {
    const int result = thaw();
    if (result < 0) {
      trace(CFI_TRACE_ERROR, qmfs_log::thawRequestFailed, mountPointOf(nodes[i]), errno);
      lastFailure = result;
    }
  });
  return lastFailure;
}

void CQmFSPlugin::closeFDList(const std::int32_t* descriptors, std::int32_t count) {
  const auto scope = traceScope("closeFDList");
  closeEach(descriptors, count);
}

int CQmFSPlugin::unquiesce(kfi_quiescenode** /*nodes*/, int /*count*/) {
  const auto scope = traceScope("unquiesce");
  return thawQuiesced(ThawReport::messages);
}

// What reports an exception comes ahead of the closing, as all messages about the thaw do.
int CQmFSPlugin::thawQuiesced(ThawReport report) {
  QuiesceState quiesced = QuiesceState::quiesced;
  if (!m_quiesceState.compare_exchange_strong(quiesced, QuiesceState::changing)) return 0;
  const CFiScopeExit leave([&] {
    trace(CFI_TRACE_DETAIL, qmfs_log::closingContext);
    closeContext(report);
    m_quiesceState = QuiesceState::idle;
  });
  thawDescriptors();
  return report == ThawReport::messages ? guarded([&] { return reportFailedThaws(); }) : 0;
}

// After the last thaw, since a message that finds no memory must not keep the next file system frozen.
int CQmFSPlugin::reportFailedThaws() {
  for (const CQmFSFrozenSet::FileSystem& fileSystem : m_frozenSet.fileSystems()) {
    if (fileSystem.thawFailed) {
      pushMessage("MSG_ERROR_THAW", {messageText(fileSystem.mountPoint)}, KFI_SEVERITY_ERROR,
                  CFiSourceLocation::here());
    }
  }
  return 0;
}

void CQmFSPlugin::thawDescriptors() {
  const std::int32_t* const descriptors = m_frozenSet.descriptors();
  thawEach(descriptors, m_frozenSet.opened(), [&](std::int32_t i, const auto& thaw) {
    trace(CFI_TRACE_DETAIL, qmfs_log::requestingThaw);
    // A freeze that ended by its time-out is no failure.
    if (thaw() != 0 && errno != ETIMEDOUT) {
      trace(CFI_TRACE_ERROR, qmfs_log::unquiesceThawFailed, errno);
      m_frozenSet.noteFailedThaw(i);
    }
    ::close(descriptors[i]);
  });
  m_frozenSet.release();
}
