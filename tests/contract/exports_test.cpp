// The symbols that the plug-in exports, and what it imports of the trace log.
#include <cxxabi.h>
#include <elf.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>

#include "build_tree.h"
#include "plugin_fixture.h"

namespace {

enum class Symbols { defined, undefined };

// The names of the dynamic symbols of a shared library.
std::set<std::string> symbolsOf(const std::string& path, Symbols wanted) {
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
      const bool isDefined = symbols[j].st_shndx != SHN_UNDEF;
      if (isDefined == (wanted == Symbols::defined)) names.insert(strings + symbols[j].st_name);
    }
  }
  return names;
}

TEST(Exports, AreThe77EntryPointsTheFourHelpersAndNothingElse) {
  const std::set<std::string> expected = {
#define NAME(name, result, parameters) std::string("qmfsfi_fi_pgn_") + #name,
      FOREIGN_ENTRY_POINTS(NAME)
#undef NAME
#define NAME(name, result, parameters) #name,
          FOREIGN_HELPERS(NAME)
#undef NAME
  };
  EXPECT_EQ(expected.size(), 77u + 4u);
  EXPECT_EQ(symbolsOf(QMFI_BINARY_DIR "/lib/libqmfsfi.so", Symbols::defined), expected);
}

// The readable name; the name itself where there is none.
std::string demangled(const std::string& name) {
  const std::unique_ptr<char, decltype(&std::free)> text(abi::__cxa_demangle(name.c_str(), nullptr, nullptr, nullptr),
                                                         &std::free);
  return text != nullptr ? text.get() : name;
}

// Whether that is a member of the class, or one of the tables that the compiler makes for it.
bool belongsTo(const std::string& name, const std::string& className) {
  const std::size_t place = name.find(className);
  if (place == std::string::npos) return false;
  const std::string rest = name.substr(place + className.size());
  const bool isTable = place != 0 && rest.empty();
  return isTable || (place == 0 && rest.starts_with("::"));
}

TEST(Imports, OfTheTraceLogAreInitializeAndTrace) {
  std::set<std::string> imported;
  for (const std::string& symbol : symbolsOf(QMFI_BINARY_DIR "/lib/libqmfsfi.so", Symbols::undefined)) {
    const std::string name = demangled(symbol);
    if (belongsTo(name, "qmfi_pdk_4_4::CFiTraceLog")) imported.insert(name);
  }
  const std::set<std::string> expected = {
      "qmfi_pdk_4_4::CFiTraceLog::initialize(ACE_String_Base<char> const&, ACE_String_Base<char>&, "
      "ACE_String_Base<char>&, int, bool)",
      "qmfi_pdk_4_4::CFiTraceLog::trace(int, char const*, ...)",
  };
  EXPECT_EQ(imported, expected);
}

}  // namespace
