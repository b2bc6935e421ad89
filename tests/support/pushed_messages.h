// What a plug-in's error queue holds, in a form that compares and prints whole.
#ifndef SUPPORT_PUSHED_MESSAGES_H
#define SUPPORT_PUSHED_MESSAGES_H

#include <ostream>
#include <string>
#include <vector>

#include "cfimessage.h"

struct PushedMessage {
  std::string id;
  std::vector<std::string> arguments;  // "s:<text>" for a string, "i:<digits>" for a 32-bit number
  int severity;
  std::string file;
  int line;

  bool operator==(const PushedMessage&) const = default;
};

inline void PrintTo(const PushedMessage& message, std::ostream* out) {
  *out << message.id << " (";
  for (const std::string& argument : message.arguments) *out << ' ' << argument;
  *out << " ) severity " << message.severity << " at " << message.file << ':' << message.line;
}

inline std::string argumentText(const icu::Formattable& argument) {
  if (argument.getType() == icu::Formattable::kLong) return "i:" + std::to_string(argument.getLong());
  std::string text = "s:";
  return argument.getType() == icu::Formattable::kString ? argument.getString().toUTF8String(text) : "?";
}

inline PushedMessage describe(const qmfi_pdk_4_4::CFiMessageSPtr& message) {
  const auto& icuMessage = dynamic_cast<const qmfi_pdk_4_4::CFiIcuMessage&>(*message);
  PushedMessage pushed{
      message->getMessageId(), {}, message->getSeverity(), message->getFileName(), message->getLineNumber()};
  for (const icu::Formattable& argument : icuMessage.getArguments()) pushed.arguments.push_back(argumentText(argument));
  return pushed;
}

inline std::vector<PushedMessage> describe(const std::vector<qmfi_pdk_4_4::CFiMessageSPtr>& messages) {
  std::vector<PushedMessage> pushed;
  pushed.reserve(messages.size());
  for (const qmfi_pdk_4_4::CFiMessageSPtr& message : messages) pushed.push_back(describe(message));
  return pushed;
}

#endif
