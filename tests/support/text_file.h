// Files as texts.
#ifndef SUPPORT_TEXT_FILE_H
#define SUPPORT_TEXT_FILE_H

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

// The whole of a file; empty when it cannot be read.
inline std::string textOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  // Unlike an iterator it does not throw: a process may end while its file below /proc is read.
  text << file.rdbuf();
  return text.str();
}

inline std::vector<std::string> linesOf(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

#endif
