// Bounded formatting, narrow and wide.
#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <cstdarg>
#include <cstdint>
#include <cwchar>
#include <string>

#include "K_strings.h"

// Allocations that are too large answer null under the sanitizers as they do without them.
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options() {
  return "allocator_may_return_null=1";
}

namespace {

// A wide character that the "C" locale, in which these tests run, cannot turn into bytes.
constexpr wint_t unencodable = 0x20AC;

__attribute__((format(printf, 3, 4))) int formatThroughList(char* dst, std::size_t size, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int result = K_vsnprintf(dst, size, format, args);
  va_end(args);
  return result;
}

int formatThroughList(wchar_t* dst, std::size_t size, const wchar_t* format, ...) {
  va_list args;
  va_start(args, format);
  const int result = K_vsnwprintf(dst, size, format, args);
  va_end(args);
  return result;
}

// A locale in which not every byte stands for a character, for this thread and for as long as it lives.
class Utf8Locale {
 public:
  Utf8Locale() : m_locale(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)), m_before(uselocale(m_locale)) {
    EXPECT_NE(m_locale, nullptr);
  }
  ~Utf8Locale() {
    uselocale(m_before);
    freelocale(m_locale);
  }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

 private:
  locale_t m_locale;
  locale_t m_before;
};

TEST(BoundedFormat, ReturnsTheNumberOfCharactersInTheBuffer) {
  const struct {
    const char* text;
    std::size_t size;
    int result;
    const char* dst;
  } cases[] = {
      {"abc", 1, 0, ""},    {"abc", 2, 1, "a"}, {"abc", 3, 2, "ab"}, {"abc", 4, 3, "abc"},
      {"abc", 5, 3, "abc"}, {"", 1, 0, ""},     {"", 2, 0, ""},      {"abc", INT_MAX, 3, "abc"},
  };
  for (const auto& c : cases) {
    char dst[8] = "#######";
    EXPECT_EQ(K_snprintf(dst, c.size, "%s", c.text), c.result) << c.text << " size " << c.size;
    EXPECT_STREQ(dst, c.dst) << c.text << " size " << c.size;
    EXPECT_EQ(dst[c.result + 1], '#') << c.text << " size " << c.size;
    EXPECT_EQ(formatThroughList(dst, c.size, "%s", c.text), c.result) << c.text << " size " << c.size;
    EXPECT_STREQ(dst, c.dst) << c.text << " size " << c.size;
  }
}

TEST(BoundedFormat, OfACutTextReturnsSizeMinusOneNotTheFullLength) {
  char dst[5];
  EXPECT_EQ(K_snprintf(dst, sizeof dst, "%d-%s", 12, "abcdef"), 4);
  EXPECT_STREQ(dst, "12-a");
}

TEST(BoundedFormat, OfAnInsaneSizeStillReportsWhatIsInTheBuffer) {
  for (const std::size_t size : {std::size_t{INT_MAX} + 1, std::size_t{UINT32_MAX} + 3, SIZE_MAX}) {
    char dst[8] = "#######";
    EXPECT_EQ(K_snprintf(dst, size, "%s", "abc"), 3) << size;
    EXPECT_EQ(std::string(dst, sizeof dst), std::string("abc\0###\0", 8)) << size;
  }
}

TEST(BoundedFormat, WithoutABufferFailsAndWritesNothing) {
  char dst[4] = "###";
  EXPECT_EQ(K_snprintf(dst, 0, "%s", "abc"), -1);
  EXPECT_EQ(K_snprintf(nullptr, 4, "%s", "abc"), -1);
  EXPECT_EQ(formatThroughList(dst, 0, "%s", "abc"), -1);
  EXPECT_EQ(formatThroughList(nullptr, 4, "%s", "abc"), -1);
  EXPECT_STREQ(dst, "###");
}

TEST(BoundedFormat, OfATextThatCannotBeFormattedLeavesAnEmptyBuffer) {
  ASSERT_STREQ(std::setlocale(LC_CTYPE, nullptr), "C");
  char dst[16] = "###############";
  EXPECT_EQ(K_snprintf(dst, sizeof dst, "ab%lc", unencodable), 0);
  EXPECT_STREQ(dst, "");
}

TEST(BoundedWideFormat, ReturnsTheLengthOfATextThatFits) {
  for (const std::size_t size : {4, 5, 8}) {
    wchar_t dst[8] = L"#######";
    EXPECT_EQ(K_snwprintf(dst, size, L"%d%ls", 1, L"bc"), 3) << size;
    EXPECT_EQ(std::wstring(dst, 5), std::wstring(L"1bc\0#", 5)) << size;
    EXPECT_EQ(formatThroughList(dst, size, L"%ls", L"ab"), 2) << size;
    EXPECT_EQ(std::wstring(dst), L"ab") << size;
  }
}

TEST(BoundedWideFormat, OfACutTextReturnsMinusOneAndKeepsWhatFits) {
  const struct {
    std::size_t size;
    const wchar_t* dst;
  } cases[] = {{1, L""}, {2, L"a"}, {3, L"ab"}};
  for (const auto& c : cases) {
    wchar_t dst[8] = L"#######";
    EXPECT_EQ(K_snwprintf(dst, c.size, L"%ls", L"abc"), -1) << c.size;
    EXPECT_EQ(std::wstring(dst), c.dst) << c.size;
    EXPECT_EQ(dst[c.size], L'#') << c.size;
  }
}

TEST(BoundedWideFormat, OfATextThatCannotBeFormattedReturnsMinusOneAndKeepsWhatWasFormatted) {
  const Utf8Locale locale;
  wchar_t dst[16] = L"###############";
  EXPECT_EQ(K_snwprintf(dst, 16, L"ab%scd", "\x80"), -1);
  EXPECT_EQ(std::wstring(dst), L"ab");
  EXPECT_EQ(dst[3], L'#');
  EXPECT_EQ(formatThroughList(dst, 16, L"%s", "\x80"), -1);
  EXPECT_EQ(std::wstring(dst), L"");
}

TEST(BoundedWideFormat, OfSizeZeroFailsAndWritesNothing) {
  wchar_t dst[4] = L"###";
  EXPECT_EQ(K_snwprintf(dst, 0, L"%ls", L"abc"), -1);
  EXPECT_EQ(formatThroughList(dst, 0, L"%ls", L"abc"), -1);
  EXPECT_EQ(std::wstring(dst), L"###");
}

TEST(BoundedWideFormat, WithoutADestinationStillReturnsTheLength) {
  EXPECT_EQ(K_snwprintf(nullptr, 8, L"%ls", L"abc"), 3);
}

TEST(BoundedWideFormat, WithoutATemporaryBufferFailsAndWritesNothing) {
  // The second size is one whose count of bytes does not fit in a size_t.
  for (const std::size_t size : {std::size_t{PTRDIFF_MAX} / sizeof(wchar_t), SIZE_MAX / 2 + 2, SIZE_MAX}) {
    wchar_t dst[4] = L"###";
    EXPECT_EQ(K_snwprintf(dst, size, L"%ls", L"ab"), -1) << size;
    EXPECT_EQ(std::wstring(dst), L"###") << size;
  }
}

}  // namespace
