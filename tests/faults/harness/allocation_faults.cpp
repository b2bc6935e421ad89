// Allocations that fail on demand.
#include "allocation_faults.h"

#include <execinfo.h>
#include <sanitizer/lsan_interface.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace faults {

namespace {

struct Plan {
  bool active = false;
  bool inFaultyRegion = false;
  bool happened = false;
  AllocationMode mode = AllocationMode::once;
  std::uint64_t number = 0;
  std::uint64_t count = 0;
};

// Reached from within malloc, so it must not take memory itself when a thread first touches it.
[[gnu::tls_model("initial-exec")]] thread_local constinit Plan plan;

std::atomic<std::int64_t> living{0};

bool faultsAreShown = false;

}  // namespace

#ifdef FAULTS_SANITIZER_address

std::int64_t livingBlocks() {
  return 0;
}

bool leakSanitizerFindsLeaks() {
  return __lsan_do_recoverable_leak_check() != 0;
}

#else

std::int64_t livingBlocks() {
  return living;
}

bool leakSanitizerFindsLeaks() {
  return false;
}

#endif

void planAllocationFault(std::uint64_t number, AllocationMode mode) {
  plan = {.active = true, .inFaultyRegion = plan.inFaultyRegion, .happened = false, .mode = mode, .number = number};
}

void forgetAllocationFault() {
  plan.active = false;
}

void showAllocationFaults() {
  // The first call takes memory.
  std::array<void*, 1> frames;
  backtrace(frames.data(), frames.size());
  faultsAreShown = true;
}

std::uint64_t plannedAllocations() {
  return plan.count;
}

bool allocationFaultHappened() {
  return plan.happened;
}

bool inFaultyRegion() {
  return plan.inFaultyRegion;
}

FaultyRegion::FaultyRegion() {
  plan.inFaultyRegion = true;
}

FaultyRegion::~FaultyRegion() {
  plan.inFaultyRegion = false;
}

SoundRegion::SoundRegion() : m_wasFaulty(plan.inFaultyRegion) {
  plan.inFaultyRegion = false;
}

SoundRegion::~SoundRegion() {
  plan.inFaultyRegion = m_wasFaulty;
}

#ifdef FAULTS_SANITIZER_thread

bool allocationsAreTakenOver() {
  return false;
}

}  // namespace faults

#else

bool allocationsAreTakenOver() {
  return true;
}

namespace {

void showStack() {
  const SoundRegion region;
  std::array<void*, 40> frames;
  const int count = backtrace(frames.data(), frames.size());
  backtrace_symbols_fd(frames.data(), count, STDERR_FILENO);
}

// Whether the allocation that is asked for now is to fail.
bool isToFail() {
  if (!plan.active || !plan.inFaultyRegion) return false;
  ++plan.count;
  const bool hit =
      plan.number != 0 && (plan.mode == AllocationMode::once ? plan.count == plan.number : plan.count >= plan.number);
  plan.happened = plan.happened || hit;
  if (hit && faultsAreShown) showStack();
  return hit;
}

template <typename Allocation>
void* counted(Allocation&& allocation) {
  if (isToFail()) {
    errno = ENOMEM;
    return nullptr;
  }
  void* const block = allocation();
  if (block != nullptr) living.fetch_add(1, std::memory_order_relaxed);
  return block;
}

}  // namespace

}  // namespace faults

// What the functions are handed on to: the sanitizer's, which checks every access to a block, or else the C library's.
#ifdef FAULTS_SANITIZER_address
#define REAL(name) __interceptor_##name
#else
#define REAL(name) __libc_##name
#endif

extern "C" {

void* REAL(malloc)(std::size_t size);
void* REAL(calloc)(std::size_t count, std::size_t size);
void* REAL(realloc)(void* block, std::size_t size);
void* REAL(memalign)(std::size_t alignment, std::size_t size);
void REAL(free)(void* block);

void* malloc(std::size_t size) {
  return faults::counted([=] { return REAL(malloc)(size); });
}

void* calloc(std::size_t count, std::size_t size) {
  return faults::counted([=] { return REAL(calloc)(count, size); });
}

void free(void* block) {
  if (block != nullptr) faults::living.fetch_sub(1, std::memory_order_relaxed);
  REAL(free)(block);
}

void* realloc(void* block, std::size_t size) {
  if (block == nullptr) return malloc(size);
  if (size == 0) {
    free(block);
    return nullptr;
  }
  if (faults::isToFail()) {
    errno = ENOMEM;
    return nullptr;
  }
  return REAL(realloc)(block, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
  return faults::counted([=] { return REAL(memalign)(alignment, size); });
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  void* const made = memalign(alignment, size);
  if (made == nullptr) return ENOMEM;
  *block = made;
  return 0;
}

// The sanitizer has a copy of its own that does not come through malloc.
char* strdup(const char* text) noexcept {
  const std::size_t size = std::strlen(text) + 1;
  void* const copy = malloc(size);
  return copy != nullptr ? static_cast<char*>(std::memcpy(copy, text, size)) : nullptr;
}
}

// The same goes for the sanitizer's operators.
void* operator new(std::size_t size) {
  void* const block = malloc(size != 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void* operator new[](std::size_t size) {
  return operator new(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return malloc(size != 0 ? size : 1);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return malloc(size != 0 ? size : 1);
}

void* operator new(std::size_t size, std::align_val_t alignment) {
  void* const block = memalign(static_cast<std::size_t>(alignment), size != 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void operator delete(void* block) noexcept {
  free(block);
}

void operator delete[](void* block) noexcept {
  free(block);
}

void operator delete(void* block, std::size_t) noexcept {
  free(block);
}

void operator delete[](void* block, std::size_t) noexcept {
  free(block);
}

void operator delete(void* block, std::align_val_t) noexcept {
  free(block);
}

void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  free(block);
}

#endif
