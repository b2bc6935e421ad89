// Allocations that fail on demand.
#include "support/allocation_faults.h"

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

#if defined(SUPPORT_SANITIZER_thread)
constexpr bool takesOverAll = false;
// ThreadSanitizer needs malloc for itself.
#define REAL(name) name
#elif defined(SUPPORT_SANITIZER_address)
constexpr bool takesOverAll = true;
// The sanitizer checks every access to a block that it has handed out.
#define REAL(name) __interceptor_##name
#else
constexpr bool takesOverAll = true;
#define REAL(name) __libc_##name
#endif

#ifndef SUPPORT_SANITIZER_thread
extern "C" {
void* REAL(malloc)(std::size_t size);
void* REAL(calloc)(std::size_t count, std::size_t size);
void* REAL(realloc)(void* block, std::size_t size);
void* REAL(memalign)(std::size_t alignment, std::size_t size);
void REAL(free)(void* block);
}
#endif

namespace {

struct Plan {
  bool active = false;
  bool inFaultyRegion = false;
  bool happened = false;
  AllocationMode mode = AllocationMode::once;
  AllocationKind kind = AllocationKind::all;
  std::uint64_t number = 0;
  std::uint64_t count = 0;
};

// Reached from within malloc, so it must not take memory itself when a thread first touches it.
[[gnu::tls_model("initial-exec")]] thread_local constinit Plan plan;

std::atomic<std::int64_t> requests{0};
std::atomic<std::int64_t> living{0};

bool faultsAreShown = false;
bool errnoIsSet = false;

void showStack() {
  const SoundRegion region;
  std::array<void*, 40> frames;
  const int count = backtrace(frames.data(), frames.size());
  backtrace_symbols_fd(frames.data(), count, STDERR_FILENO);
}

// Whether the allocation of that kind that is asked for now is to fail.
bool isToFail(AllocationKind kind) {
  requests.fetch_add(1, std::memory_order_relaxed);
  if (!plan.active || !plan.inFaultyRegion) return false;
  if (plan.kind == AllocationKind::operatorNew ? kind != plan.kind : !takesOverAll) return false;
  ++plan.count;
  const bool hit =
      plan.number != 0 && (plan.mode == AllocationMode::once ? plan.count == plan.number : plan.count >= plan.number);
  plan.happened = plan.happened || hit;
  if (hit && faultsAreShown) showStack();
  return hit;
}

template <typename Allocation>
void* allocated(AllocationKind kind, Allocation&& allocation) {
  if (isToFail(kind)) {
    errno = ENOMEM;
    return nullptr;
  }
  void* const block = allocation();
  if (block == nullptr) return nullptr;
  living.fetch_add(1, std::memory_order_relaxed);
  if (errnoIsSet) errno = EXFULL;
  return block;
}

void release(void* block) {
  if (block != nullptr) living.fetch_sub(1, std::memory_order_relaxed);
  REAL(free)(block);
}

void* orThrow(void* block) {
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

bool allocationsAreTakenOver() {
  return takesOverAll;
}

std::int64_t allocationRequests() {
  return requests;
}

#ifdef SUPPORT_SANITIZER_address

std::int64_t livingBlocks() {
  return 0;
}

bool leakSanitizerFindsLeaks() {
  return __lsan_do_recoverable_leak_check() != 0;
}

// The loader keeps some of its memory where LeakSanitizer does not look; it knows that memory by who asked for it,
// which is this file now. A test may have a list of its own in place of this one.
extern "C" [[gnu::weak]] const char* __lsan_default_suppressions() {
  return "leak:_dl_map_object_deps\n";
}

#else

std::int64_t livingBlocks() {
  return takesOverAll ? living.load() : 0;
}

bool leakSanitizerFindsLeaks() {
  return false;
}

#endif

void planAllocationFault(std::uint64_t number, AllocationMode mode, AllocationKind kind) {
  plan = {.active = true, .inFaultyRegion = plan.inFaultyRegion, .mode = mode, .kind = kind, .number = number};
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

void setErrnoInAllocations(bool set) {
  errnoIsSet = set;
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

#ifndef SUPPORT_SANITIZER_thread

extern "C" {

void* malloc(std::size_t size) {
  return allocated(AllocationKind::all, [=] { return REAL(malloc)(size); });
}

void* calloc(std::size_t count, std::size_t size) {
  return allocated(AllocationKind::all, [=] { return REAL(calloc)(count, size); });
}

void free(void* block) {
  release(block);
}

void* realloc(void* block, std::size_t size) {
  if (block == nullptr) return malloc(size);
  if (size == 0) {
    free(block);
    return nullptr;
  }
  if (isToFail(AllocationKind::all)) {
    errno = ENOMEM;
    return nullptr;
  }
  return REAL(realloc)(block, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
  return allocated(AllocationKind::all, [=] { return REAL(memalign)(alignment, size); });
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
void* operator new(std::size_t size, std::align_val_t alignment) {
  return orThrow(allocated(AllocationKind::operatorNew,
                           [=] { return REAL(memalign)(static_cast<std::size_t>(alignment), size != 0 ? size : 1); }));
}

void operator delete(void* block, std::align_val_t) noexcept {
  release(block);
}

void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  release(block);
}

#endif

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocated(AllocationKind::operatorNew, [=] { return REAL(malloc)(size != 0 ? size : 1); });
}

void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}

void* operator new(std::size_t size) {
  return orThrow(operator new(size, std::nothrow));
}

void* operator new[](std::size_t size) {
  return operator new(size);
}

void operator delete(void* block) noexcept {
  release(block);
}

void operator delete[](void* block) noexcept {
  release(block);
}

void operator delete(void* block, std::size_t) noexcept {
  release(block);
}

void operator delete[](void* block, std::size_t) noexcept {
  release(block);
}
