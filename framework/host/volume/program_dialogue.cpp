// A socket that is the program's standard input and output.
#include "volume/program_dialogue.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "failure/host_error.h"
#include "system/pipe.h"
#include "system/poll_until.h"
#include "texts/translation.h"

namespace qmfi_host {

using qmfi_system::Descriptor;

namespace {

bool isReady(int fd, short events, ProgramDialogue::Clock::time_point deadline) {
  std::array<pollfd, 1> watched = {pollfd{fd, events, 0}};
  return qmfi_system::pollUntil(watched, deadline);
}

bool hasLine(std::string_view text, std::string_view line) {
  for (std::size_t at = text.find(line); at != std::string_view::npos; at = text.find(line, at + 1)) {
    const std::size_t end = at + line.size();
    const bool isBegun = at == 0 || text[at - 1] == '\n';
    if (isBegun && end < text.size() && text[end] == '\n') return true;
  }
  return false;
}

Descriptor openNowhere() {
  return qmfi_system::aboveStandardStreams(Descriptor(open("/dev/null", O_WRONLY | O_CLOEXEC)));
}

}  // namespace

// A socket rather than pipes: writing to a program that has ended is answered, and raises no signal.
ProgramDialogue::ProgramDialogue(const std::vector<std::string>& words, Errors errors) {
  std::array<int, 2> ends = {-1, -1};
  const bool isMade = socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == 0;
  m_talk = qmfi_system::aboveStandardStreams(Descriptor(ends[0]));
  const Descriptor theirs = qmfi_system::aboveStandardStreams(Descriptor(ends[1]));
  const Descriptor nowhere = openNowhere();
  if (!isMade || !m_talk.valid() || !theirs.valid() || !nowhere.valid()) {
    throw systemError(translate("{0} cannot be run", words[0]));
  }
  int error = 0;
  const qmfi_system::ProgramStreams streams{.input = theirs.get(),
                                            .output = theirs.get(),
                                            .errors = errors == Errors::answered ? theirs.get() : nowhere.get()};
  m_program.start(words, qmfi_system::plainEnvironment, streams, qmfi_system::ProcessGroup::own, error);
  if (error == 0) return;
  kill();
  throw systemError(translate("{0} cannot be run", words[0]), error);
}

ProgramDialogue::~ProgramDialogue() {
  kill();
}

int ProgramDialogue::send(std::string_view text, Clock::time_point deadline) noexcept {
  while (!text.empty()) {
    if (!isReady(m_talk.get(), POLLOUT, deadline)) return ETIME;
    const ssize_t sent = ::send(m_talk.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && (errno == EAGAIN || errno == EINTR)) continue;
    if (sent < 0) return errno;
    text.remove_prefix(static_cast<std::size_t>(sent));
  }
  return 0;
}

int ProgramDialogue::receive(std::string_view end, Clock::time_point deadline) noexcept {
  m_length = 0;
  return receiveUntil([&] { return answer().find(end) != std::string_view::npos; }, deadline);
}

int ProgramDialogue::receiveLine(std::string_view line, Clock::time_point deadline) noexcept {
  return receiveUntil([&] { return hasLine(answer(), line); }, deadline);
}

template <typename IsAnswered>
int ProgramDialogue::receiveUntil(IsAnswered isAnswered, Clock::time_point deadline) noexcept {
  while (!isAnswered()) {
    if (m_length == m_answer.size()) return EMSGSIZE;
    const int error = listen(deadline);
    if (error != 0) return error;
  }
  return 0;
}

// Takes what it says next. What it has left running may hold its output open for ever, so its end counts, too. Returns
// ETIME, or EPIPE when nothing more comes.
int ProgramDialogue::listen(Clock::time_point deadline) noexcept {
  std::array<pollfd, 2> watched = {pollfd{m_talk.get(), POLLIN, 0}, pollfd{m_program.watchFd(), POLLIN, 0}};
  if (!qmfi_system::pollUntil(watched, deadline)) return ETIME;
  return watched[0].revents != 0 ? take() : EPIPE;
}

// Takes what is there to be read. Returns EPIPE at the end.
int ProgramDialogue::take() noexcept {
  const ssize_t came = recv(m_talk.get(), m_answer.data() + m_length, m_answer.size() - m_length, MSG_DONTWAIT);
  if (came < 0 && (errno == EAGAIN || errno == EINTR)) return 0;
  if (came == 0 || (came < 0 && errno == ECONNRESET)) return EPIPE;
  if (came < 0) return errno;
  m_length += static_cast<std::size_t>(came);
  return 0;
}

int ProgramDialogue::ask(std::string_view text, std::string_view end, Clock::time_point deadline) noexcept {
  const int error = send(text, deadline);
  return error == 0 || error == EPIPE ? receive(end, deadline) : error;
}

void ProgramDialogue::sendEnd() noexcept {
  shutdown(m_talk.get(), SHUT_WR);
}

// A program that has more to say than there is room for between it and us does not end before it is listened to.
bool ProgramDialogue::waitForEnd(Clock::time_point deadline) noexcept {
  int error = 0;
  while (error == 0 && Clock::now() < deadline) {
    if (m_length == m_answer.size()) forgetFirstHalf();
    error = listen(deadline);
  }
  return isReady(m_program.watchFd(), POLLIN, deadline);
}

void ProgramDialogue::forgetFirstHalf() noexcept {
  const std::size_t half = m_length / 2;
  m_length -= half;
  std::memmove(m_answer.data(), m_answer.data() + half, m_length);
}

bool ProgramDialogue::endsWell(Clock::time_point deadline) noexcept {
  if (m_program.watchFd() < 0 || !waitForEnd(deadline)) return false;
  // What it left in its group is killed while its number still stands for that.
  m_program.kill();
  int status = 0;
  m_isReaped = true;
  return m_program.waitAndReap(status) == qmfi_system::ChildEnd::exited && status == 0;
}

void ProgramDialogue::kill() noexcept {
  if (!m_program.started() || m_isReaped) return;
  m_program.kill();
  int status = 0;
  m_program.waitAndReap(status);
  m_isReaped = true;
}

}  // namespace qmfi_host
