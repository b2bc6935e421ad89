// A disk without room for the journal of a database, or for the directory that it lies in.
#ifndef FULL_DISK_H
#define FULL_DISK_H

#include <sqlite3.h>

#include <cerrno>

namespace qmfi_host {

// As long as it lives SQLite cannot make a journal, and fails as it does on such a disk. One at a time.
class FullDisk {
 public:
  // result: what SQLite makes of it. systemError: the errno value behind it.
  explicit FullDisk(int result = SQLITE_FULL, int systemError = ENOSPC) {
    s_result = result;
    s_systemError = systemError;
    s_open = m_files->xOpen;
    m_files->xOpen = open;
  }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;
  ~FullDisk() { m_files->xOpen = s_open; }

 private:
  static int open(sqlite3_vfs* files, const char* name, sqlite3_file* file, int flags, int* givenFlags) {
    if ((flags & SQLITE_OPEN_MAIN_JOURNAL) == 0) return s_open(files, name, file, flags, givenFlags);
    file->pMethods = nullptr;
    errno = s_systemError;
    return s_result;
  }

  inline static int s_result = SQLITE_FULL;
  inline static int s_systemError = ENOSPC;
  inline static decltype(sqlite3_vfs::xOpen) s_open = nullptr;
  sqlite3_vfs* const m_files = sqlite3_vfs_find(nullptr);
};

// What fsync() fails with; 0 where it does its work.
inline int errorOfFsync = 0;

// As long as it lives SQLite cannot write out the directory once it has removed a journal, and says no more than that.
// One at a time.
class FullDirectory {
 public:
  // systemError: the errno value that the directory fails with when it is asked again; 0 where it does not.
  explicit FullDirectory(int systemError = ENOSPC) {
    errorOfFsync = systemError;
    s_delete = m_files->xDelete;
    m_files->xDelete = remove;
  }
  FullDirectory(const FullDirectory&) = delete;
  FullDirectory& operator=(const FullDirectory&) = delete;
  ~FullDirectory() {
    m_files->xDelete = s_delete;
    errorOfFsync = 0;
  }

 private:
  static int remove(sqlite3_vfs* files, const char* name, int writesOut) {
    const int result = s_delete(files, name, 0);
    errno = 0;
    return result == SQLITE_OK && writesOut != 0 ? SQLITE_IOERR_DIR_FSYNC : result;
  }

  inline static decltype(sqlite3_vfs::xDelete) s_delete = nullptr;
  sqlite3_vfs* const m_files = sqlite3_vfs_find(nullptr);
};

}  // namespace qmfi_host

#endif
