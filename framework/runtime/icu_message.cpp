// The text form of a message's arguments: a JSON array on one line.
#include <limits>
#include <nlohmann/json.hpp>

#include "cfimessage.h"

namespace qmfi_pdk_4_4 {

namespace {

using icu::Formattable;
using nlohmann::json;

// Strings and numbers keep their kind; what catalogs have no use for becomes null.
json toJson(const Formattable& argument) {
  switch (argument.getType()) {
    case Formattable::kString: {
      std::string text;
      argument.getString().toUTF8String(text);
      return text;
    }
    case Formattable::kLong:
      return argument.getLong();
    case Formattable::kInt64:
      return argument.getInt64();
    case Formattable::kDouble:
      return argument.getDouble();
    default:
      return nullptr;
  }
}

// The shortest kind that holds the number, as messages are made with it.
Formattable fromInteger(std::int64_t number) {
  const bool isShort = number == static_cast<std::int32_t>(number);
  return isShort ? Formattable(static_cast<std::int32_t>(number)) : Formattable(number);
}

Formattable fromJson(const json& value) {
  switch (value.type()) {
    case json::value_t::string:
      return {icu::UnicodeString::fromUTF8(value.get_ref<const std::string&>())};
    case json::value_t::number_integer:
      return fromInteger(value.get<std::int64_t>());
    case json::value_t::number_unsigned: {
      const auto number = value.get<std::uint64_t>();
      constexpr std::uint64_t highest = std::numeric_limits<std::int64_t>::max();
      return number <= highest ? fromInteger(static_cast<std::int64_t>(number)) : Formattable(value.get<double>());
    }
    case json::value_t::number_float:
      return {value.get<double>()};
    default:
      return {icu::UnicodeString()};
  }
}

}  // namespace

std::string CFiIcuMessage::serialize() const {
  json list = json::array();
  for (const Formattable& argument : m_arguments) list.push_back(toJson(argument));
  return list.dump(-1, ' ', false, json::error_handler_t::replace);
}

CFiMessageSPtr CFiIcuMessage::deserialize(const kfi_msg_info* record) {
  const std::string text = record->kmi_args != nullptr ? record->kmi_args : "";
  const json list = json::parse(text, nullptr, false);
  std::vector<Formattable> arguments;
  if (list.is_array()) {
    for (const json& value : list) arguments.push_back(fromJson(value));
  }
  return CFiMessageSPtr(new CFiIcuMessage(record->kmi_id, arguments.data(), static_cast<int>(arguments.size()),
                                          record->kmi_severity, record->kmi_file, record->kmi_line));
}

}  // namespace qmfi_pdk_4_4
