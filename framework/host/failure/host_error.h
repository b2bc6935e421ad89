// The ways in which a command of the host fails, and how a failure is told to the user.
#ifndef HOST_ERROR_H
#define HOST_ERROR_H

#include <exception>
#include <functional>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "failure/exit_status.h"
#include "failure/failure_kind.h"
#include "failure/json_text.h"

namespace qmfi_host {

// Something could not be done; the text says what and why, for the user. Programs are told the kind, and by texts of
// their own, where they are known, what it is about, why, and what to do.
class HostError : public std::runtime_error {
 public:
  // For none of the reasons that have a kind of their own.
  explicit HostError(const std::string& text) : HostError(Failure::failed, text) {}
  // failure: the kind, which says what qmfi exits with when this ends it. lines: what is listed below the text, a line
  // for each.
  HostError(Failure failure, const std::string& text, std::vector<std::string> lines = {})
      : std::runtime_error(text),
        m_failure(failure),
        m_exitStatus(kindOf(failure).exitStatus),
        m_lines(std::move(lines)) {}
  // For the kind that all of an exit status have in common.
  HostError(ExitStatus status, const std::string& text, std::vector<std::string> lines = {})
      : HostError(failureOfStatus(status), text, std::move(lines)) {
    m_exitStatus = status;
  }

  // The path, device or snapshot that it is about.
  HostError& about(std::string object) {
    m_object = std::move(object);
    return *this;
  }
  // Why it failed: the text of a system error, or what is known of a provider's reason.
  HostError& because(std::string cause) {
    m_cause = std::move(cause);
    return *this;
  }
  // What to do next, where that is not what is to be done about all failures of the kind.
  HostError& advise(std::string hint) {
    m_hint = std::move(hint);
    return *this;
  }

  Failure failure() const { return m_failure; }
  ExitStatus exitStatus() const { return m_exitStatus; }
  // What happened afterwards outweighs it.
  void setFailure(Failure failure) {
    m_failure = failure;
    m_exitStatus = kindOf(failure).exitStatus;
  }
  // The same by an exit status; the kind stays where none belongs to the status.
  void setExitStatus(ExitStatus status) {
    if (status == m_exitStatus) return;
    const Failure common = failureOfStatus(status);
    if (kindOf(common).exitStatus == status) m_failure = common;
    m_exitStatus = status;
  }
  const std::vector<std::string>& lines() const { return m_lines; }
  const std::optional<std::string>& object() const { return m_object; }
  const std::optional<std::string>& cause() const { return m_cause; }
  const std::optional<std::string>& hint() const { return m_hint; }

 private:
  Failure m_failure;
  ExitStatus m_exitStatus;
  std::vector<std::string> m_lines;
  std::optional<std::string> m_object{};
  std::optional<std::string> m_cause{};
  std::optional<std::string> m_hint{};
};

// The command line asks for something that cannot be meant.
class UsageError : public HostError {
 public:
  // text: which words, and why.
  explicit UsageError(const std::string& text) : HostError(ExitStatus::wrongUsage, text) {}
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
  // what: what could not be done. messages: newest first. explanation: what the status means, or else what is known of
  // the reason.
  ProviderError(const std::string& what, int status, std::vector<ProviderMessage> messages, std::string explanation);

  int status() const { return m_status; }
  const std::vector<ProviderMessage>& messages() const { return m_messages; }
  const std::string& explanation() const { return m_explanation; }

 private:
  int m_status;
  std::vector<ProviderMessage> m_messages;
  std::string m_explanation;
};

// A HostError for the system call that has just failed: "<what>: <text of errno>". Its kind tells a lack of permission,
// what is busy and what is full.
HostError systemError(const std::string& what);
HostError systemError(const std::string& what, int errorNumber);

// The same for what the user has named: its kind tells also what does not exist.
HostError systemErrorOfNamed(const std::string& what);

// How failures and notices are written.
enum class MessageForm { text, json };

// Has them written so from now on in the whole process. They are text before.
void setMessageForm(MessageForm form);

// A failure as programs are told of it. docs/qmfi.md lists the keys.
Json jsonOf(const std::exception& error);

// Writes the failure that ends qmfi: "qmfi: " and its text in one line, then the lines below it, and of a provider's
// failure the explanation and a line for each message. A message of several lines is indented from the second on. Or an
// object with the member "error", in one line. All is written at once, so that what others write to the same stream
// does not come between.
void printError(std::ostream& out, const std::exception& error);

// Writes what the user is to know on standard error, at once: "qmfi: " and the text in one line, or an object with the
// member "notice".
void printNotice(const std::string& text);

// Writes a failure that does not end qmfi on standard error, at once: as text like any other, or as a notice.
void reportError(const std::exception& error);

// Runs an action whose failure must not keep others from being done, nor replace another failure: a HostError of its is
// reported on standard error. Returns what became of it.
ExitStatus outcomeOf(const std::function<void()>& action);

// The same, and returns whether it succeeded.
bool tryOrReport(const std::function<void()>& action);

}  // namespace qmfi_host

#endif
