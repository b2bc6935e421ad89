// SQLite as the state store uses it: a connection, prepared statements, transactions.
#ifndef DATABASE_H
#define DATABASE_H

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "failure/host_error.h"

namespace qmfi_host {

// The content of a database makes no sense, or a part of it that was to be read.
class DamagedDatabase : public HostError {
 public:
  using HostError::HostError;
};

// There is no room for a change, or for the journal that would let it be undone.
class FullStorage : public HostError {
 public:
  using HostError::HostError;
};

// A connection. One thread at a time. Failures are thrown as HostError, which names the file.
class Database {
 public:
  // Opens the file, or makes it (mode 0600).
  explicit Database(const std::filesystem::path& path);

  // A copy in memory of what the file holds at this moment, which may be changed without changing the file; an empty
  // one where there is no file. Makes nothing and needs to write nothing, except that it finishes undoing what a
  // process left that was killed while it wrote; for a file on a read-only file system in a copy below /run.
  static Database copyOf(const std::filesystem::path& path);

  // Runs statements that have neither parameters nor results.
  void execute(const char* statements);

  // Writes a copy to a file (mode 0600), in place of what is there; it is on the disk when the call returns.
  void copyTo(const std::filesystem::path& path) const;

  sqlite3* handle() const { return m_handle.get(); }
  // The file, as it was named.
  const std::filesystem::path& path() const { return m_path; }

  // Writes out the directory of the file; says so on standard error when it cannot be.
  void writeOutDirectory() const;

  // Throws what the last call of SQLite failed with.
  [[noreturn]] void fail() const;

 private:
  struct Close {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
  };
  using Handle = std::unique_ptr<sqlite3, Close>;

  Database(std::filesystem::path path, const std::string& file, int flags);

  [[noreturn]] void fail(int result, const std::string& reason) const;

  std::filesystem::path m_path;  // as the user knows it
  Handle m_handle;
};

// As long as it lives the journal of a database is kept in memory, so that a change within the file needs no room on
// the disk. If the machine ends meanwhile, the database may be damaged. Not for within a transaction.
class JournalInMemory {
 public:
  // The database must outlive the object. Throws HostError.
  explicit JournalInMemory(Database& database);
  JournalInMemory(const JournalInMemory&) = delete;
  JournalInMemory& operator=(const JournalInMemory&) = delete;
  ~JournalInMemory();

 private:
  Database& m_database;
};

// One prepared statement. Parameters are bound in order, the columns of a row are read in order. One thread at a time.
class Statement {
 public:
  // The database must outlive the statement. Throws HostError for a statement that is not understood.
  Statement(const Database& database, const char* text);

  // Each gives the next parameter its value, and returns this statement.
  Statement& bind(const std::string& value);
  Statement& bind(std::int64_t value);

  // Runs it anew from the first row on, with the first parameter to be given next. Returns this statement.
  Statement& again();

  // The next row: true when there is one. Throws HostError.
  bool step();

  // Both return the next column of the row; they throw DamagedDatabase when it holds something else.
  std::string text();
  std::int64_t number();

 private:
  struct Finalise {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };

  int nextColumn(int type);

  const Database& m_database;
  std::unique_ptr<sqlite3_stmt, Finalise> m_statement;
  int m_parameter = 0;
  int m_column = 0;
};

// What is done between its making and commit is done entirely or, without the commit, not at all.
class Transaction {
 public:
  // Begins; waits some seconds for another process that writes. Throws HostError.
  explicit Transaction(Database& database);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();

  // On the disk when it returns, or else told on standard error that a power cut may undo it. Throws HostError, and
  // then the end of the object undoes everything.
  void commit();

 private:
  Database& m_database;
  bool m_open = true;
};

}  // namespace qmfi_host

#endif
