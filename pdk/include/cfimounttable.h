// What is mounted, by the kernel's own table.
#ifndef CFIMOUNTTABLE_H
#define CFIMOUNTTABLE_H

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "K_strings.h"
#include "cfidescriptor.h"

namespace qmfi_pdk_4_4 {

// A file system that is mounted as a whole.
struct CFiMount {
  std::string type;
  std::string source;  // of a device: its path, as whoever mounted it gave it
  std::string mountPoint;
  std::string options;  // of the mount and of the file system, separated by commas
  dev_t device = 0;     // the file system's number, which is that of its device
};

// By what a mount is looked for: its own number or its device's. Whoever may mount chooses names, but no numbers.
enum class CFiMountKey : std::uint8_t { number, device };

// The words of a line that every mount has, by their places; any number of others follows, up to a hyphen.
enum CFiMountWord : std::uint8_t {
  CFI_MOUNT_NUMBER,
  CFI_MOUNT_PARENT,
  CFI_MOUNT_DEVICE,
  CFI_MOUNT_ROOT,
  CFI_MOUNT_POINT,
  CFI_MOUNT_OPTIONS,
  CFI_MOUNT_FIRST_OPTIONAL
};

// The words of a line of the table, with their escapes.
inline std::vector<std::string_view> wordsOf(std::string_view line) {
  std::vector<std::string_view> words;
  for (std::size_t begin = 0; begin <= line.size();) {
    const std::size_t end = std::min(line.find(' ', begin), line.size());
    words.push_back(line.substr(begin, end - begin));
    begin = end + 1;
  }
  return words;
}

// A word without its escapes.
inline std::string plainWord(std::string_view word) {
  constexpr std::size_t digits = 3;
  constexpr int octal = 8;
  std::string plain;
  for (std::size_t i = 0; i < word.size(); ++i) {
    unsigned char value = 0;
    const char* const first = word.data() + i + 1;
    const bool isEscape = word[i] == '\\' && word.size() - i > digits;
    const std::from_chars_result read =
        isEscape ? std::from_chars(first, first + digits, value, octal) : std::from_chars_result{};
    if (isEscape && read.ec == std::errc() && read.ptr == first + digits) {
      plain += static_cast<char>(value);
      i += digits;
    } else {
      plain += word[i];
    }
  }
  return plain;
}

// A text as the table has it, so that it is one word of a line.
inline std::string escapedWord(std::string_view text) {
  std::string word;
  for (const char character : text) {
    const bool isSpecial = std::strchr(" \t\n\\", character) != nullptr;
    char code[5] = {character};
    if (isSpecial) K_snprintf(code, sizeof code, "\\%03o", static_cast<unsigned int>(character));
    word += code;
  }
  return word;
}

// A device's number as the table has it.
inline std::string deviceText(dev_t device) {
  return std::to_string(major(device)) + ":" + std::to_string(minor(device));
}

// The number that deviceText() has written; 0 for another text.
inline dev_t deviceNumber(std::string_view text) {
  unsigned int numbers[2] = {0, 0};
  const char* const end = text.data() + text.size();
  const auto [colon, error] = std::from_chars(text.data(), end, numbers[0]);
  if (error == std::errc() && colon != end) std::from_chars(colon + 1, end, numbers[1]);
  return makedev(numbers[0], numbers[1]);
}

// The mount of a line; nothing when the line is none, or only a directory of the file system is mounted.
inline std::optional<CFiMount> wholeMount(const std::vector<std::string_view>& words) {
  if (words.size() < CFI_MOUNT_FIRST_OPTIONAL) return std::nullopt;
  const auto hyphen = std::find(words.begin() + CFI_MOUNT_FIRST_OPTIONAL, words.end(), "-");
  if (words.end() - hyphen < 4 || words[CFI_MOUNT_ROOT] != "/") return std::nullopt;
  return CFiMount{std::string(hyphen[1]), plainWord(hyphen[2]), plainWord(words[CFI_MOUNT_POINT]),
                  plainWord(words[CFI_MOUNT_OPTIONS]) + "," + plainWord(hyphen[3]),
                  deviceNumber(words[CFI_MOUNT_DEVICE])};
}

// The first mount with that key in a text like /proc/self/mountinfo that shows a whole file system. value: as the table
// has it.
inline std::optional<CFiMount> findWholeMount(std::string_view table, CFiMountKey key, std::string_view value) {
  while (!table.empty()) {
    const std::string_view line = table.substr(0, table.find('\n'));
    table.remove_prefix(std::min(line.size() + 1, table.size()));
    // Most lines are others', and need not be taken to pieces.
    if (key == CFiMountKey::number && !line.starts_with(value)) continue;
    const std::vector<std::string_view> words = wordsOf(line);
    const std::size_t place = key == CFiMountKey::number ? CFI_MOUNT_NUMBER : CFI_MOUNT_DEVICE;
    if (words.size() <= place || words[place] != value) continue;
    if (auto mount = wholeMount(words)) return mount;
  }
  return std::nullopt;
}

// The table of this process. Throws std::system_error when it cannot be read.
inline std::string readMountTable() {
  constexpr const char* mountTable = "/proc/self/mountinfo";
  constexpr std::size_t step = 65536;
  const CFiDescriptor file(::open(mountTable, O_RDONLY | O_CLOEXEC));
  std::string text;
  for (ssize_t got = step; got > 0;) {
    const std::size_t before = text.size();
    text.resize(before + step);
    got = !file.isOpen() ? -1 : ::read(file.get(), text.data() + before, step);
    if (got < 0) throw std::system_error(errno, std::generic_category(), mountTable);
    text.resize(before + static_cast<std::size_t>(got));
  }
  return text;
}

// The file system that is mounted on a path, as the last of several; nothing when the path is not absolute, no mount
// point, or that of a directory of a file system. A symbolic link is no mount point. Throws std::system_error when that
// cannot be found out.
inline std::optional<CFiMount> wholeMountOn(const std::string& path) {
  if (!path.starts_with('/')) return std::nullopt;
  struct statx status {};
  if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_MNT_ID, &status) != 0) {
    if (errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG) return std::nullopt;
    throw std::system_error(errno, std::generic_category(), path);
  }
  if ((status.stx_attributes & STATX_ATTR_MOUNT_ROOT) == 0) return std::nullopt;
  auto mount = findWholeMount(readMountTable(), CFiMountKey::number, std::to_string(status.stx_mnt_id));
  const bool isThatOne = mount && mount->device == makedev(status.stx_dev_major, status.stx_dev_minor);
  return isThatOne ? mount : std::nullopt;
}

// Where the file system of a device is mounted, or first of several. Throws std::system_error as above.
inline std::optional<CFiMount> wholeMountOf(dev_t device) {
  return findWholeMount(readMountTable(), CFiMountKey::device, deviceText(device));
}

// The number of a block device; nothing for a path that is none of a block device.
inline std::optional<dev_t> blockDeviceNumber(const std::string& path) {
  struct stat status {};
  const bool isDevice = path.starts_with('/') && ::stat(path.c_str(), &status) == 0 && S_ISBLK(status.st_mode);
  return isDevice ? std::optional(status.st_rdev) : std::nullopt;
}

// A path of the device of a mount: its source, or the one that the system makes for each device. Empty when neither is.
inline std::string devicePathOf(const CFiMount& mount) {
  for (const std::string& path : {mount.source, "/dev/block/" + deviceText(mount.device)}) {
    if (blockDeviceNumber(path) == mount.device) return path;
  }
  return {};
}

}  // namespace qmfi_pdk_4_4

#endif
