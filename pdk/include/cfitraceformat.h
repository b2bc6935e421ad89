// A printf-style format that is checked against its arguments when it is compiled.
#ifndef CFITRACEFORMAT_H
#define CFITRACEFORMAT_H

#include <type_traits>

namespace qmfi_pdk_4_4 {

// A literal whose conversions fit the types of the arguments, one each and in order: "%s" a C string, "%d" what becomes
// an int, "%u" what becomes an unsigned int; "%%" is a percent sign. Any other does not compile.
template <typename... Arguments>
class CFiTraceFormat {
 public:
  // Not explicit: a literal is what callers write.
  consteval CFiTraceFormat(const char* text)  // NOLINT(google-explicit-constructor)
      : m_text(fits(text) ? text : throw "the format does not fit its arguments") {}

  constexpr const char* text() const { return m_text; }

  // Whether the format, which must not be null, takes just these arguments.
  static constexpr bool fits(const char* text) {
    constexpr char wanted[] = {conversionOf<Arguments>()..., '\0'};
    const char* next = wanted;
    for (; *text != '\0'; ++text) {
      if (*text != '%') continue;
      ++text;
      if (*text == '%') continue;
      if (*text == '\0' || *text != *next) return false;
      ++next;
    }
    return *next == '\0';
  }

 private:
  // The letter of the conversion for an argument of that type.
  template <typename Argument>
  static constexpr char conversionOf() {
    if constexpr (std::is_convertible_v<Argument, const char*>) {
      return 's';
    } else if constexpr (std::is_same_v<decltype(+Argument()), int>) {
      return 'd';
    } else {
      static_assert(std::is_same_v<decltype(+Argument()), unsigned>, "a trace record cannot show this type");
      return 'u';
    }
  }

  const char* m_text;
};

}  // namespace qmfi_pdk_4_4

#endif
