// What cases have in common.
#include "conformance/examination.h"

#include <algorithm>

namespace qmfi_host {

namespace {

std::string listOf(const std::vector<int>& statuses) {
  std::string list;
  for (const int status : statuses) list += (list.empty() ? "" : " or ") + std::to_string(status);
  return list;
}

}  // namespace

const ProviderEntryPoints& Examination::provider() {
  if (m_library == nullptr) {
    m_notes.calling("loading of the library");
    m_library = std::make_unique<ProviderLibrary>(m_subject.library.parent_path(), m_subject.name);
  }
  return m_library->entryPoints();
}

const ProviderEntryPoints& Examination::started() {
  const ProviderEntryPoints& calls = provider();
  kfi_version version{};
  std::string name = m_subject.name;
  const int answer = calling("init", [&] { return calls.fi_pgn_init(nullptr, &version, name.data()); });
  require(answer == 0, "init answers " + std::to_string(answer));
  return calls;
}

void Examination::stop() {
  calling("fini", [&] { provider().fi_pgn_fini(); });
}

void Examination::expect(bool holds, const std::string& otherwise) {
  if (!holds) m_notes.found(otherwise);
}

void Examination::skip(const char* why) {
  m_notes.notTried(why);
  throw CaseOver();
}

void Examination::expectAnswer(const std::string& what, const std::vector<int>& expected, int answer) {
  const bool isExpected = std::find(expected.begin(), expected.end(), answer) != expected.end();
  expect(isExpected, what + " answers " + std::to_string(answer) + ", not " + listOf(expected));
}

std::vector<ExaminedMessage> Examination::takeMessages() {
  const ProviderEntryPoints& calls = provider();
  kfi_msg_info* list = nullptr;
  const int answer = calling("get_last_error", [&] { return calls.fi_pgn_get_last_error(&list); });
  require(answer == 0, "get_last_error answers " + std::to_string(answer));
  std::vector<ExaminedMessage> messages;
  for (kfi_msg_info* message = list; message != nullptr; message = message->kmi_next) {
    messages.push_back({message->kmi_id != nullptr ? message->kmi_id : "", textOf(*message)});
    expect(!messages.back().id.empty(), "a message has no identifier");
    expect(!messages.back().text.empty(), "the message " + messages.back().id + " has no text");
  }
  calling("del_last_error", [&] { return calls.fi_pgn_del_last_error(&list); });
  return messages;
}

std::string Examination::textOf(kfi_msg_info& message) {
  const ProviderEntryPoints& calls = provider();
  int length = 0;
  char* text = nullptr;
  const int answer =
      calling("get_locale_message", [&] { return calls.fi_pgn_get_locale_message(&length, &message, nullptr, &text); });
  if (answer != 0 || text == nullptr) return {};
  std::string copy = text;
  calling("del_locale_message", [&] { return calls.fi_pgn_del_locale_message(&text); });
  return copy;
}

void Examination::forgetMessages() {
  kfi_msg_info* none = nullptr;
  calling("del_last_error", [&] { return provider().fi_pgn_del_last_error(&none); });
}

void Examination::requireMessages(const std::string& what) {
  expect(!takeMessages().empty(), what + " answers 6, and no message says why");
}

}  // namespace qmfi_host
