// The one place where exceptions of an operation become pushed messages and a status.
#ifndef CFICATCHLADDER_H
#define CFICATCHLADDER_H

#include <cxxabi.h>
#include <unicode/fmtable.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include "cficontextsingleton.h"
#include "cfierror.h"
#include "cfierrormanager.h"
#include "cfiexecpipe.h"
#include "cfipluginname.h"
#include "cfistatus.h"

namespace qmfi_pdk_4_4 {

// A place in the source: what messages carry. The file name is kept without its directories.
struct CFiSourceLocation {
  const char* file;  // without directories; not copied
  int line;

  // The place where it is called, or the given one.
  static CFiSourceLocation here(const char* path = __builtin_FILE(), int line = __builtin_LINE()) {
    const char* const slash = std::strrchr(path, '/');
    return {slash != nullptr ? slash + 1 : path, line};
  }
};

// A text as a message argument. Throws std::bad_alloc when memory is short.
inline icu::Formattable messageText(const std::string& text) {
  icu::Formattable argument(icu::UnicodeString::fromUTF8(text));
  wholeArgument(argument);
  return argument;
}

// Pushes a message onto this plug-in's error queue. id names its text in the catalogs and is not null; location is what
// it is reported under. A message that cannot be counted because its mutex fails is dropped, and an empty one, which
// the queue ignores, is pushed in its place. Throws std::bad_alloc when memory is short. May be called from any thread.
inline void pushMessage(const char* id, std::span<const icu::Formattable> arguments, kfi_eseverity severity,
                        const CFiSourceLocation& location) {
  auto object = std::make_unique<CFiIcuMessage>(id, arguments.data(), static_cast<int>(arguments.size()), severity,
                                                location.file, location.line);
  const CFiMessageSPtr message(object.get());
  // Required: a message that could not be counted is pushed as an empty one.
  if (message) static_cast<void>(object.release());
  const auto manager = CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(false);
  // Empty when its mutex fails, of which errno tells.
  if (manager) manager->pushError(message);
}

// The same, with the arguments named where it is called.
inline void pushMessage(const char* id, std::initializer_list<icu::Formattable> arguments, kfi_eseverity severity,
                        const CFiSourceLocation& location) {
  pushMessage(id, std::span<const icu::Formattable>(arguments.begin(), arguments.size()), severity, location);
}

// The exception's own class name, readable.
inline std::string exceptionClassName(const std::exception& exception) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(typeid(exception).name(), nullptr, nullptr, &status), &std::free);
  return name != nullptr ? name.get() : typeid(exception).name();
}

// The rungs of the ladder: each pushes the message of what was caught, reported under the operation's location, and
// returns the operation's status. They throw std::bad_alloc when memory is short.
//
// A command that failed: the pipe's code by its name, and the text.
inline int reportCaught(const EFiExecPipe& exception, const CFiSourceLocation& location) {
  pushMessage("MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION",
              {messageText(execPipeErrorName(exception.getCode())), messageText(exception.getText()),
               messageText(location.file), icu::Formattable(location.line)},
              KFI_SEVERITY_UNHANDLED_EXCEPTION, location);
  return CFI_STATUS_FAILED;
}

// An error of the provider: its name, and where it was thrown.
inline int reportCaught(const CFiError& exception, const CFiSourceLocation& location) {
  pushMessage("MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION",
              {messageText(exception.what()), messageText(exception.getFile()), messageText(exception.getFunction()),
               icu::Formattable(exception.getLine())},
              KFI_SEVERITY_UNHANDLED_EXCEPTION, location);
  return CFI_STATUS_FAILED;
}

// An identifier that could not be read: the text, and the place in it.
inline int reportCaught(const CFiUdidException& exception, const CFiSourceLocation& location) {
  pushMessage("MSG_ERROR_UDID_PARSING_EXCEPTION",
              {messageText(exception.getText()), icu::Formattable(exception.getNumber())},
              KFI_SEVERITY_UNHANDLED_EXCEPTION, location);
  return CFI_STATUS_FAILED;
}

// Any other exception of the library: its class, and what it says.
inline int reportCaught(const std::exception& exception, const CFiSourceLocation& location) {
  const bool isRuntimeError = dynamic_cast<const std::runtime_error*>(&exception) != nullptr;
  pushMessage("MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION",
              {messageText(isRuntimeError ? "std::runtime_error" : exceptionClassName(exception)),
               messageText(exception.what()), messageText(location.file), icu::Formattable(location.line)},
              KFI_SEVERITY_UNHANDLED_EXCEPTION, location);
  return CFI_STATUS_FAILED;
}

// The status of a failed unmount, thrown as it is.
inline int reportCaught(int exception, const CFiSourceLocation& location) {
  pushMessage("MSG_ERROR_UNHANDLED_INT_EXCEPTION",
              {icu::Formattable(exception), messageText(location.file), icu::Formattable(location.line)},
              KFI_SEVERITY_UNHANDLED_EXCEPTION, location);
  return CFI_STATUS_FAILED;
}

// The catch ladder: runs an operation's body and returns its status. An exception becomes a pushed message of severity
// 3 with the given location, sets *caught (when caught is given) and makes the status 6. What is neither listed here
// nor a std::exception passes through, as does a failure to build the message.
template <typename Body>
int guarded(Body&& body, bool* caught = nullptr, const CFiSourceLocation& location = CFiSourceLocation::here()) {
  bool unused;
  bool& isCaught = caught != nullptr ? *caught : unused;
  try {
    return body();
  } catch (const EFiExecPipe& exception) {
    isCaught = true;
    return reportCaught(exception, location);
  } catch (const CFiError& exception) {
    isCaught = true;
    return reportCaught(exception, location);
  } catch (const CFiUdidException& exception) {
    isCaught = true;
    return reportCaught(exception, location);
  } catch (const std::exception& exception) {
    isCaught = true;
    return reportCaught(exception, location);
  } catch (int exception) {
    isCaught = true;
    return reportCaught(exception, location);
  }
}

}  // namespace qmfi_pdk_4_4

#endif
