// The command pipe: runs a command line without any shell, captures what it prints and bounds its time.
#ifndef CFIEXECPIPE_H
#define CFIEXECPIPE_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace qmfi_pdk_4_4 {

// Results of a run. Those without a meaning of their own here are for other kinds of pipes and never returned.
enum CFiExecPipeCode : std::int32_t {
  KFI_EXEC_PIPE_SUCCESS = 0,
  KFI_EXEC_PIPE_CREATE_PIPE_FAILED = 1,  // no descriptors or no memory of the system for the streams of a program
  KFI_EXEC_PIPE_DUPLICATE_HANDLE_FAILED = 2,
  KFI_EXEC_PIPE_CLOSE_HANDLE_FAILED = 3,
  KFI_EXEC_PIPE_CREATE_CHILD_PROCESS_FAILED = 4,  // a program cannot be started
  KFI_EXEC_PIPE_READ_TIMEOUT = 5,                 // the programs did not end in time and were killed
  KFI_EXEC_PIPE_PARSE_COMMAND_FAILED = 6,         // no program, an empty stage, or a NUL
  KFI_EXEC_PIPE_EXE_DOES_NOT_EXIST = 7,           // a program does not exist or is not named by its absolute path
  // The system would not let the host wait for the programs, as for want of memory; they were killed.
  KFI_EXEC_PIPE_ERROR_UNEXPECTED = 8,
  KFI_EXEC_PIPE_IMPERSONATION_TIMEOUT = 9,
  KFI_EXEC_PIPE_CANNOT_IMPERSONATE = 10,
  KFI_EXEC_PIPE_CMD_FAILED = 11,  // the last program ended with a status other than 0
  KFI_EXEC_PIPE_CMD_KILLED = 12,  // a signal ended the last program
  // The programs ended, and how the last one did was lost: the host reaps any child or ignores SIGCHLD.
  KFI_EXEC_PIPE_CMD_ERROR_UNEXPECTED = 13,
};

// Names of the codes, indexed by them.
inline constexpr const char* KFI_EXEC_PIPE_ERROR_STRINGS[] = {
    "KFI_EXEC_PIPE_SUCCESS",
    "KFI_EXEC_PIPE_CREATE_PIPE_FAILED",
    "KFI_EXEC_PIPE_DUPLICATE_HANDLE_FAILED",
    "KFI_EXEC_PIPE_CLOSE_HANDLE_FAILED",
    "KFI_EXEC_PIPE_CREATE_CHILD_PROCESS_FAILED",
    "KFI_EXEC_PIPE_READ_TIMEOUT",
    "KFI_EXEC_PIPE_PARSE_COMMAND_FAILED",
    "KFI_EXEC_PIPE_EXE_DOES_NOT_EXIST",
    "KFI_EXEC_PIPE_ERROR_UNEXPECTED",
    "KFI_EXEC_PIPE_IMPERSONATION_TIMEOUT",
    "KFI_EXEC_PIPE_CANNOT_IMPERSONATE",
    "KFI_EXEC_PIPE_CMD_FAILED",
    "KFI_EXEC_PIPE_CMD_KILLED",
    "KFI_EXEC_PIPE_CMD_ERROR_UNEXPECTED",
};

// How a run failed.
class EFiExecPipe {
 public:
  EFiExecPipe() = default;
  // text is the output or the reason, code a CFiExecPipeCode, exitStatus the last program's or 0.
  EFiExecPipe(std::string text, std::int32_t code, std::int32_t exitStatus)
      : m_text(std::move(text)), m_wideText(widened(m_text)), m_code(code), m_exitStatus(exitStatus) {}

  // The joined output for codes 11 and 12, otherwise one line with the program and the reason.
  const std::string& getText() const { return m_text; }
  // The same, byte for byte, as a wide string.
  const std::wstring& getWideText() const { return m_wideText; }
  // A CFiExecPipeCode.
  std::int32_t getCode() const { return m_code; }
  // The last program's exit status; 0 when it never ended by itself.
  std::int32_t getExitStatus() const { return m_exitStatus; }

 private:
  static std::wstring widened(const std::string& text) {
    std::wstring wide;
    wide.reserve(text.size());
    for (const unsigned char byte : text) wide.push_back(byte);
    return wide;
  }

  std::string m_text;
  std::wstring m_wideText;
  std::int32_t m_code = KFI_EXEC_PIPE_SUCCESS;
  std::int32_t m_exitStatus = 0;
};

// Name of a code; that of "unexpected" for a number outside the table.
inline const char* execPipeErrorName(std::int32_t code) {
  const bool known = code >= KFI_EXEC_PIPE_SUCCESS && code <= KFI_EXEC_PIPE_CMD_ERROR_UNEXPECTED;
  return KFI_EXEC_PIPE_ERROR_STRINGS[known ? code : KFI_EXEC_PIPE_ERROR_UNEXPECTED];
}

// Runs commands one after another and remembers how the last one failed. One object belongs to one thread at a time.
class CFiExecPipeBase {
 public:
  CFiExecPipeBase() = default;
  CFiExecPipeBase(const CFiExecPipeBase&) = delete;
  CFiExecPipeBase& operator=(const CFiExecPipeBase&) = delete;
  virtual ~CFiExecPipeBase() = default;

  // Runs a command line: words separated by blanks, programs by a lone "|", nothing quoted or expanded. Appends the
  // lines that the programs print to output and waits at most timeoutSeconds (at least 1). Of what they print the first
  // 16 MiB are kept, and of these the first 1048576 lines; the rest is read and dropped. The other strings are reserved
  // for pipes that impersonate a user and are ignored here. Returns a CFiExecPipeCode. Throws std::bad_alloc when
  // memory is short; output may then hold some of the lines. No child is left running then, nor when the thread is
  // cancelled.
  int Exec(const std::string& command, std::vector<std::string>& output, const std::string& input, int timeoutSeconds,
           const std::string& user, const std::string& domain, const std::string& password);

  // How the last run failed; code 0 after a success.
  const EFiExecPipe& getLastError() const { return m_lastError; }

 private:
  EFiExecPipe m_lastError;
};

// The command pipe of POSIX systems.
class CFiExecPipePosix : public CFiExecPipeBase {
 public:
  // mode is always 1: programs are started directly and both of their outputs are captured.
  explicit CFiExecPipePosix(int mode);
};

// The last line, without the blanks around it and at most 500 bytes of it, of the joined output of the process's last
// command that failed by itself; any other text as it is. A host shows that to its user.
std::string lastLineOfFailure(const std::string& joined);

}  // namespace qmfi_pdk_4_4

#endif
