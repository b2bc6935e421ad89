// Command lines: split into words as stated, there and back; commands made of any names carry just these names; and
// option strings are split as stated.
#include <map>
#include <optional>
#include <vector>

#include "cfiformatoptionlist.h"
#include "command_line.h"
#include "fuzz_input.h"
#include "qmfs_command_lines.h"

namespace {

using Words = std::vector<std::string>;
using Programs = std::vector<Words>;

bool isBlank(char character) {
  return character == ' ' || character == '\t';
}

// The pieces between the characters of a kind, empty ones too.
template <typename IsSeparator>
Words pieces(const std::string& text, IsSeparator&& isSeparator) {
  Words list(1);
  for (const char character : text) {
    if (isSeparator(character)) {
      list.emplace_back();
    } else {
      list.back() += character;
    }
  }
  return list;
}

std::optional<Programs> expected(const std::string& line) {
  if (line.find('\0') != std::string::npos) return std::nullopt;
  Programs programs(1);
  for (const std::string& piece : pieces(line, isBlank)) {
    if (piece == "|") {
      programs.emplace_back();
    } else if (!piece.empty()) {
      programs.back().push_back(piece);
    }
  }
  for (const Words& words : programs) {
    if (words.empty()) return std::nullopt;
  }
  return programs;
}

void checkSplitting(const std::string& line) {
  const auto programs = qmfi_runtime::parseCommandLine(line);
  require(programs == expected(line), "words end at blanks and programs at lone bars");
  if (!programs) return;
  std::string joined;
  for (const Words& words : *programs) {
    joined += joined.empty() ? "" : " | ";
    for (const std::string& word : words) joined += " " + word;
  }
  require(qmfi_runtime::parseCommandLine(joined) == programs, "words are the same there and back");
}

void requireWords(const std::string& command, const Words& words) {
  require(qmfi_runtime::parseCommandLine(command) == Programs{words}, "a command has just the words it is made of");
}

void checkCommands(const std::string& first, const std::string& second) {
  const auto firstWord = CommandWord::of(first);
  const auto secondWord = CommandWord::of(second);
  if (!firstWord || !secondWord) return;
  require(!first.starts_with('-') && !second.starts_with('-'), "no name is taken for an option");
  // As a device the empty name is none, and as a mount point it is no word of the command.
  if (first.empty() || second.empty()) return;
  requireWords(mkdirCommand(*firstWord), {"/bin/mkdir", "-p", first});
  requireWords(rmdirCommand(*firstWord), {"/bin/rmdir", first});
  requireWords(mkfsCommand(*firstWord), {"/sbin/mkfs", "-t", "qmfs", first});
  requireWords(fsckCommand(*firstWord), {"/sbin/fsck", "-y", "-t", "qmfs", first});
  requireWords(umountCommand(*firstWord), {"/bin/umount", first});
  requireWords(forcedUmountCommand("/bin/qmumount", *firstWord), {"/bin/qmumount", "-o", "force", first});
  requireWords(fstypCommand("/bin/fstyp", *firstWord), {"/bin/fstyp", first});
  requireWords(fuserCommand(*firstWord), {"/sbin/fuser", first});
  requireWords(mountCommand(*firstWord, *secondWord, ""), {"/bin/mount", "-t", "qmfs", first, second});
  for (const auto& mount : {mountCommand, onlineMountCommand, accessMountCommand}) {
    requireWords(mount(*firstWord, *secondWord, "rw"), {"/bin/mount", "-t", "qmfs", "-o", "rw", first, second});
  }
  requireWords(snapshotMountCommand(*firstWord, *secondWord), {"/bin/mount", "-t", "qmfs", "-o", "ro", first, second});
  requireWords(cacheDisableCommand(*firstWord, *secondWord),
               {"/bin/mount", "-t", "qmfs", "-o", "remount,delaylog", first, second});
}

void checkOptions(const std::string& text) {
  std::map<std::string, std::string> options;
  for (const std::string& piece : pieces(text, [](char character) { return character == ';'; })) {
    if (piece.empty()) continue;
    const std::size_t equals = piece.find('=');
    const std::string value = equals != std::string::npos ? piece.substr(equals + 1) : "";
    options.try_emplace(piece.substr(0, equals), value);
  }
  require(qmfi_pdk_4_4::CFiFormatOptionList::parse(text) == options, "options are split at their separators");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  switch (input.ConsumeIntegralInRange(0, 2)) {
    case 0:
      checkSplitting(restAsText(input));
      break;
    case 1: {
      const std::string first = input.ConsumeRandomLengthString();
      checkCommands(first, restAsText(input));
      break;
    }
    default:
      checkOptions(restAsText(input));
  }
  return 0;
}
