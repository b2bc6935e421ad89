// The text form of a message's arguments: a JSON array on one line.
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>
#include <variant>

#include "cfimessage.h"
#include "message_text.h"

namespace qmfi_pdk_4_4 {

namespace {

using icu::Formattable;
using nlohmann::json;

// Strings and numbers keep their kind; what catalogs have no use for becomes null.
json toJson(const Formattable& argument) {
  switch (argument.getType()) {
    case Formattable::kString:
      return qmfi_runtime::utf8Of(argument.getString());
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

using Scalar = std::variant<std::string, std::int64_t, double>;

// Collects the elements of a JSON array; what is not text or number counts as an empty text. The library's own array
// takes memory in its destructor, and would end the process when there is none.
class ElementReader final : public nlohmann::json_sax<json> {
 public:
  explicit ElementReader(std::vector<Scalar>& elements) : m_elements(elements) {}

  bool null() override { return add(std::string()); }
  bool boolean(bool) override { return add(std::string()); }
  bool number_integer(std::int64_t number) override { return add(number); }
  bool number_unsigned(std::uint64_t number) override {
    constexpr std::uint64_t highestInteger = std::numeric_limits<std::int64_t>::max();
    if (number > highestInteger) return add(static_cast<double>(number));
    return add(static_cast<std::int64_t>(number));
  }
  bool number_float(double number, const std::string&) override { return add(number); }
  bool string(std::string& text) override { return add(text); }
  bool binary(json::binary_t&) override { return add(std::string()); }
  bool start_object(std::size_t) override { return m_depth > 0 && enter(); }
  bool key(std::string&) override { return true; }
  bool end_object() override { return leave(); }
  bool start_array(std::size_t) override { return enter(); }
  bool end_array() override { return leave(); }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

 private:
  // False ends the reading: the text is no array.
  bool add(Scalar element) {
    if (m_depth == 1) m_elements.push_back(std::move(element));
    return m_depth > 0;
  }
  bool enter() {
    if (m_depth == 1) m_elements.emplace_back(std::string());
    ++m_depth;
    return true;
  }
  bool leave() {
    --m_depth;
    return true;
  }

  // Never copied: a copy of a variant that finds no memory is not safe to destroy.
  std::vector<Scalar>& m_elements;
  std::size_t m_depth = 0;
};

// Integers become the shortest kind that holds them, as messages are made with it.
std::vector<Formattable> toArguments(const std::vector<Scalar>& elements) {
  std::vector<Formattable> arguments;
  // Values that move to another place are copied, and a copy can lose its text without a word.
  arguments.reserve(elements.size());
  for (const Scalar& element : elements) {
    if (const auto* const text = std::get_if<std::string>(&element)) {
      wholeArgument(arguments.emplace_back(icu::UnicodeString::fromUTF8(*text)));
    } else if (const auto* const real = std::get_if<double>(&element)) {
      arguments.emplace_back(*real);
    } else {
      const auto integer = std::get<std::int64_t>(element);
      const auto shorter = static_cast<std::int32_t>(integer);
      shorter == integer ? arguments.emplace_back(shorter) : arguments.emplace_back(integer);
    }
  }
  return arguments;
}

}  // namespace

std::string CFiIcuMessage::serialize() const {
  std::string list;
  for (const Formattable& argument : m_arguments) {
    list += list.empty() ? '[' : ',';
    list += toJson(argument).dump(-1, ' ', false, json::error_handler_t::replace);
  }
  return list.empty() ? "[]" : list + ']';
}

CFiMessageSPtr CFiIcuMessage::deserialize(const kfi_msg_info* record) {
  const std::string text = record->kmi_args != nullptr ? record->kmi_args : "";
  std::vector<Scalar> elements;
  ElementReader reader(elements);
  if (!json::sax_parse(text, &reader)) elements.clear();
  const std::vector<Formattable> arguments = toArguments(elements);
  return adopt<CFiMessageSPtr>(std::make_unique<CFiIcuMessage>(record->kmi_id, arguments.data(),
                                                               static_cast<int>(arguments.size()), record->kmi_severity,
                                                               record->kmi_file, record->kmi_line));
}

}  // namespace qmfi_pdk_4_4
