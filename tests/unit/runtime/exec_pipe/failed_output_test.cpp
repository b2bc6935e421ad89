// What users are shown of a failed command's output.
#include <gtest/gtest.h>

#include <string>

#include "exec_pipe_fixture.h"

namespace {

using namespace exec_pipe_test;
using namespace qmfi_pdk_4_4;

class FailedOutput : public ExecPipe {
 protected:
  // Of a command that prints this (as printf's format) and fails.
  std::string joined(const std::string& format) const {
    return exec(script("printf '" + format + "'; exit 1")).error.getText();
  }
};

TEST_F(FailedOutput, OfSeveralLinesIsShownByItsLast) {
  const std::string text = joined("first\\n  last of all \\n\\n \\n");
  EXPECT_EQ(text, "first  last of all  ");
  EXPECT_EQ(lastLineOfFailure(text), "last of all");
}

TEST_F(FailedOutput, OfALineIsShownAsItIs) {
  for (const char* format : {"only ", " only\\n", "\\n\\n"}) {
    const std::string text = joined(format);
    EXPECT_EQ(lastLineOfFailure(text), text);
  }
}

TEST_F(FailedOutput, WithALongLineIsCut) {
  const std::string start(500, 'x');
  EXPECT_EQ(lastLineOfFailure(joined(start)), start);
  EXPECT_EQ(lastLineOfFailure(joined(start + "y")), start);
}

TEST_F(FailedOutput, IsThatOfTheLastCommandThatFailed) {
  const std::string before = joined("one\\ntwo\\n");
  const std::string text = joined("one\\nthree\\n");
  EXPECT_EQ(exec("/bin/echo four").code, 0);
  EXPECT_EQ(lastLineOfFailure(text), "three");
  EXPECT_EQ(lastLineOfFailure(before), before);
  EXPECT_EQ(lastLineOfFailure("onethreE"), "onethreE");
  EXPECT_EQ(lastLineOfFailure(""), "");
}

}  // namespace
