// The symbols that the plug-in exports.
#include <elf.h>

#include <fstream>
#include <iterator>
#include <set>

#include "build_tree.h"
#include "plugin_fixture.h"

namespace {

// The names of the defined dynamic symbols of a shared library.
std::set<std::string> exportsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> image{std::istreambuf_iterator<char>(file), {}};
  const auto& header = *reinterpret_cast<const Elf64_Ehdr*>(image.data());
  const auto* const sections = reinterpret_cast<const Elf64_Shdr*>(image.data() + header.e_shoff);
  std::set<std::string> names;
  for (int i = 0; i < header.e_shnum; ++i) {
    if (sections[i].sh_type != SHT_DYNSYM) continue;
    const char* const strings = image.data() + sections[sections[i].sh_link].sh_offset;
    const auto* const symbols = reinterpret_cast<const Elf64_Sym*>(image.data() + sections[i].sh_offset);
    for (std::size_t j = 0; j < sections[i].sh_size / sizeof(Elf64_Sym); ++j) {
      if (symbols[j].st_shndx != SHN_UNDEF) names.insert(strings + symbols[j].st_name);
    }
  }
  return names;
}

TEST(Exports, AreThe77EntryPointsTheFourHelpersAndNothingElse) {
  const std::set<std::string> expected = {
#define NAME(name, result, parameters) "qmfsfi_fi_pgn_" #name,
      FOREIGN_ENTRY_POINTS(NAME)
#undef NAME
#define NAME(name, result, parameters) #name,
          FOREIGN_HELPERS(NAME)
#undef NAME
  };
  EXPECT_EQ(77u + 4u, expected.size());
  EXPECT_EQ(expected, exportsOf(QMFI_BINARY_DIR "/lib/libqmfsfi.so"));
}

}  // namespace
