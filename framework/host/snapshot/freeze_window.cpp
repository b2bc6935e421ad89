// Freeze, split, thaw.
#include "snapshot/freeze_window.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unicode/unistr.h>
#include <unistd.h>

#include <algorithm>
#include <span>

#include "cfiscopeexit.h"
#include "failure/host_error.h"
#include "snapshot/thaw.h"
#include "system/deferred_signals.h"
#include "system/descriptor.h"

namespace qmfi_host {

namespace {

using Clock = std::chrono::steady_clock;  // CLOCK_MONOTONIC

// Pushed by a provider that freezes one file system after another; its argument is the one that could not be frozen.
constexpr const char* freezeFailed = "MSG_ERROR_FREEZE";

// What happened in the window; looked at when it is over.
struct Window {
  int quiesceStatus = 0;
  std::size_t failedSplit = 0;  // meaningful with a splitError
  int splitError = 0;
  Clock::time_point beforeFreeze{};
  Clock::time_point afterSplit{};
  Clock::time_point afterThaw{};
};

// Writes out what can be written before, so that the freeze has little left to do.
void flush(std::vector<FreezeTarget>& targets) {
  for (FreezeTarget& target : targets) {
    const std::string& mountPoint = target.node->name();
    const Descriptor directory(open(mountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.valid() || syncfs(directory.get()) != 0) throw systemError(mountPoint + " could not be written out");
    target.split->flush();
  }
}

void splitAll(std::vector<FreezeTarget>& targets, Window& window) noexcept {
  for (std::size_t i = 0; i < targets.size() && window.splitError == 0; ++i) {
    window.splitError = targets[i].split->split();
    window.failedSplit = i;
  }
}

Window passThrough(Provider& provider, std::vector<kfi_quiescenode*>& quiesceNodes,
                   std::vector<FreezeTarget>& targets) noexcept {
  Window window;
  window.beforeFreeze = Clock::now();
  window.quiesceStatus = provider.quiesce(quiesceNodes);
  if (window.quiesceStatus == 0) {
    splitAll(targets, window);
    window.afterSplit = Clock::now();
    provider.unquiesce(quiesceNodes);
  }
  window.afterThaw = Clock::now();
  return window;
}

std::string milliseconds(Clock::duration duration) {
  return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(duration).count()) + " ms";
}

// A name as the arguments of messages have it: bytes that are no text stand replaced there.
std::string asText(const std::string& name) {
  std::string text;
  return icu::UnicodeString::fromUTF8(name).toUTF8String(text);
}

// The targets that a failed freeze may have left frozen: those before the one it ended at. Where it froze all at once
// it has left none, and a freeze that is found there is somebody else's.
std::span<const FreezeTarget> perhapsFrozen(const std::vector<FreezeTarget>& targets, const ProviderError& failure) {
  for (const ProviderMessage& message : failure.messages()) {
    if (message.id != freezeFailed || message.arguments.empty()) continue;
    const auto failed = std::find_if(targets.begin(), targets.end(), [&](const FreezeTarget& target) {
      return asText(target.node->name()) == message.arguments.front();
    });
    if (failed != targets.end()) return {targets.begin(), failed};
  }
  return {};
}

// What fails here is told now; the provider's failure is told by whoever catches it.
void thawPastProvider(std::span<const FreezeTarget> targets) {
  std::vector<MountedFileSystem> fileSystems;
  for (const FreezeTarget& target : targets) fileSystems.push_back({target.node->name(), target.device});
  tryOrReport([&] { thawFileSystems(fileSystems); });
}

// A freeze that failed half-way would otherwise last until its time-out.
void requireFrozen(Provider& provider, const std::vector<FreezeTarget>& targets, int status) {
  if (status == 0) return;
  const ProviderError failure = provider.failure("the file systems could not be frozen", status);
  thawPastProvider(perhapsFrozen(targets, failure));
  throw ProviderError(failure);
}

// A thaw that the provider reports as failed is tried once more, past the provider.
void requireThawed(Provider& provider, const std::vector<FreezeTarget>& targets) {
  try {
    provider.throwIfMessages("the file systems could not be thawed");
  } catch (const ProviderError&) {
    thawPastProvider(targets);
    throw;
  }
}

void requireConsistent(const Window& window, const std::vector<FreezeTarget>& targets, std::chrono::seconds timeout) {
  if (window.splitError != 0) {
    throw systemError("the volume " + targets[window.failedSplit].device + " could not be split", window.splitError);
  }
  const Clock::duration untilSplit = window.afterSplit - window.beforeFreeze;
  if (untilSplit >= timeout) {
    throw HostError("the snapshot is not consistent: freezing and splitting took " + milliseconds(untilSplit) +
                    ", and the freeze time-out of " + std::to_string(timeout.count()) +
                    " s may have ended the freeze before; --freeze-timeout sets a longer one");
  }
}

}  // namespace

std::chrono::microseconds splitFrozen(Provider& provider, std::vector<FreezeTarget>& targets,
                                      std::chrono::seconds timeout) {
  std::vector<kfi_quiescenode*> quiesceNodes;
  quiesceNodes.reserve(targets.size());
  for (const FreezeTarget& target : targets) quiesceNodes.push_back(target.node->quiesceNode());
  flush(targets);
  provider.takeMessages();
  // A page of the program that had to be read now might lie on a frozen disk. Where memory cannot be locked it still
  // can be read: a freeze keeps writers waiting only.
  mlockall(MCL_CURRENT);
  const qmfi_pdk_4_4::CFiScopeExit unlockMemory([] { munlockall(); });
  Window window;
  {
    const BlockedSignals blocked(allSignals());
    window = passThrough(provider, quiesceNodes, targets);
    requireFrozen(provider, targets, window.quiesceStatus);
    requireThawed(provider, targets);
  }
  requireConsistent(window, targets, timeout);
  return std::chrono::duration_cast<std::chrono::microseconds>(window.afterThaw - window.beforeFreeze);
}

}  // namespace qmfi_host
