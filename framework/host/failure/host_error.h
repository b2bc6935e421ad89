// The ways in which a command of the host fails, and how a failure is told to the user.
#ifndef HOST_ERROR_H
#define HOST_ERROR_H

#include <exception>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace qmfi_host {

// Something could not be done; the text says what and why, for the user.
class HostError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The command line asks for something that cannot be meant.
class UsageError : public HostError {
 public:
  using HostError::HostError;
};

// A message that the provider pushed, in the user's language.
struct ProviderMessage {
  std::string id;
  std::string text;
  std::vector<std::string> arguments{};  // those that are texts
};

// A call of the provider failed.
class ProviderError : public HostError {
 public:
  // what: what could not be done. messages: newest first. explanation: what the status means, for a call that pushed no
  // message.
  ProviderError(const std::string& what, int status, std::vector<ProviderMessage> messages, std::string explanation);

  int status() const { return m_status; }
  const std::vector<ProviderMessage>& messages() const { return m_messages; }
  const std::string& explanation() const { return m_explanation; }

 private:
  int m_status;
  std::vector<ProviderMessage> m_messages;
  std::string m_explanation;
};

// A HostError for the system call that has just failed: "<what>: <text of errno>".
HostError systemError(const std::string& what);
HostError systemError(const std::string& what, int errorNumber);

// Writes a failure: "qmfi: " and its text, then a line for each message of the provider.
void printError(std::ostream& out, const std::exception& error);

// Runs an action whose failure must not keep others from being done, nor replace another failure: a HostError of its is
// reported on standard error. Returns whether it succeeded.
bool tryOrReport(const std::function<void()>& action);

}  // namespace qmfi_host

#endif
