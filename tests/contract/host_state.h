// What belongs to the process that loads the plug-in and must stay as it is: locale, file mode mask, signals, working
// directory, environment.
#ifndef HOST_STATE_H
#define HOST_STATE_H

#include <map>
#include <string>

// The state by its parts, as text.
std::map<std::string, std::string> hostState();

// Makes each part something that nobody sets by chance, and puts it back at the end. One at a time.
class UnusualHostState {
 public:
  UnusualHostState();
  ~UnusualHostState();
  UnusualHostState(const UnusualHostState&) = delete;
  UnusualHostState& operator=(const UnusualHostState&) = delete;

 private:
  std::string m_locale;
  std::string m_directory;
};

#endif
