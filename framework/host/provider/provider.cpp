// Start and stop of a provider, and its messages.
#include "provider/provider.h"

#include <unistd.h>

#include <nlohmann/json.hpp>
#include <utility>

#include "cfiexecpipe.h"
#include "cfistatus.h"
#include "provider/trusted_files.h"
#include "texts/translation.h"

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

// The same arguments with the last line of a program's output in place of all, which may be megabytes; nothing where
// there is none of more than a line.
std::optional<std::string> withLastLine(const char* arguments) {
  if (arguments == nullptr) return std::nullopt;
  nlohmann::json list = nlohmann::json::parse(arguments, nullptr, false);
  bool isShorter = false;
  for (nlohmann::json& argument : list) {
    if (!argument.is_string()) continue;
    const std::string whole = argument;
    const std::string line = qmfi_pdk_4_4::lastLineOfFailure(whole);
    if (line == whole) continue;
    argument = line;
    isShorter = true;
  }
  constexpr int inOneLine = -1;
  if (!isShorter) return std::nullopt;
  return list.dump(inOneLine, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string notStarted(const std::string& provider, int status, const std::string& package) {
  if (status != qmfi_pdk_4_4::CFI_STATUS_NOT_INSTALLED || package.empty()) {
    return translate("the provider {0} could not be started", provider);
  }
  return translate(
      "the provider {0} could not be started: the package {1}, which it needs, was not found; install it and try again",
      provider, package);
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
  if (status != 0) {
    ProviderError error = failure(notStarted(m_name, status, m_descriptor.package), status);
    error.about(m_name);
    m_entryPoints.fi_pgn_fini();
    throw ProviderError(error);
  }
  if (version.kv_major != KFI_INTERFACE_MAJOR) {
    m_entryPoints.fi_pgn_fini();
    throw HostError(Failure::providerUnusable,
                    translate("the provider {0} could not be started: it speaks version {1} of the interface, not {2}",
                              m_name, version.kv_major, KFI_INTERFACE_MAJOR))
        .about(m_name);
  }
}

Provider::~Provider() {
  m_entryPoints.fi_pgn_fini();
}

void Provider::throwIfMessages(const std::string& what) {
  std::vector<ProviderMessage> messages = takeMessages();
  // A call that has no status of its own fails as any other would.
  constexpr int status = qmfi_pdk_4_4::CFI_STATUS_FAILED;
  if (!messages.empty()) throw ProviderError(what, status, std::move(messages), meaningOf(status));
}

ProviderError Provider::failure(const std::string& what, int status) {
  ProviderError error(what, status, takeMessages(), meaningOf(status));
  if (status == qmfi_pdk_4_4::CFI_STATUS_BUSY) error.setExitStatus(ExitStatus::busy);
  return error;
}

std::string Provider::meaningOf(int status) {
  const char* english = nullptr;
  m_entryPoints.fi_pgn_errmsg(status, &english);
  return english != nullptr && *english != '\0' ? translated(english) : "";
}

std::vector<ProviderMessage> Provider::takeMessages() {
  kfi_msg_info* list = nullptr;
  std::vector<ProviderMessage> messages;
  if (m_entryPoints.fi_pgn_get_last_error(&list) != 0) return messages;
  for (kfi_msg_info* message = list; message != nullptr; message = message->kmi_next) {
    messages.push_back({message->kmi_id, shownTextOf(*message), argumentsOf(*message)});
  }
  m_entryPoints.fi_pgn_del_last_error(&list);
  return messages;
}

std::string Provider::shownTextOf(kfi_msg_info& message) {
  std::optional<std::string> shorter = withLastLine(message.kmi_args);
  if (!shorter) return textOf(message);
  kfi_msg_info shown = message;
  shown.kmi_args = shorter->data();
  const std::string log = logOfProvider(m_name);
  const std::string rest =
      access(log.c_str(), F_OK) == 0 ? translate("The whole output of the program is in {0}.", log) : std::string();
  return textOf(shown) + (rest.empty() ? "" : "\n" + rest);
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
