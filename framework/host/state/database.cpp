// Calls of SQLite.
#include "state/database.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "system/descriptor.h"
#include "system/durable_file.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace fs = std::filesystem;

namespace {

constexpr int busyMilliseconds = 10000;

fs::path canonicalDirectoryOf(const fs::path& file) {
  std::error_code error;
  fs::path directory = fs::canonical(file.parent_path(), error);
  if (error) throw HostError(translate("the state store {0} cannot be opened: {1}", file.string(), error.message()));
  return directory;
}

bool isDamage(int result) {
  return result == SQLITE_CORRUPT || result == SQLITE_NOTADB;
}

// SQLite does not tell why a journal could not be made, and knows no quota.
bool isFull(int result, int systemError) {
  if (result == SQLITE_FULL || result == SQLITE_CANTOPEN) return true;
  return result == SQLITE_IOERR && (systemError == ENOSPC || systemError == EDQUOT);
}

// SQLite refuses symbolic links in the whole path; only a file that is one is to be refused.
fs::path realPathOf(const fs::path& file) {
  return canonicalDirectoryOf(file) / file.filename();
}

// SQLite would make it readable for everybody.
fs::path made(const fs::path& path) {
  fs::path file = realPathOf(path);
  const qmfi_system::Descriptor opened(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!opened.valid()) {
    throw systemError(translate("the state store {0} cannot be opened", path.string())).about(path.string());
  }
  return file;
}

bool isReadOnly(const std::string& file) {
  struct statvfs status {};
  return statvfs(file.c_str(), &status) == 0 && (status.f_flag & ST_RDONLY) != 0;
}

// A directory of root's that is gone with the object.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    if (mkdtemp(m_path.data()) == nullptr) throw systemError(translate("{0} cannot be made", m_path)).about(m_path);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
  }

  // A copy of a file there, under its own name.
  std::string copyOf(const fs::path& file) const {
    const fs::path copy = m_path / file.filename();
    std::error_code error;
    fs::copy_file(file, copy, error);
    if (error) {
      throw systemError(translate("{0} cannot be copied to {1}", file.string(), copy.string()), error.value())
          .about(file.string());
    }
    return copy;
  }

 private:
  std::string m_path = "/run/qmfi-state.XXXXXX";
};

// Returns a result of SQLite; the failure is one of the target's.
int copyAll(sqlite3* target, sqlite3* source) {
  sqlite3_backup* const copy = sqlite3_backup_init(target, "main", source, "main");
  if (copy == nullptr) return sqlite3_errcode(target);
  sqlite3_backup_step(copy, -1);
  return sqlite3_backup_finish(copy);
}

}  // namespace

Database::Database(fs::path path, const std::string& file, int flags) : m_path(std::move(path)) {
  sqlite3* handle = nullptr;
  const int result = sqlite3_open_v2(file.c_str(), &handle, flags | SQLITE_OPEN_NOFOLLOW, nullptr);
  m_handle.reset(handle);
  if (result != SQLITE_OK) {
    throw HostError(translate("the state store {0} cannot be opened: {1}", m_path.string(), sqlite3_errmsg(handle)));
  }
  sqlite3_extended_result_codes(handle, 1);
  sqlite3_busy_timeout(handle, busyMilliseconds);
}

Database::Database(const fs::path& path) : Database(path, made(path), SQLITE_OPEN_READWRITE) {
  // A transaction ends when its journal is unlinked. Only "extra" writes the directory then, too: after a crash of the
  // machine a journal that has come back would undo what was said to be on the disk.
  execute("PRAGMA foreign_keys = ON; PRAGMA synchronous = EXTRA");
}

