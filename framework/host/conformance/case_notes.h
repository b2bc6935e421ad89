// What a case notes, in memory that outlives the process in which it runs.
#ifndef CASE_NOTES_H
#define CASE_NOTES_H

#include <string>
#include <string_view>
#include <vector>

namespace qmfi_host {

// Shared with the children that are forked while it lives. A child notes, one thread at a time; the parent reads when
// the child has ended, and trusts nothing: what a child has written over is cut short, never followed.
class CaseNotes {
 public:
  // Throws HostError when memory is short.
  CaseNotes();
  CaseNotes(const CaseNotes&) = delete;
  CaseNotes& operator=(const CaseNotes&) = delete;
  ~CaseNotes();

  // The call that is made next, so that the parent can tell in which one the child has ended.
  void calling(std::string_view what) noexcept;
  // Something that is not as the contract says. What finds no room any more is left out.
  void found(std::string_view finding) noexcept;
  // The case cannot be tried with this provider. why: outlives the notes.
  void notTried(std::string_view why) noexcept;
  // The case is at its end.
  void end() noexcept;

  // The last call that was told of; empty for none.
  std::string lastCall() const;
  // What was found, in its order.
  std::vector<std::string> findings() const;
  // Why the case was not tried; empty when it was.
  std::string reasonNotTried() const;
  // Whether end() was called.
  bool hasEnded() const;

 private:
  struct Page;

  Page* m_page;
};

}  // namespace qmfi_host

#endif
