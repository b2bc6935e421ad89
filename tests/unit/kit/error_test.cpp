// The exceptions that carry a number, the identifiers made from it, and the names of the command pipe's codes.
#include <gtest/gtest.h>

#include <string>

#include "cfierror.h"
#include "cfiexecpipe.h"

namespace {

using namespace qmfi_pdk_4_4;

struct IdentifierCase {
  int number;
  const char* name;
  int offset;
  const char* id;
};

TEST(ErrorIdentifier, CountsFromTheOffsetWhenTheNumberIsGreater) {
  const IdentifierCase cases[] = {
      {6012, "freeze", 6000, "MSG_ERROR_FREEZE_0012"},
      {42, "freeze", 6000, "MSG_ERROR_FREEZE_0042"},
      {6000, "freeze", 6000, "MSG_ERROR_FREEZE_6000"},
      {6001, "freeze", 6000, "MSG_ERROR_FREEZE_0001"},
      {5999, "freeze", 6000, "MSG_ERROR_FREEZE_5999"},
      {16000, "freeze", 6000, "MSG_ERROR_FREEZE_10000"},
      {0, "freeze", 6000, "MSG_ERROR_FREEZE_0000"},
      {0, "freeze", 0, "MSG_ERROR_FREEZE_0000"},
      {7, "freeze", 0, "MSG_ERROR_FREEZE_0007"},
      {-5, "freeze", 6000, "MSG_ERROR_FREEZE_-005"},
      {-5, "freeze", -10, "MSG_ERROR_FREEZE_0005"},
      {-2147483647 - 1, "freeze", 0, "MSG_ERROR_FREEZE_-2147483648"},
      {-2147483647 - 1, "freeze", 2147483647, "MSG_ERROR_FREEZE_-2147483648"},
      {2147483647, "freeze", -2147483647 - 1, "MSG_ERROR_FREEZE_4294967295"},
      {1, "freeze", -2147483647, "MSG_ERROR_FREEZE_2147483648"},
      {1, "", 6000, "MSG_ERROR__0001"},
      {1, "Mixed_Case9 x", 6000, "MSG_ERROR_MIXED_CASE9 X_0001"},
      {1, "UPPER", 6000, "MSG_ERROR_UPPER_0001"},
  };
  for (const IdentifierCase& c : cases) {
    EXPECT_EQ(CFiError(c.number, "", "", "", 0).getMessageId(c.name, c.offset), c.id);
  }
}

TEST(Error, KeepsWhatItWasMadeWith) {
  const CFiError error(1024, "no identifier", "a.cpp", "claim", 12);
  EXPECT_EQ(error.getNumber(), 1024);
  EXPECT_STREQ(error.what(), "no identifier");
  EXPECT_EQ(error.getFile(), "a.cpp");
  EXPECT_EQ(error.getFunction(), "claim");
  EXPECT_EQ(error.getLine(), 12);
}

TEST(DeviceIdentifierError, KeepsWhatItWasMadeWith) {
  const CFiUdidException error("odd", -3);
  EXPECT_EQ(error.getText(), "odd");
  EXPECT_EQ(error.getNumber(), -3);
}

TEST(ExecPipeError, NamesEveryCode) {
  const char* const names[] = {
      "KFI_EXEC_PIPE_SUCCESS",
      "KFI_EXEC_PIPE_CREATE_PIPE_FAILED",
      "KFI_EXEC_PIPE_DUPLICATE_HANDLE_FAILED",
      "KFI_EXEC_PIPE_CLOSE_HANDLE_FAILED",
      "KFI_EXEC_PIPE_CREATE_CHILD_PROCESS_FAILED",
      "KFI_EXEC_PIPE_READ_TIMEOUT",
      "KFI_EXEC_PIPE_PARSE_COMMAND_FAILED",
      "KFI_EXEC_PIPE_EXE_DOES_NOT_EXIST",
      "KFI_EXEC_PIPE_ERROR_UNEXPECTED",
      "KFI_EXEC_PIPE_IMPERSONATION_TIMEOUT",
      "KFI_EXEC_PIPE_CANNOT_IMPERSONATE",
      "KFI_EXEC_PIPE_CMD_FAILED",
      "KFI_EXEC_PIPE_CMD_KILLED",
      "KFI_EXEC_PIPE_CMD_ERROR_UNEXPECTED",
  };
  ASSERT_EQ(std::size(KFI_EXEC_PIPE_ERROR_STRINGS), 14U);
  for (int code = 0; code < 14; ++code) {
    EXPECT_STREQ(KFI_EXEC_PIPE_ERROR_STRINGS[code], names[code]);
    EXPECT_STREQ(execPipeErrorName(code), names[code]);
  }
}

TEST(ExecPipeError, CodeOutsideTheTableIsUnexpected) {
  for (const int code : {-1, 14, 2147483647, -2147483647 - 1}) {
    EXPECT_STREQ(execPipeErrorName(code), "KFI_EXEC_PIPE_ERROR_UNEXPECTED");
  }
}

TEST(ExecPipeError, KeepsItsTextInBothWidths) {
  const EFiExecPipe error("a\xff", 11, 32);
  EXPECT_EQ(error.getText(), "a\xff");
  EXPECT_EQ(error.getWideText(), (std::wstring{L'a', static_cast<wchar_t>(0xff)}));
  EXPECT_EQ(error.getCode(), 11);
  EXPECT_EQ(error.getExitStatus(), 32);
}

}  // namespace
