// One trace record as text.
#ifndef TRACE_RECORD_H
#define TRACE_RECORD_H

#include <cstdarg>
#include <cstddef>
#include <memory>
#include <string_view>

namespace qmfi_runtime {

// A line: UTC time with microseconds, process and thread number, level and text. Formatted in place; only a long text
// takes memory, and is cut when there is none.
class TraceRecord {
 public:
  TraceRecord() = default;
  TraceRecord(const TraceRecord&) = delete;
  TraceRecord& operator=(const TraceRecord&) = delete;

  // Both format as printf does, with errno as it is now. False when the text cannot be formatted.
  bool format(int level, const char* format, ...) noexcept __attribute__((format(printf, 3, 4)));
  bool vformat(int level, const char* format, std::va_list arguments) noexcept __attribute__((format(printf, 3, 0)));

  // With its line feed.
  std::string_view text() const { return m_text; }

 private:
  char m_inPlace[2048];
  std::unique_ptr<char[]> m_long;
  std::string_view m_text;
};

}  // namespace qmfi_runtime

#endif
