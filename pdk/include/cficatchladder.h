// The one place where exceptions of an operation become pushed messages and a status.
#ifndef CFICATCHLADDER_H
#define CFICATCHLADDER_H

#include "cficontextsingleton.h"
#include "cfierror.h"
#include "cfierrormanager.h"
#include "cfiexecpipe.h"
#include "cfipluginname.h"
#include "cfistatus.h"

#include <cxxabi.h>
#include <unicode/fmtable.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>

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

// Pushes a message onto this plug-in's error queue; one that cannot be counted because its mutex fails is lost. Throws
// std::bad_alloc when memory is short.
inline void pushMessage(const char* id, std::initializer_list<icu::Formattable> arguments, kfi_eseverity severity,
                        const CFiSourceLocation& location) {
  auto object = std::make_unique<CFiIcuMessage>(id, arguments.begin(), static_cast<int>(arguments.size()), severity,
                                                location.file, location.line);
  const CFiMessageSPtr message(object.get());
  // Required: where the count's mutex fails the push carries an empty message.
  if (message) {
    static_cast<void>(object.release());
  }
  const auto manager = CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(false);
  // Empty when its mutex fails, of which errno tells.
  if (manager) {
    manager->pushError(message);
  }
}

// The exception's own class name, readable.
inline std::string exceptionClassName(const std::exception& exception) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(typeid(exception).name(), nullptr, nullptr, &status), &std::free);
  return name != nullptr ? name.get() : typeid(exception).name();
}

// The catch ladder: runs an operation's body and returns its status. An exception becomes a pushed message of severity
// 3 with the given location, sets *caught (when caught is given) and makes the status 6. What is neither listed here
// nor a std::exception passes through, as does a failure to build the message.
template <typename Body>
int guarded(Body&& body, bool* caught = nullptr, const CFiSourceLocation& location = CFiSourceLocation::here()) {
  using icu::Formattable;
  const auto report = [&](const char* id, std::initializer_list<Formattable> arguments) {
    if (caught != nullptr) {
      *caught = true;
    }
    pushMessage(id, arguments, KFI_SEVERITY_UNHANDLED_EXCEPTION, location);
    return CFI_STATUS_FAILED;
  };
  try {
    return body();
  } catch (const EFiExecPipe& exception) {
    return report("MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION",
                  {messageText(execPipeErrorName(exception.getCode())), messageText(exception.getText()),
                   messageText(location.file), Formattable(location.line)});
  } catch (const CFiError& exception) {
    return report("MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION",
                  {messageText(exception.what()), messageText(exception.getFile()),
                   messageText(exception.getFunction()), Formattable(exception.getLine())});
  } catch (const CFiUdidException& exception) {
    return report("MSG_ERROR_UDID_PARSING_EXCEPTION",
                  {messageText(exception.getText()), Formattable(exception.getNumber())});
  } catch (const std::exception& exception) {
    const bool isRuntimeError = dynamic_cast<const std::runtime_error*>(&exception) != nullptr;
    return report("MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION",
                  {messageText(isRuntimeError ? "std::runtime_error" : exceptionClassName(exception)),
                   messageText(exception.what()), messageText(location.file), Formattable(location.line)});
  } catch (int exception) {
    return report("MSG_ERROR_UNHANDLED_INT_EXCEPTION",
                  {Formattable(exception), messageText(location.file), Formattable(location.line)});
  }
}

}  // namespace qmfi_pdk_4_4

#endif
