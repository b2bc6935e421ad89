// The framework's configuration store: an INI file for each name.
#include <charconv>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "cficonfiguration.h"
#include "cfistringallocator.h"
#include "cfistringtool.h"
#include "paths.h"
#include "system/small_file.h"

namespace qmfi_pdk_4_4 {

namespace {

constexpr const char* blanks = " \t\r\v\f";

// Reads "[section]" and "name = value" lines into the heap. Empty lines, lines that begin with ";" or "#" and those
// that are neither of the two kinds are passed over, so that a slip costs no more than its own line.
void importStore(const std::string& text, ACE_Configuration_Heap& heap) {
  ACE_Configuration_Section_Key section;
  for (const std::string& rawLine : CFiStringTool::tokenize(text, "\n")) {
    const std::string line = CFiStringTool::trim(rawLine, blanks);
    if (line.empty() || line.front() == ';' || line.front() == '#') continue;
    if (line.front() == '[') {
      const std::string name = CFiStringTool::trim(line.substr(1, line.find(']') - 1), blanks);
      section = ACE_Configuration_Section_Key();
      if (line.back() == ']') heap.open_section(heap.root_section(), name.c_str(), 1, section);
      continue;
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) continue;
    const std::string name = CFiStringTool::rtrim(line.substr(0, equals), blanks);
    const std::string value = CFiStringTool::trim(line.substr(equals + 1), blanks);
    if (!name.empty()) heap.set_string_value(section, name.c_str(), CFiStringTool::str2tstr(value));
  }
}

}  // namespace

CFiConfiguration::CFiConfiguration(const ACE_String_Base<char>& name) : m_name(name) {
  // An unopened heap must not be asked for anything.
  if (m_heap.open() != 0) throw std::bad_alloc();
  const std::string file = CFiStringTool::tstr2str(name);
  if (!qmfi_runtime::isPlainName(file)) return;
  // One that is missing, unreadable or too large says nothing.
  const std::string path = qmfi_runtime::configurationDirectory() + "/" + file + ".conf";
  importStore(qmfi_system::readSmallFile(path).value_or(""), m_heap);
}

int CFiConfiguration::openSection(const char* section, ACE_Configuration_Section_Key& key, int create) {
  if (section == nullptr || m_heap.open_section(m_heap.root_section(), section, create, key) != 0) return -1;
  m_section = key;
  return 0;
}

int CFiConfiguration::getIntegerValue(const char* name, unsigned int& value) {
  ACE_TString text(CFiStringAllocator::instance());
  if (name == nullptr || m_heap.get_string_value(m_section, name, text) != 0) return -1;
  const char* const end = text.c_str() + text.length();
  unsigned int number = 0;
  const auto result = std::from_chars(text.c_str(), end, number);
  if (result.ec != std::errc() || result.ptr != end) return -1;
  value = number;
  return 0;
}

}  // namespace qmfi_pdk_4_4
