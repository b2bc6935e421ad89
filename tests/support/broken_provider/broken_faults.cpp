// What each fault does instead of the sound provider.
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/broken_provider/broken_provider.h"

namespace {

constexpr int failed = 6;

using Calls = ProviderCalls;

template <typename Type>
void follow(Type* pointer) {
  volatile const char* const place = reinterpret_cast<volatile const char*>(pointer);
  static_cast<void>(*place);
}

// Something done at each start, besides the start.
#define AT_START(action)                                                           \
  calls.fi_pgn_init = [](kfi_context* context, kfi_version* version, char* name) { \
    action;                                                                        \
    return soundCalls.fi_pgn_init(context, version, name);                         \
  }

void opensFileWhenLoaded(Calls& /*calls*/) {
  // Left open.
  open("/dev/null", O_RDONLY | O_CLOEXEC);
}

void handlesSignalWhenLoaded(Calls& /*calls*/) {
  std::signal(SIGPIPE, SIG_IGN);
}

void staysLoaded(Calls& calls) {
  AT_START({
    Dl_info info{};
    dladdr(&brokenCalls, &info);
    dlopen(info.dli_fname, RTLD_NOW | RTLD_NODELETE);
  });
}

void refusesToStart(Calls& calls) {
  calls.fi_pgn_init = [](kfi_context*, kfi_version*, char*) { return failed; };
}

void crashesAtStart(Calls& calls) {
  AT_START(std::abort());
}

void hasOtherVersion(Calls& calls) {
  calls.fi_pgn_init = [](kfi_context* context, kfi_version* version, char* name) {
    const int status = soundCalls.fi_pgn_init(context, version, name);
    if (version != nullptr) version->kv_major = KFI_INTERFACE_MAJOR - 1;
    return status;
  };
}

void hasMinorVersion(Calls& calls) {
  calls.fi_pgn_init = [](kfi_context* context, kfi_version* version, char* name) {
    const int status = soundCalls.fi_pgn_init(context, version, name);
    if (version != nullptr) version->kv_minor = 4;
    return status;
  };
}

void startsWithoutVersionRecord(Calls& calls) {
  calls.fi_pgn_init = [](kfi_context* context, kfi_version* version, char* name) {
    return version == nullptr ? 0 : soundCalls.fi_pgn_init(context, version, name);
  };
}

void crashesWithoutVersionRecord(Calls& calls) {
  AT_START(follow(version));
}

char* keptName = nullptr;

void keepsHostsName(Calls& calls) {
  AT_START(keptName = name);
  calls.fi_pgn_get_provider_info = [](kfi_provider_list** list) {
    if (keptName != nullptr) follow(keptName);
    return soundCalls.fi_pgn_get_provider_info(list);
  };
}

void needsLanguage(Calls& calls) {
  AT_START(if (context != nullptr) follow(context->kcx_language));
}

bool hasStarted = false;

void startsOnce(Calls& calls) {
  calls.fi_pgn_init = [](kfi_context* context, kfi_version* version, char* name) {
    if (hasStarted) return failed;
    hasStarted = true;
    return soundCalls.fi_pgn_init(context, version, name);
  };
}

// The list of a provider, which may be changed before it is handed out. The change is undone by nobody: the framework
// frees what it made.
template <void (*Change)(kfi_provider_list&)>
int changedList(kfi_provider_list** list) {
  const int status = soundCalls.fi_pgn_get_provider_info(list);
  if (status == 0) Change(**list);
  return status;
}

void otherName(kfi_provider_list& list) {
  list.kpl_name[0] = 'x';
}

void noTypes(kfi_provider_list& list) {
  list.kpl_fitypes = nullptr;
}

void hasOtherName(Calls& calls) {
  calls.fi_pgn_get_provider_info = changedList<otherName>;
}

void hasNoTypes(Calls& calls) {
  calls.fi_pgn_get_provider_info = changedList<noTypes>;
}

void hasNoList(Calls& calls) {
  calls.fi_pgn_get_provider_info = [](kfi_provider_list** list) {
    *list = nullptr;
    return 0;
  };
}

void throwsWhenAsked(Calls& calls) {
  calls.fi_pgn_get_provider_info = [](kfi_provider_list**) -> int { throw std::runtime_error("asked"); };
}

void storesNoSupport(Calls& calls) {
  calls.fi_pgn_supports_fitype = [](kfi_domain*, char*) { return 0; };
}

void supportsEveryType(Calls& calls) {
  calls.fi_pgn_supports_fitype = [](kfi_domain* domain, char*) {
    if (domain != nullptr && domain->fid_supported != nullptr) *domain->fid_supported = 1;
    return 0;
  };
}

void needsPlaceForSupport(Calls& calls) {
  calls.fi_pgn_supports_fitype = [](kfi_domain* domain, char*) {
    *domain->fid_supported = 0;
    return 0;
  };
}

void lacksSentences(Calls& calls) {
  calls.fi_pgn_errmsg = [](int status, const char** text) {
    constexpr int known = 33;
    if (status >= 0 && status < known) return soundCalls.fi_pgn_errmsg(status, text);
    if (text != nullptr) *text = nullptr;
    return 0;
  };
}

std::array<char, 200> sentence;

void reusesSentence(Calls& calls) {
  calls.fi_pgn_errmsg = [](int status, const char** text) {
    const int answer = soundCalls.fi_pgn_errmsg(status, text);
    if (answer != 0) return answer;
    std::snprintf(sentence.data(), sentence.size(), "%s", *text);
    *text = sentence.data();
    return answer;
  };
}

void forgetMessages() {
  kfi_msg_info* none = nullptr;
  soundCalls.fi_pgn_del_last_error(&none);
}

void failsSilently(Calls& calls) {
  calls.fi_pgn_init_node = [](kfi_domain* node, kfi_domain** domains, int count, qmfi_objid* object) {
    const int status = soundCalls.fi_pgn_init_node(node, domains, count, object);
    forgetMessages();
    return status;
  };
}

void handsMessagesOutOnce(Calls& calls) {
  calls.fi_pgn_get_last_error = [](kfi_msg_info** list) {
    const int status = soundCalls.fi_pgn_get_last_error(list);
    forgetMessages();
    return status;
  };
}

void keepsListPointer(Calls& calls) {
  calls.fi_pgn_del_last_error = [](kfi_msg_info** list) {
    if (list == nullptr || *list == nullptr) return soundCalls.fi_pgn_del_last_error(list);
    kfi_msg_info* freed = *list;
    return soundCalls.fi_pgn_del_last_error(&freed);
  };
}

void neverForgetsMessages(Calls& calls) {
  calls.fi_pgn_del_last_error = [](kfi_msg_info** list) {
    if (list != nullptr) *list = nullptr;
    return 0;
  };
}

void ordersOldestFirst(Calls& calls) {
  calls.fi_pgn_get_last_error = [](kfi_msg_info** list) {
    const int status = soundCalls.fi_pgn_get_last_error(list);
    kfi_msg_info* turned = nullptr;
    for (kfi_msg_info* message = status == 0 ? *list : nullptr; message != nullptr;) {
      kfi_msg_info* const next = message->kmi_next;
      message->kmi_next = turned;
      turned = message;
      message = next;
    }
    if (status == 0) *list = turned;
    return status;
  };
}

// The text of a message, changed before it is handed out.
template <void (*Change)(kfi_msg_info&, int&, char*)>
int changedText(int* length, kfi_msg_info* message, const char* language, char** text) {
  const int status = soundCalls.fi_pgn_get_locale_message(length, message, language, text);
  if (status == 0 && *text != nullptr) Change(*message, *length, *text);
  return status;
}

void identifierOnly(kfi_msg_info& message, int& length, char* text) {
  const std::size_t shorter = std::min(std::strlen(message.kmi_id), std::strlen(text));
  std::memcpy(text, message.kmi_id, shorter);
  text[shorter] = '\0';
  length = static_cast<int>(shorter);
}

void otherLength(kfi_msg_info& /*message*/, int& length, char* /*text*/) {
  ++length;
}

void strayByte(kfi_msg_info& /*message*/, int& /*length*/, char* text) {
  text[0] = '\xff';
}

void hasNoTexts(Calls& calls) {
  calls.fi_pgn_get_locale_message = changedText<identifierOnly>;
}

void tellsWrongLength(Calls& calls) {
  calls.fi_pgn_get_locale_message = changedText<otherLength>;
}

void writesNoUtf8(Calls& calls) {
  calls.fi_pgn_get_locale_message = changedText<strayByte>;
}

void keepsTextPointer(Calls& calls) {
  calls.fi_pgn_del_locale_message = [](char** text) {
    if (text == nullptr || *text == nullptr) return soundCalls.fi_pgn_del_locale_message(text);
    char* freed = *text;
    return soundCalls.fi_pgn_del_locale_message(&freed);
  };
}

void needsKnownLanguage(Calls& calls) {
  calls.fi_pgn_get_locale_message = [](int* length, kfi_msg_info* message, const char* language, char** text) {
    const bool isUnknown = language != nullptr && std::strncmp(language, "xx", 2) == 0;
    return isUnknown ? failed : soundCalls.fi_pgn_get_locale_message(length, message, language, text);
  };
}

void failsWithoutMessages(Calls& calls) {
  calls.fi_pgn_get_last_error = [](kfi_msg_info** list) {
    const int status = soundCalls.fi_pgn_get_last_error(list);
    return status == 0 && *list == nullptr ? failed : status;
  };
}

void callsNobodyBack(Calls& calls) {
  calls.fi_pgn_init = [](kfi_context* /*context*/, kfi_version* version, char* name) {
    return soundCalls.fi_pgn_init(nullptr, version, name);
  };
}

void followsNullNode(Calls& calls) {
  calls.fi_pgn_subobj_list = [](kfi_domain* node, qmfi_objid*** objects, int* count) {
    follow(node->fid_objid);
    return soundCalls.fi_pgn_subobj_list(node, objects, count);
  };
}

void acceptsNullNode(Calls& calls) {
  calls.fi_pgn_check_node_existence = [](kfi_domain* node, int* exists) {
    return node == nullptr ? 0 : soundCalls.fi_pgn_check_node_existence(node, exists);
  };
}

void hangs(Calls& calls) {
  calls.fi_pgn_getattr = [](kfi_domain*, kfi_domain*, kfi_splitnode*, kfi_attributes*) { return pause(); };
}

void endsProcess(Calls& calls) {
  calls.fi_pgn_online = [](kfi_domain* domain, kfi_domain* node, int mode, kfi_disposition disposition) {
    if (node == nullptr) std::_Exit(3);
    return soundCalls.fi_pgn_online(domain, node, mode, disposition);
  };
}

void throwsAtNull(Calls& calls) {
  calls.fi_pgn_config = [](kfi_domain* node, int category, char* text, kfi_confspec* spec) {
    if (spec == nullptr) throw 3;
    return soundCalls.fi_pgn_config(node, category, text, spec);
  };
}

void clearsGroups(Calls& calls) {
  calls.fi_pgn_claim = [](qmfi_objid* object, qmfi_objid*** groups, int* count) {
    if (groups != nullptr) *groups = nullptr;
    return soundCalls.fi_pgn_claim(object, groups, count);
  };
}

void clearsExistence(Calls& calls) {
  calls.fi_pgn_check_node_existence = [](kfi_domain* node, int* exists) {
    if (exists != nullptr) *exists = 0;
    return soundCalls.fi_pgn_check_node_existence(node, exists);
  };
}

void clearsText(Calls& calls) {
  calls.fi_pgn_get_locale_message = [](int* length, kfi_msg_info* message, const char* language, char** text) {
    if (text != nullptr) *text = nullptr;
    return soundCalls.fi_pgn_get_locale_message(length, message, language, text);
  };
}

void freezesNoNodes(Calls& calls) {
  calls.fi_pgn_quiesce = [](kfi_quiescenode* node, kfi_quiescenode** nodes, int count, char* options) {
    return nodes == nullptr ? 0 : soundCalls.fi_pgn_quiesce(node, nodes, count, options);
  };
}

void followsListAtThaw(Calls& calls) {
  calls.fi_pgn_unquiesce = [](kfi_quiescenode* node, kfi_quiescenode** nodes, int count) {
    for (int i = 0; i < count; ++i) follow(nodes[i]);
    soundCalls.fi_pgn_unquiesce(node, nodes, count);
  };
}

void knowsNoOtherMode(Calls& calls) {
  calls.fi_pgn_online = [](kfi_domain* domain, kfi_domain* node, int mode, kfi_disposition disposition) {
    const bool isKnown = mode == KFI_ONLINE_BRING || mode == KFI_ONLINE_TAKE_OFFLINE;
    return isKnown ? soundCalls.fi_pgn_online(domain, node, mode, disposition) : 3;
  };
}

void formatsEveryType(Calls& calls) {
  calls.fi_pgn_format = [](char**, int, char*, char*, char*, int, char***, int*) { return 0; };
}

void storesNoResult(Calls& calls) {
  calls.fi_pgn_objctl = [](char* name, char* input, char** output, int* result) {
    return name == nullptr || output == nullptr || result == nullptr ? 3 : (static_cast<void>(input), 0);
  };
}

void claimsEverything(Calls& calls) {
  calls.fi_pgn_claim = [](qmfi_objid* object, qmfi_objid*** groups, int* count) {
    const int status = soundCalls.fi_pgn_claim(object, groups, count);
    return status == 0 ? KFI_CLAIMED : status;
  };
}

void findsEverything(Calls& calls) {
  calls.fi_pgn_check_node_existence = [](kfi_domain* node, int* exists) {
    const int status = soundCalls.fi_pgn_check_node_existence(node, exists);
    if (status == 0) *exists = 1;
    return status;
  };
}

void ownsEveryDevice(Calls& calls) {
  calls.fi_pgn_is_parent_pgn = [](char* device, int* isParent, int reserved) {
    const int status = soundCalls.fi_pgn_is_parent_pgn(device, isParent, reserved);
    if (status == 0) *isParent = 1;
    return status;
  };
}

void initialisesEverything(Calls& calls) {
  calls.fi_pgn_init_node = [](kfi_domain* node, kfi_domain** domains, int count, qmfi_objid* object) {
    const int status = soundCalls.fi_pgn_init_node(node, domains, count, object);
    return status == failed ? 0 : status;
  };
}

// A node that has been initialised, with something else done to it.
template <void (*Change)(kfi_domain&)>
int changedNode(kfi_domain* node, kfi_domain** domains, int count, qmfi_objid* object) {
  const int status = soundCalls.fi_pgn_init_node(node, domains, count, object);
  if (status == 0) Change(*node);
  return status;
}

void noQuiesceNode(kfi_domain& node) {
  node.fid_qnode = nullptr;
}

void othersQuiesceNode(kfi_domain& node) {
  static kfi_domain other{};
  node.fid_qnode->kqn_node = &other;
}

void hasNoQuiesceNode(Calls& calls) {
  calls.fi_pgn_init_node = changedNode<noQuiesceNode>;
}

void hasOthersQuiesceNode(Calls& calls) {
  calls.fi_pgn_init_node = changedNode<othersQuiesceNode>;
}

void givesNothingBack(Calls& calls) {
  calls.fi_pgn_deinit_node = [](kfi_domain*) {};
}

bool hasInitialised = false;

void initialisesOnce(Calls& calls) {
  calls.fi_pgn_init_node = [](kfi_domain* node, kfi_domain** domains, int count, qmfi_objid* object) {
    if (hasInitialised) return 3;
    hasInitialised = true;
    return soundCalls.fi_pgn_init_node(node, domains, count, object);
  };
}

void takesEveryParameter(Calls& calls) {
  calls.fi_pgn_config = [](kfi_domain* node, int, char*, kfi_confspec* spec) {
    return node == nullptr || spec == nullptr ? 3 : 0;
  };
}

void countsNoSubObjects(Calls& calls) {
  calls.fi_pgn_subobj_list = [](kfi_domain* node, qmfi_objid*** objects, int* count) {
    const int before = count != nullptr ? *count : 0;
    const int status = soundCalls.fi_pgn_subobj_list(node, objects, count);
    if (status == 0 && *count == 0) *count = before;
    return status;
  };
}

void trustsStates(Calls& calls) {
  calls.fi_pgn_process_providerstate = [](kfi_domain* node, kfi_blob* blob, kfi_op_providerstate operation) {
    const bool isStored = blob != nullptr && operation == KFI_PROVIDERSTATE_STORE;
    if (isStored) follow(std::strchr(blob->kb_buffer, '='));
    return soundCalls.fi_pgn_process_providerstate(node, blob, operation);
  };
}

void prints(Calls& calls) {
  calls.fi_pgn_claim = [](qmfi_objid* object, qmfi_objid*** groups, int* count) {
    std::puts("claiming");
    std::fflush(stdout);
    return soundCalls.fi_pgn_claim(object, groups, count);
  };
}

std::thread::id startingThread;

void answersOneThread(Calls& calls) {
  AT_START(startingThread = std::this_thread::get_id());
  calls.fi_pgn_claim = [](qmfi_objid* object, qmfi_objid*** groups, int* count) {
    return startingThread == std::this_thread::get_id() ? soundCalls.fi_pgn_claim(object, groups, count) : failed;
  };
}

void endsInOneThread(Calls& calls) {
  AT_START(startingThread = std::this_thread::get_id());
  calls.fi_pgn_fini = [] {
    if (startingThread != std::this_thread::get_id()) std::abort();
    soundCalls.fi_pgn_fini();
  };
}

void changesLocale(Calls& calls) {
  AT_START(std::setlocale(LC_ALL, "C"));
}

void changesDirectory(Calls& calls) {
  AT_START(if (chdir("/") != 0) std::abort());
}

void changesEnvironment(Calls& calls) {
  AT_START(setenv("LC_ALL", "C", 1));
}

void ignoresSignal(Calls& calls) {
  AT_START(std::signal(SIGPIPE, SIG_IGN));
}

void blocksSignal(Calls& calls) {
  AT_START({
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGUSR2);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
  });
}

