// Where the kit's ACE strings take their memory from.
#ifndef CFISTRINGALLOCATOR_H
#define CFISTRINGALLOCATOR_H

#include <ace/Malloc_Allocator.h>

#include <cstddef>
#include <new>

namespace qmfi_pdk_4_4 {

// An ACE string that finds no memory becomes empty without a word, and a text that is silently another one must not
// reach a command or a host. With this allocator it throws std::bad_alloc instead. Copies of a string use its
// allocator.
class CFiStringAllocator final : public ACE_New_Allocator {
 public:
  using ACE_New_Allocator::calloc;

  void* malloc(std::size_t size) override {
    void* const block = ACE_New_Allocator::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
  }

  // The one object, never null. It is never destroyed, since strings of static objects may need it to the very end. May
  // be used from any thread.
  static ACE_Allocator* instance() {
    alignas(CFiStringAllocator) static unsigned char storage[sizeof(CFiStringAllocator)];
    static auto* const allocator = new (storage) CFiStringAllocator();
    return allocator;
  }
};

}  // namespace qmfi_pdk_4_4

#endif
