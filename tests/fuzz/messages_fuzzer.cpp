// Messages with any identifiers and arguments: their text form there and back, and their texts in any language.
#include <unicode/unistr.h>

#include <nlohmann/json.hpp>
#include <vector>

#include "build_tree.h"
#include "cfimessagecatalog.h"
#include "fuzz_input.h"

namespace {

using namespace qmfi_pdk_4_4;
using icu::Formattable;

constexpr const char* knownIds[] = {
    "MSG_ERROR_FREEZE",
    "MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION",
    "MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION",
    "MSG_ERROR_INITIALIZATION_FAILED",
};

const CFiIcuMessage& asIcu(const CFiMessageSPtr& message) {
  return static_cast<const CFiIcuMessage&>(*message);
}

kfi_msg_info recordOf(char* id, char* arguments) {
  kfi_msg_info record{};
  record.kmi_id = id;
  record.kmi_args = arguments;
  record.kmi_severity = KFI_SEVERITY_ERROR;
  return record;
}

std::vector<Formattable> anyArguments(FuzzedDataProvider& input) {
  std::vector<Formattable> arguments;
  const auto count = input.ConsumeIntegralInRange(0, 12);
  for (int i = 0; i < count; ++i) {
    switch (input.ConsumeIntegralInRange(0, 3)) {
      case 0:
        arguments.emplace_back(input.ConsumeIntegral<std::int32_t>());
        break;
      case 1:
        arguments.emplace_back(std::int64_t{1} << 40 | input.ConsumeIntegral<std::int32_t>());
        break;
      case 2:
        arguments.emplace_back(input.ConsumeFloatingPoint<double>());
        break;
      default:
        arguments.emplace_back(icu::UnicodeString::fromUTF8(input.ConsumeRandomLengthString(200)));
    }
  }
  return arguments;
}

// Mostly one of few languages, since a catalog is opened for every other one.
std::string anyLanguage(FuzzedDataProvider& input) {
  constexpr const char* usual[] = {"", "de", "de_AT.UTF-8", "en", "root", "zz", "../de"};
  constexpr std::uint8_t mostly = 0xf0;
  return input.ConsumeIntegral<std::uint8_t>() < mostly ? input.PickValueInArray(usual)
                                                        : input.ConsumeRandomLengthString(200);
}

// Whatever was understood of a text is understood again.
void checkSerialized(const CFiMessageSPtr& message) {
  const std::string text = asIcu(message).serialize();
  require(text.find('\n') == std::string::npos, "arguments are one line");
  kfi_msg_info record = recordOf(nullptr, exactCopy(text).release());
  const std::unique_ptr<char[]> owned(record.kmi_args);
  const CFiMessageSPtr again = CFiIcuMessage::deserialize(&record);
  require(asIcu(again).serialize() == text, "arguments are the same there and back");
  require(asIcu(again).getArguments().size() == asIcu(message).getArguments().size(), "no argument is lost");
}

// The elements of a JSON array are the arguments, and texts are those that stand there; no other text has any.
void checkArguments(const std::string& text, const CFiMessageSPtr& message) {
  const auto list = nlohmann::json::parse(text, nullptr, false);
  const std::vector<Formattable>& arguments = asIcu(message).getArguments();
  require(arguments.size() == (list.is_array() ? list.size() : 0), "the arguments are the elements of the list");
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (!list[i].is_string()) continue;
    const auto wanted = icu::UnicodeString::fromUTF8(list[i].get<std::string>());
    require(arguments[i] == Formattable(wanted), "a text is an argument as it stands");
  }
}

const CFiMessageCatalogManager& catalogs() {
  static CFiMessageCatalogManager manager;
  static const bool registered = [] {
    require(setenv("QMFI_CATALOG_DIR", QMFI_BINARY_DIR "/share/qmfi/catalogs", 1) == 0, "the catalogs are named");
    manager.registerFactory(CFiMessageCatalogFactorySPtr(new CFiIcuMessageCatalogFactory("root", "qmfsfi")));
    return true;
  }();
  static_cast<void>(registered);
  return manager;
}

void checkText(const std::string& language, bool known, const CFiMessageSPtr& message) {
  static const CFiMessageCatalogManager withoutCatalogs;
  const std::string text = catalogs().getText(language, message);
  const std::string untranslated = withoutCatalogs.getText("", message);
  require(untranslated.starts_with(message->getMessageId()), "without a catalog there is the identifier");
  require(known ? text != untranslated && !text.empty() : text == untranslated, "known messages have a text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  const bool known = input.ConsumeBool();
  const bool fromRecord = input.ConsumeBool();
  const std::string id = known ? input.PickValueInArray(knownIds) : "X" + input.ConsumeRandomLengthString(40);
  const std::string language = anyLanguage(input);
  const auto idCopy = exactCopy(id);
  CFiMessageSPtr message;
  if (fromRecord) {
    const std::string text = restBeforeNul(input);
    const auto arguments = exactCopy(text);
    kfi_msg_info record = recordOf(idCopy.get(), arguments.get());
    message = catalogs().allocateMessage(&record);
    checkArguments(text, message);
  } else {
    const std::vector<Formattable> arguments = anyArguments(input);
    message = CFiMessageSPtr(new CFiIcuMessage(idCopy.get(), arguments.data(), static_cast<int>(arguments.size()),
                                               KFI_SEVERITY_ERROR, "file.cpp", 1));
  }
  checkSerialized(message);
  checkText(language, known, message);
  return 0;
}
