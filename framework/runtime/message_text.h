// Texts of messages.
#ifndef MESSAGE_TEXT_H
#define MESSAGE_TEXT_H

#include <optional>
#include <string>

#include "cfimessage.h"

namespace qmfi_runtime {

// The text in UTF-8. Throws std::bad_alloc when memory is short, also where ICU would say nothing or leave the text
// out.
std::string utf8Of(const icu::UnicodeString& text);

// The digits of an integer argument; nothing for any other kind.
std::optional<std::string> integerText(const icu::Formattable& argument);

// The identifier, and behind a colon its arguments, separated by commas: "MSG_ERROR_OPEN: /data, 22".
std::string untranslatedText(const qmfi_pdk_4_4::CFiMessage& message);

}  // namespace qmfi_runtime

#endif
