// The error operations of every provider: records of pushed messages, and texts for them and for statuses.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "cfierror.h"
#include "cfipluginbase.h"
#include "message_text.h"

namespace qmfi_pdk_4_4 {

namespace {

struct StatusText {
  int status;
  const char* text;
};

constexpr StatusText statusTexts[] = {
#define FI_STATUS(name, number, text) {CFI_STATUS_##name, text},
#include "cfistatus.def"
};

constexpr const char* otherStatusText = "The operation failed with a status that has no description.";

void freeList(kfi_msg_info* list) {
  while (list != nullptr) {
    kfi_msg_info* const next = list->kmi_next;
    std::free(list->kmi_id);
    std::free(list->kmi_args);
    std::free(list->kmi_file);
    std::free(list);
    list = next;
  }
}

struct ListDeleter {
  void operator()(kfi_msg_info* list) const { freeList(list); }
};
using MessageList = std::unique_ptr<kfi_msg_info, ListDeleter>;

// One record without a successor; null when memory is short.
MessageList makeRecord(const CFiMessage& message) {
  MessageList record(static_cast<kfi_msg_info*>(std::calloc(1, sizeof(kfi_msg_info))));
  if (record == nullptr) return record;
  const auto* const icuMessage = dynamic_cast<const CFiIcuMessage*>(&message);
  record->kmi_id = ::strdup(message.getMessageId().c_str());
  record->kmi_args = ::strdup(icuMessage != nullptr ? icuMessage->serialize().c_str() : "[]");
  record->kmi_file = ::strdup(message.getFileName().c_str());
  record->kmi_line = message.getLineNumber();
  record->kmi_severity = message.getSeverity();
  const bool complete = record->kmi_id != nullptr && record->kmi_args != nullptr && record->kmi_file != nullptr;
  if (!complete) record.reset();
  return record;
}

}  // namespace

int CFiPluginBase::errMsg(int status, const char** text) {
  if (text == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
  const auto* const found = std::find_if(std::begin(statusTexts), std::end(statusTexts),
                                         [&](const StatusText& entry) { return entry.status == status; });
  *text = found != std::end(statusTexts) ? found->text : otherStatusText;
  return CFI_STATUS_SUCCESS;
}

int CFiPluginBase::getLastError(kfi_msg_info** list) {
  if (list == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
  const auto messages = m_errorManager ? m_errorManager->messages() : std::vector<CFiMessageSPtr>();
  MessageList records;
  // From the oldest to the newest, which comes first.
  for (auto message = messages.rbegin(); message != messages.rend(); ++message) {
    MessageList record = makeRecord(**message);
    if (record == nullptr) return CFI_STATUS_NO_MEMORY;
    record->kmi_next = records.release();
    records = std::move(record);
  }
  *list = records.release();
  return CFI_STATUS_SUCCESS;
}

int CFiPluginBase::delLastError(kfi_msg_info** list) {
  if (list == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
  freeList(*list);
  *list = nullptr;
  if (m_errorManager) m_errorManager->clear();
  return CFI_STATUS_SUCCESS;
}

int CFiPluginBase::getLocaleMessage(int* length, kfi_msg_info* record, const char* language, char** text) {
  if (length == nullptr || record == nullptr || text == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
  const std::string locale = language != nullptr ? language : "";
  const CFiMessageSPtr message =
      counted(m_catalogManager ? m_catalogManager->allocateMessage(record) : CFiIcuMessage::deserialize(record));
  const std::string found =
      m_catalogManager ? m_catalogManager->getText(locale, message) : qmfi_runtime::untranslatedText(*message);
  char* const copy = ::strdup(found.c_str());
  if (copy == nullptr) return CFI_STATUS_NO_MEMORY;
  *text = copy;
  *length = static_cast<int>(std::strlen(copy));
  return CFI_STATUS_SUCCESS;
}

int CFiPluginBase::delLocaleMessage(char** text) {
  if (text == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
  std::free(*text);
  *text = nullptr;
  return CFI_STATUS_SUCCESS;
}

}  // namespace qmfi_pdk_4_4
