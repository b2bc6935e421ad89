// Argument texts of object control, read and written, against the rule in its plainest form and there and back.
#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "cfiobjctlargs.h"
#include "fuzz_input.h"

namespace {

using qmfi_pdk_4_4::CFiKeyValuePair;
using qmfi_pdk_4_4::CFiObjctlArgs;

// One element's argument, value and type.
using Triple = std::array<std::string, 3>;

// Takes the next token of a text: what stands up to the delimiter, those ahead of it left out; nothing at the end.
class Tokens {
 public:
  explicit Tokens(std::string text) : m_text(std::move(text)) {}

  std::optional<std::string> next(char delimiter) {
    const std::size_t begin = m_text.find_first_not_of(delimiter, m_at);
    if (begin == std::string::npos) {
      m_at = m_text.size();
      return std::nullopt;
    }
    const std::size_t end = std::min(m_text.find(delimiter, begin), m_text.size());
    m_at = std::min(end + 1, m_text.size());
    return m_text.substr(begin, end - begin);
  }

 private:
  const std::string m_text;
  std::size_t m_at = 0;
};

std::vector<Triple> expected(const std::string& text) {
  constexpr std::array names = {"arg", "value", "type"};
  std::vector<Triple> elements;
  Tokens tokens(text);
  if (tokens.next(' ') != "<OBJCTL_ARG_LIST>") return elements;
  for (;;) {
    const auto start = tokens.next(' ');
    if (!start || *start == "</OBJCTL_ARG_LIST>") return elements;
    Triple element;
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (tokens.next('=') != names[i]) return elements;
      const auto value = tokens.next(' ');
      if (!value) return elements;
      element[i] = *value;
    }
    elements.push_back(element);
    if (tokens.next(' ') != "/>") return elements;
  }
}

std::vector<Triple> triples(const std::vector<CFiKeyValuePair>& pairs) {
  std::vector<Triple> list;
  for (const CFiKeyValuePair& pair : pairs) list.push_back({pair.arg.c_str(), pair.value.c_str(), pair.type.c_str()});
  return list;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  const std::string text = restBeforeNul(input);
  CFiObjctlArgs arguments;
  require(arguments.importArgs(exactCopy(text).get()) == 0, "reading always succeeds");
  const std::vector<Triple> read = triples(arguments.input());
  require(read == expected(text), "the elements are those of the text");

  arguments.output() = arguments.input();
  CFiObjctlArgs again;
  again.importArgs(exactCopy(arguments.exportArgs().c_str()).get());
  require(triples(again.input()) == read, "what was written is read back");
  return 0;
}
