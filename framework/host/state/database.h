// SQLite as the state store uses it: a connection, prepared statements, transactions.
#ifndef DATABASE_H
#define DATABASE_H

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

namespace qmfi_host {

// A connection. One thread at a time. Failures are thrown as HostError.
class Database {
 public:
  // Opens the file, or makes it (mode 0600).
  explicit Database(const std::filesystem::path& path);

  // Runs statements that have neither parameters nor results.
  void execute(const char* statements);

  sqlite3* handle() const { return m_handle.get(); }

 private:
  struct Close {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
  };
  std::unique_ptr<sqlite3, Close> m_handle;
};

// One prepared statement. Parameters are bound in order, columns are read in order.
class Statement {
 public:
  Statement(const Database& database, const char* text);

  Statement& bind(const std::string& value);
  Statement& bind(std::int64_t value);

  // The next row: true when there is one. Throws HostError.
  bool step();

  std::string text();
  std::int64_t number();

 private:
  struct Finalise {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, Finalise> m_statement;
  int m_parameter = 0;
  int m_column = 0;
};

// What is done between its making and commit is done entirely or, without the commit, not at all.
class Transaction {
 public:
  explicit Transaction(Database& database);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();

  // On the disk when it returns.
  void commit();

 private:
  Database& m_database;
  bool m_open = true;
};

}  // namespace qmfi_host

#endif
