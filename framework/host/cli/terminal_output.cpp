// Control characters as text.
#include "cli/terminal_output.h"

#include <unistd.h>

#include <array>
#include <string_view>

namespace qmfi_host {

namespace {

// U+0080 to U+009F begin with this byte; a second byte from 0xa0 on makes a letter of it.
constexpr unsigned char beginsCommand = 0xc2;
constexpr unsigned char firstLetter = 0xa0;
constexpr unsigned char deleteCharacter = 0x7f;

bool isControl(unsigned char byte) {
  return (byte < ' ' && byte != '\n') || byte == deleteCharacter;
}

}  // namespace

bool PrintableBuffer::put(unsigned char byte) {
  return m_target.sputc(static_cast<char>(byte)) != traits_type::eof();
}

bool PrintableBuffer::putCode(unsigned char byte) {
  constexpr std::string_view digits = "0123456789abcdef";
  const std::array<char, 4> code = {'\\', 'x', digits[byte / 16], digits[byte % 16]};
  return m_target.sputn(code.data(), code.size()) == static_cast<std::streamsize>(code.size());
}

PrintableBuffer::int_type PrintableBuffer::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(character);
  const auto byte = static_cast<unsigned char>(character);
  bool done = true;
  const bool isSecond = m_mayBeCommand;
  m_mayBeCommand = false;
  const bool isCommand = isSecond && byte > deleteCharacter && byte < firstLetter;
  if (isSecond) done = isCommand ? putCode(beginsCommand) : put(beginsCommand);
  if (byte == beginsCommand) {
    m_mayBeCommand = true;
  } else {
    done = done && (isCommand || isControl(byte) ? putCode(byte) : put(byte));
  }
  return done ? character : traits_type::eof();
}

int PrintableBuffer::sync() {
  return m_target.pubsync();
}

TerminalOutput::TerminalOutput(std::ostream& stream, int descriptor)
    : m_stream(stream), m_before(stream.rdbuf()), m_printable(*m_before) {
  if (isatty(descriptor) != 0) m_stream.rdbuf(&m_printable);
}

TerminalOutput::~TerminalOutput() {
  m_stream.rdbuf(m_before);
}

}  // namespace qmfi_host
