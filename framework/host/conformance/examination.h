// A case at work on a provider.
#ifndef EXAMINATION_H
#define EXAMINATION_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "conformance/case_notes.h"
#include "conformance/subject.h"
#include "provider/provider_entry_points.h"

namespace qmfi_host {

// Ends a case before its end; what was wrong has been noted.
struct CaseOver {};

// What a message came to.
struct ExaminedMessage {
  std::string id;
  std::string text;  // in the default language
};

// The provider's library, loaded when it is first needed, and what is found out about it. Lives in the process of one
// case; one thread.
class Examination {
 public:
  // Both must outlive this object. Loads nothing yet.
  Examination(const Subject& subject, CaseNotes& notes) : m_subject(subject), m_notes(notes) {}
  Examination(const Examination&) = delete;
  Examination& operator=(const Examination&) = delete;

  // The provider that is examined.
  const Subject& subject() const { return m_subject; }

  // The provider's functions. Throws HostError when the library cannot be loaded.
  const ProviderEntryPoints& provider();
  // Takes the library out again; it is loaded anew by the next call of provider().
  void unload() { m_library.reset(); }

  // The provider, started; ends the case when it does not start. stop() is its fini.
  const ProviderEntryPoints& started();
  void stop();

  // Makes a call, and returns what it answers. what: which one, for the reader of the report ("claim of /proc"). An
  // exception that leaves it ends the case.
  template <typename Call>
  auto calling(const std::string& what, Call call) {
    m_notes.calling(what);
    try {
      return call();
    } catch (...) {
      m_notes.found("an exception left the call: " + what);
      throw CaseOver();
    }
  }

  // The same for a call that answers a status. One that failed with status 6 has to have told why.
  template <typename Call>
  int status(const std::string& what, Call call) {
    forgetMessages();
    const int answer = calling(what, std::move(call));
    if (answer == failedStatus) requireMessages(what);
    return answer;
  }

  // Makes the call, and notes when it answers none of the expected statuses.
  template <typename Call>
  void expectStatus(const std::string& what, const std::vector<int>& expected, Call call) {
    expectAnswer(what, expected, status(what, std::move(call)));
  }
  // The same for a call that has been made.
  void expectAnswer(const std::string& what, const std::vector<int>& expected, int answer);

  // Notes what is wrong unless it holds.
  void expect(bool holds, const std::string& otherwise);
  // The same, and ends the case.
  void require(bool holds, const std::string& otherwise) {
    if (holds) return;
    m_notes.found(otherwise);
    throw CaseOver();
  }
  // Ends the case, which cannot be tried with this provider. why: a literal.
  [[noreturn]] void skip(const char* why);

  // What was pushed since the last time, newest first. Each text is asked for, and has to be there.
  std::vector<ExaminedMessage> takeMessages();

 private:
  static constexpr int failedStatus = 6;

  void forgetMessages();
  void requireMessages(const std::string& what);
  std::string textOf(kfi_msg_info& message);

  const Subject& m_subject;
  CaseNotes& m_notes;
  std::unique_ptr<ProviderLibrary> m_library{};
};

}  // namespace qmfi_host

#endif
