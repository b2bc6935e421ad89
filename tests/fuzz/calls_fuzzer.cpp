// Sequences of calls of all entry points, with good arguments and bad ones, on a machine where anything may fail: the
// statuses are known ones, and when the plug-in has stopped, nothing is frozen, open or lost.
#include <algorithm>
#include <filesystem>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "argument_pool.h"
#include "build_tree.h"
#include "freeze_settings.h"
#include "fuzz_input.h"
#include "stand_in_machine.h"
#include "support/foreign_framework.h"
#include "support/temporary_directory.h"

extern "C" {
#define DECLARE(name, result, parameters) result qmfsfi_fi_pgn_##name parameters;
FOREIGN_ENTRY_POINTS(DECLARE)
#undef DECLARE
#define DECLARE(name, result, parameters) result name parameters;
FOREIGN_FRAMEWORK_FUNCTIONS(DECLARE)
#undef DECLARE
}

namespace {

// A framework that makes the calls of one input.
class Caller {
 public:
  explicit Caller(FuzzedDataProvider& input) : input(input), machine(input), pool(input) {
    machine.mount("/dev/qm/dsk/dg/vol", "/mnt/a", "qmfs");
    machine.mount("/dev/qm/d1", "/mnt/b", "qmfs");
    machine.mount("/dev/other", "/", "ext4");
  }

  int start();
  // Initialises the first nodes as a framework does.
  void initialiseNodes();
  void stop();

  FuzzedDataProvider& input;
  StandInMachine machine;
  ArgumentPool pool;
  kfi_msg_info* messages = nullptr;
  char* text = nullptr;

 private:
  static void receive(kfi_context*, const char* nativeText, const char* defaultText, std::int32_t) {
    require(nativeText != nullptr && defaultText != nullptr, "messages have texts");
  }

