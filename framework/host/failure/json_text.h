// JSON as it is printed.
#ifndef JSON_TEXT_H
#define JSON_TEXT_H

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace qmfi_host {

// Keys keep the order in which they are set.
using Json = nlohmann::ordered_json;

// A document of several lines. JSON holds text, and names may hold any bytes: a member whose bytes are not UTF-8 stands
// with replacements for them, and beside it a member "<key>_bytes" with all its bytes as percentEncoded() writes them.
std::string jsonDocument(const Json& json);

// The same in one line. Both end with a line feed.
std::string jsonLine(const Json& json);

}  // namespace qmfi_host

#endif
