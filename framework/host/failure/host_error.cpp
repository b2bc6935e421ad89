// Texts of failures.
#include "failure/host_error.h"

#include <cerrno>
#include <iostream>
#include <system_error>
#include <utility>

namespace qmfi_host {

ProviderError::ProviderError(const std::string& what, int status, std::vector<ProviderMessage> messages,
                             std::string explanation)
    : HostError(what + ": status " + std::to_string(status)),
      m_status(status),
      m_messages(std::move(messages)),
      m_explanation(std::move(explanation)) {}

HostError systemError(const std::string& what) {
  return systemError(what, errno);
}

HostError systemError(const std::string& what, int errorNumber) {
  return HostError(what + ": " + std::generic_category().message(errorNumber));
}

void printError(std::ostream& out, const std::exception& error) {
  out << "qmfi: " << error.what() << "\n";
  const auto* const failedCall = dynamic_cast<const ProviderError*>(&error);
  if (failedCall == nullptr) return;
  for (const ProviderMessage& message : failedCall->messages())
    out << "  " << message.id << ": " << message.text << "\n";
  if (failedCall->messages().empty()) out << "  " << failedCall->explanation() << "\n";
}

bool tryOrReport(const std::function<void()>& action) {
  try {
    action();
    return true;
  } catch (const HostError& error) {
    printError(std::cerr, error);
    return false;
  }
}

}  // namespace qmfi_host
