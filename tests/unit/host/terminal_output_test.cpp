// What is printed to a terminal.
#include "cli/terminal_output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>

#include <sstream>

#include "system/descriptor.h"

namespace qmfi_host {
namespace {

std::string printable(const std::string& text) {
  std::stringbuf target;
  PrintableBuffer buffer(target);
  std::ostream(&buffer) << text;
  return target.str();
}

TEST(TerminalOutput, ShowsControlCharactersAsText) {
  const struct {
    const char* text;
    const char* shown;
  } cases[] = {
      {"two\nlines\n", "two\nlines\n"},
      {"\x1b[31mred", "\\x1b[31mred"},
      {"over\rwritten\b\t\x7f", "over\\x0dwritten\\x08\\x09\\x7f"},
      {"sch\xc3\xb6n, \xc2\xa0 and \xe2\x82\xac", "sch\xc3\xb6n, \xc2\xa0 and \xe2\x82\xac"},
      {"\xc2\x9b"
       "31m",
       "\\xc2\\x9b31m"},
      {"\xc2\xc2\x9b", "\xc2\\xc2\\x9b"},
      {"\xc2\x1b", "\xc2\\x1b"},
  };
  for (const auto& one : cases) EXPECT_EQ(printable(one.text), one.shown);
}

TEST(TerminalOutput, FailsWhereTheTargetFails) {
  class Full : public std::streambuf {
  } full;
  for (const char* text : {"a", "\x1b"}) {
    PrintableBuffer buffer(full);
    std::ostream stream(&buffer);
    EXPECT_FALSE(stream << text);
  }
}

TEST(TerminalOutput, IsChangedForTerminalsOnly) {
  int controller = -1;
  int terminal = -1;
  ASSERT_EQ(openpty(&controller, &terminal, nullptr, nullptr, nullptr), 0);
  const qmfi_system::Descriptor ends[] = {qmfi_system::Descriptor(controller), qmfi_system::Descriptor(terminal)};
  const qmfi_system::Descriptor file(open("/dev/null", O_WRONLY | O_CLOEXEC));
  std::ostringstream stream;
  {
    const TerminalOutput output(stream, terminal);
    stream << "\a";
  }
  stream << "\a";
  {
    const TerminalOutput output(stream, file.get());
    stream << "\a";
  }
  EXPECT_EQ(stream.str(), "\\x07\a\a");
}

}  // namespace
}  // namespace qmfi_host
