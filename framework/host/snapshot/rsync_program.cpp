// Words, lines and the end of rsync.
#include "snapshot/rsync_program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <string_view>
#include <system_error>
#include <utility>

#include "failure/host_error.h"
#include "system/child_process.h"
#include "system/pipe.h"
#include "system/poll_until.h"
#include "texts/translation.h"
#include "trust/trusted_path.h"

namespace qmfi_host {

using qmfi_system::ChildEnd;
using qmfi_system::ChildProcess;
using qmfi_system::Descriptor;

namespace {

constexpr const char* rsync = "/usr/bin/rsync";
// Runs a program that is killed when this process is.
constexpr const char* setpriv = "/usr/bin/setpriv";

// What tells the line of a change from a message.
constexpr std::string_view changeMark = "change ";
constexpr std::size_t mostMessages = 20;
// A line that repeats what the status says.
constexpr std::string_view summaryMark = "rsync error:";
// It takes half a second to leave nothing half-written.
constexpr std::chrono::milliseconds timeToEnd(800);
constexpr int signalStatuses = 128;
constexpr int lostStatus = 127;

void requireProgram(const char* program, const char* package) {
  requireTrusted(program);
  if (access(program, X_OK) == 0) return;
  const std::string cause = systemError(program).cause().value_or("");
  throw HostError(ExitStatus::programMissing,
                  translate("files are copied by means of {0}, which cannot be run: {1}; install the package {2}",
                            program, cause, package))
      .about(program)
      .because(cause)
      .advise(translate("install the package {0}", package));
}

// Takes the output to pieces as it comes.
class RsyncOutput {
 public:
  explicit RsyncOutput(const std::function<void(const FileChange&)>& tell) : m_tell(tell) {}

  void take(std::string_view part) {
    m_rest += part;
    std::size_t begin = 0;
    for (std::size_t end = m_rest.find('\n'); end != std::string::npos; end = m_rest.find('\n', begin)) {
      takeLine(m_rest.substr(begin, end - begin));
      begin = end + 1;
    }
    m_rest.erase(0, begin);
  }

  std::vector<std::string> messages() && {
    if (m_more > 0) m_messages.push_back(translate("and {0} more", m_more));
    return std::move(m_messages);
  }

 private:
  void takeLine(const std::string& line) {
    if (line.starts_with(changeMark)) {
      takeChange(line.substr(changeMark.size()));
    } else if (line.starts_with(summaryMark)) {
      return;
    } else if (m_messages.size() < mostMessages) {
      m_messages.push_back(unescapedName(line));
    } else {
      ++m_more;
    }
  }

  // "*deleting" is filled up to the length of the others.
  void takeChange(const std::string& line) const {
    constexpr std::size_t lengthOfHow = 11;
    if (line.size() <= lengthOfHow) return;
    const std::string how = line.substr(0, std::min(lengthOfHow, line.find(' ')));
    m_tell({how, unescapedName(line.substr(lengthOfHow + 1))});
  }

  const std::function<void(const FileChange&)>& m_tell;
  std::string m_rest;
  std::vector<std::string> m_messages;
  std::size_t m_more = 0;  // messages that are not kept
};

// One run of it, which does not outlive the object.
class RunningRsync {
 public:
  RunningRsync() = default;
  RunningRsync(const RunningRsync&) = delete;
  RunningRsync& operator=(const RunningRsync&) = delete;
  ~RunningRsync() {
    if (!m_child.started() || m_isReaped) return;
    m_child.kill();
    reap();
  }

  void start(const RsyncTask& task, const Descriptor& target) {
    const Descriptor nothing(qmfi_system::aboveStandardStreams(Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC))));
    if (!m_printed.valid() || !nothing.valid()) throw systemError(translate("rsync cannot be run"));
    if (fchdir(target.get()) != 0) {
      throw systemError(translate("the directory that rsync is to write to cannot be entered"));
    }
    const int output = m_printed.writeEnd.get();
    const qmfi_system::ProgramStreams streams{.input = nothing.get(), .output = output, .errors = output};
    int error = 0;
    m_child.start(rsyncWords(task), qmfi_system::plainEnvironment, streams, qmfi_system::ProcessGroup::own, error);
    // What this process is in cannot be unmounted.
    if (chdir("/") != 0) throw systemError(translate("{0} cannot be entered", "/"));
    if (error != 0) throw systemError(translate("rsync cannot be run"), error);
    m_printed.writeEnd.reset();
  }