  kfi_context m_context{receive, {nullptr, nullptr}, nullptr};
  char* m_language = nullptr;
};

int Caller::start() {
  stop();
  kfi_version version{};
  m_language = pool.pick<char*>();
  m_context.kcx_language = input.ConsumeBool() ? &m_language : nullptr;
  const int status =
      qmfsfi_fi_pgn_init(input.ConsumeBool() ? &m_context : nullptr,
                         input.ConsumeIntegral<std::uint8_t>() != 0xff ? &version : nullptr, pool.pick<char*>());
  allowSerialFreezes(input.ConsumeBool());
  return status;
}

void Caller::initialiseNodes() {
  kfi_domain* configuration = &pool.nodes().back();
  qmfsfi_fi_pgn_deinit_node(configuration);
  qmfsfi_fi_pgn_init_node(configuration, nullptr, 0, nullptr);
  for (std::size_t number : {0, 1}) {
    kfi_domain* const node = &pool.nodes()[number];
    qmfsfi_fi_pgn_deinit_node(node);
    qmfsfi_fi_pgn_init_node(node, &configuration, 1, nullptr);
  }
}

void Caller::stop() {
  for (kfi_domain& node : pool.nodes()) qmfsfi_fi_pgn_deinit_node(&node);
  qmfsfi_fi_pgn_del_last_error(&messages);
  qmfsfi_fi_pgn_del_locale_message(&text);
  qmfsfi_fi_pgn_fini();
}

template <typename Parameter>
constexpr bool isList = std::is_pointer_v<Parameter>&& std::is_pointer_v<std::remove_pointer_t<Parameter>> &&
                        !std::is_pointer_v<std::remove_pointer_t<std::remove_pointer_t<Parameter>>>;

// Calls with arguments from the pool. Returns the status, 0 for an entry point without one.
template <typename Result, typename... Parameters>
int callWithAny(Result (*function)(Parameters...), Caller& caller) {
  caller.pool.chooseCounts((isList<Parameters> || ...));
  const std::tuple<Parameters...> arguments{caller.pool.pick<Parameters>()...};
  if constexpr (std::is_void_v<Result>) {
    std::apply(function, arguments);
    return 0;
  } else {
    return std::apply(function, arguments);
  }
}

// A node that is initialised was de-initialised before.
kfi_domain* freshNode(Caller& caller) {
  auto* const node = caller.pool.pick<kfi_domain*>();
  qmfsfi_fi_pgn_deinit_node(node);
  return node;
}

int callInitNode(Caller& caller) {
  kfi_domain* const node = freshNode(caller);
  caller.pool.chooseCounts(true);
  auto** const domains = caller.pool.pick<kfi_domain**>();
  return qmfsfi_fi_pgn_init_node(node, domains, caller.pool.pick<int>(), caller.pool.pick<qmfi_objid*>());
}

template <auto function>
int callInitOther(Caller& caller) {
  auto* const first = caller.pool.pick<kfi_domain*>();
  auto* const second = caller.pool.pick<kfi_domain*>();
  return function(first, second, freshNode(caller));
}

int callSubObjects(Caller& caller) {
  qmfi_objid** objects = nullptr;
  int count = 0;
  const int status = qmfsfi_fi_pgn_subobj_list(caller.pool.pick<kfi_domain*>(), &objects, &count);
  require((objects != nullptr) == (count > 0), "a list has its count");
  for (int i = 0; i < count; ++i) require(objects[i]->vid_name != nullptr, "sub-objects have names");
  qmfi_free_buf(objects, static_cast<std::size_t>(count) * sizeof(void*));
  return status;
}

int callObjectControl(Caller& caller) {
  char* output = nullptr;
  int result = 0;
  auto* const name = caller.pool.pick<char*>();
  const int status = qmfsfi_fi_pgn_objctl(name, caller.pool.pick<char*>(), &output, &result);
  require((output != nullptr) == (status == 0), "only a call that is made has an output");
  std::free(output);
  return status;
}

int callProviderState(Caller& caller) {
  auto* const node = caller.pool.pick<kfi_domain*>();
  kfi_blob blob{caller.input.ConsumeIntegral<std::uint8_t>(), caller.pool.pick<char*>(), caller.pool.pick<int>()};
  char* const own = blob.kb_buffer;
  const kfi_op_providerstate operation = caller.pool.pick<int>();
  const bool given = caller.input.ConsumeBool();
  const int status = qmfsfi_fi_pgn_process_providerstate(node, given ? &blob : nullptr, operation);
  if (blob.kb_buffer != own) qmfi_free_buf(blob.kb_buffer, blob.kb_length);
  return status;
}

int callGetMessages(Caller& caller) {
  qmfsfi_fi_pgn_del_last_error(&caller.messages);
  return qmfsfi_fi_pgn_get_last_error(&caller.messages);
}

int callDeleteMessages(Caller& caller) {
  return qmfsfi_fi_pgn_del_last_error(&caller.messages);
}

int callGetText(Caller& caller) {
  qmfsfi_fi_pgn_del_locale_message(&caller.text);
  kfi_msg_info record{};
  record.kmi_id = caller.pool.pick<char*>();
  record.kmi_args = caller.pool.pick<char*>();
  kfi_msg_info* const asked = caller.input.ConsumeBool() ? caller.messages : &record;
  int length = 0;
  const int status = qmfsfi_fi_pgn_get_locale_message(&length, asked, caller.pool.pick<char*>(), &caller.text);
  require(caller.text == nullptr || std::string_view(caller.text).size() == static_cast<std::size_t>(length),
          "the length is the text's");
  return status;
}

int callDeleteText(Caller& caller) {
  return qmfsfi_fi_pgn_del_locale_message(&caller.text);
}

int callOnlineResource(Caller& caller) {
  ArgumentPool& pool = caller.pool;
  char** paths = nullptr;
  int count = 0;
  pool.chooseCounts(true);
  auto** const devices = pool.pick<char**>();
  const int deviceCount = pool.pick<int>();
  auto* const mountPoint = pool.pick<char*>();
  auto* const type = pool.pick<char*>();
  const int status = qmfsfi_fi_pgn_online_resource(devices, deviceCount, mountPoint, type, pool.pick<char*>(), nullptr,
                                                   0, &paths, &count);
  require((paths != nullptr) == (status == 0) && count == (status == 0 ? 1 : 0), "one path, or none");
  if (paths != nullptr) qmfi_free_buf(paths[0], std::string_view(paths[0]).size() + 1);
  std::free(paths);
  return status;
}

int callProviderInfo(Caller&) {
  kfi_provider_list* list = nullptr;
  const int status = qmfsfi_fi_pgn_get_provider_info(&list);
  require(list != nullptr && std::string_view(list->kpl_name) == "qmfsfi", "the provider says who it is");
  qmfi_free_providerlist(list);
  return status;
}

struct EntryPoint {
  std::string_view name;
  int (*call)(Caller& caller);
};

// Those whose arguments or outputs are owned by somebody.
constexpr EntryPoint ownCalls[] = {
    {"init", [](Caller& caller) { return caller.start(); }},
    {"fini",
     [](Caller& caller) {
       caller.stop();
       return 0;
     }},
    {"init_node", callInitNode},
    {"init_altnode", callInitOther<qmfsfi_fi_pgn_init_altnode>},
    {"init_remnode", callInitOther<qmfsfi_fi_pgn_init_remnode>},
    {"subobj_list", callSubObjects},
    {"objctl", callObjectControl},
    {"process_providerstate", callProviderState},
    {"get_last_error", callGetMessages},
    {"del_last_error", callDeleteMessages},
    {"get_locale_message", callGetText},
    {"del_locale_message", callDeleteText},
    {"online_resource", callOnlineResource},
    {"get_provider_info", callProviderInfo},
};

constexpr EntryPoint entryPoints[] = {
#define ENTRY_POINT(name, result, parameters) \
  {#name, [](Caller& caller) { return callWithAny(qmfsfi_fi_pgn_##name, caller); }},
    FOREIGN_ENTRY_POINTS(ENTRY_POINT)
#undef ENTRY_POINT
};

// Those that do more than others, which are chosen mostly.
constexpr std::string_view busyEntryPoints[] = {
    "quiesce",        "unquiesce",     "init_node",       "init_altnode", "build_alttree",
    "import_tree",    "deport_tree",   "online",          "dispose",      "process_providerstate",
    "disable_access", "enable_access", "online_resource", "format",       "cache_disable",
    "is_parent_pgn",  "claim",         "config",          "deinit_node",  "subobj_list",
};

const EntryPoint& anyEntryPoint(FuzzedDataProvider& input) {
  constexpr std::uint8_t mostly = 0xc0;
  if (input.ConsumeIntegral<std::uint8_t>() >= mostly) {
    return entryPoints[input.ConsumeIntegralInRange<std::size_t>(0, std::size(entryPoints) - 1)];
  }
  const std::string_view name = input.PickValueInArray(busyEntryPoints);
  return *std::find_if(std::begin(entryPoints), std::end(entryPoints),
                       [&](const EntryPoint& entryPoint) { return entryPoint.name == name; });
}

// Chooses an entry point and calls it.
void callAny(Caller& caller) {
  const EntryPoint& any = anyEntryPoint(caller.input);
  const auto* const own = std::find_if(std::begin(ownCalls), std::end(ownCalls),
                                       [&](const EntryPoint& entryPoint) { return entryPoint.name == any.name; });
  const int status = (own != std::end(ownCalls) ? own : &any)->call(caller);
  constexpr int known[] = {0, 2, 3, 6, 7, 30, 32, 1088};
  const bool isKnown = std::find(std::begin(known), std::end(known), status) != std::end(known);
  require(isKnown || (status == 1 && any.name == "claim"), "the status is one of those that callers know");
}

// The trace log needs a directory. Removed when the program ends.
class LogDirectory : public TemporaryDirectory {
 public:
  LogDirectory() {
    setenv("QMFI_LOG_DIR", path().c_str(), 1);
    setenv("QMFI_CONF_DIR", path().c_str(), 1);
    setenv("QMFI_CATALOG_DIR", QMFI_BINARY_DIR "/share/qmfi/catalogs", 1);
    setenv("QMFI_TRACE_LEVEL", "6", 1);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const LogDirectory directory;
  constexpr int mostCalls = 60;
  FuzzedDataProvider input(data, size);
  Caller caller(input);
  if (input.ConsumeIntegral<std::uint8_t>() != 0xff) caller.start();
  if (input.ConsumeIntegral<std::uint8_t>() != 0xff) caller.initialiseNodes();
  for (int calls = 0; calls < mostCalls && input.remaining_bytes() > 0; ++calls) callAny(caller);
  caller.stop();
  caller.machine.requireNothingLeft();
  return 0;
}
