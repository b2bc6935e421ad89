// What is printed to a terminal.
#ifndef TERMINAL_OUTPUT_H
#define TERMINAL_OUTPUT_H

#include <ostream>
#include <streambuf>

namespace qmfi_host {

// Passes characters on to another buffer, which must outlive it. Of those that command a terminal only line feeds go as
// they are; every other one stands as "\x" and two hexadecimal digits, also those of UTF-8 that take two bytes.
class PrintableBuffer : public std::streambuf {
 public:
  // target: what it passes on to.
  explicit PrintableBuffer(std::streambuf& target) : m_target(target) {}

 protected:
  int_type overflow(int_type character) override;
  int sync() override;

 private:
  bool put(unsigned char byte);
  bool putCode(unsigned char byte);

  std::streambuf& m_target;
  bool m_mayBeCommand = false;  // the first byte of two has come, and is not passed on yet
};

// Lets a stream print only what is printable from its making to its end, when its descriptor is a terminal: names come
// from anywhere, and a terminal would do what is written in them.
class TerminalOutput {
 public:
  // descriptor: what the stream writes to.
  TerminalOutput(std::ostream& stream, int descriptor);
  TerminalOutput(const TerminalOutput&) = delete;
  TerminalOutput& operator=(const TerminalOutput&) = delete;
  ~TerminalOutput();

 private:
  std::ostream& m_stream;
  std::streambuf* m_before;
  PrintableBuffer m_printable;
};

}  // namespace qmfi_host

#endif
