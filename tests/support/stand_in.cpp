// Stands for every system program that the plug-in runs: notes its command line and answers as a file tells.
//
// A file has one instruction a line: "out TEXT" and "err TEXT" print a line, "raw TEXT" prints without a line feed,
// "flood NUMBER" and "zeros NUMBER" print that many letters or NULs, "unmount" takes the lines of the last word's mount
// point out of the mount table, "mount LINE" adds one, "mount" alone the one that its last two words ask for, "mkdir"
// and "rmdir" make and remove the directory of the last word, "read" reads the input to its end, "daemon" leaves a
// process behind that keeps its output open, "ignore NUMBER" ignores a signal, "hang" never ends, "exit STATUS" and
// "signal NUMBER" end the program.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/stand_in_files.h"
#include "support/text_file.h"

namespace {

const char* const mountTable = "/etc/mtab";

void appendTo(const std::string& file, const std::string& line) {
  const int record = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  // One write, so that programs which run together do not mix their lines.
  if (record < 0 || write(record, line.data(), line.size()) != static_cast<ssize_t>(line.size())) std::abort();
  close(record);
}

void noteCall(const std::vector<std::string>& words) {
  std::string line;
  for (const auto& word : words) line += (line.empty() ? "" : " ") + standInRecordedWord(word);
  appendTo(STAND_IN_RECORD, line + '\n');
}

// The number behind "<base>." of an answer to a single call; 0 for any other file.
long answerNumber(const std::string& file, const std::string& base) {
  const std::string lead = base + ".";
  return file.starts_with(lead) ? std::strtol(file.c_str() + lead.size(), nullptr, 10) : 0;
}

std::vector<std::string> takeAnswer(const std::string& program) {
  const std::string base = standInAnswerBase(program);
  long lowest = 0;
  for (const auto& entry : std::filesystem::directory_iterator(STAND_IN_DIRECTORY)) {
    const long number = answerNumber(entry.path(), base);
    if (number > 0 && (lowest == 0 || number < lowest)) lowest = number;
  }
  if (lowest == 0) return linesOf(base + ".always");
  const std::string path = base + "." + std::to_string(lowest);
  auto lines = linesOf(path);
  std::filesystem::remove(path);
  return lines;
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

void addToMountTable(const std::string& line, const std::vector<std::string>& words) {
  const bool asked = line.empty() && words.size() > 2 && words.back().starts_with('/');
  const std::string added = asked ? words.end()[-2] + " " + words.end()[-1] + " qmfs rw 0 0" : line;
  if (!added.empty()) appendTo(mountTable, added + '\n');
}

void print(char byte, std::string_view number) {
  const std::string piece(std::size_t{1} << 16, byte);
  for (std::size_t left = std::stoul(std::string(number)); left > 0;) {
    const std::size_t size = std::min(left, piece.size());
    std::cout.write(piece.data(), static_cast<std::streamsize>(size));
    left -= size;
  }
}

void readInput() {
  char piece[4096];
  while (read(STDIN_FILENO, piece, sizeof(piece)) > 0) {
  }
}

// It is found by its number in a file, for whoever has to end it.
void leaveDaemon() {
  std::cout.flush();
  if (fork() != 0) return;
  setsid();
  appendTo(STAND_IN_DAEMONS, std::to_string(getpid()) + '\n');
  for (;;) pause();
}

void end(const std::string& instruction, const std::string& value) {
  std::cout.flush();
  if (instruction == "exit") _exit(std::stoi(value));
  if (instruction == "signal") std::raise(std::stoi(value));
  if (instruction == "hang") {
    for (;;) pause();
  }
  std::abort();
}

void follow(const std::string& instruction, const std::string& value, const std::vector<std::string>& words) {
  if (instruction == "out") {
    std::cout << value << "\n";
  } else if (instruction == "err") {
    std::cerr << value << "\n";
  } else if (instruction == "raw") {
    std::cout << value;
  } else if (instruction == "flood" || instruction == "zeros") {
    print(instruction == "flood" ? 'x' : '\0', value);
  } else if (instruction == "unmount") {
    takeOutOfMountTable(words.back());
  } else if (instruction == "mount") {
    addToMountTable(value, words);
  } else if (instruction == "mkdir") {
    std::filesystem::create_directories(words.back());
  } else if (instruction == "rmdir") {
    std::filesystem::remove(words.back());
  } else if (instruction == "read") {
    readInput();
  } else if (instruction == "daemon") {
    leaveDaemon();
  } else if (instruction == "ignore") {
    std::signal(std::stoi(value), SIG_IGN);
  } else {
    end(instruction, value);
  }
}

}  // namespace

int main(int count, char** words) {
  const std::vector<std::string> call(words, words + count);
  noteCall(call);
  for (const auto& line : takeAnswer(call.front())) {
    const auto blank = line.find(' ');
    follow(line.substr(0, blank), blank == std::string::npos ? "" : line.substr(blank + 1), call);
  }
}
