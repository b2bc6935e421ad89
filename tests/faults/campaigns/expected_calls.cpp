// What a series of calls is expected to come to.
#include "expected_calls.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "hostile_names.h"
#include "stand_in_files.h"
#include "stand_in_programs.h"

namespace faults {

namespace {

// Whether the program is there under the name by which the contract runs it.
bool isThere(const std::string& program) {
  static const std::set<std::string> programs = [] {
    const std::vector<std::string> standIns = StandInPrograms::paths();
    std::set<std::string> all(standIns.begin(), standIns.end());
    all.insert({"/bin/sh", "/bin/bash"});
    return all;
  }();
  return programs.count(program) != 0;
}

// The text with TIME instead of the time stamps of generated names.
std::string withoutTime(std::string text) {
  constexpr std::size_t digits = 14;
  for (const std::string& lead : {std::string("_alt"), std::string("/tmp_")}) {
    for (std::size_t at = text.find(lead); at != std::string::npos; at = text.find(lead, at + 1)) {
      const std::size_t begin = at + lead.size();
      const std::size_t end = std::min(text.find_first_not_of("0123456789", begin), text.size());
      if (end - begin == digits) text.replace(begin, digits, "TIME");
    }
  }
  return text;
}

std::string firstArgument(const std::string& list) {
  const auto arguments = nlohmann::json::parse(list, nullptr, false);
  if (!arguments.is_array() || arguments.empty()) return list;
  return arguments.front().is_string() ? arguments.front().get<std::string>() : arguments.front().dump();
}

std::string shown(const CallRecord& record) {
  std::string text = record.entryPoint + " " + std::to_string(record.status) + " " + record.outputs;
  for (const std::string& message : record.messages) {
    const std::size_t blank = message.find(' ');
    text += " " + message.substr(0, blank) + " " + firstArgument(message.substr(blank + 1));
  }
  return withoutTime(text);
}

}  // namespace

Calls madeCalls(const Host& host, std::size_t first) {
  Calls calls;
  const auto& transcript = host.transcript();
  std::transform(transcript.begin() + static_cast<std::ptrdiff_t>(first), transcript.end(),
                 std::back_inserter(calls.results), shown);
  const auto commands = host.machine.programs.commands();
  std::transform(commands.begin(), commands.end(), std::back_inserter(calls.commands), withoutTime);
  return calls;
}

std::vector<std::vector<std::string>> programsOf(const std::string& commandLine) {
  std::vector<std::vector<std::string>> found(1);
  std::string word;
  const auto endWord = [&] {
    if (word == "|") {
      found.emplace_back();
    } else if (!word.empty()) {
      found.back().push_back(word);
    }
    word.clear();
  };
  for (const char byte : commandLine) {
    if (byte == ' ' || byte == '\t') {
      endWord();
    } else {
      word += byte;
    }
  }
  endWord();
  return found;
}

bool isOneWord(const std::string& name) {
  return name.find_first_of(" \t\n") == std::string::npos && name != "|" && !name.starts_with('-');
}

bool isDevice(const std::string& name) {
  return !name.empty() && isOneWord(name);
}

void ExpectedCalls::returns(const std::string& call, int status, const std::string& outputs) {
  m_calls.results.push_back(call + " " + std::to_string(status) + " " + outputs);
}

void ExpectedCalls::fails(const std::string& call, const std::string& messageId, const std::string& argument) {
  returns(call, 6, " " + messageId + " " + inMessage(argument));
}

bool ExpectedCalls::runs(const std::string& commandLine) {
  const auto stages = programsOf(commandLine);
  const auto isEmpty = [](const auto& words) { return words.empty(); };
  const auto isMissing = [](const auto& words) { return !isThere(words.front()); };
  if (std::any_of(stages.begin(), stages.end(), isEmpty)) {
    m_pipeError = "KFI_EXEC_PIPE_PARSE_COMMAND_FAILED";
    return false;
  }
  if (std::any_of(stages.begin(), stages.end(), isMissing)) {
    m_pipeError = "KFI_EXEC_PIPE_EXE_DOES_NOT_EXIST";
    return false;
  }
  m_hasPipeline = m_hasPipeline || stages.size() > 1;
  for (const auto& words : stages) {
    std::string line;
    for (const std::string& word : words) line += (line.empty() ? "" : " ") + standInRecordedWord(word);
    m_calls.commands.push_back(line);
  }
  return true;
}

void ExpectedCalls::failsAsCommand(const std::string& call) {
  fails(call, "MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION", m_pipeError);
}

void ExpectedCalls::runsAll(const std::string& call, const std::vector<std::string>& commandLines,
                            const std::string& outputs) {
  for (const std::string& line : commandLines) {
    if (!runs(line)) return failsAsCommand(call);
  }
  returns(call, 0, outputs);
}

}  // namespace faults
