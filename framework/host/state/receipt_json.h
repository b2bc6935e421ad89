// Receipts as the state store and the records keep them.
#ifndef RECEIPT_JSON_H
#define RECEIPT_JSON_H

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "state/freeze_receipt.h"

namespace qmfi_host {

// The moments of a file system, in microseconds from the beginning of the window, and "thaw".
nlohmann::ordered_json jsonOf(const FileSystemReceipt& fileSystem);

// A receipt as a JSON object, or null where there is none.
nlohmann::ordered_json jsonOf(const std::optional<FreezeReceipt>& receipt);

// The receipt of such a JSON value. Throws HostError with the reason when it is none.
std::optional<FreezeReceipt> receiptOf(const nlohmann::ordered_json& json);

// The same as a text, which is empty where there is no receipt.
std::string receiptText(const std::optional<FreezeReceipt>& receipt);

// The receipt of such a text. Throws HostError with the reason when it is none.
std::optional<FreezeReceipt> receiptOf(const std::string& text);

}  // namespace qmfi_host

#endif
