// The calls that the plug-in makes of others, taken over by the test program.
#include "imported_calls.h"

#include <dlfcn.h>
#include <signal.h>

#include <cerrno>

#include "freeze_calls.h"
#include "support/driver_requests.h"

namespace {

template <typename Function>
void find(void* library, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(dlsym(library, name));
}

// Whether a signal's handler or the end of the thread may come in between now.
bool canBeInterrupted() {
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  int cancellation = 0;
  int ignored = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancellation);
  pthread_setcancelstate(cancellation, &ignored);
  return sigismember(&blocked, SIGALRM) == 0 || cancellation == PTHREAD_CANCEL_ENABLE;
}

// As it is noted in the order of calls.
std::string described(const DriverRequest& request) {
  const auto name = [](const std::string& path) { return " " + path.substr(path.rfind('/') + 1); };
  if (request.request == QM_THAW) return "thaw" + name(request.path);
  if (request.request == QM_FREEZE) return "freeze" + name(request.path);
  std::string text = "freeze all";
  for (const auto& path : request.paths) text += name(path);
  return text;
}

// Does what was asked for once.
void doOnce(std::function<void()>& action) {
  if (const auto now = std::exchange(action, nullptr)) now();
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const DriverRequest& request) {
  stream << std::hex << request.request << std::dec << " on " << request.path << " argument " << request.argument
         << " timeout " << request.timeout << " paths";
  for (const auto& path : request.paths) stream << " " << path;
  return stream;
}

std::ostream& operator<<(std::ostream& stream, const IdentifierRequest& request) {
  return stream << "\"" << request.name << "\" length " << request.length << " kind " << request.kind;
}

DriverRequest freezeAll(std::vector<std::string> paths, std::int32_t timeout) {
  const std::string first = paths.front();
  return {QM_FREEZE_ALL, first, 0, std::move(paths), timeout};
}

DriverRequest freeze(const std::string& path, std::int32_t timeout) {
  return {QM_FREEZE, path, timeout, {}, 0};
}

DriverRequest thaw(const std::string& path) {
  return {QM_THAW, path, 0, {}, 0};
}

ImportedCalls& importedCalls() {
  static ImportedCalls calls;
  return calls;
}

void ImportedCalls::reset(void* library) {
  freezeCalls().reset(library);
  forget();
  const std::lock_guard lock(m_mutex);
  m_framework = Framework();
  if (library != nullptr) {
    find(library, "qmfi_create_context", m_framework.createContext);
    find(library, "qmfi_close_context", m_framework.closeContext);
    find(library, "qmfi_alloc_buf", m_framework.allocate);
    find(library, "qmfi_get_objid", m_framework.identifier);
    find(library, "qmfi_build_providerlist_node", m_framework.providerListElement);
  }
  m_interruptibleThaws = 0;
  m_driverAnswers.clear();
  m_contextFailure.reset();
  m_bufferFailure.reset();
  m_identifierAnswers.clear();
  m_providerListFailure = false;
  m_contextAction = nullptr;
  m_closingAction = nullptr;
  m_identifierAction = nullptr;
}

void ImportedCalls::failDriver(std::uint32_t request, int number, int error) {
  answerDriver(request, number, -1, error);
}

void ImportedCalls::answerDriver(std::uint32_t request, int number, int result, int error) {
  const std::lock_guard lock(m_mutex);
  m_driverAnswers[request][number] = {result, error};
}

void ImportedCalls::failContext(int error) {
  const std::lock_guard lock(m_mutex);
  m_contextFailure = error;
}

void ImportedCalls::failBuffer(std::size_t size) {
  const std::lock_guard lock(m_mutex);
  m_bufferFailure = size;
}

void ImportedCalls::failProviderList() {
  const std::lock_guard lock(m_mutex);
  m_providerListFailure = true;
}

void ImportedCalls::doInContext(std::function<void()> action) {
  const std::lock_guard lock(m_mutex);
  m_contextAction = std::move(action);
}

void ImportedCalls::doInClosing(std::function<void()> action) {
  const std::lock_guard lock(m_mutex);
  m_closingAction = std::move(action);
}

void ImportedCalls::doInIdentifier(std::function<void()> action) {
  const std::lock_guard lock(m_mutex);
  m_identifierAction = std::move(action);
}

void ImportedCalls::failIdentifier(const std::string& name) {
  answerIdentifier(name, nullptr);
}

void ImportedCalls::answerIdentifier(const std::string& name, qmfi_objid* identifier) {
  const std::lock_guard lock(m_mutex);
  m_identifierAnswers[name] = identifier;
}

void ImportedCalls::stopClock(std::time_t now) {
  const std::lock_guard lock(m_mutex);
  m_stoppedClock = now;
}

std::vector<DriverRequest> ImportedCalls::driverRequests() const {
  const std::lock_guard lock(m_mutex);
  return m_driverRequests;
}

std::vector<unsigned> ImportedCalls::sleeps() const {
  const std::lock_guard lock(m_mutex);
  return m_sleeps;
}

std::vector<std::string> ImportedCalls::contextCalls() const {
  const std::lock_guard lock(m_mutex);
  return m_contextCalls;
}

