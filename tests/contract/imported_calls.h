// The calls that the plug-in makes of others, taken over by the test program: the kernel driver's requests, the pauses
// between attempts, the clock, and the framework's buffers, identifiers and split context. The program exports
// functions of these names, which the dynamic linker finds before the real ones; what is not answered here is handed
// on.
#ifndef IMPORTED_CALLS_H
#define IMPORTED_CALLS_H

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "support/foreign_framework.h"

// One request to the kernel driver.
struct DriverRequest {
  std::uint32_t request = 0;
  std::string path;                // of the descriptor that it was issued on
  std::int64_t argument = 0;       // QM_FREEZE: the time-out, QM_THAW: 0; QM_FREEZE_ALL: 0, its record is below
  std::vector<std::string> paths;  // QM_FREEZE_ALL: of the record's descriptors
  std::int32_t timeout = 0;        // QM_FREEZE_ALL: the record's

  bool operator==(const DriverRequest&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const DriverRequest& request);

DriverRequest freezeAll(std::vector<std::string> paths, std::int32_t timeout);
DriverRequest freeze(const std::string& path, std::int32_t timeout);
DriverRequest thaw(const std::string& path);

// A request for an identifier.
struct IdentifierRequest {
  std::string name;
  std::uint32_t length = 0;
  std::int32_t kind = 0;

  bool operator==(const IdentifierRequest&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const IdentifierRequest& request);

// Notes the calls and fails those that it is told to. All may be used from any thread.
class ImportedCalls {
 public:
  // Forgets all and fails nothing. library: where the framework's own functions are found; null when it is gone.
  void reset(void* library);

  // Fails the number-th request of that kind from now on, counted from 1, with that error number.
  void failDriver(std::uint32_t request, int number, int error);
  // The same with a result of the test's choice.
  void answerDriver(std::uint32_t request, int number, int result, int error);
  // Fails the next opening of the split context with that error number.
  void failContext(int error);
  // Fails the next allocation of a buffer of that size.
  void failBuffer(std::size_t size);
  // Fails the next making of a provider list's element.
  void failProviderList();
  // Does something in the next opening of the split context or request for an identifier: throws, where a framework
  // written in C++ might.
  void doInContext(std::function<void()> action);
  // The same in the next closing of the split context, when it is closed.
  void doInClosing(std::function<void()> action);
  void doInIdentifier(std::function<void()> action);
  // Answers requests for the identifier of that name with null, or with one of the test's own.
  void failIdentifier(const std::string& name);
  void answerIdentifier(const std::string& name, qmfi_objid* identifier);
  // Stops the clock at that time.
  void stopClock(std::time_t now);

  std::vector<DriverRequest> driverRequests() const;
  // Thaws that a signal or the end of the thread could have interrupted.
  int interruptibleThaws() const;
  std::vector<unsigned> sleeps() const;
  // "create" and "close", in order.
  std::vector<std::string> contextCalls() const;
  std::vector<IdentifierRequest> identifierRequests() const;
  // Forgets what was noted, not what is to fail.
  void forget();

  // What the taken-over functions do.
  int driver(int descriptor, std::uint32_t request, std::uintptr_t argument);
  unsigned sleep(unsigned seconds);
  std::time_t time();
  int createContext();
  void closeContext();
  void* allocate(std::size_t size);
  qmfi_objid* identifier(const char* name, std::uint32_t length, std::int32_t kind);
  kfi_provider_list* providerListElement(const char* name, kfi_version version, std::int32_t attr1, std::int32_t attr2,
                                         const char* const* fitypes, int count);

 private:
  // The framework's own functions.
  struct Framework {
    int (*createContext)() = nullptr;
    void (*closeContext)() = nullptr;
    void* (*allocate)(std::size_t) = nullptr;
    qmfi_objid* (*identifier)(const char*, std::uint32_t, std::int32_t) = nullptr;
    kfi_provider_list* (*providerListElement)(const char*, kfi_version, std::int32_t, std::int32_t, const char* const*,
                                              int) = nullptr;
  };

  mutable std::mutex m_mutex;
  Framework m_framework;
  std::vector<DriverRequest> m_driverRequests;
  int m_interruptibleThaws = 0;
  std::vector<unsigned> m_sleeps;
  std::vector<std::string> m_contextCalls;
  std::vector<IdentifierRequest> m_identifierRequests;
  struct DriverAnswer {
    int result = 0;
    int error = 0;
  };
  std::map<std::uint32_t, std::map<int, DriverAnswer>> m_driverAnswers;  // request, how many calls away
  std::optional<int> m_contextFailure;
  std::optional<std::size_t> m_bufferFailure;
  std::map<std::string, qmfi_objid*> m_identifierAnswers;
  std::optional<std::time_t> m_stoppedClock;
  bool m_providerListFailure = false;
  std::function<void()> m_contextAction;
  std::function<void()> m_closingAction;
  std::function<void()> m_identifierAction;
};

ImportedCalls& importedCalls();

#endif
