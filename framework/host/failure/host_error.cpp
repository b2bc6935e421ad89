// Texts of failures.
#include "failure/host_error.h"

#include <cerrno>
#include <iostream>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>

#include "failure/notices.h"
#include "failure/one_line.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

Failure failureOfErrno(int errorNumber) {
  switch (errorNumber) {
    case EPERM:
    case EACCES:
      return Failure::noPermission;
    case EBUSY:
      return Failure::busy;
    case ENOSPC:
    case EDQUOT:
      return Failure::storageFull;
    default:
      return Failure::failed;
  }
}

}  // namespace

ProviderError::ProviderError(const std::string& what, int status, std::vector<ProviderMessage> messages,
                             std::string explanation)
    : HostError(Failure::providerFailed, translate("{0}: status {1}", what, status)),
      m_status(status),
      m_messages(std::move(messages)),
      m_explanation(std::move(explanation)) {
  if (!m_explanation.empty()) because(m_explanation);
}

namespace {

// What a program printed may have several lines, and a name in it may hold one.
std::string indented(const std::string& text) {
  std::string result;
  for (const char character : text) result += character == '\n' ? "\n      " : std::string(1, character);
  return result;
}

MessageForm& messageForm() {
  static MessageForm form = MessageForm::text;
  return form;
}

bool isJson() {
  return messageForm() == MessageForm::json;
}

std::string lineOf(const std::string& text) {
  return "qmfi: " + inOneLine(text);
}

std::string errorText(const std::exception& error) {
  std::string result = lineOf(error.what()) + "\n";
  if (const auto* const own = dynamic_cast<const HostError*>(&error)) {
    for (const std::string& line : own->lines()) result += "  " + inOneLine(line) + "\n";
  }
  const auto* const failedCall = dynamic_cast<const ProviderError*>(&error);
  if (failedCall == nullptr) return result;
  if (!failedCall->explanation().empty()) result += "  " + indented(failedCall->explanation()) + "\n";
  for (const ProviderMessage& message : failedCall->messages()) {
    result += "  " + message.id + ": " + indented(message.text) + "\n";
  }
  return result;
}

Json orNull(const std::optional<std::string>& text) {
  return text ? Json(*text) : Json();
}

Json hintOf(const HostError& error) {
  if (error.hint()) return *error.hint();
  const char* const advice = kindOf(error.failure()).advice;
  return advice != nullptr ? Json(translated(advice)) : Json();
}

Json jsonOfMessages(const std::vector<ProviderMessage>& messages) {
  Json array = Json::array();
  for (const ProviderMessage& message : messages) array.push_back({{"id", message.id}, {"text", message.text}});
  return array;
}

Json jsonOfHostError(const HostError& error) {
  Json json = {{"id", kindOf(error.failure()).id},
               {"exit_status", static_cast<int>(error.exitStatus())},
               {"text", lineOf(error.what())},
               {"object", orNull(error.object())},
               {"cause", orNull(error.cause())},
               {"hint", hintOf(error)},
               {"lines", error.lines()}};
  if (const auto* const failedCall = dynamic_cast<const ProviderError*>(&error)) {
    json["status"] = failedCall->status();
    json["messages"] = jsonOfMessages(failedCall->messages());
  }
  return json;
}

std::string noticeText(const std::string& text, const Json& error) {
  if (!isJson()) return lineOf(text) + "\n";
  return jsonLine({{"notice", {{"text", lineOf(text)}, {"error", error}}}});
}

}  // namespace

HostError systemError(const std::string& what) {
  return systemError(what, errno);
}

HostError systemError(const std::string& what, int errorNumber) {
  const std::string cause = std::generic_category().message(errorNumber);
  return HostError(failureOfErrno(errorNumber), translate("{0}: {1}", what, cause)).because(cause);
}

HostError systemErrorOfNamed(const std::string& what) {
  const bool isMissing = errno == ENOENT;
  HostError error = systemError(what);
  if (isMissing) error.setFailure(Failure::notFound);
  return error;
}

void setMessageForm(MessageForm form) {
  messageForm() = form;
}

Json jsonOf(const std::exception& error) {
  const auto* const own = dynamic_cast<const HostError*>(&error);
  return own != nullptr ? jsonOfHostError(*own) : jsonOfHostError(HostError(error.what()));
}

void printError(std::ostream& out, const std::exception& error) {
  out << (isJson() ? jsonLine({{"error", jsonOf(error)}}) : errorText(error));
}

void printNotice(const std::string& text) {
  if (areNoticesTold()) std::cerr << noticeText(text, nullptr);
}

void reportError(const std::exception& error) {
  std::cerr << (isJson() ? noticeText(error.what(), jsonOf(error)) : errorText(error));
}

ExitStatus outcomeOf(const std::function<void()>& action) {
  try {
    action();
    return ExitStatus::done;
  } catch (const HostError& error) {
    reportError(error);
    return error.exitStatus();
  }
}

bool tryOrReport(const std::function<void()>& action) {
  return outcomeOf(action) == ExitStatus::done;
}

}  // namespace qmfi_host
