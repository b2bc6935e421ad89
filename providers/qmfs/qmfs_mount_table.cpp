// Look-ups in the system mount table.
//
// A table can have many thousands of lines, so a line is first compared as it stands, and only one that can match is
// decoded by the system's own reader: that reader owns the rules for blanks, comments and octal escapes.
#include "qmfs_mount_table.h"

#include <mntent.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

constexpr const char* mountTable = "/etc/mtab";
// The kernel hands out a table of its own by pages, but a stream would ask for a quarter of one at a time.
constexpr std::size_t readSize = 16384;

struct TableCloser {
  void operator()(std::FILE* table) const { endmntent(table); }
};

struct StreamCloser {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};

bool isBlank(char character) {
  return character == ' ' || character == '\t';
}

// The first or second field of a line, as it is written there.
std::string_view rawField(std::string_view line, MountTableKey key) {
  const char* const lineEnd = line.data() + line.size();
  const char* begin = std::find_if_not(line.data(), lineEnd, isBlank);
  const char* end = std::find_if(begin, lineEnd, isBlank);
  if (key == MountTableKey::mountPoint) {
    begin = std::find_if_not(end, lineEnd, isBlank);
    end = std::find_if(begin, lineEnd, isBlank);
  }
  const std::string_view field(begin, static_cast<std::size_t>(end - begin));
  return field.substr(0, field.find('\n'));
}

// Whether the decoded field can equal the value: it is written the same, or has an escape.
bool canMatch(std::string_view field, std::string_view value) {
  return field == value || field.find('\\') != std::string_view::npos;
}

// Decodes one line. Returns 1 with the entry, which points into buffer; 0 when the line holds none; -1 when memory is
// short.
int decodeLine(char* line, std::size_t length, MallocString& buffer, mntent& entry) {
  const std::size_t size = length + 2;
  buffer.reset(static_cast<char*>(std::malloc(size)));
  const std::unique_ptr<std::FILE, StreamCloser> stream(fmemopen(line, length, "r"));
  if (buffer == nullptr || stream == nullptr) return -1;
  return getmntent_r(stream.get(), &entry, buffer.get(), static_cast<int>(size)) != nullptr ? 1 : 0;
}

// Copies two strings through out pointers that may be null: both or neither. Returns 1, or -1 when memory is short.
int copyOut(const char* first, const char* second, char** firstCopy, char** secondCopy) {
  MallocString firstOwned(firstCopy != nullptr ? ::strdup(first) : nullptr);
  MallocString secondOwned(secondCopy != nullptr ? ::strdup(second) : nullptr);
  if ((firstCopy != nullptr && firstOwned == nullptr) || (secondCopy != nullptr && secondOwned == nullptr)) return -1;
  if (firstCopy != nullptr) *firstCopy = firstOwned.release();
  if (secondCopy != nullptr) *secondCopy = secondOwned.release();
  return 1;
}

}  // namespace

int searchMountTable(const char* table, MountTableKey key, const char* value, const char* type, char** found,
                     char** options) {
  for (char** out : {found, options}) {
    if (out != nullptr) *out = nullptr;
  }
  if (value == nullptr) return 0;
  std::array<char, readSize> readAhead;
  const std::unique_ptr<std::FILE, TableCloser> stream(setmntent(table, "r"));
  if (stream == nullptr) return -1;
  std::setvbuf(stream.get(), readAhead.data(), _IOFBF, readAhead.size());
  MallocString line;
  std::size_t capacity = 0;
  MallocString buffer;
  for (;;) {
    char* text = line.release();
    const ssize_t length = ::getline(&text, &capacity, stream.get());
    line.reset(text);
    if (length < 0) {
      // Anything but the end of the table, a short memory too, leaves entries unseen.
      return std::feof(stream.get()) != 0 ? 0 : -1;
    }
    if (!canMatch(rawField({text, static_cast<std::size_t>(length)}, key), value)) continue;
    mntent entry{};
    const int decoded = decodeLine(text, static_cast<std::size_t>(length), buffer, entry);
    if (decoded < 0) return -1;
    if (decoded == 0) continue;
    const bool byDevice = key == MountTableKey::device;
    const char* const keyText = byDevice ? entry.mnt_fsname : entry.mnt_dir;
    if (std::strcmp(keyText, value) == 0 && (type == nullptr || std::strcmp(entry.mnt_type, type) == 0)) {
      return copyOut(byDevice ? entry.mnt_dir : entry.mnt_fsname, entry.mnt_opts, found, options);
    }
  }
}

extern "C" {

int qmfs_getmnt(const char* device, char** mountPoint, char** options) {
  return searchMountTable(mountTable, MountTableKey::device, device, nullptr, mountPoint, options);
}

int qmfs_getsubobj(const char* mountPoint, char** device, char** options) {
  return searchMountTable(mountTable, MountTableKey::mountPoint, mountPoint, QMFS_TYPE, device, options);
}

int qmfs_check_claim(const char* mountPoint) {
  return searchMountTable(mountTable, MountTableKey::mountPoint, mountPoint, QMFS_TYPE, nullptr, nullptr);
}
}

namespace {

using LookUp = int (*)(const char*, char**, char**);

MountTableAnswer ownedAnswer(LookUp lookUp, const char* value) {
  char* found = nullptr;
  char* options = nullptr;
  const int result = lookUp(value, &found, &options);
  return {result, MallocString(found), MallocString(options)};
}

}  // namespace

MountTableAnswer mountOfDevice(const char* device) {
  return ownedAnswer(qmfs_getmnt, device);
}

MountTableAnswer deviceOfMount(const char* mountPoint) {
  return ownedAnswer(qmfs_getsubobj, mountPoint);
}
