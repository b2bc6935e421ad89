// Arguments for entry points.
#include "argument_pool.h"

#include <algorithm>
#include <climits>

namespace {

// What is asked for mostly, so that long sequences get far: mounted file systems, one that is not, and the type.
constexpr const char* usualTexts[] = {
    "/mnt/a", "/mnt/b", "/mnt/new", "/dev/qm/dsk/dg/vol", "/dev/qm/dsk/dg/new", "qmfs",
};
constexpr std::uint8_t mostly = 0xb0;

// The first ones are the names of nodes.
constexpr const char* texts[] = {
    "/mnt/a",
    "/mnt/b",
    "/mnt/a_alt",
    "/dev/qm/dsk/dg/vol",
    "/dev/qm/rd1",
    "qmfs-quiesce",
    "qmfsfi",
    "other",
    "qmfsFreezeTimeout",
    "mountOptions=rw;x",
    "de",
    "/",
    "",
    "/a b",
    "|",
    "%s%n",
    "-1",
    "99999999999999",
    "/dev/\xff",
    " ",
};
constexpr int nodeNames = 5;
constexpr std::size_t longLength = 5000;
constexpr const char* argumentText = "<OBJCTL_ARG_LIST> <X arg=a value=b type=c /> </OBJCTL_ARG_LIST>";

constexpr std::uint32_t accessDisabled = 0x40;

}  // namespace

ArgumentPool::ArgumentPool(FuzzedDataProvider& input) : m_input(input) {
  m_subObjects = {{keepText(texts[0]), keepText(texts[2])}, {keepText(texts[1]), nullptr}, {nullptr, nullptr}};
  for (int number = 0; number < nodeNames; ++number) {
    kfi_domain& node = m_nodes.emplace_back();
    node.fid_objid = objectOf(keepText(texts[number]));
    node.fid_provider = keepText(number != 2 ? "qmfsfi" : "other");
    node.fid_supported = number != 1 ? &keep(1) : nullptr;
    node.fid_subobjs = number != 3 ? m_subObjects.data() : nullptr;
  }
  // One without an identifier, one whose identifier has no name, and one of nobody.
  m_nodes.emplace_back().fid_provider = keepText("qmfsfi");
  m_nodes.emplace_back().fid_objid = objectOf(nullptr);
  m_nodes.emplace_back().fid_objid = objectOf(keepText(texts[0]));
}

char* ArgumentPool::keepText(const std::string& text) {
  // In a block of just its size.
  auto& block = keep(std::vector<char>(text.c_str(), text.c_str() + text.size() + 1));
  block.shrink_to_fit();
  return block.data();
}

qmfi_objid* ArgumentPool::objectOf(char* name) {
  return &keep(qmfi_objid{name, name != nullptr ? static_cast<std::uint32_t>(std::string(name).size()) : 0, 1});
}

int ArgumentPool::picked(Type<int>) {
  constexpr int counts[] = {1, 2, 3, listLength, 0, -1, INT_MIN};
  constexpr int numbers[] = {0, 1, 2, 3, 0x10, 0x40, -1, INT_MIN, INT_MAX};
  return m_choosesCounts ? m_input.PickValueInArray(counts) : m_input.PickValueInArray(numbers);
}

char* ArgumentPool::picked(Type<char*>) {
  if (m_input.ConsumeIntegral<std::uint8_t>() < mostly) return keepText(m_input.PickValueInArray(usualTexts));
  constexpr auto last = static_cast<int>(std::size(texts)) + 3;
  const int number = m_input.ConsumeIntegralInRange(0, last);
  if (number == last) return nullptr;
  if (number == last - 1) return keepText(std::string(longLength, 'x'));
  if (number == last - 2) return keepText(argumentText);
  if (number == last - 3) {
    const std::string text = m_input.ConsumeRandomLengthString(100);
    return keepText(text.substr(0, text.find('\0')));
  }
  return keepText(texts[number]);
}

kfi_domain* ArgumentPool::picked(Type<kfi_domain*>) {
  constexpr std::size_t ordinaryNodes = 2;
  const std::size_t count = m_input.ConsumeIntegral<std::uint8_t>() < mostly ? ordinaryNodes : m_nodes.size();
  return orNull(&m_nodes[m_input.ConsumeIntegralInRange<std::size_t>(0, count - 1)]);
}

qmfi_objid* ArgumentPool::picked(Type<qmfi_objid*>) {
  return orNull(objectOf(pick<char*>()));
}

kfi_quiescenode* ArgumentPool::picked(Type<kfi_quiescenode*>) {
  kfi_domain* const node = pick<kfi_domain*>();
  if (node != nullptr && node->fid_qnode != nullptr) return node->fid_qnode;
  return orNull(&keep(kfi_quiescenode{pick<char*>(), node, pick<kfi_domain*>()}));
}

kfi_splitnode* ArgumentPool::picked(Type<kfi_splitnode*>) {
  return orNull(&keep(kfi_splitnode{pick<char*>(), pick<kfi_domain*>()}));
}

kfi_accessnode* ArgumentPool::picked(Type<kfi_accessnode*>) {
  return orNull(&keep(kfi_accessnode{{nullptr, nullptr}, m_input.ConsumeBool() ? 1U : 0U}));
}

kfi_confspec* ArgumentPool::picked(Type<kfi_confspec*>) {
  kfi_confspec* next = nullptr;
  for (int i = m_input.ConsumeIntegralInRange(0, 2); i > 0; --i) {
    next = &keep(kfi_confspec{pick<char*>(), pick<char*>(), next});
  }
  return next;
}

kfi_subobj_list* ArgumentPool::picked(Type<kfi_subobj_list*>) {
  return orNull(&keep(kfi_subobj_list{pick<qmfi_objid*>(), nullptr}));
}

kfi_node_subobj_list* ArgumentPool::picked(Type<kfi_node_subobj_list*>) {
  kfi_node_subobj_list* next = nullptr;
  for (int i = m_input.ConsumeIntegralInRange(0, 2); i > 0; --i) {
    kfi_domain* const node = pick<kfi_domain*>();
    if (node != nullptr && m_input.ConsumeBool()) node->fid_attr ^= accessDisabled;
    next = &keep(kfi_node_subobj_list{node, pick<kfi_subobj_list*>(), next});
  }
  return next;
}
