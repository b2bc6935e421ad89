// How a failure is told.
#include "failure/host_error.h"

#include <gtest/gtest.h>

#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "failure/notices.h"
#include "failure/one_line.h"
#include "german_texts.h"

namespace qmfi_host {
namespace {

std::string printed(const std::exception& error) {
  std::ostringstream text;
  printError(text, error);
  return text.str();
}

// Counts how often something is written.
class CountingBuffer : public std::stringbuf {
 public:
  int writes() const { return m_writes; }

 protected:
  std::streamsize xsputn(const char* text, std::streamsize length) override {
    ++m_writes;
    return std::stringbuf::xsputn(text, length);
  }

 private:
  int m_writes = 0;
};

// Puts a buffer under the standard error stream.
class ErrorsInto {
 public:
  explicit ErrorsInto(std::streambuf& buffer) : m_before(std::cerr.rdbuf(&buffer)) {}
  ErrorsInto(const ErrorsInto&) = delete;
  ErrorsInto& operator=(const ErrorsInto&) = delete;
  ~ErrorsInto() { std::cerr.rdbuf(m_before); }

 private:
  std::streambuf* m_before;
};

TEST(HostError, IsWrittenAtOnce) {
  CountingBuffer buffer;
  std::ostream out(&buffer);
  printError(out, ProviderError("/mnt/a failed", 6, {{"MSG_X", "first"}, {"MSG_Y", "second"}}, ""));
  EXPECT_EQ(buffer.writes(), 1);
}

TEST(HostError, NoticeIsWrittenAtOnce) {
  CountingBuffer buffer;
  const ErrorsInto redirected(buffer);
  printNotice("a name\nof two lines");
  EXPECT_EQ(buffer.str(), "qmfi: a name\\x0aof two lines\n");
  EXPECT_EQ(buffer.writes(), 1);
}

TEST(HostError, IsToldWhereNoticesAreNot) {
  testing::internal::CaptureStderr();
  setNoticesTold(false);
  printNotice("a notice");
  tryOrReport([] { throw HostError("a failure"); });
  setNoticesTold(true);
  printNotice("another notice");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "qmfi: a failure\nqmfi: another notice\n");
}

TEST(HostError, NameWithALineFeedDoesNotLookLikeALine) {
  EXPECT_EQ(printed(HostError("/mnt/a\nqmfi: all is well cannot be read")),
            "qmfi: /mnt/a\\x0aqmfi: all is well cannot be read\n");
  EXPECT_EQ(inOneLine("\n\n"), "\\x0a\\x0a");
  EXPECT_EQ(inOneLine("/mnt/a"), "/mnt/a");
}

TEST(HostError, ListsItsLinesBelowItsText) {
  EXPECT_EQ(
      printed(HostError(ExitStatus::busy, "it is in use", {"/alt/a: process 1", "/alt/b\nqmfi: done: process 2"})),
      "qmfi: it is in use\n"
      "  /alt/a: process 1\n"
      "  /alt/b\\x0aqmfi: done: process 2\n");
}

TEST(HostError, MessageOfSeveralLinesIsIndented) {
  EXPECT_EQ(printed(ProviderError("/mnt/a failed", 6, {{"MSG_X", "first\nqmfi: second"}}, "")),
            "qmfi: /mnt/a failed: status 6\n"
            "  MSG_X: first\n"
            "      qmfi: second\n");
  EXPECT_EQ(printed(ProviderError("/mnt/a failed", 6, {}, "one\ntwo")),
            "qmfi: /mnt/a failed: status 6\n"
            "  one\n"
            "      two\n");
}

TEST(HostError, IsToldInTheUsersLanguage) {
  const GermanTexts german;
  EXPECT_EQ(printed(ProviderError("/mnt/a", 6, {{"MSG_X", "first"}}, "")),
            "qmfi: /mnt/a: Status 6\n"
            "  MSG_X: first\n");
  const Json json = jsonOf(HostError(Failure::snapshotInterrupted, "/mnt/a"));
  EXPECT_EQ(json["id"], "snapshot_interrupted");
  EXPECT_EQ(json["hint"], "mit \"qmfi recover\" aufräumen");
}

}  // namespace
}  // namespace qmfi_host