Database Database::copyOf(const fs::path& path) {
  Database copy(path, ":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_MEMORY);
  std::error_code error;
  if (fs::symlink_status(path, error).type() == fs::file_type::not_found) return copy;
  const std::string file = realPathOf(path);
  const Database readOnly(path, file, SQLITE_OPEN_READONLY);
  int result = copyAll(copy.handle(), readOnly.handle());
  if (result == SQLITE_READONLY_ROLLBACK && isReadOnly(file)) {
    // What a killed process left cannot be undone there, so it is undone elsewhere.
    const TemporaryDirectory elsewhere;
    elsewhere.copyOf(file + "-journal");
    result = copyAll(copy.handle(), Database(path, elsewhere.copyOf(file), SQLITE_OPEN_READWRITE).handle());
  } else if (result == SQLITE_READONLY_ROLLBACK) {
    result = copyAll(copy.handle(), Database(path, file, SQLITE_OPEN_READWRITE).handle());
  }
  if (result != SQLITE_OK) copy.fail(result, sqlite3_errstr(result));
  return copy;
}

void Database::copyTo(const fs::path& path) const {
  const fs::path unfinished = path.string() + ".new";
  const auto requireDone = [&](bool done) {
    if (!done) {
      throw systemError(translate("the copy {0} of the state store could not be made", path.string()))
          .about(path.string());
    }
  };
  requireDone(unlink(unfinished.c_str()) == 0 || errno == ENOENT);
  {
    const Database copy(unfinished);
    const int result = copyAll(copy.handle(), handle());
    if (result != SQLITE_OK) copy.fail(result, sqlite3_errstr(result));
  }
  requireDone(rename(unfinished.c_str(), path.c_str()) == 0);
  errno = qmfi_system::writeOutDirectory(path.parent_path());
  requireDone(errno == 0);
}

void Database::execute(const char* statements) {
  if (sqlite3_exec(m_handle.get(), statements, nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

void Database::fail() const {
  fail(sqlite3_errcode(handle()), sqlite3_errmsg(handle()));
}

void Database::fail(int result, const std::string& reason) const {
  const std::string what = translate("the state store {0} cannot be used: {1}", m_path.string(), reason);
  constexpr int primary = 0xff;
  if (isDamage(result & primary)) {
    const std::string mend = translate("\"qmfi recover --rescan\" makes a new one");
    DamagedDatabase damage(translate("{0}; {1}", what, mend));
    damage.about(m_path.string()).because(reason).advise(mend);
    throw DamagedDatabase(damage);
  }
  // Why the directory could not be written out is forgotten by then, but it fails again.
  const int systemError = result == SQLITE_IOERR_DIR_FSYNC ? qmfi_system::writeOutDirectory(m_path.parent_path())
                                                           : sqlite3_system_errno(handle());
  if (isFull(result & primary, systemError)) {
    FullStorage full(Failure::storageFull, what);
    full.about(m_path.string()).because(reason);
    throw FullStorage(full);
  }
  throw HostError(what).about(m_path.string()).because(reason);
}

void Database::writeOutDirectory() const {
  const int error = qmfi_system::writeOutDirectory(m_path.parent_path());
  if (error == 0) return;
  printNotice(
      translate("the directory of the state store {0} could not be written out ({1}): a power cut may undo the last "
                "change, and \"qmfi recover\" cleans up then",
                m_path.string(), std::generic_category().message(error)));
}

JournalInMemory::JournalInMemory(Database& database) : m_database(database) {
  m_database.execute("PRAGMA journal_mode = MEMORY");
}

JournalInMemory::~JournalInMemory() {
  sqlite3_exec(m_database.handle(), "PRAGMA journal_mode = DELETE", nullptr, nullptr, nullptr);
}

Statement::Statement(const Database& database, const char* text) : m_database(database) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database.handle(), text, -1, &statement, nullptr) != SQLITE_OK) database.fail();
  m_statement.reset(statement);
}

Statement& Statement::bind(const std::string& value) {
  sqlite3_bind_text(m_statement.get(), ++m_parameter, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
  return *this;
}

Statement& Statement::bind(std::int64_t value) {
  sqlite3_bind_int64(m_statement.get(), ++m_parameter, value);
  return *this;
}

Statement& Statement::again() {
  sqlite3_reset(m_statement.get());
  m_parameter = 0;
  return *this;
}

bool Statement::step() {
  m_column = 0;
  const int result = sqlite3_step(m_statement.get());
  if (result != SQLITE_ROW && result != SQLITE_DONE) m_database.fail();
  return result == SQLITE_ROW;
}

std::string Statement::text() {
  const int column = nextColumn(SQLITE_TEXT);
  const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(m_statement.get(), column));
  const int length = sqlite3_column_bytes(m_statement.get(), column);
  return bytes != nullptr ? std::string(bytes, static_cast<std::size_t>(length)) : std::string();
}

std::int64_t Statement::number() {
  return sqlite3_column_int64(m_statement.get(), nextColumn(SQLITE_INTEGER));
}

// SQLite puts up with every kind of value in every column.
int Statement::nextColumn(int type) {
  const int column = m_column++;
  if (sqlite3_column_type(m_statement.get(), column) == type) return column;
  const char* const name = sqlite3_column_name(m_statement.get(), column);
  throw DamagedDatabase(type == SQLITE_TEXT ? translate("{0} is no text", name) : translate("{0} is no number", name));
}

Transaction::Transaction(Database& database) : m_database(database) {
  m_database.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (m_open) sqlite3_exec(m_database.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
  const int result = sqlite3_exec(m_database.handle(), "COMMIT", nullptr, nullptr, nullptr);
  if (result == SQLITE_IOERR_DIR_FSYNC) {
    // The journal is removed, so the change stands. It may be undone only by a journal that is back after a power cut.
    m_database.writeOutDirectory();
  } else if (result != SQLITE_OK) {
    m_database.fail();
  }
  m_open = false;
}

}  // namespace qmfi_host