void changesMask(Calls& calls) {
  AT_START(umask(S_IWGRP | S_IWOTH));
}

void leaksDescriptors(Calls& calls) {
  AT_START(open("/dev/null", O_RDONLY | O_CLOEXEC));
}

void leavesThreads(Calls& calls) {
  AT_START(std::thread([] { pause(); }).detach());
}

void claimsNothing(Calls& calls) {
  calls.fi_pgn_claim = [](qmfi_objid* object, qmfi_objid*** groups, int* count) {
    const int status = soundCalls.fi_pgn_claim(object, groups, count);
    return status == KFI_CLAIMED ? 0 : status;
  };
}

void namesOtherDevice(Calls& calls) {
  calls.fi_pgn_subobj_list = [](kfi_domain* node, qmfi_objid*** objects, int* count) {
    const int status = soundCalls.fi_pgn_subobj_list(node, objects, count);
    if (status == 0 && *count > 0) (*objects)[0] = qmfi_get_objid("/dev/null", 9, KFI_OBJID_OBJECT);
    return status;
  };
}

void forgetsStates(Calls& calls) {
  calls.fi_pgn_process_providerstate = [](kfi_domain* node, kfi_blob* blob, kfi_op_providerstate operation) {
    if (operation == KFI_PROVIDERSTATE_STORE && blob != nullptr && node != nullptr) return 0;
    return soundCalls.fi_pgn_process_providerstate(node, blob, operation);
  };
}

