// JSON of receipts.
#include "state/receipt_json.h"

#include <cstdint>
#include <nlohmann/json.hpp>

#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

using Json = nlohmann::ordered_json;
using Moment = FreezeReceipt::Moment;

Moment momentIn(const Json& json, const char* key) {
  return Moment(json.at(key).get<std::int64_t>());
}

FreezeReceipt::Time timeIn(const Json& json, const char* key) {
  return FreezeReceipt::Time(momentIn(json, key));
}

ThawAnswer thawAnswerOf(const std::string& name) {
  if (name == "no_failure") return ThawAnswer::noFailure;
  if (name == "unknown") return ThawAnswer::unknown;
  throw HostError(translate("the receipt knows no thaw \"{0}\"", name));
}

FileSystemReceipt fileSystemOf(const Json& json) {
  FileSystemReceipt fileSystem;
  fileSystem.freezeAsked = momentIn(json, "freeze_asked_us");
  fileSystem.frozen = momentIn(json, "frozen_us");
  if (!json.at("proven_us").is_null()) fileSystem.proven = momentIn(json, "proven_us");
  fileSystem.thawAsked = momentIn(json, "thaw_asked_us");
  fileSystem.thawed = momentIn(json, "thawed_us");
  fileSystem.thaw = thawAnswerOf(json.at("thaw").get<std::string>());
  return fileSystem;
}

FreezeReceipt wholeReceiptOf(const Json& json) {
  FreezeReceipt receipt;
  receipt.begin = timeIn(json, "begin_us");
  receipt.end = timeIn(json, "end_us");
  receipt.sinceStart = momentIn(json, "since_start_us");
  receipt.splitBegan = momentIn(json, "split_began_us");
  receipt.splitEnded = momentIn(json, "split_ended_us");
  receipt.over = momentIn(json, "over_us");
  receipt.mayEnd = momentIn(json, "may_end_us");
  for (const Json& fileSystem : json.at("file_systems")) receipt.fileSystems.push_back(fileSystemOf(fileSystem));
  return receipt;
}

HostError noReceipt(const Json::exception& error) {
  return HostError(translate("the receipt makes no sense: {0}", error.what()));
}

}  // namespace

Json jsonOf(const FileSystemReceipt& fileSystem) {
  const std::optional<Moment>& proven = fileSystem.proven;
  return {{"freeze_asked_us", fileSystem.freezeAsked.count()},
          {"frozen_us", fileSystem.frozen.count()},
          {"proven_us", proven ? Json(proven->count()) : Json()},
          {"thaw_asked_us", fileSystem.thawAsked.count()},
          {"thawed_us", fileSystem.thawed.count()},
          {"thaw", fileSystem.thaw == ThawAnswer::noFailure ? "no_failure" : "unknown"}};
}

Json jsonOf(const std::optional<FreezeReceipt>& receipt) {
  if (!receipt) return {};
  Json fileSystems = Json::array();
  for (const FileSystemReceipt& fileSystem : receipt->fileSystems) fileSystems.push_back(jsonOf(fileSystem));
  return {{"begin_us", receipt->begin.time_since_epoch().count()},
          {"end_us", receipt->end.time_since_epoch().count()},
          {"since_start_us", receipt->sinceStart.count()},
          {"split_began_us", receipt->splitBegan.count()},
          {"split_ended_us", receipt->splitEnded.count()},
          {"over_us", receipt->over.count()},
          {"may_end_us", receipt->mayEnd.count()},
          {"file_systems", std::move(fileSystems)}};
}

std::optional<FreezeReceipt> receiptOf(const Json& json) {
  if (json.is_null()) return std::nullopt;
  try {
    return wholeReceiptOf(json);
  } catch (const Json::exception& error) {
    throw noReceipt(error);
  }
}

std::string receiptText(const std::optional<FreezeReceipt>& receipt) {
  return receipt ? jsonOf(receipt).dump() : "";
}

std::optional<FreezeReceipt> receiptOf(const std::string& text) {
  if (text.empty()) return std::nullopt;
  try {
    return receiptOf(Json::parse(text));
  } catch (const Json::exception& error) {
    throw noReceipt(error);
  }
}

}  // namespace qmfi_host
