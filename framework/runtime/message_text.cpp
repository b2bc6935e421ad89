// The text of a message that no catalog knows.
#include "message_text.h"

namespace qmfi_runtime {

namespace {

using icu::Formattable;

std::string argumentText(Formattable argument) {
  std::string text;
  if (argument.getType() == Formattable::kString) return argument.getString().toUTF8String(text);
  if (!argument.isNumeric()) return text;
  UErrorCode status = U_ZERO_ERROR;
  const auto digits = argument.getDecimalNumber(status);
  return U_SUCCESS(status) ? std::string(digits.data(), static_cast<std::size_t>(digits.length())) : text;
}

}  // namespace

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
