// The text of a message that no catalog knows.
#include "message_text.h"

#include <new>

namespace qmfi_runtime {

namespace {

using icu::Formattable;

std::string argumentText(const Formattable& argument) {
  if (argument.getType() == Formattable::kString) return utf8Of(argument.getString());
  if (const auto integer = integerText(argument)) return *integer;
  if (!argument.isNumeric()) return {};
  UErrorCode status = U_ZERO_ERROR;
  Formattable number(argument);
  const auto digits = number.getDecimalNumber(status);
  if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
  return U_SUCCESS(status) ? std::string(digits.data(), static_cast<std::size_t>(digits.length())) : std::string();
}

}  // namespace

std::string utf8Of(const icu::UnicodeString& text) {
  std::string converted;
  text.toUTF8String(converted);
  if (text.isBogus() || converted.empty() != text.isEmpty()) throw std::bad_alloc();
  return converted;
}

std::optional<std::string> integerText(const Formattable& argument) {
  switch (argument.getType()) {
    case Formattable::kLong:
      return std::to_string(argument.getLong());
    case Formattable::kInt64:
      return std::to_string(argument.getInt64());
    default:
      return std::nullopt;
  }
}

std::string untranslatedText(const qmfi_pdk_4_4::CFiMessage& message) {
  std::string text = message.getMessageId();
  const auto* const icuMessage = dynamic_cast<const qmfi_pdk_4_4::CFiIcuMessage*>(&message);
  if (icuMessage == nullptr) return text;
  const char* separator = ": ";
  for (const Formattable& argument : icuMessage->getArguments()) {
    text += separator + argumentText(argument);
    separator = ", ";
  }
  return text;
}

}  // namespace qmfi_runtime
