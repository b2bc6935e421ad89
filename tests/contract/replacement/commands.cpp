// The command pipe, which runs nothing, and the string tools beside it.
#include <cstdlib>
#include <string>
#include <vector>

#include "cfiexecpipe.h"
#include "cfiformatoptionlist.h"
#include "cfistringtool.h"
#include "record.h"

namespace qmfi_pdk_4_4 {

CFiExecPipePosix::CFiExecPipePosix(int /*mode*/) {}

int CFiExecPipeBase::Exec(const std::string& command, std::vector<std::string>& /*output*/,
                          const std::string& /*input*/, int /*timeoutSeconds*/, const std::string& /*user*/,
                          const std::string& /*domain*/, const std::string& /*password*/) {
  FrameworkRecord& record = frameworkRecord();
  record.commands.push_back(command);
  const int exitStatus = record.exitStatusOf ? record.exitStatusOf(command) : 0;
  const int code = exitStatus == 0 ? KFI_EXEC_PIPE_SUCCESS : KFI_EXEC_PIPE_CMD_FAILED;
  m_lastError = EFiExecPipe("", code, exitStatus);
  return code;
}

std::string CFiStringTool::rtrim(const std::string& text, const std::string& characters) {
  return text.substr(0, text.find_last_not_of(characters) + 1);
}

std::string CFiStringTool::trim(const std::string& text, const std::string& characters) {
  const std::string shortened = rtrim(text, characters);
  const std::size_t begin = shortened.find_first_not_of(characters);
  return begin != std::string::npos ? shortened.substr(begin) : std::string();
}

std::vector<std::string> CFiStringTool::tokenize(const std::string& text, const std::string& separators) {
  std::vector<std::string> pieces;
  std::size_t begin = text.find_first_not_of(separators);
  while (begin != std::string::npos) {
    const std::size_t end = text.find_first_of(separators, begin);
    pieces.push_back(text.substr(begin, end - begin));
    begin = text.find_first_not_of(separators, end);
  }
  return pieces;
}

ACE_String_Base<char> CFiStringTool::str2tstr(const std::string& text) {
  return {text.data(), text.size()};
}

std::string CFiStringTool::tstr2str(const ACE_String_Base<char>& text) {
  return {text.c_str(), text.length()};
}

std::string CFiStringTool::vec2str(const std::vector<std::string>& elements, std::string separator) {
  std::string text;
  for (const std::string& element : elements) text += element + separator;
  return text;
}

int CFiStringTool::str2int(const std::string& text) {
  return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

bool CFiStringTool::find(const std::vector<std::string>& lines, const std::string& text) {
  for (const std::string& line : lines) {
    if (line.find(text) != std::string::npos) return true;
  }
  return false;
}

CFiFormatOptionList::Map CFiFormatOptionList::parse(const std::string& text) {
  Map options;
  for (const std::string& pair : CFiStringTool::tokenize(text, ";")) {
    const std::size_t end = pair.find('=');
    options.emplace(pair.substr(0, end), end != std::string::npos ? pair.substr(end + 1) : std::string());
  }
  return options;
}

}  // namespace qmfi_pdk_4_4
