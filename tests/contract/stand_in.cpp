// Stands for every system program that the plug-in runs: notes its command line and answers as a file tells.
//
// A file has one instruction a line: "out TEXT" and "err TEXT" print a line, "raw TEXT" prints without a line feed,
// "flood NUMBER" prints that many bytes, "unmount" takes the lines of the last word's mount point out of the mount
// table, "mount LINE" adds one, "mkdir" and "rmdir" make and remove the directory of the last word, "exit STATUS" and
// "signal NUMBER" end the program.
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "stand_in_files.h"

namespace {

const char* const mountTable = "/etc/mtab";
constexpr int mostAnswers = 1000;

void noteCall(const std::vector<std::string>& words) {
  std::string line;
  for (const auto& word : words) line += (line.empty() ? "" : " ") + word;
  line += '\n';
  const int record = open(STAND_IN_RECORD.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  // One write, so that programs which run together do not mix their lines.
  if (record < 0 || write(record, line.data(), line.size()) != static_cast<ssize_t>(line.size())) std::abort();
  close(record);
}

std::vector<std::string> linesOf(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

std::vector<std::string> takeAnswer(const std::string& program) {
  const std::string base = standInAnswerBase(program);
  for (int number = 1; number <= mostAnswers; ++number) {
    const std::string path = base + "." + std::to_string(number);
    if (!std::filesystem::exists(path)) continue;
    const auto lines = linesOf(path);
    std::filesystem::remove(path);
    return lines;
  }
  return linesOf(base + ".always");
}

void takeOutOfMountTable(const std::string& mountPoint) {
  const auto lines = linesOf(mountTable);
  std::ofstream table(mountTable);
  for (const auto& line : lines) {
    std::istringstream fields(line);
    std::string device;
    std::string place;
    fields >> device >> place;
    if (place != mountPoint) table << line << "\n";
  }
}

void follow(const std::string& instruction, const std::string& value, const std::string& lastWord) {
  if (instruction == "out") {
    std::cout << value << "\n";
  } else if (instruction == "err") {
    std::cerr << value << "\n";
  } else if (instruction == "raw") {
    std::cout << value;
  } else if (instruction == "flood") {
    std::cout << std::string(std::stoul(value), 'x');
  } else if (instruction == "unmount") {
    takeOutOfMountTable(lastWord);
  } else if (instruction == "mount") {
    std::ofstream(mountTable, std::ios::app) << value << "\n";
  } else if (instruction == "mkdir") {
    std::filesystem::create_directories(lastWord);
  } else if (instruction == "rmdir") {
    std::filesystem::remove(lastWord);
  } else if (instruction == "exit") {
    std::cout.flush();
    _exit(std::stoi(value));
  } else if (instruction == "signal") {
    std::cout.flush();
    std::raise(std::stoi(value));
  } else {
    std::abort();
  }
}

}  // namespace

int main(int count, char** words) {
  const std::vector<std::string> call(words, words + count);
  noteCall(call);
  for (const auto& line : takeAnswer(call.front())) {
    const auto blank = line.find(' ');
    follow(line.substr(0, blank), blank == std::string::npos ? "" : line.substr(blank + 1), call.back());
  }
}
