// Arguments for entry points: for each type of parameter valid ones and the worst that the contract allows.
#ifndef ARGUMENT_POOL_H
#define ARGUMENT_POOL_H

#include <array>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "fuzz_input.h"
#include "support/foreign_framework.h"

// Chooses by the bytes of one input and owns all that it hands out. Lists have listLength elements, so counts are at
// most that; nodes are the same few for the whole sequence of calls.
class ArgumentPool {
 public:
  static constexpr int listLength = 4;

  explicit ArgumentPool(FuzzedDataProvider& input);

  // Whether whole numbers are chosen as counts of lists from now on, or as anything.
  void chooseCounts(bool counts) { m_choosesCounts = counts; }

  std::deque<kfi_domain>& nodes() { return m_nodes; }

  // A value of a parameter's type.
  template <typename Value>
  Value pick() {
    return picked(Type<Value>());
  }

 private:
  template <typename Value>
  struct Type {};

  int picked(Type<int>);
  long picked(Type<long>) { return pick<int>(); }
  char* picked(Type<char*>);
  const char* picked(Type<const char*>) { return pick<char*>(); }
  void* picked(Type<void*>) { return orNull(m_zeroes.data()); }
  kfi_domain* picked(Type<kfi_domain*>);
  qmfi_objid* picked(Type<qmfi_objid*>);
  kfi_quiescenode* picked(Type<kfi_quiescenode*>);
  kfi_splitnode* picked(Type<kfi_splitnode*>);
  kfi_accessnode* picked(Type<kfi_accessnode*>);
  kfi_confspec* picked(Type<kfi_confspec*>);
  kfi_subobj_list* picked(Type<kfi_subobj_list*>);
  kfi_node_subobj_list* picked(Type<kfi_node_subobj_list*>);
  int* picked(Type<int*>) { return orNull(&keep(0)); }
  long* picked(Type<long*>) { return orNull(&keep(0L)); }
  const char** picked(Type<const char**>) { return orNull(&keep<const char*>(nullptr)); }
  char*** picked(Type<char***>) { return orNull(&keep<char**>(nullptr)); }
  qmfi_objid*** picked(Type<qmfi_objid***>) { return orNull(&keep<qmfi_objid**>(nullptr)); }
  // A list, or a place for one value.
  template <typename Value>
  Value** picked(Type<Value**>) {
    auto& list = keep(std::array<Value*, listLength>());
    for (Value*& element : list) element = pick<Value*>();
    return orNull(list.data());
  }
  // Records that are only passed on.
  template <typename Record>
  Record* picked(Type<Record*>) {
    return reinterpret_cast<Record*>(pick<void*>());
  }

  template <typename Value>
  Value* orNull(Value* value) {
    constexpr std::uint8_t seldom = 0xe0;
    return m_input.ConsumeIntegral<std::uint8_t>() < seldom ? value : nullptr;
  }

  template <typename Value>
  Value& keep(Value value) {
    auto kept = std::make_shared<Value>(std::move(value));
    m_kept.push_back(kept);
    return *kept;
  }

  char* keepText(const std::string& text);
  qmfi_objid* objectOf(char* name);

  FuzzedDataProvider& m_input;
  bool m_choosesCounts = false;
  std::vector<std::shared_ptr<void>> m_kept;
  std::array<std::max_align_t, 16> m_zeroes{};
  std::deque<kfi_domain> m_nodes;
  std::vector<kfi_subobj_entry> m_subObjects;
};

#endif
