// Where an operation stands in its class's virtual table.
#ifndef SUPPORT_VIRTUAL_SLOT_H
#define SUPPORT_VIRTUAL_SLOT_H

#include <cstddef>
#include <cstring>

// Counted from 0; -1 for an operation that is not virtual. In the C++ ABI of Linux a pointer to a virtual member is one
// more than the place's distance in bytes, which no function's address is, as that is even.
template <typename Member>
int slotOf(Member member) {
  std::ptrdiff_t words[2];
  static_assert(sizeof member == sizeof words);
  std::memcpy(words, &member, sizeof words);
  return words[0] % 2 != 0 ? static_cast<int>((words[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*))) : -1;
}

#endif
