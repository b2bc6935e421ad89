// Locks of bytes in the database.
#include "state/work_claim.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "failure/host_error.h"
#include "state/state_directory.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace fs = std::filesystem;

using qmfi_system::Descriptor;

namespace {

// A database ends before, and SQLite's own locks are in its first gigabytes.
constexpr off_t firstByte = off_t{1} << 48;
constexpr off_t countOfBytes = off_t{1} << 32;
constexpr std::string_view holderPrefix = "lock-";
constexpr std::size_t numberDigits = 8;

// What is claimed of a snapshot begins so in all languages: all processes have to mean the same by it.
constexpr std::string_view snapshotWork = "the snapshot ";

// Of two things with the same number one waits for the other, which is rare and does no harm.
std::uint32_t numberOf(const std::string& what) {
  constexpr std::uint32_t prime = 16777619;
  std::uint32_t hash = 2166136261;
  for (const unsigned char byte : what) hash = (hash ^ byte) * prime;
  return hash;
}

fs::path holderFileOf(const fs::path& directory, std::uint32_t number) {
  std::array<char, numberDigits + 1> digits{};
  std::snprintf(digits.data(), digits.size(), "%08x", number);
  return directory / (std::string(holderPrefix) + digits.data());
}

// The number in the name of a holder's file.
std::optional<std::uint32_t> numberOfHolderFile(const std::string& name) {
  if (!name.starts_with(holderPrefix) || name.size() != holderPrefix.size() + numberDigits) return std::nullopt;
  std::uint32_t number = 0;
  constexpr int hexadecimal = 16;
  const char* const end = name.data() + name.size();
  const auto result = std::from_chars(name.data() + holderPrefix.size(), end, number, hexadecimal);
  return result.ptr == end ? std::optional(number) : std::nullopt;
}

struct flock writeLock(off_t start, off_t length) {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = start;
  lock.l_len = length;
  return lock;
}

// Its closing ends SQLite's locks of this process, which has none but within a transaction.
Descriptor openDatabase(const fs::path& directory, int mode) {
  return Descriptor(open(databaseIn(directory).c_str(), mode | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
}

// The number of the first claim that somebody has among these; nothing without one.
std::optional<std::uint32_t> firstClaimed(const Descriptor& database, off_t start, off_t length) {
  struct flock lock = writeLock(start, length);
  if (!database.valid() || fcntl(database.get(), F_OFD_GETLK, &lock) != 0 || lock.l_type == F_UNLCK) {
    return std::nullopt;
  }
  return static_cast<std::uint32_t>(lock.l_start - firstByte);
}

bool isClaimed(const Descriptor& database, std::uint32_t number) {
  return firstClaimed(database, firstByte + number, 1).has_value();
}

// What a holder has done.
std::string workedOn(const std::string& what) {
  if (!what.starts_with(snapshotWork)) return translate("worked on {0}", what);
  return translate("worked on the snapshot {0}", what.substr(snapshotWork.size()));
}

HostError notClaimed(const std::string& what, const std::string& database) {
  if (!what.starts_with(snapshotWork)) return systemError(translate("{0} cannot be claimed in {1}", what, database));
  const std::string id = what.substr(snapshotWork.size());
  return systemError(translate("the snapshot {0} cannot be claimed in {1}", id, database));
}

}  // namespace

std::string workOnSnapshot(const std::string& id) {
  return std::string(snapshotWork) + id;
}

WorkClaim::WorkClaim(Descriptor database, fs::path holderFile)
    : m_database(std::move(database)), m_holderFile(std::move(holderFile)) {}

WorkClaim::~WorkClaim() {
  // Before the lock goes: the file may be the next one's then.
  if (m_database.valid()) unlink(m_holderFile.c_str());
}

std::optional<WorkClaim> WorkClaim::take(const fs::path& directory, const std::string& what,
                                         const std::string& command) {
  const std::uint32_t number = numberOf(what);
  Descriptor database = openDatabase(directory, O_RDWR);
  const struct flock lock = writeLock(firstByte + number, 1);
  const bool isLocked = database.valid() && fcntl(database.get(), F_OFD_SETLK, &lock) == 0;
  if (!isLocked && database.valid() && (errno == EAGAIN || errno == EACCES)) return std::nullopt;
  if (!isLocked) throw notClaimed(what, databaseIn(directory).string()).about(what);
  WorkClaim claim(std::move(database), holderFileOf(directory, number));
  writeHolder(claim.m_holderFile, command);
  return claim;
}

std::optional<std::string> workerOn(const fs::path& directory, const std::string& what) {
  const std::uint32_t number = numberOf(what);
  if (!isClaimed(openDatabase(directory, O_RDONLY), number)) return std::nullopt;
  return holderText(holderFileOf(directory, number), workedOn(what));
}

bool isAnythingWorkedOn(const fs::path& directory) {
  return firstClaimed(openDatabase(directory, O_RDONLY), firstByte, countOfBytes).has_value();
}

void waitForWorker(const fs::path& directory, const std::optional<std::string>& what, const WaitingReport& report,
                   WaitingEnd end) {
  WaitingPauses pauses(report, end);
  const Descriptor database = openDatabase(directory, O_RDONLY);
  const off_t start = what ? firstByte + numberOf(*what) : firstByte;
  const std::string hasDone = what ? workedOn(*what) : translate("worked on a part of the state");
  while (const auto number = firstClaimed(database, start, what ? 1 : countOfBytes)) {
    pauses.pause([&] { return holderText(holderFileOf(directory, *number), hasDone); });
  }
}

void removeLeftClaims(const fs::path& directory) {
  const Descriptor database = openDatabase(directory, O_RDONLY);
  std::vector<fs::path> left;
  std::error_code error;
  for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    const auto number = numberOfHolderFile(entry->path().filename());
    if (number && !isClaimed(database, *number)) left.push_back(entry->path());
  }
  for (const fs::path& file : left) unlink(file.c_str());
}

}  // namespace qmfi_host
