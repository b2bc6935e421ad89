// Bytes that are no text, in JSON.
#include "failure/json_text.h"

#include <nlohmann/json.hpp>

#include "failure/percent_code.h"

namespace qmfi_host {

namespace {

bool isText(const Json& value) {
  try {
    static_cast<void>(value.dump());
    return true;
  } catch (const Json::type_error&) {
    return false;
  }
}

Json withBytes(const Json& json) {
  Json result = json.is_array() ? Json::array() : Json::object();
  if (json.is_array()) {
    for (const Json& element : json) result.push_back(withBytes(element));
    return result;
  }
  if (!json.is_object()) return json;
  for (const auto& [key, value] : json.items()) {
    result[key] = withBytes(value);
    if (value.is_string() && !isText(value)) result[key + "_bytes"] = percentEncoded(value.get<std::string>());
  }
  return result;
}

std::string textOf(const Json& json, int indentation) {
  return withBytes(json).dump(indentation, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace

std::string jsonDocument(const Json& json) {
  constexpr int indentation = 2;
  return textOf(json, indentation);
}

std::string jsonLine(const Json& json) {
  constexpr int inOneLine = -1;
  return textOf(json, inOneLine);
}

}  // namespace qmfi_host
