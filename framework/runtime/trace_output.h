// The way of all trace records to their files: straight there, or held in memory while file systems are frozen.
#ifndef TRACE_OUTPUT_H
#define TRACE_OUTPUT_H

#include <atomic>
#include <cstddef>
#include <list>
#include <mutex>
#include <string_view>

#include "locked_memory.h"
#include "trace_sink.h"

namespace qmfi_runtime {

using qmfi_pdk_4_4::CFiTraceSink;

// Owns the sinks. May be used from any thread.
class TraceOutput {
 public:
  // Opens the sink of a log; null when it cannot be opened. Throws std::bad_alloc when memory is short.
  CFiTraceSink* open(const std::string& directory, const std::string& name);
  // Closes a sink, after the records that are held for it have been written. Null does nothing.
  void close(CFiTraceSink* sink) noexcept;

  // Writes or holds a record, given with its line feed. Takes no lock while records are not held.
  void put(CFiTraceSink& sink, std::string_view record) noexcept;

  // From its return until endHolding nothing is written. Returns 0 or an errno value; records are held all the same, if
  // there is any memory for it.
  int beginHolding() noexcept;
  // Writes what was held, in order, then a record with the number of those for which there was no room.
  void endHolding() noexcept;

 private:
  bool writeNow(CFiTraceSink& sink, std::string_view record) noexcept;
  bool hold(CFiTraceSink& sink, std::string_view record) noexcept;
  void writeHeld() const noexcept;
  void reportDropped() noexcept;
  void releaseUnused() noexcept;

  // Writers that may be writing now. Whoever sets m_holding waits for them.
  std::atomic<int> m_writers{0};
  std::atomic<bool> m_holding{false};

  std::mutex m_mutex;
  std::list<CFiTraceSink> m_sinks;
  // Kept from the first holding until the last sink is closed.
  LockedMemory m_memory;
  std::size_t m_used = 0;
};

// The process's own.
TraceOutput& traceOutput();

}  // namespace qmfi_runtime

#endif
