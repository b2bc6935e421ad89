// Judging receipts.
#include "state/freeze_receipt.h"

#include <algorithm>

#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

// Whether a file system was frozen at a moment at which all were, and until the split was over.
bool isProven(const FileSystemReceipt& one, const FreezeReceipt& receipt, FreezeReceipt::Moment lastFrozen) {
  return one.proven && *one.proven >= lastFrozen && *one.proven <= receipt.splitBegan &&
         receipt.splitEnded <= one.thawAsked && one.thaw == ThawAnswer::noFailure;
}

}  // namespace

std::chrono::microseconds longestStall(const FileSystemReceipt& fileSystem) {
  return fileSystem.thawed - fileSystem.freezeAsked;
}

std::string levelName(ProofLevel level) {
  return level == ProofLevel::group ? "group" : "none";
}

ProofLevel levelOfName(const std::string& name) {
  for (const ProofLevel level : {ProofLevel::none, ProofLevel::group}) {
    if (name == levelName(level)) return level;
  }
  throw UsageError(translate("\"{0}\" is no level of what is proven: there are none and group", name));
}

ProofLevel levelOf(const FreezeReceipt& receipt) {
  if (receipt.fileSystems.empty() || receipt.splitEnded >= receipt.mayEnd) return ProofLevel::none;
  FreezeReceipt::Moment lastFrozen{0};
  for (const FileSystemReceipt& one : receipt.fileSystems) lastFrozen = std::max(lastFrozen, one.frozen);
  const bool areProven = std::all_of(receipt.fileSystems.begin(), receipt.fileSystems.end(),
                                     [&](const FileSystemReceipt& one) { return isProven(one, receipt, lastFrozen); });
  return areProven ? ProofLevel::group : ProofLevel::none;
}

}  // namespace qmfi_host
