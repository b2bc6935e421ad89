// Reading of trace files.
#include "trace_capture.h"

#include <cctype>
#include <fstream>
#include <optional>
#include <string_view>

namespace {

bool isDigit(char character) {
  return std::isdigit(static_cast<unsigned char>(character)) != 0;
}

// Takes digits, at least one, off the front of the text.
bool takeDigits(std::string_view& text) {
  std::size_t count = 0;
  while (count < text.size() && isDigit(text[count])) {
    ++count;
  }
  text.remove_prefix(count);
  return count != 0;
}

bool take(std::string_view& text, char character) {
  const bool taken = text.starts_with(character);
  text.remove_prefix(taken ? 1 : 0);
  return taken;
}

// Takes what matches the shape, in which "0" stands for any digit.
bool takeShape(std::string_view& text, std::string_view shape) {
  for (const char character : shape) {
    const bool matches = !text.empty() && (character == '0' ? isDigit(text.front()) : text.front() == character);
    if (!matches) {
      return false;
    }
    text.remove_prefix(1);
  }
  return true;
}

// What follows time, process and thread in the first line of a record; none for another line.
std::optional<std::string> recordOf(std::string_view line) {
  const bool hasNumbers = takeShape(line, "0000-00-00T00:00:00.000000Z ") && takeDigits(line) && take(line, '.') &&
                          takeDigits(line) && take(line, ' ');
  std::string_view rest = line;
  return hasNumbers && takeShape(rest, "L0 ") ? std::optional<std::string>(line) : std::nullopt;
}

std::string withoutLineNumber(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    std::string_view rest = text;
    if (take(rest, '[') && takeDigits(rest) && takeShape(rest, ", ")) {
      result += "[line, ";
      text = rest;
    } else {
      result += text.front();
      text.remove_prefix(1);
    }
  }
  return result;
}

}  // namespace

std::vector<std::string> readTrace(const std::string& path) {
  std::vector<std::string> records;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (const auto record = recordOf(line)) {
      records.push_back(*record);
    } else if (records.empty()) {
      records.push_back(line);
    } else {
      records.back() += "\n" + line;
    }
  }
  return records;
}

std::vector<std::string> withoutLineNumbers(std::vector<std::string> records) {
  for (std::string& record : records) {
    record = withoutLineNumber(record);
  }
  return records;
}

TraceCapture::TraceCapture(int level)
    : m_logDirectory("QMFI_LOG_DIR", m_directory.path()), m_traceLevel("QMFI_TRACE_LEVEL", std::nullopt), m_log(true) {
  ACE_String_Base<char> directory;
  ACE_String_Base<char> second;
  m_log->initialize(ACE_String_Base<char>("capture"), directory, second, level, false);
}
