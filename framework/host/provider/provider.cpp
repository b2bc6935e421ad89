// Start and stop of a provider, and its messages.
#include "provider/provider.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "cfistatus.h"

namespace qmfi_host {

namespace {

// They come as an array in JSON.
std::vector<std::string> argumentsOf(const kfi_msg_info& message) {
  std::vector<std::string> texts;
  if (message.kmi_args == nullptr) return texts;
  for (const nlohmann::json& argument : nlohmann::json::parse(message.kmi_args, nullptr, false)) {
    if (argument.is_string()) texts.push_back(argument);
  }
  return texts;
}

}  // namespace

Provider::Provider(const ProviderEntryPoints& entryPoints, std::string name, std::string language,
                   ProviderDescriptor descriptor)
    : m_entryPoints(entryPoints),
      m_name(std::move(name)),
      m_language(std::move(language)),
      m_languageName(m_language.empty() ? nullptr : m_language.data()),
      m_descriptor(std::move(descriptor)) {
  m_context.kcx_language = &m_languageName;
  kfi_version version{};
  const int status = m_entryPoints.fi_pgn_init(&m_context, &version, m_name.data());
  const std::string what = "the provider " + m_name + " could not be started";
  if (status != 0) {
    const ProviderError error = failure(what, status);
    m_entryPoints.fi_pgn_fini();
    throw ProviderError(error);
  }
  if (version.kv_major != KFI_INTERFACE_MAJOR) {
    m_entryPoints.fi_pgn_fini();
    throw HostError(what + ": it speaks version " + std::to_string(version.kv_major) + " of the interface, not " +
                    std::to_string(KFI_INTERFACE_MAJOR));
  }
}

Provider::~Provider() {
  m_entryPoints.fi_pgn_fini();
}

void Provider::throwIfMessages(const std::string& what) {
  std::vector<ProviderMessage> messages = takeMessages();
  // A call that has no status of its own fails as any other would.
  if (!messages.empty()) throw ProviderError(what, qmfi_pdk_4_4::CFI_STATUS_FAILED, std::move(messages), {});
}

ProviderError Provider::failure(const std::string& what, int status) {
  const char* explanation = nullptr;
  m_entryPoints.fi_pgn_errmsg(status, &explanation);
  return {what, status, takeMessages(), explanation != nullptr ? explanation : ""};
}

std::vector<ProviderMessage> Provider::takeMessages() {
  kfi_msg_info* list = nullptr;
  std::vector<ProviderMessage> messages;
  if (m_entryPoints.fi_pgn_get_last_error(&list) != 0) return messages;
  for (kfi_msg_info* message = list; message != nullptr; message = message->kmi_next) {
    messages.push_back({message->kmi_id, textOf(*message), argumentsOf(*message)});
  }
  m_entryPoints.fi_pgn_del_last_error(&list);
  return messages;
}

std::string Provider::textOf(kfi_msg_info& message) {
  int length = 0;
  char* text = nullptr;
  if (m_entryPoints.fi_pgn_get_locale_message(&length, &message, m_language.c_str(), &text) != 0 || text == nullptr) {
    return message.kmi_args != nullptr ? message.kmi_args : "";
  }
  std::string copy(text, static_cast<std::size_t>(length));
  m_entryPoints.fi_pgn_del_locale_message(&text);
  return copy;
}

}  // namespace qmfi_host