  // Until all of it has ended; false when a signal came before.
  bool read(RsyncOutput& output, const Descriptor& signals) const {
    std::array<pollfd, 2> watched = {pollfd{m_printed.readEnd.get(), POLLIN, 0}, pollfd{signals.get(), POLLIN, 0}};
    for (;;) {
      if (poll(watched.data(), watched.size(), -1) < 0) continue;
      if (watched[1].revents != 0) return false;
      if (!readPart(output)) return true;
    }
  }

  // Has it end, with nothing half-written left behind where it ends in time.
  void stop(RsyncOutput& output) const {
    const auto deadline = std::chrono::steady_clock::now() + timeToEnd;
    kill(-m_child.pid(), SIGTERM);
    std::array<pollfd, 1> watched = {pollfd{m_printed.readEnd.get(), POLLIN, 0}};
    while (qmfi_system::pollUntil(watched, deadline) && readPart(output)) continue;
    m_child.kill();
  }

  // Waits for its end. The status as a shell reports it.
  int reap() {
    int status = 0;
    const ChildEnd how = m_child.waitAndReap(status);
    m_isReaped = true;
    if (how == ChildEnd::lost) return lostStatus;
    return how == ChildEnd::killed ? signalStatuses + status : status;
  }

 private:
  bool readPart(RsyncOutput& output) const {
    std::array<char, 65536> part;
    const ssize_t length = TEMP_FAILURE_RETRY(::read(m_printed.readEnd.get(), part.data(), part.size()));
    if (length <= 0) return false;
    output.take({part.data(), static_cast<std::size_t>(length)});
    return true;
  }

  qmfi_system::Pipe m_printed = qmfi_system::makePipe();
  ChildProcess m_child;
  bool m_isReaped = false;
};

}  // namespace

void requireRsync() {
  requireProgram(rsync, "rsync");
  requireProgram(setpriv, "util-linux");
}

std::vector<std::string> rsyncWords(const RsyncTask& task) {
  std::vector<std::string> words = {setpriv, "--pdeathsig", "KILL", "--", rsync};
  words.insert(words.end(), {"-aAXHS", "--numeric-ids", "--one-file-system"});
  // To the nanosecond: what was changed within the same second is not taken for unchanged.
  words.emplace_back("--modify-window=-1");
  // With all names read first; otherwise it waits for ever where a file with several names cannot be replaced.
  words.emplace_back("--no-inc-recursive");
  if (task.deletes) words.emplace_back("--delete");
  if (task.compares) words.emplace_back("--checksum");
  if (task.onlyTells) words.insert(words.end(), {"--dry-run", "--out-format=" + std::string(changeMark) + "%i %n"});
  // Behind "/./" stands what keeps its place below the target directory.
  if (!task.what.empty()) words.emplace_back("--relative");
  words.insert(words.end(), {"--", task.from + (task.what.empty() ? "/" : "/./" + task.what)});
  words.push_back(task.missing.empty() ? "./" : "./" + task.missing + "/");
  return words;
}

std::string unescapedName(const std::string& printed) {
  constexpr std::string_view mark = "\\#";
  constexpr std::size_t digits = 3;
  constexpr int octal = 8;
  std::string name;
  for (std::size_t i = 0; i < printed.size(); ++i) {
    unsigned char byte = 0;
    const char* const first = printed.data() + std::min(printed.size(), i + mark.size());
    const char* const end = printed.data() + std::min(printed.size(), i + mark.size() + digits);
    const bool isMarked = printed.compare(i, mark.size(), mark) == 0 && end - first == digits;
    const auto read = isMarked ? std::from_chars(first, end, byte, octal) : std::from_chars_result{};
    if (isMarked && read.ec == std::errc() && read.ptr == end) {
      name += static_cast<char>(byte);
      i += mark.size() + digits - 1;
    } else {
      name += printed[i];
    }
  }
  return name;
}

RsyncEnd runRsync(const RsyncTask& task, const Descriptor& target, const DeferredSignals& signals,
                  const std::function<void(const FileChange&)>& tell) {
  if (signals.pending()) return {.isInterrupted = true};
  const Descriptor come(signalfd(-1, &DeferredSignals::all(), SFD_CLOEXEC | SFD_NONBLOCK));
  if (!come.valid()) throw systemError(translate("signals cannot be waited for"));
  RsyncOutput output(tell);
  RunningRsync running;
  running.start(task, target);
  const bool isInterrupted = !running.read(output, come);
  if (isInterrupted) running.stop(output);
  const int status = running.reap();
  return {isInterrupted, status, std::move(output).messages()};
}

}  // namespace qmfi_host