std::vector<IdentifierRequest> ImportedCalls::identifierRequests() const {
  const std::lock_guard lock(m_mutex);
  return m_identifierRequests;
}

void ImportedCalls::forget() {
  const std::lock_guard lock(m_mutex);
  m_driverRequests.clear();
  m_sleeps.clear();
  m_contextCalls.clear();
  m_identifierRequests.clear();
}

int ImportedCalls::interruptibleThaws() const {
  const std::lock_guard lock(m_mutex);
  return m_interruptibleThaws;
}

int ImportedCalls::driver(int descriptor, std::uint32_t request, std::uintptr_t argument) {
  DriverRequest noted{request, pathOfDescriptor(descriptor), static_cast<std::int64_t>(argument), {}, 0};
  if (request == QM_FREEZE_ALL) {
    const auto& record = *reinterpret_cast<const FreezeAllRecord*>(argument);
    noted.argument = 0;
    noted.timeout = record.timeout;
    for (std::int32_t i = 0; i < record.count; ++i) noted.paths.push_back(pathOfDescriptor(record.descriptors[i]));
  }
  const bool interruptible = canBeInterrupted();
  const std::lock_guard lock(m_mutex);
  m_driverRequests.push_back(noted);
  if (request == QM_THAW && interruptible) ++m_interruptibleThaws;
  std::map<int, DriverAnswer> left;
  DriverAnswer answer;
  for (const auto& [number, planned] : m_driverAnswers[request]) {
    if (number == 1) {
      answer = planned;
    } else {
      left[number - 1] = planned;
    }
  }
  m_driverAnswers[request] = left;
  freezeCalls().note(described(noted));
  errno = answer.error != 0 ? answer.error : errno;
  return answer.result;
}

unsigned ImportedCalls::sleep(unsigned seconds) {
  const std::lock_guard lock(m_mutex);
  m_sleeps.push_back(seconds);
  return 0;
}

std::time_t ImportedCalls::time() {
  const std::lock_guard lock(m_mutex);
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return m_stoppedClock.value_or(now.tv_sec);
}

int ImportedCalls::createContext() {
  const std::lock_guard lock(m_mutex);
  m_contextCalls.emplace_back("create");
  freezeCalls().note("create context");
  // It counts also when it fails, since the caller closes it.
  const int result = m_framework.createContext();
  doOnce(m_contextAction);
  return std::exchange(m_contextFailure, std::nullopt).value_or(result);
}

void ImportedCalls::closeContext() {
  {
    const std::lock_guard lock(m_mutex);
    m_contextCalls.emplace_back("close");
  }
  freezeCalls().note("close context");
  // Closing hands out messages, and their handlers may call back.
  m_framework.closeContext();
  std::function<void()> action;
  {
    const std::lock_guard lock(m_mutex);
    action.swap(m_closingAction);
  }
  if (action) action();
}

void* ImportedCalls::allocate(std::size_t size) {
  const std::lock_guard lock(m_mutex);
  if (m_bufferFailure == size) {
    m_bufferFailure.reset();
    return nullptr;
  }
  return m_framework.allocate(size);
}

qmfi_objid* ImportedCalls::identifier(const char* name, std::uint32_t length, std::int32_t kind) {
  const std::lock_guard lock(m_mutex);
  m_identifierRequests.push_back({name != nullptr ? name : "", length, kind});
  doOnce(m_identifierAction);
  const auto answer = m_identifierAnswers.find(name != nullptr ? name : "");
  if (answer != m_identifierAnswers.end()) return answer->second;
  return m_framework.identifier(name, length, kind);
}

kfi_provider_list* ImportedCalls::providerListElement(const char* name, kfi_version version, std::int32_t attr1,
                                                      std::int32_t attr2, const char* const* fitypes, int count) {
  const std::lock_guard lock(m_mutex);
  if (std::exchange(m_providerListFailure, false)) return nullptr;
  return m_framework.providerListElement(name, version, attr1, attr2, fitypes, count);
}

int answerDriverRequest(int descriptor, std::uint32_t request, std::uintptr_t argument) {
  return importedCalls().driver(descriptor, request, argument);
}

extern "C" {

unsigned sleep(unsigned seconds) {
  return importedCalls().sleep(seconds);
}

std::time_t time(std::time_t* result) noexcept {
  const std::time_t now = importedCalls().time();
  if (result != nullptr) *result = now;
  return now;
}

int qmfi_create_context() {
  return importedCalls().createContext();
}

void qmfi_close_context() {
  importedCalls().closeContext();
}

void* qmfi_alloc_buf(std::size_t size) {
  return importedCalls().allocate(size);
}

qmfi_objid* qmfi_get_objid(const char* name, std::uint32_t length, std::int32_t kind) {
  return importedCalls().identifier(name, length, kind);
}

kfi_provider_list* qmfi_build_providerlist_node(const char* name, kfi_version version, std::int32_t attr1,
                                                std::int32_t attr2, const char* const* fitypes, int count) {
  return importedCalls().providerListElement(name, version, attr1, attr2, fitypes, count);
}
}
