// Copying, appending and checking of bounded strings. Every test runs for the narrow and for the wide form: what is
// promised of one holds for the other.
#include "K_strings.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

namespace {

struct Narrow {
  using Char = char;
  static constexpr auto copy = K_strlcpy;
  static constexpr auto append = K_strlcat;
  static constexpr auto copyPadded = K_strlncpy;
  static constexpr auto appendAtMost = K_strlncat;
  static constexpr auto verify = K_strverify;
};

struct Wide {
  using Char = wchar_t;
  static constexpr auto copy = K_wcslcpy;
  static constexpr auto append = K_wcslcat;
  static constexpr auto copyPadded = K_wcslncpy;
  static constexpr auto appendAtMost = K_wcslncat;
  static constexpr auto verify = K_wstrverify;
};

constexpr std::size_t bufferLength = 12;

// "abc|######" in a table below: "|" stands for a zero, "#" for a character that nothing has written.
constexpr char shownZero = '|';
constexpr char untouched = '#';

template <typename Form>
class BoundedString : public testing::Test {
 protected:
  using Char = typename Form::Char;
  using String = std::basic_string<Char>;

  static String widen(const std::string& text) { return String(text.begin(), text.end()); }

  // A buffer with the content of `picture`, untouched behind it.
  static String buffer(const std::string& picture) {
    String content = widen(picture);
    for (Char& c : content) {
      if (c == static_cast<Char>(shownZero)) c = Char{};
    }
    content.resize(bufferLength, static_cast<Char>(untouched));
    return content;
  }

