// The exceptions by which an operation gives up with a numeric code.
#ifndef CFIERROR_H
#define CFIERROR_H

#include <cctype>
#include <cinttypes>
#include <cstdint>
#include <exception>
#include <string>
#include <utility>

#include "K_strings.h"
#include "cfistatus.h"

namespace qmfi_pdk_4_4 {

// A failure with an error number, mostly a CFiStatus, a text and the place where it was thrown. Does not change once
// made, so it may be read from any thread.
class CFiError : public std::exception {
 public:
  // number is mostly a CFiStatus, text is for people; file, function and line are where it is thrown.
  CFiError(std::int32_t number, std::string text, std::string file, std::string function, std::int32_t line)
      : m_number(number),
        m_text(std::move(text)),
        m_file(std::move(file)),
        m_function(std::move(function)),
        m_line(line) {}

  // "MSG_ERROR_" + the name in upper case + "_" + the error number in four digits, counted from offset when it is
  // greater.
  virtual std::string getMessageId(const std::string& name, int offset) const {
    std::string id = "MSG_ERROR_";
    for (const unsigned char character : name) id += static_cast<char>(std::toupper(character));
    // Wider than both, since an offset below zero makes the number greater.
    const std::int64_t counted = std::int64_t{m_number} - (m_number > offset ? offset : 0);
    char number[16];
    K_snprintf(number, sizeof number, "_%04" PRId64, counted);
    return id + number;
  }

  const char* what() const noexcept override { return m_text.c_str(); }

  std::int32_t getNumber() const { return m_number; }
  const std::string& getFile() const { return m_file; }
  const std::string& getFunction() const { return m_function; }
  std::int32_t getLine() const { return m_line; }

 private:
  std::int32_t m_number;
  std::string m_text;
  std::string m_file;
  std::string m_function;
  std::int32_t m_line;
};

// A device identifier that cannot be parsed.
class CFiUdidException {
 public:
  // text is the identifier or the reason, number the parser's own.
  CFiUdidException(std::string text, std::int32_t number) : m_text(std::move(text)), m_number(number) {}

  const std::string& getText() const { return m_text; }
  std::int32_t getNumber() const { return m_number; }

 private:
  std::string m_text;
  std::int32_t m_number;
};

}  // namespace qmfi_pdk_4_4

#endif
