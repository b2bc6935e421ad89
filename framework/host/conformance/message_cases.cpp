// The queue of messages, and their texts.
#include <cstring>
#include <nlohmann/json.hpp>

#include "conformance/conformance_case.h"
#include "conformance/examined_node.h"

namespace qmfi_host {

namespace {

// No provider's file system is mounted there.
constexpr const char* notMounted = "/proc";

// Fails as it must, so that there are messages.
void failOnPurpose(Examination& it, const std::string& path = notMounted) {
  const std::string& name = it.subject().name;
  ExaminedNode group(name, KFI_OBJID_OBJECT, name);
  ExaminedNode node(path, KFI_OBJID_PATH, name);
  kfi_domain* domains[] = {group.get()};
  const ProviderEntryPoints& calls = it.provider();
  it.calling("init_node of a group", [&] { return calls.fi_pgn_init_node(group.get(), nullptr, 0, nullptr); });
  it.calling("init_node of " + path, [&] { return calls.fi_pgn_init_node(node.get(), domains, 1, nullptr); });
  it.calling("deinit_node of " + path, [&] { calls.fi_pgn_deinit_node(node.get()); });
  it.calling("deinit_node of a group", [&] { calls.fi_pgn_deinit_node(group.get()); });
}

// The messages that wait, as the provider's own list.
kfi_msg_info* waiting(Examination& it) {
  kfi_msg_info* list = nullptr;
  it.calling("get_last_error", [&] { return it.provider().fi_pgn_get_last_error(&list); });
  return list;
}

void forget(Examination& it, kfi_msg_info*& list) {
  it.calling("del_last_error", [&] { return it.provider().fi_pgn_del_last_error(&list); });
}

std::vector<std::string> argumentsOf(const kfi_msg_info* list) {
  std::vector<std::string> arguments;
  for (; list != nullptr; list = list->kmi_next) {
    const char* const text = list->kmi_args;
    arguments.emplace_back(text != nullptr ? text : "");
  }
  return arguments;
}

void tellsOfFailures(Examination& it) {
  it.started();
  failOnPurpose(it);
  it.expect(!it.takeMessages().empty(), "init_node of a path where nothing is mounted left no message");
  it.stop();
}

void keepsMessages(Examination& it) {
  it.started();
  failOnPurpose(it);
  kfi_msg_info* first = waiting(it);
  kfi_msg_info* second = waiting(it);
  it.require(first != nullptr, "there is no message after a failure");
  it.expect(argumentsOf(first) == argumentsOf(second), "the messages are gone after get_last_error");
  forget(it, first);
  forget(it, second);
  it.expect(first == nullptr, "del_last_error does not set the list to null");
  it.expect(waiting(it) == nullptr, "the messages are still there after del_last_error");
  it.stop();
}

void ordersMessages(Examination& it) {
  it.started();
  failOnPurpose(it, "/proc/older");
  kfi_msg_info* older = waiting(it);
  const std::size_t olderCount = argumentsOf(older).size();
  failOnPurpose(it, "/proc/newer");
  kfi_msg_info* both = waiting(it);
  const std::vector<std::string> arguments = argumentsOf(both);
  it.require(arguments.size() > olderCount, "the second failure left no message");
  it.expect(
      std::vector(arguments.end() - static_cast<std::ptrdiff_t>(olderCount), arguments.end()) == argumentsOf(older),
      "the older messages do not stand behind the newer ones");
  forget(it, older);
  forget(it, both);
  it.stop();
}

bool isUtf8(const char* text) {
  try {
    return !nlohmann::json(text).dump().empty();
  } catch (const nlohmann::json::type_error&) {
    return false;
  }
}

std::string textIn(Examination& it, kfi_msg_info* message, const char* language) {
  const std::string what = "get_locale_message in " + std::string(language != nullptr ? language : "no language");
  int length = -1;
  char* text = nullptr;
  const ProviderEntryPoints& calls = it.provider();
  const int answer =
      it.calling(what, [&] { return calls.fi_pgn_get_locale_message(&length, message, language, &text); });
  it.require(answer == 0 && text != nullptr, what + " answers " + std::to_string(answer) + " or gives no text");
  it.expect(static_cast<std::size_t>(length) == std::strlen(text), what + " tells another length than its text has");
  it.expect(isUtf8(text), what + " gives a text that is not UTF-8");
  std::string copy = text;
  it.calling("del_locale_message", [&] { return calls.fi_pgn_del_locale_message(&text); });
  it.expect(text == nullptr, "del_locale_message does not set the text to null");
  return copy;
}

void hasTexts(Examination& it) {
  it.started();
  failOnPurpose(it);
  kfi_msg_info* list = waiting(it);
  it.require(list != nullptr, "there is no message after a failure");
  for (kfi_msg_info* message = list; message != nullptr; message = message->kmi_next) {
    const std::string text = textIn(it, message, nullptr);
    it.expect(!text.empty(), "a message has an empty text");
    it.expect(message->kmi_id != nullptr && !text.starts_with(message->kmi_id),
              "the message " + text + " has no text of its own in the provider's catalog");
  }
  forget(it, list);
  it.stop();
}

void knowsTheDefaultLanguage(Examination& it) {
  it.started();
  failOnPurpose(it);
  kfi_msg_info* list = waiting(it);
  it.require(list != nullptr, "there is no message after a failure");
  const std::string text = textIn(it, list, nullptr);
  for (const char* const language : {"", "xx_XX", "no such language", "en"}) {
    it.expect(textIn(it, list, language) == text,
              "the text in the language \"" + std::string(language) + "\" is not that of the default language");
  }
  textIn(it, list, "de_DE.UTF-8");
  forget(it, list);
  it.stop();
}

void findsNothingToForget(Examination& it) {
  it.started();
  kfi_msg_info* list = nullptr;
  char* text = nullptr;
  const ProviderEntryPoints& calls = it.provider();
  it.expectStatus("del_last_error of no list", {0}, [&] { return calls.fi_pgn_del_last_error(&list); });
  it.expectStatus("del_locale_message of no text", {0}, [&] { return calls.fi_pgn_del_locale_message(&text); });
  it.expectStatus("get_last_error where there is none", {0}, [&] { return calls.fi_pgn_get_last_error(&list); });
  it.expect(list == nullptr, "there is a message although nothing has failed");
  it.stop();
}

// What the callback got; it takes nothing of its own along.
std::vector<std::string>& delivered() {
  static std::vector<std::string> texts;
  return texts;
}

void deliver(kfi_context* /*context*/, const char* native, const char* usual, kfi_eseverity severity) {
  const bool isWhole = native != nullptr && usual != nullptr && *usual != '\0';
  const bool isKnown = severity >= KFI_SEVERITY_INFORMATION && severity <= KFI_SEVERITY_UNHANDLED_EXCEPTION;
  delivered().emplace_back(isWhole && isKnown ? usual : "");
}

void callsBack(Examination& it) {
  kfi_context context{};
  kfi_version version{};
  context.kcx_callback = deliver;
  it.calling("init", [&] { return it.provider().fi_pgn_init(&context, &version, nullptr); });
  failOnPurpose(it);
  it.expect(!delivered().empty(), "the callback of the context record gets no message");
  for (const std::string& text : delivered()) {
    it.expect(!text.empty(), "the callback gets a message without a text, or of no known severity");
  }
  it.stop();
}

}  // namespace

ConformanceCases messageCases() {
  return {
      {"messages.failure", "A call that answers 6 leaves messages in the queue.", CaseNeeds::library, tellsOfFailures},
      {"messages.kept", "Messages wait until del_last_error, which forgets them and sets the list to null.",
       CaseNeeds::library, keepsMessages},
      {"messages.order", "get_last_error hands out the newest message first.", CaseNeeds::library, ordersMessages},
      {"messages.text", "Each message has a text in the provider's catalog, in UTF-8, and its length is told.",
       CaseNeeds::library, hasTexts},
      {"messages.language", "The default language stands in for none, an empty and an unknown one.", CaseNeeds::library,
       knowsTheDefaultLanguage},
      {"messages.none", "Where nothing has failed there are no messages, and none need be forgotten.",
       CaseNeeds::library, findsNothingToForget},
      {"messages.callback", "The callback of the context record receives each message.", CaseNeeds::library, callsBack},
  };
}

}  // namespace qmfi_host
