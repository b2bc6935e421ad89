// Writing and holding of trace records.
#include "trace_output.h"

#include <cerrno>
#include <cstring>

#include "cfiprocessowned.h"
#include "cfitracelog.h"
#include "lock_if_possible.h"
#include "trace_record.h"

namespace qmfi_runtime {

namespace {

constexpr std::size_t heldBytes = std::size_t{1} << 20;

// What precedes each held record.
struct HeldHead {
  CFiTraceSink* sink;
  std::size_t size;
};

// Room that a held record takes: heads stay aligned.
std::size_t heldSize(std::size_t size) {
  const std::size_t wanted = sizeof(HeldHead) + size;
  return (wanted + alignof(HeldHead) - 1) / alignof(HeldHead) * alignof(HeldHead);
}

// Made when the library is loaded, so it outlives the static objects of every plug-in.
qmfi_pdk_4_4::CFiProcessOwned<TraceOutput> theTraceOutput(std::nothrow);

}  // namespace

TraceOutput& traceOutput() {
  return theTraceOutput.get();
}

CFiTraceSink* TraceOutput::open(const std::string& directory, const std::string& name) {
  std::list<CFiTraceSink> made;
  made.emplace_back(directory, name);
  if (!made.back().valid()) return nullptr;
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_sinks.splice(m_sinks.end(), made);
  return &m_sinks.back();
}

void TraceOutput::close(CFiTraceSink* sink) noexcept {
  if (sink == nullptr) return;
  std::list<CFiTraceSink> closed;
  const auto lock = lockIfPossible(m_mutex);
  for (auto entry = m_sinks.begin(); entry != m_sinks.end(); ++entry) {
    if (&*entry != sink) continue;
    // Closing a file can make the file system write, too.
    entry->retired = m_holding;
    if (!entry->retired) closed.splice(closed.end(), m_sinks, entry);
    break;
  }
  releaseUnused();
}

void TraceOutput::put(CFiTraceSink& sink, std::string_view record) noexcept {
  while (!writeNow(sink, record) && !hold(sink, record)) {
  }
}

bool TraceOutput::writeNow(CFiTraceSink& sink, std::string_view record) noexcept {
  // Announced first and asked second, as beginHolding does it the other way round: one of the two sees the other.
  m_writers.fetch_add(1);
  const bool allowed = !m_holding;
  if (allowed) sink.write(record);
  if (m_writers.fetch_sub(1) == 1 && m_holding) m_writers.notify_all();
  return allowed;
}

// False when records are no longer held.
bool TraceOutput::hold(CFiTraceSink& sink, std::string_view record) noexcept {
  const auto lock = lockIfPossible(m_mutex);
  if (!m_holding) return false;
  const std::size_t size = heldSize(record.size());
  if (size > m_memory.size() - m_used) {
    ++sink.dropped;
    return true;
  }
  const HeldHead head{&sink, record.size()};
  std::memcpy(m_memory.data() + m_used, &head, sizeof head);
  std::memcpy(m_memory.data() + m_used + sizeof head, record.data(), record.size());
  m_used += size;
  return true;
}

int TraceOutput::beginHolding() noexcept {
  const auto lock = lockIfPossible(m_mutex);
  // Without the lock too, records are held from here on: the caller takes the error for a reason not to freeze.
  m_used = 0;
  const int acquired = m_memory.acquire(heldBytes);
  const int error = lock.owns_lock() ? acquired : ENOLCK;
  m_holding = true;
  for (int writers = m_writers; writers != 0; writers = m_writers) m_writers.wait(writers);
  return error;
}

void TraceOutput::endHolding() noexcept {
  std::list<CFiTraceSink> closed;
  const auto lock = lockIfPossible(m_mutex);
  writeHeld();
  reportDropped();
  for (auto entry = m_sinks.begin(); entry != m_sinks.end();) {
    const auto sink = entry++;
    if (sink->retired) closed.splice(closed.end(), m_sinks, sink);
  }
  m_holding = false;
  releaseUnused();
}

// Getting the memory takes a hundred times as long as the rest of a freeze's preparation, so it stays for the next one.
void TraceOutput::releaseUnused() noexcept {
  if (m_sinks.empty() && !m_holding) m_memory.release();
}

void TraceOutput::writeHeld() const noexcept {
  for (std::size_t offset = 0; offset < m_used;) {
    HeldHead head;
    std::memcpy(&head, m_memory.data() + offset, sizeof head);
    head.sink->write({m_memory.data() + offset + sizeof head, head.size});
    offset += heldSize(head.size);
  }
}

void TraceOutput::reportDropped() noexcept {
  for (CFiTraceSink& sink : m_sinks) {
    if (sink.dropped == 0) continue;
    TraceRecord record;
    record.format(qmfi_pdk_4_4::CFI_TRACE_ERROR, "Trace records dropped while file systems were frozen: %llu",
                  static_cast<unsigned long long>(sink.dropped));
    sink.write(record.text());
    sink.dropped = 0;
  }
}

}  // namespace qmfi_runtime
