// Validation by valijson.
#include "support/json_schema.h"

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

#include "build_tree.h"
#include "support/text_file.h"

namespace testbed_test {

namespace fs = std::filesystem;

using Json = nlohmann::json;
using Adapter = valijson::adapters::NlohmannJsonAdapter;

namespace {

constexpr const char* directory = QMFI_SOURCE_DIR "/share/qmfi/schema";

Json read(const std::string& file) {
  return Json::parse(textOf(fs::path(directory) / file));
}

void populate(const std::string& name, valijson::Schema& schema) {
  const Json json = read(name + ".json");
  const auto fetch = [](const std::string& file) { return new Json(read(file)); };
  const auto release = [](const Json* document) { delete document; };
  valijson::SchemaParser(valijson::SchemaParser::kDraft7).populateSchema(Adapter(json), schema, fetch, release);
}

// The words of the command among all words; empty where there is none.
std::string commandIn(const std::vector<std::string>& words) {
  std::vector<std::string> plain;
  std::copy_if(words.begin(), words.end(), std::back_inserter(plain),
               [](const std::string& word) { return !word.starts_with("--"); });
  const std::vector<std::string> names = schemaNames();
  const auto isName = [&](const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
  };
  for (std::size_t i = 0; i < plain.size(); ++i) {
    if (i + 1 < plain.size() && isName(plain[i] + "-" + plain[i + 1])) return plain[i] + "-" + plain[i + 1];
    if (isName(plain[i])) return plain[i];
  }
  return {};
}

// The one of a line of the standard error output.
std::string schemaOfLine(const std::string& line) {
  const Json json = Json::parse(line, nullptr, false);
  return json.contains("event") ? "progress" : "failure";
}

// Whether the last line tells why qmfi ended with this status.
bool tellsStatus(const std::vector<std::string>& lines, int status) {
  if (lines.empty()) return false;
  const Json last = Json::parse(lines.back());
  return last.contains("error") && last["error"]["exit_status"] == status;
}

}  // namespace

std::vector<std::string> schemaNames() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) names.push_back(entry.path().stem());
  std::sort(names.begin(), names.end());
  return names;
}

std::string schemaErrors(const std::string& schema, const std::string& document) {
  const Json json = Json::parse(document, nullptr, false);
  if (json.is_discarded()) return "no JSON: " + document + "\n";
  valijson::Schema parsed;
  populate(schema, parsed);
  valijson::ValidationResults results;
  if (valijson::Validator().validate(parsed, Adapter(json), &results)) return {};
  std::string all;
  for (const valijson::ValidationResults::Error& error : results) {
    for (const std::string& place : error.context) all += place;
    all += ": " + error.description + "\n";
  }
  return all + document;
}

JsonOutput jsonOutputOf(const std::string& output) {
  JsonOutput parts;
  std::istringstream stream(output);
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with("{\"")) {
      parts.lines.push_back(line);
    } else {
      parts.document += line + "\n";
    }
  }
  return parts;
}

std::string brokenPromises(const std::vector<std::string>& words, int status, const std::string& output) {
  const JsonOutput parts = jsonOutputOf(output);
  const std::string command = commandIn(words);
  std::string broken;
  for (const std::string& line : parts.lines) broken += schemaErrors(schemaOfLine(line), line);
  if (status == 0 && parts.document.empty()) broken += "nothing is printed\n";
  if (!parts.document.empty()) broken += schemaErrors(command, parts.document);
  constexpr int endedBySignal = 128;
  if (status != 0 && status < endedBySignal && !tellsStatus(parts.lines, status)) {
    broken += "the last line does not tell of status " + std::to_string(status) + ": " + output;
  }
  return broken;
}

}  // namespace testbed_test
