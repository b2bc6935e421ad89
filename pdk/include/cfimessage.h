// Localisable messages: an identifier and typed arguments, never free text.
#ifndef CFIMESSAGE_H
#define CFIMESSAGE_H

#include <unicode/fmtable.h>

#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "cfismartptr.h"
#include "kfi.h"

namespace qmfi_pdk_4_4 {

// An ICU value that finds no memory for its text is left without one, and the next copy of it crashes. Returns the
// value, or throws std::bad_alloc when it has lost its text.
inline const icu::Formattable& wholeArgument(const icu::Formattable& argument) {
  if (argument.getType() == icu::Formattable::kString) {
    UErrorCode status = U_ZERO_ERROR;
    if (argument.getString(status).isBogus() || U_FAILURE(status)) throw std::bad_alloc();
  }
  return argument;
}

// A message of some catalog kind. Does not change once made, so it may be read from any thread.
class CFiMessage : public virtual CFiRefCount {
 public:
  // id names the text in the catalogs, file is the source file without directories, line the source line. A null string
  // counts as empty.
  CFiMessage(const char* id, kfi_eseverity severity, const char* file, std::int32_t line)
      : m_id(id != nullptr ? id : ""), m_severity(severity), m_file(file != nullptr ? file : ""), m_line(line) {}

  const std::string& getMessageId() const { return m_id; }
  const std::string& getFileName() const { return m_file; }
  kfi_eseverity getSeverity() const { return m_severity; }
  std::int32_t getLineNumber() const { return m_line; }

 private:
  const std::string m_id;
  const kfi_eseverity m_severity;
  const std::string m_file;
  const std::int32_t m_line;
};

using CFiMessageSPtr = CFiSmartPtr<CFiMessage, CFiNullAllocator<CFiMessage>>;

// A message whose arguments are ICU values.
class CFiIcuMessage : public CFiMessage {
 public:
  // Copies count arguments; arguments may be null when count is 0. Throws std::bad_alloc when memory is short.
  CFiIcuMessage(const char* id, const icu::Formattable* arguments, int count, kfi_eseverity severity, const char* file,
                int line)
      : CFiMessage(id, severity, file, line), m_arguments(arguments, arguments + count) {
    for (const icu::Formattable& argument : m_arguments) wholeArgument(argument);
  }

  const std::vector<icu::Formattable>& getArguments() const { return m_arguments; }

  // The arguments as one line of text, for a message record.
  std::string serialize() const;

  // Rebuilds the message of a record; arguments that are not in the form of serialize are left out. Never null: throws
  // std::system_error when its mutex fails. The record must not be null.
  static CFiMessageSPtr deserialize(const kfi_msg_info* record);

 private:
  const std::vector<icu::Formattable> m_arguments;
};

}  // namespace qmfi_pdk_4_4

#endif
