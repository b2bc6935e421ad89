// The terminal that the testbed was started on.
#ifndef TERMINAL_H
#define TERMINAL_H

namespace testbed {

// Knows from its making on whether the process group of that time had the terminal: it was in the foreground there,
// with standard input and output. Otherwise nothing here does anything.
class Terminal {
 public:
  // Looks whether there is one, for the calling process's group.
  Terminal();

  // Whether there is a terminal to hand on.
  bool ours() const { return m_ours; }

  // Brings the calling process's group to the foreground: it reads what is typed, and Ctrl-C goes to it. To be called
  // in the session of the process that made this object. Does nothing when the terminal is gone.
  void take() const;

 private:
  bool m_ours;
};

}  // namespace testbed

#endif
