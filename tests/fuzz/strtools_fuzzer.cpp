// The bounded string functions and time conversions against plain models of their rules: what they return, what they
// write, that it is terminated, and that nothing beyond the buffer changes.
#include <algorithm>
#include <cstring>
#include <cwchar>

#include "K_strings.h"
#include "K_time.h"
#include "fuzz_input.h"

namespace {

// How a case's buffer goes on behind the size that a function is told.
constexpr std::size_t mostBeyond = 8;
constexpr std::size_t largestSize = 300;

template <typename Char>
struct Functions;

template <>
struct Functions<char> {
  static constexpr auto copy = K_strlcpy;
  static constexpr auto append = K_strlcat;
  static constexpr auto copyPadded = K_strlncpy;
  static constexpr auto appendAtMost = K_strlncat;
  static constexpr auto verify = K_strverify;
};

template <>
struct Functions<wchar_t> {
  static constexpr auto copy = K_wcslcpy;
  static constexpr auto append = K_wcslcat;
  static constexpr auto copyPadded = K_wcslncpy;
  static constexpr auto appendAtMost = K_wcslncat;
  static constexpr auto verify = K_wstrverify;
};

template <typename Char>
using Text = std::basic_string<Char>;

// Bytes as characters of either kind; wide ones far beyond a byte, too.
template <typename Char>
Text<Char> widened(const std::string& bytes) {
  Text<Char> text;
  for (const unsigned char byte : bytes) {
    text.push_back(static_cast<Char>(sizeof(Char) > 1 && byte > 0x7f ? byte * 0x101 : byte));
  }
  return text;
}

// A block of just the size of the text, without a terminator of its own.
template <typename Char>
std::unique_ptr<Char[]> blockOf(const Text<Char>& text) {
  auto block = std::make_unique<Char[]>(text.size());
  text.copy(block.get(), text.size());
  return block;
}

// Puts a text, cut to what fits into `size`, and a terminator at a place of the buffer. Returns the characters placed.
template <typename Char>
std::size_t place(Text<Char>& buffer, std::size_t at, const Text<Char>& text, std::size_t size) {
  const std::size_t length = std::min(text.size(), size - 1 - at);
  buffer.replace(at, length, text, 0, length);
  buffer[at + length] = Char{};
  return length;
}

template <typename Char>
struct StringCase {
  Text<Char> before;  // the buffer, with what lies beyond the size
  Text<Char> source;
  std::size_t size;
  std::size_t n;
};

enum class Operation { copy, append, copyPadded, appendAtMost, verify, kMaxValue = verify };

template <typename Char>
std::size_t modelled(Operation operation, const StringCase<Char>& sample, Text<Char>& buffer) {
  if (sample.size == 0) return 0;
  if (operation == Operation::copy) return place(buffer, 0, sample.source, sample.size);
  if (operation == Operation::copyPadded) {
    Text<Char> padded = sample.source.substr(0, sample.n);
    padded.resize(std::min(sample.n, sample.size - 1));
    return place(buffer, 0, padded, sample.size);
  }
  const std::size_t used = buffer.find(Char{});
  if (used >= sample.size - 1) return 0;
  const std::size_t most = operation == Operation::append ? Text<Char>::npos : sample.n;
  return place(buffer, used, sample.source.substr(0, most), sample.size);
}

template <typename Char>
std::size_t called(Operation operation, const StringCase<Char>& sample, Char* dst, const Char* src) {
  using Own = Functions<Char>;
  switch (operation) {
    case Operation::copy:
      return Own::copy(dst, src, sample.size);
    case Operation::append:
      return Own::append(dst, src, sample.size);
    case Operation::copyPadded:
      return Own::copyPadded(dst, src, sample.n, sample.size);
    default:
      return Own::appendAtMost(dst, src, sample.n, sample.size);
  }
}

template <typename Char>
void checkVerify(const StringCase<Char>& sample, const Char* buffer) {
  const std::size_t end = sample.before.substr(0, sample.size).find(Char{});
  const bool found = end != Text<Char>::npos;
  std::size_t length = 12345;
  require(Functions<Char>::verify(buffer, sample.size, &length) == (found ? 0 : -1), "verify says whether text ends");
  require(length == (found ? end : 0), "verify finds the terminator");
}

template <typename Char>
void checkString(FuzzedDataProvider& input) {
  const auto operation = input.ConsumeEnum<Operation>();
  StringCase<Char> sample;
  sample.size = input.ConsumeIntegralInRange<std::size_t>(0, largestSize);
  sample.n = input.ConsumeBool() ? input.ConsumeIntegral<std::size_t>() : input.ConsumeIntegral<std::uint8_t>();
  const std::size_t beyond = input.ConsumeIntegralInRange<std::size_t>(0, mostBeyond);
  sample.before = widened<Char>(input.ConsumeRandomLengthString(sample.size));
  sample.before.resize(sample.size + beyond, Char{'#'});
  sample.source = widened<Char>(restBeforeNul(input));

  const auto buffer = blockOf(sample.before);
  if (operation == Operation::verify) {
    checkVerify(sample, buffer.get());
    return;
  }
  Text<Char> terminated = sample.source;
  terminated.push_back(Char{});
  const auto source = blockOf(terminated);
  Text<Char> expected = sample.before;
  const std::size_t count = modelled(operation, sample, expected);
  require(called(operation, sample, buffer.get(), source.get()) == count, "the count is what was written");
  require(Text<Char>(buffer.get(), expected.size()) == expected, "the buffer holds the text, cut, and nothing else");
}

struct Arguments {
  int number;
  unsigned long large;
  double real;
  const char* text;
  const wchar_t* wide;
  char character;
  int width;
  int precision;
};

using Print = int (*)(char* dst, std::size_t size, const Arguments& a);
using PrintWide = int (*)(wchar_t* dst, std::size_t size, const Arguments& a);
struct Format {
  Print ours;
  Print theirs;
  PrintWide oursWide;
  PrintWide theirsWide;
};

#define FORMAT(format, ...)                                                                                            \
  {                                                                                                                    \
    [](char* dst, std::size_t size, const Arguments& a) { return K_snprintf(dst, size, format, __VA_ARGS__); },        \
        [](char* dst, std::size_t size, const Arguments& a) { return std::snprintf(dst, size, format, __VA_ARGS__); }, \
        [](wchar_t* dst, std::size_t size, const Arguments& a) {                                                       \
          return K_snwprintf(dst, size, L"" format, __VA_ARGS__);                                                      \
        },                                                                                                             \
        [](wchar_t* dst, std::size_t size, const Arguments& a) {                                                       \
          return std::swprintf(dst, size, L"" format, __VA_ARGS__);                                                    \
        }                                                                                                              \
  }

constexpr Format formats[] = {
    FORMAT("%d", a.number),
    FORMAT("_%04d|%-6x|%+i", a.number, static_cast<unsigned>(a.number), a.number),
    FORMAT("%s", a.text),
    FORMAT("%ls", a.wide),
    FORMAT("[%*.*s] %c%%", a.width, a.precision, a.text, a.character),
    FORMAT("command '%s' failed with errorCode [%d] message '%s'.", a.text, a.number, a.text),
    FORMAT("%lu %lo", a.large, a.large),
    FORMAT("%*.*f", a.width, a.precision, a.real),
    FORMAT("%g %e %a", a.real, a.real, a.real),
};

constexpr std::size_t wholeSize = 16384;

void checkNarrowFormat(const Format& format, const Arguments& arguments, std::size_t size, std::size_t beyond) {
  static char whole[wholeSize];
  const int wholeLength = format.theirs(whole, wholeSize, arguments);
  const auto buffer = blockOf(std::string(size + beyond, '#'));
  const int length = format.ours(buffer.get(), size, arguments);
  require(std::string(buffer.get() + size, beyond) == std::string(beyond, '#'), "nothing is written beyond the size");
  if (size == 0) {
    require(length == -1, "no room is refused");
    return;
  }
  const std::string expected = wholeLength < 0 ? std::string() : std::string(whole).substr(0, size - 1);
  require(length == static_cast<int>(expected.size()), "the length is that of the text in the buffer");
  require(std::memcmp(buffer.get(), expected.c_str(), expected.size() + 1) == 0, "the text is cut and terminated");
}

void checkWideFormat(const Format& format, const Arguments& arguments, std::size_t size, std::size_t beyond) {
  static wchar_t whole[wholeSize];
  const int wholeLength = format.theirsWide(whole, wholeSize, arguments);
  const auto buffer = blockOf(std::wstring(size + beyond, L'#'));
  const int length = format.oursWide(buffer.get(), size, arguments);
  require(std::wstring(buffer.get() + size, beyond) == std::wstring(beyond, L'#'),
          "nothing is written beyond the size");
  const bool fits = wholeLength >= 0 && static_cast<std::size_t>(wholeLength) < size;
  require(length == (fits ? wholeLength : -1), "the length is that of the text, or it was cut");
  if (size == 0) return;
  require(std::wmemchr(buffer.get(), L'\0', size) != nullptr, "the text is terminated");
  if (wholeLength < 0) return;
  require(std::wstring(buffer.get()) == std::wstring(whole).substr(0, size - 1), "the text is cut");
}

void checkFormat(FuzzedDataProvider& input) {
  const Format& format = input.PickValueInArray(formats);
  const bool wide = input.ConsumeBool();
  const auto size = input.ConsumeIntegralInRange<std::size_t>(0, largestSize);
  const auto beyond = input.ConsumeIntegralInRange<std::size_t>(0, mostBeyond);
  Arguments arguments{};
  arguments.number = input.ConsumeIntegral<int>();
  arguments.large = input.ConsumeIntegral<unsigned long>();
  arguments.real = input.ConsumeFloatingPoint<double>();
  arguments.character = input.ConsumeIntegral<char>();
  // A character that is none would end the comparison of texts.
  if (arguments.character == '\0') arguments.character = '0';
  arguments.width = input.ConsumeIntegralInRange(-400, 400);
  arguments.precision = input.ConsumeIntegralInRange(-1, 400);
  const std::string text = restBeforeNul(input).substr(0, wholeSize / 4);
  const std::wstring wideText = widened<wchar_t>(text);
  arguments.text = text.c_str();
  arguments.wide = wideText.c_str();
  wide ? checkWideFormat(format, arguments, size, beyond) : checkNarrowFormat(format, arguments, size, beyond);
}

void checkRealloc(FuzzedDataProvider& input) {
  const auto size = input.ConsumeIntegral<std::uint8_t>();
  const std::string content = restAsText(input);
  void* block = content.empty() ? nullptr : std::malloc(content.size());
  if (block != nullptr) content.copy(static_cast<char*>(block), content.size());
  void* const resized = K_dumb_realloc(&block, size);
  require(resized == block, "the block is stored back");
  if (size == 0 && !content.empty()) require(block == nullptr, "a block that is resized to no bytes is none");
  if (size != 0) require(block != nullptr, "a small block is had");
  const std::size_t kept = std::min<std::size_t>(size, content.size());
  if (block != nullptr) require(std::memcmp(block, content.data(), kept) == 0, "what fits is kept");
  std::free(block);
}

void checkTimeText(const std::tm& broken, std::size_t size) {
  const auto buffer = blockOf(std::string(size, '#'));
  const char* const text = K_asctime(&broken, buffer.get(), size);
  const long year = broken.tm_year + 1900L;
  constexpr std::size_t length = 25;
  if (size <= length || year < -999 || year > 9999) {
    require(text == nullptr, "a buffer too small or a year too long is refused");
    return;
  }
  char theirs[128];
  require(std::strcmp(text, asctime_r(&broken, theirs)) == 0, "the text is the fixed one");
  require(std::strlen(text) == length, "the text has its fixed length");
}

void checkTime(FuzzedDataProvider& input) {
  const std::time_t time = input.ConsumeBool() ? input.ConsumeIntegral<std::time_t>() : input.ConsumeIntegral<int>();
  const auto size = input.ConsumeIntegralInRange<std::size_t>(0, 40);
  std::tm broken{};
  std::tm theirs{};
  std::tm* const result = K_gmtime(&time, &broken);
  require((result == nullptr) == (gmtime_r(&time, &theirs) == nullptr), "only a year that fits is broken down");
  if (result == nullptr) return;
  checkTimeText(broken, size);
  std::tm again = broken;
  require(K_timegm(&again) == time, "a time is the same there and back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  switch (input.ConsumeIntegralInRange(0, 4)) {
    case 0:
      checkString<char>(input);
      break;
    case 1:
      checkString<wchar_t>(input);
      break;
    case 2:
      checkFormat(input);
      break;
    case 3:
      checkRealloc(input);
      break;
    default:
      checkTime(input);
  }
  return 0;
}