  static std::string picture(const String& content) {
    std::string result;
    for (Char c : content) result += c == Char{} ? shownZero : static_cast<char>(c);
    return result.substr(0, result.find_last_not_of(untouched) + 1);
  }
};

using Forms = testing::Types<Narrow, Wide>;

class FormNames {
 public:
  template <typename Form>
  static std::string GetName(int) {
    return std::is_same_v<Form, Narrow> ? "Narrow" : "Wide";
  }
};

TYPED_TEST_SUITE(BoundedString, Forms, FormNames);

TYPED_TEST(BoundedString, CopyIsCutToTheBufferTerminatedAndCounted) {
  const struct {
    const char* src;
    std::size_t size;
    std::size_t result;
    const char* dst;
  } cases[] = {
      {"abc", 0, 0, ""},
      {"abc", 1, 0, "|"},
      {"abc", 2, 1, "a|"},
      {"abc", 3, 2, "ab|"},
      {"abc", 4, 3, "abc|"},
      {"abc", 5, 3, "abc|"},
      {"abc", 12, 3, "abc|"},
      {"", 1, 0, "|"},
      {"", 2, 0, "|"},
      {"", 12, 0, "|"},
      {"abc", SIZE_MAX, 3, "abc|"},
      {"", SIZE_MAX, 0, "|"},
      {"abc", PTRDIFF_MAX, 3, "abc|"},
      {"abc", SIZE_MAX / 4, 3, "abc|"},
      {"abc", SIZE_MAX / 4 + 2, 3, "abc|"},
  };
  for (const auto& c : cases) {
    auto dst = this->buffer("");
    const auto src = this->widen(c.src);
    EXPECT_EQ(TypeParam::copy(dst.data(), src.c_str(), c.size), c.result) << c.src << " size " << c.size;
    EXPECT_EQ(this->picture(dst), c.dst) << c.src << " size " << c.size;
  }
}

TYPED_TEST(BoundedString, CopyIntoOneCharacterWritesOneZeroAndReturnsZero) {
  auto dst = this->buffer("");
  const auto src = this->widen("abc");
  EXPECT_EQ(TypeParam::copy(dst.data(), src.c_str(), 1), 0u);
  EXPECT_EQ(this->picture(dst), "|");
}

TYPED_TEST(BoundedString, CopyOfALongerSourceReturnsSizeMinusOne) {
  auto dst = this->buffer("");
  const auto src = this->widen("abcdefgh");
  EXPECT_EQ(TypeParam::copy(dst.data(), src.c_str(), 6), 5u);
  EXPECT_EQ(this->picture(dst), "abcde|");
}

TYPED_TEST(BoundedString, CopyReadsNoFurtherThanItCanWrite) {
  const typename TypeParam::Char unterminated[] = {'a', 'b', 'c'};
  auto dst = this->buffer("");
  EXPECT_EQ(TypeParam::copy(dst.data(), unterminated, 4), 3u);
  EXPECT_EQ(this->picture(dst), "abc|");
}

TYPED_TEST(BoundedString, CopyOfLongTextsIsExactAroundEveryPowerOfTwo) {
  using Text = std::basic_string<typename TypeParam::Char>;
  constexpr typename TypeParam::Char end{};
  for (std::size_t power = 16; power <= 65536; power *= 2) {
    for (std::size_t length = power - 1; length <= power + 1; ++length) {
      const Text src(length, 'x');
      Text dst(length + 2, '#');
      EXPECT_EQ(TypeParam::copy(dst.data(), src.c_str(), length + 1), length);
      EXPECT_EQ(dst, (src + Text{end, '#'}));
      EXPECT_EQ(TypeParam::copy(dst.data(), src.c_str(), length), length - 1);
      EXPECT_EQ(dst[length - 1], end);
    }
  }
}

TYPED_TEST(BoundedString, CopyWithoutSourceOrDestinationReturnsZeroAndWritesNothing) {
  auto dst = this->buffer("");
  const auto src = this->widen("abc");
  EXPECT_EQ(TypeParam::copy(nullptr, src.c_str(), 4), 0u);
  EXPECT_EQ(TypeParam::copy(dst.data(), nullptr, 4), 0u);
  EXPECT_EQ(TypeParam::copy(nullptr, nullptr, 0), 0u);
  EXPECT_EQ(this->picture(dst), "");
}

TYPED_TEST(BoundedString, AppendIsCutToTheBufferAndReturnsWhatItAppended) {
  const struct {
    const char* before;
    const char* src;
    std::size_t size;
    std::size_t result;
    const char* after;
  } cases[] = {
      {"ab|", "cde", 0, 0, "ab|"},       {"ab|", "cde", 1, 0, "ab|"},    {"ab|", "cde", 2, 0, "ab|"},
      {"ab|", "cde", 3, 0, "ab|"},       {"ab|", "cde", 4, 1, "abc|"},   {"ab|", "cde", 5, 2, "abcd|"},
      {"ab|", "cde", 6, 3, "abcde|"},    {"ab|", "cde", 7, 3, "abcde|"}, {"ab|", "cde", SIZE_MAX, 3, "abcde|"},
      {"ab|", "", 7, 0, "ab|"},          {"|", "cde", 0, 0, "|"},        {"|", "cde", 1, 0, "|"},
      {"|", "cde", 2, 1, "c|"},          {"|", "cde", 4, 3, "cde|"},     {"|", "cde", 5, 3, "cde|"},
      {"|", "cde", SIZE_MAX, 3, "cde|"}, {"|", "", 1, 0, "|"},
  };
  for (const auto& c : cases) {
    auto dst = this->buffer(c.before);
    const auto src = this->widen(c.src);
    EXPECT_EQ(TypeParam::append(dst.data(), src.c_str(), c.size), c.result) << c.before << c.src << " size " << c.size;
    EXPECT_EQ(this->picture(dst), c.after) << c.before << c.src << " size " << c.size;
  }
}

TYPED_TEST(BoundedString, AppendToADestinationWithoutTerminatorReturnsZeroAndWritesNothing) {
  auto dst = this->buffer("abcdefg|");
  const auto src = this->widen("h");
  for (std::size_t size = 0; size <= 7; ++size) {
    EXPECT_EQ(TypeParam::append(dst.data(), src.c_str(), size), 0u) << size;
    EXPECT_EQ(TypeParam::appendAtMost(dst.data(), src.c_str(), 1, size), 0u) << size;
  }
  EXPECT_EQ(this->picture(dst), "abcdefg|");
}

TYPED_TEST(BoundedString, AppendToADestinationThatFillsTheBufferReturnsZeroAndWritesNothing) {
  auto dst = this->buffer("abc|");
  const auto src = this->widen("d");
  EXPECT_EQ(TypeParam::append(dst.data(), src.c_str(), 4), 0u);
  EXPECT_EQ(this->picture(dst), "abc|");
}

TYPED_TEST(BoundedString, AppendWithoutSourceOrDestinationReturnsZeroAndWritesNothing) {
  auto dst = this->buffer("ab|");
  const auto src = this->widen("c");
  EXPECT_EQ(TypeParam::append(nullptr, src.c_str(), 4), 0u);
  EXPECT_EQ(TypeParam::append(dst.data(), nullptr, 4), 0u);
  EXPECT_EQ(TypeParam::appendAtMost(dst.data(), nullptr, 1, 4), 0u);
  EXPECT_EQ(this->picture(dst), "ab|");
}

TYPED_TEST(BoundedString, PaddedCopyFillsTheRestWithZerosAndCountsThem) {
  const struct {
    const char* src;
    std::size_t n;
    std::size_t size;
    std::size_t result;
    const char* dst;
  } cases[] = {
      {"ab", 5, 10, 5, "ab||||"},  // two characters, three zeros of padding and the terminator
      {"ab", 0, 10, 0, "|"},        {"ab", 1, 10, 1, "a|"},
      {"ab", 2, 10, 2, "ab|"},      {"ab", 3, 10, 3, "ab||"},
      {"abcdef", 3, 10, 3, "abc|"}, {"", 3, 10, 3, "||||"},
      {"abcdef", 5, 4, 3, "abc|"},  {"abcdef", 4, 4, 3, "abc|"},
      {"abcdef", 3, 4, 3, "abc|"},  {"abcdef", 2, 4, 2, "ab|"},
      {"ab", 4, 4, 3, "ab||"},      {"ab", 9, 4, 3, "ab||"},
      {"abc", 3, 1, 0, "|"},        {"abc", 0, 1, 0, "|"},
      {"abc", 1, 1, 0, "|"},        {"abc", 3, 2, 1, "a|"},
      {"abc", 3, 0, 0, ""},         {"abc", SIZE_MAX, 6, 5, "abc|||"},
      {"abc", SIZE_MAX, 1, 0, "|"}, {"abc", 4, SIZE_MAX, 4, "abc||"},
  };
  for (const auto& c : cases) {
    auto dst = this->buffer("");
    const auto src = this->widen(c.src);
    EXPECT_EQ(TypeParam::copyPadded(dst.data(), src.c_str(), c.n, c.size), c.result)
        << c.src << " n " << c.n << " size " << c.size;
    EXPECT_EQ(this->picture(dst), c.dst) << c.src << " n " << c.n << " size " << c.size;
  }
}

TYPED_TEST(BoundedString, PaddedCopyReadsNoFurtherThanItsCount) {
  const typename TypeParam::Char unterminated[] = {'a', 'b', 'c'};
  auto dst = this->buffer("");
  EXPECT_EQ(TypeParam::copyPadded(dst.data(), unterminated, 3, 10), 3u);
  EXPECT_EQ(this->picture(dst), "abc|");
}

TYPED_TEST(BoundedString, PaddedCopyWithoutSourceOrDestinationReturnsZeroAndWritesNothing) {
  auto dst = this->buffer("");
  const auto src = this->widen("abc");
  EXPECT_EQ(TypeParam::copyPadded(nullptr, src.c_str(), 3, 10), 0u);
  EXPECT_EQ(TypeParam::copyPadded(dst.data(), nullptr, 3, 10), 0u);
  EXPECT_EQ(this->picture(dst), "");
}

TYPED_TEST(BoundedString, AppendAtMostStopsAtItsCountOrTheBufferWhicheverComesFirst) {
  const struct {
    const char* before;
    const char* src;
    std::size_t n;
    std::size_t size;
    std::size_t result;
    const char* after;
  } cases[] = {
      {"ab|", "cdef", 0, 10, 0, "ab|"},
      {"ab|", "cdef", 1, 10, 1, "abc|"},
      {"ab|", "cdef", 2, 10, 2, "abcd|"},
      {"ab|", "cdef", 4, 10, 4, "abcdef|"},
      {"ab|", "cdef", 9, 10, 4, "abcdef|"},
      {"ab|", "cdef", 9, 5, 2, "abcd|"},
      {"ab|", "cdef", 1, 4, 1, "abc|"},
      {"ab|", "cdef", 2, 4, 1, "abc|"},
      {"ab|", "cdef", 1, 3, 0, "ab|"},
      {"ab|", "cdef", 1, 1, 0, "ab|"},
      {"ab|", "cdef", 1, 0, 0, "ab|"},
      {"|", "cdef", 2, 10, 2, "cd|"},
      {"|", "cdef", 0, 10, 0, "|"},
      {"|", "cdef", 1, 1, 0, "|"},
      {"ab|", "cdef", SIZE_MAX, 10, 4, "abcdef|"},
      {"ab|", "cdef", SIZE_MAX - 2, 5, 2, "abcd|"},
      {"ab|", "cdef", SIZE_MAX, SIZE_MAX, 4, "abcdef|"},
      {"ab|", "cdef", 3, SIZE_MAX, 3, "abcde|"},
  };
  for (const auto& c : cases) {
    auto dst = this->buffer(c.before);
    const auto src = this->widen(c.src);
    EXPECT_EQ(TypeParam::appendAtMost(dst.data(), src.c_str(), c.n, c.size), c.result)
        << c.before << c.src << " n " << c.n << " size " << c.size;
    EXPECT_EQ(this->picture(dst), c.after) << c.before << c.src << " n " << c.n << " size " << c.size;
  }
}

TYPED_TEST(BoundedString, VerifyFindsTheTerminatorOnlyWithinTheBuffer) {
  const struct {
    const char* content;
    std::size_t size;
    int result;
    std::size_t length;
  } cases[] = {
      {"abc|", 0, -1, 0}, {"abc|", 1, -1, 0}, {"abc|", 3, -1, 0}, {"abc|", 4, 0, 3}, {"abc|", 5, 0, 3},
      {"|", 0, -1, 0},    {"|", 1, 0, 0},     {"|", 2, 0, 0},     {"a|b|", 4, 0, 1}, {"abc|", SIZE_MAX, 0, 3},
  };
  for (const auto& c : cases) {
    const auto content = this->buffer(c.content);
    std::size_t length = 99;
    EXPECT_EQ(TypeParam::verify(content.data(), c.size, &length), c.result) << c.content << " size " << c.size;
    EXPECT_EQ(length, c.length) << c.content << " size " << c.size;
    EXPECT_EQ(TypeParam::verify(content.data(), c.size, nullptr), c.result) << c.content << " size " << c.size;
  }
}

TYPED_TEST(BoundedString, VerifyOfNothingFailsAndReportsNoLength) {
  std::size_t length = 99;
  EXPECT_EQ(TypeParam::verify(nullptr, 4, &length), -1);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(TypeParam::verify(nullptr, 4, nullptr), -1);
}

}  // namespace
