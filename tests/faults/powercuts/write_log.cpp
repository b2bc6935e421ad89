// Reading a log of dm-log-writes: a first sector with the number of entries, then each entry in a sector of its own,
// with its data in the sectors behind it. All numbers are little-endian, as the only machine is that has these tests.
#include "write_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

#include "system/checked.h"

namespace faults {

namespace {

constexpr std::uint64_t magicNumber = 0x6a736677736872;
constexpr std::uint64_t knownVersion = 1;
constexpr std::uint64_t sectorBytes = 512;

struct Head {
  std::uint64_t magic;
  std::uint64_t version;
  std::uint64_t entries;
  std::uint32_t sectorBytes;
};

struct Entry {
  std::uint64_t sector;
  std::uint64_t sectors;
  std::uint64_t flags;
  std::uint64_t textBytes;  // of a mark, which stands behind the entry in its sector
};

constexpr std::uint64_t flushFlag = 1;
constexpr std::uint64_t pastCacheFlag = 2;
constexpr std::uint64_t discardFlag = 4;
constexpr std::uint64_t markFlag = 8;

template <typename Record>
Record recordIn(const std::string& sector) {
  Record record;
  std::memcpy(&record, sector.data(), sizeof record);
  return record;
}

}  // namespace

WriteLog::WriteLog(const std::string& file)
    : m_file(qmfi_system::checked(open(file.c_str(), O_RDONLY | O_CLOEXEC), "opening " + file)) {
  const Head head = recordIn<Head>(read(0, sectorBytes));
  if (head.magic != magicNumber || head.version != knownVersion || head.sectorBytes != sectorBytes) {
    throw std::runtime_error(file + " is no log of writes");
  }
  std::uint64_t place = sectorBytes;
  while (m_writes.size() < head.entries) {
    const std::string sector = read(place, sectorBytes);
    const Entry entry = recordIn<Entry>(sector);
    place += sectorBytes;
    LoggedWrite write{.begin = entry.sector * sectorBytes, .bytes = entry.sectors * sectorBytes, .data = place};
    write.isDurable = (entry.flags & (flushFlag | pastCacheFlag)) != 0;
    write.isDiscard = (entry.flags & discardFlag) != 0;
    if ((entry.flags & markFlag) != 0) write.mark = sector.substr(sizeof entry, entry.textBytes);
    if (!write.isDiscard) place += write.bytes;
    m_writes.push_back(std::move(write));
  }
}

std::string WriteLog::dataOf(const LoggedWrite& write) const {
  return read(write.data, write.bytes);
}

std::string WriteLog::read(std::uint64_t begin, std::uint64_t bytes) const {
  std::string text(bytes, '\0');
  for (std::uint64_t done = 0; done < bytes;) {
    const ssize_t count = qmfi_system::checked(
        pread(m_file.get(), text.data() + done, bytes - done, static_cast<off_t>(begin + done)), "reading the log");
    if (count == 0) throw std::runtime_error("the log ends within an entry");
    done += static_cast<std::uint64_t>(count);
  }
  return text;
}

}  // namespace faults
