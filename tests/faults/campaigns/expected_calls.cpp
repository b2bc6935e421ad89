// What a series of calls is expected to come to.
#include "expected_calls.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "hostile_names.h"
#include "support/stand_in_files.h"

namespace faults {

namespace {

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

namespace {

// The words of a command line, or of a part of one: they end at blanks.
std::vector<std::string> wordsOf(const std::string& commandLine) {
  std::vector<std::string> words;
  for (std::size_t begin = commandLine.find_first_not_of(" \t"); begin != std::string::npos;) {
    const std::size_t end = std::min(commandLine.find_first_of(" \t", begin), commandLine.size());
    words.push_back(commandLine.substr(begin, end - begin));
    begin = commandLine.find_first_not_of(" \t", end);
  }
  return words;
}

}  // namespace

bool isOneWord(const std::string& name) {
  return name.find_first_of(" \t\n") == std::string::npos && name != "|" && !name.starts_with('-');
}

bool isDevice(const std::string& name) {
  return !name.empty() && isOneWord(name);
}

bool areOptions(const std::string& options) {
  const auto words = wordsOf(options);
  return std::find(words.begin(), words.end(), "|") == words.end();
}

void ExpectedCalls::returns(const std::string& call, int status, const std::string& outputs) {
  m_calls.results.push_back(call + " " + std::to_string(status) + " " + outputs);
}

void ExpectedCalls::fails(const std::string& call, const std::string& messageId, const std::string& argument) {
  returns(call, 6, " " + messageId + " " + inMessage(argument));
}

void ExpectedCalls::runs(const std::string& commandLine) {
  std::string line;
  for (const std::string& word : wordsOf(commandLine)) line += (line.empty() ? "" : " ") + standInRecordedWord(word);
  m_calls.commands.push_back(line);
}

void ExpectedCalls::runsAll(const std::string& call, const std::vector<std::string>& commandLines,
                            const std::string& outputs) {
  for (const std::string& line : commandLines) runs(line);
  returns(call, 0, outputs);
}

}  // namespace faults