void freezesNothing(Calls& calls) {
  calls.fi_pgn_quiesce = [](kfi_quiescenode*, kfi_quiescenode**, int, char*) { return 0; };
}

void freezesFirstOnly(Calls& calls) {
  calls.fi_pgn_quiesce = [](kfi_quiescenode* node, kfi_quiescenode** nodes, int count, char* options) {
    return soundCalls.fi_pgn_quiesce(node, nodes, count > 1 ? 1 : count, options);
  };
}

void thawsNothing(Calls& calls) {
  calls.fi_pgn_unquiesce = [](kfi_quiescenode*, kfi_quiescenode**, int) {};
}

void freezesTwice(Calls& calls) {
  calls.fi_pgn_quiesce = [](kfi_quiescenode* node, kfi_quiescenode** nodes, int count, char* options) {
    const int status = soundCalls.fi_pgn_quiesce(node, nodes, count, options);
    return status == failed ? 0 : status;
  };
}

// A request to the file system of a quiesce node.
int ask(const kfi_quiescenode& node, unsigned long request) {
  const int directory = open(node.kqn_node->fid_objid->vid_name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const int answer = ioctl(directory, request, 0);
  close(directory);
  return answer;
}

// The kernel's own freeze, which nobody watches over.
int freezeEach(kfi_quiescenode** nodes, int count) {
  int status = 0;
  for (int i = 0; i < count; ++i) {
    if (ask(*nodes[i], FIFREEZE) != 0) status = failed;
  }
  return status;
}

void thawEach(kfi_quiescenode** nodes, int count) {
  for (int i = 0; i < count; ++i) ask(*nodes[i], FITHAW);
}

void diesOfForeignThaw(Calls& calls) {
  calls.fi_pgn_quiesce = [](kfi_quiescenode*, kfi_quiescenode** nodes, int count, char*) {
    return freezeEach(nodes, count);
  };
  calls.fi_pgn_unquiesce = [](kfi_quiescenode*, kfi_quiescenode** nodes, int count) {
    for (int i = 0; i < count; ++i) {
      if (ask(*nodes[i], FITHAW) != 0) std::abort();
    }
  };
}

void endsFrozen(Calls& calls) {
  calls.fi_pgn_fini = [] {};
}

void knowsNoTimeout(Calls& calls) {
  calls.fi_pgn_config = [](kfi_domain* node, int, char*, kfi_confspec* spec) {
    return node == nullptr || spec == nullptr ? 3 : 0;
  };
}

void hasNoWatchdog(Calls& calls) {
  calls.fi_pgn_quiesce = [](kfi_quiescenode*, kfi_quiescenode** nodes, int count, char*) {
    return freezeEach(nodes, count);
  };
  calls.fi_pgn_unquiesce = [](kfi_quiescenode*, kfi_quiescenode** nodes, int count) { thawEach(nodes, count); };
}

// A thread of the process ends the freeze in time, unless the process is stopped.
void watchesInItsOwnProcess(Calls& calls) {
  hasNoWatchdog(calls);
  calls.fi_pgn_quiesce = [](kfi_quiescenode*, kfi_quiescenode** nodes, int count, char*) {
    const int status = freezeEach(nodes, count);
    std::thread([list = std::vector(nodes, nodes + count)]() mutable {
      std::this_thread::sleep_for(std::chrono::seconds(1));
      thawEach(list.data(), static_cast<int>(list.size()));
    }).detach();
    return status;
  };
}

void leavesFirstFrozen(Calls& calls) {
  calls.fi_pgn_quiesce = [](kfi_quiescenode* node, kfi_quiescenode** nodes, int count, char* options) {
    const int status = soundCalls.fi_pgn_quiesce(node, nodes, count, options);
    if (status != 0 && nodes != nullptr && count > 0 && nodes[0] != nullptr) ask(*nodes[0], FIFREEZE);
    return status;
  };
}

// Each only as long as it takes to freeze it.
void freezesOneAfterAnother(Calls& calls) {
  calls.fi_pgn_quiesce = [](kfi_quiescenode*, kfi_quiescenode** nodes, int count, char*) {
    for (int i = 0; i < count; ++i) {
      ask(*nodes[i], FIFREEZE);
      ask(*nodes[i], FITHAW);
    }
    return 0;
  };
}

void hangsWhenFrozen(Calls& calls) {
  calls.fi_pgn_quiesce = [](kfi_quiescenode*, kfi_quiescenode** nodes, int count, char*) {
    freezeEach(nodes, count);
    return pause();
  };
}

struct Fault {
  const char* name;
  void (*put)(Calls& calls);
};

constexpr Fault faults[] = {
#define BROKEN_FAULT(name, case) {#name, name},
#define BROKEN_FREEZE(name, case) {#name, name},
#include "support/broken_provider/broken_faults.def"
};

}  // namespace

void putFaultIn(const char* name) {
  for (const Fault& fault : faults) {
    if (std::strcmp(name, fault.name) == 0) fault.put(brokenCalls);
  }
}
