// An error handler that records the identifiers of the messages it is given.
#ifndef RECORDING_HANDLER_H
#define RECORDING_HANDLER_H

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "cfierrorhandlerbase.h"
#include "cfierrormanager.h"

// What handlers have seen; outlives them.
class HandledMessages {
 public:
  void add(const std::string& id) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_ids.push_back(id);
  }
  std::vector<std::string> ids() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_ids;
  }

 private:
  mutable std::mutex m_mutex;
  std::vector<std::string> m_ids;
};

class RecordingHandler : public qmfi_pdk_4_4::CFiErrorHandlerBase {
 public:
  using CFiErrorHandlerBase::handleMessage;

  // prefix precedes each identifier; then is called after each message.
  explicit RecordingHandler(
      HandledMessages& messages, std::string prefix = "", std::function<void()> then = [] {})
      : m_messages(messages), m_prefix(std::move(prefix)), m_then(std::move(then)) {}

  int handleMessage(qmfi_pdk_4_4::CFiMessageSPtr message) override {
    m_messages.add(m_prefix + message->getMessageId());
    m_then();
    return 0;
  }

 private:
  HandledMessages& m_messages;
  const std::string m_prefix;
  const std::function<void()> m_then;
};

inline qmfi_pdk_4_4::CFiMessageSPtr messageWithId(const std::string& id) {
  return qmfi_pdk_4_4::CFiMessageSPtr(
      new qmfi_pdk_4_4::CFiIcuMessage(id.c_str(), nullptr, 0, KFI_SEVERITY_ERROR, "sample.cpp", 1));
}

// Returns when the split context is being opened: its first sign is that messages are held back.
inline void waitUntilMessagesAreHeldBack() {
  HandledMessages handled;
  qmfi_pdk_4_4::CFiErrorManager manager;
  manager.registerHandler(new RecordingHandler(handled));
  for (std::size_t pushed = 0; handled.ids().size() == pushed; ++pushed) {
    std::this_thread::yield();
    manager.pushError(messageWithId("1"));
  }
}

#endif
