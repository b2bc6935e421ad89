// The text of a message that no catalog knows.
#ifndef MESSAGE_TEXT_H
#define MESSAGE_TEXT_H

#include <string>

#include "cfimessage.h"

namespace qmfi_runtime {

// The identifier, and behind a colon its arguments, separated by commas: "MSG_ERROR_FREEZE: /data, 22".
std::string untranslatedText(const qmfi_pdk_4_4::CFiMessage& message);

}  // namespace qmfi_runtime

#endif
