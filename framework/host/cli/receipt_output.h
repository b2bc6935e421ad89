// Receipts as programs and as people read them.
#ifndef RECEIPT_OUTPUT_H
#define RECEIPT_OUTPUT_H

#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <string>

#include "state/snapshot.h"

namespace qmfi_host {

// "level", the beginning and the end of the window, its moments in microseconds from the beginning, and
// "file_systems" with those of each; null where there is no receipt.
nlohmann::ordered_json receiptJson(const Snapshot& snapshot);

// A moment of the world's time: "2026-11-22T01:30:00.250113Z".
std::string exactUtcTime(FreezeReceipt::Time time);

// A line with the moments of one of the snapshot's file systems; nothing without a receipt.
void printMoments(std::ostream& out, const Snapshot& snapshot, std::size_t position);

}  // namespace qmfi_host

#endif
