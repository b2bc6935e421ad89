// Directs the stand-ins for the system's programs: which are installed, what they answer, what they were called with.
#ifndef STAND_IN_PROGRAMS_H
#define STAND_IN_PROGRAMS_H

#include <map>
#include <string>
#include <vector>

// What a program does at one call. Without anything said it prints nothing and succeeds.
class Answer {
 public:
  // Prints a line to its output, a line to its errors, or a text without a line feed.
  Answer& prints(const std::string& line) { return add("out " + line); }
  Answer& complains(const std::string& line) { return add("err " + line); }
  Answer& printsUnended(const std::string& text) { return add("raw " + text); }
  // Prints so many bytes in one line.
  Answer& floods(std::size_t bytes) { return add("flood " + std::to_string(bytes)); }
  Answer& printsZeros(std::size_t bytes) { return add("zeros " + std::to_string(bytes)); }
  // Takes the lines of the mount point that is its last word out of the mount table, or adds a line.
  Answer& unmounts() { return add("unmount"); }
  Answer& mounts(const std::string& line) { return add("mount " + line); }
  // Adds the line of the device and the mount point that are its last two words.
  Answer& mountsAsAsked() { return add("mount"); }
  // Makes or removes the directory that is its last word.
  Answer& makesDirectory() { return add("mkdir"); }
  Answer& removesDirectory() { return add("rmdir"); }
  // Leaves a process behind, in a session of its own, that keeps its output open.
  Answer& leavesDaemon() { return add("daemon"); }
  // Reads its input to the end: in a pipeline it then outlives the program before it.
  Answer& readsInput() { return add("read"); }
  Answer& ignoresSignal(int signal) { return add("ignore " + std::to_string(signal)); }
  // Ends or never ends, the last thing that it does.
  Answer& hangs() { return add("hang"); }
  Answer& exits(int status) { return add("exit " + std::to_string(status)); }
  Answer& diesOf(int signal) { return add("signal " + std::to_string(signal)); }

  // Does that next.
  Answer& then(const Answer& next) {
    m_text += next.m_text;
    return *this;
  }

  const std::string& text() const { return m_text; }

 private:
  Answer& add(const std::string& line) {
    m_text += line + "\n";
    return *this;
  }
  std::string m_text;
};

// Puts the stand-in in the place of every program that the plug-in runs, with its default answer, and takes away every
// other candidate for the unmount and type programs. They stay in place when the object goes; only what they were told
// is forgotten.
class StandInPrograms {
 public:
  StandInPrograms();
  ~StandInPrograms();
  StandInPrograms(const StandInPrograms&) = delete;
  StandInPrograms& operator=(const StandInPrograms&) = delete;

  // The paths of those that are put in place.
  static std::vector<std::string> paths();

  // Makes a program be there, or not.
  void install(const std::string& program);
  void remove(const std::string& program);

  // The answer to every call that has none of its own; and one for the next call, in the order of these calls.
  void answer(const std::string& program, const Answer& answer);
  void answerNext(const std::string& program, const Answer& answer);

  // The command lines since the last forget(), in order, words as standInRecordedWord has them, separated by one blank.
  std::vector<std::string> commands() const;
  // Ends the processes that were left behind. They end when the object goes, too.
  void endDaemons();
  void forget();

 private:
  std::map<std::string, int> m_answers;  // how many each program was given for single calls
};

#endif
