// Calls of SQLite.
#include "state/database.h"

#include <fcntl.h>

#include "failure/host_error.h"
#include "system/descriptor.h"

namespace qmfi_host {

namespace fs = std::filesystem;

namespace {

constexpr int busyMilliseconds = 10000;

[[noreturn]] void fail(sqlite3* handle) {
  throw HostError(std::string("the state store cannot be used: ") + sqlite3_errmsg(handle));
}

fs::path canonicalDirectoryOf(const fs::path& file) {
  std::error_code error;
  fs::path directory = fs::canonical(file.parent_path(), error);
  if (error) throw HostError("the state store " + file.string() + " cannot be opened: " + error.message());
  return directory;
}

}  // namespace

Database::Database(const std::filesystem::path& path) {
  // SQLite refuses symbolic links in the whole path; only one in the file's place is to be refused.
  const fs::path file = canonicalDirectoryOf(path) / path.filename();
  // SQLite would make it readable for everybody.
  const Descriptor made(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!made.valid()) throw systemError("the state store " + file.string() + " cannot be opened");
  sqlite3* handle = nullptr;
  const int result = sqlite3_open_v2(file.c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW, nullptr);
  m_handle.reset(handle);
  if (result != SQLITE_OK) {
    throw HostError("the state store " + file.string() + " cannot be opened: " + sqlite3_errmsg(handle));
  }
  sqlite3_busy_timeout(handle, busyMilliseconds);
  // A transaction ends when its journal is unlinked. Only "extra" writes the directory then, too: after a crash of the
  // machine a journal that has come back would undo what was said to be on the disk.
  execute("PRAGMA foreign_keys = ON; PRAGMA synchronous = EXTRA");
}

void Database::execute(const char* statements) {
  if (sqlite3_exec(m_handle.get(), statements, nullptr, nullptr, nullptr) != SQLITE_OK) fail(m_handle.get());
}

Statement::Statement(const Database& database, const char* text) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database.handle(), text, -1, &statement, nullptr) != SQLITE_OK) fail(database.handle());
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

bool Statement::step() {
  m_column = 0;
  const int result = sqlite3_step(m_statement.get());
  if (result != SQLITE_ROW && result != SQLITE_DONE) fail(sqlite3_db_handle(m_statement.get()));
  return result == SQLITE_ROW;
}

std::string Statement::text() {
  const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(m_statement.get(), m_column));
  const int length = sqlite3_column_bytes(m_statement.get(), m_column);
  ++m_column;
  return bytes != nullptr ? std::string(bytes, static_cast<std::size_t>(length)) : std::string();
}

std::int64_t Statement::number() {
  return sqlite3_column_int64(m_statement.get(), m_column++);
}

Transaction::Transaction(Database& database) : m_database(database) {
  m_database.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (m_open) sqlite3_exec(m_database.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
  m_database.execute("COMMIT");
  m_open = false;
}

}  // namespace qmfi_host
