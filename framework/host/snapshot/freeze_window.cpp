// Freeze, split, thaw.
#include "snapshot/freeze_window.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unicode/unistr.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <span>

#include "cfiscopeexit.h"
#include "failure/host_error.h"
#include "snapshot/thaw.h"
#include "system/deferred_signals.h"
#include "system/descriptor.h"

namespace qmfi_host {

namespace {

using Clock = std::chrono::steady_clock;  // CLOCK_MONOTONIC

// A group and what happened to it in the window; looked at when that is over.
struct GroupPassage {
  explicit GroupPassage(FreezeGroup& freezeGroup) : group(freezeGroup) {
    for (const FreezeTarget& target : group.targets) quiesceNodes.push_back(target.node->quiesceNode());
  }

  FreezeGroup& group;
  std::vector<kfi_quiescenode*> quiesceNodes{};
  Clock::time_point beforeFreeze{};
  int quiesceStatus = 0;
};

struct Window {
  std::vector<GroupPassage> groups{};
  std::size_t frozen = 0;  // how many of the groups, from the first
  const FreezeTarget* failedSplit = nullptr;
  int splitError = 0;
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

bool isFrozen(const Window& window) {
  return window.frozen == window.groups.size();
}

void freezeAll(Window& window) noexcept {
  for (GroupPassage& passage : window.groups) {
    passage.beforeFreeze = Clock::now();
    passage.quiesceStatus = passage.group.provider->quiesce(passage.quiesceNodes);
    if (passage.quiesceStatus != 0) return;
    ++window.frozen;
  }
}

void splitAll(Window& window) noexcept {
  for (GroupPassage& passage : window.groups) {
    for (const FreezeTarget& target : passage.group.targets) {
      window.splitError = target.split->split();
      window.failedSplit = &target;
      if (window.splitError != 0) return;
    }
  }
}

// Last frozen, first thawed.
void thawAll(Window& window) noexcept {
  for (std::size_t i = window.frozen; i > 0; --i) {
    GroupPassage& passage = window.groups[i - 1];
    passage.group.provider->unquiesce(passage.quiesceNodes);
  }
}

void passThrough(Window& window) noexcept {
  freezeAll(window);
  if (isFrozen(window)) {
    splitAll(window);
    window.afterSplit = Clock::now();
  }
  thawAll(window);
  window.afterThaw = Clock::now();
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
std::span<const FreezeTarget> perhapsFrozen(const FreezeGroup& group, const ProviderError& failure) {
  const std::optional<ProviderDescriptor::FailedFreeze>& failedFreeze = group.provider->descriptor().failedFreeze;
  if (!failedFreeze) return {};
  for (const ProviderMessage& message : failure.messages()) {
    if (message.id != failedFreeze->message || message.arguments.size() <= failedFreeze->argument) continue;
    const auto failed = std::find_if(group.targets.begin(), group.targets.end(), [&](const FreezeTarget& target) {
      return asText(target.node->name()) == message.arguments[failedFreeze->argument];
    });
    if (failed != group.targets.end()) return {group.targets.begin(), failed};
  }
  return {};
}

// What fails here is told now; the provider's failure is told by whoever catches it.
void thawPastProvider(const Provider& provider, std::span<const FreezeTarget> targets) {
  std::vector<MountedFileSystem> fileSystems;
  for (const FreezeTarget& target : targets) {
    fileSystems.push_back({target.node->name(), target.device, provider.descriptor().thawRequest});
  }
  tryOrReport([&] { thawFileSystems(fileSystems); });
}

// A freeze that failed half-way would otherwise last until its time-out.
void requireFrozen(const GroupPassage& passage) {
  if (passage.quiesceStatus == 0) return;
  Provider& provider = *passage.group.provider;
  const ProviderError failure = provider.failure("the file systems could not be frozen", passage.quiesceStatus);
  thawPastProvider(provider, perhapsFrozen(passage.group, failure));
  throw ProviderError(failure);
}

// A thaw that the provider reports as failed is tried once more, past the provider.
void requireThawed(const GroupPassage& passage) {
  Provider& provider = *passage.group.provider;
  try {
    provider.throwIfMessages("the file systems could not be thawed");
  } catch (const ProviderError&) {
    thawPastProvider(provider, passage.group.targets);
    throw;
  }
}

// Every group is looked at, whatever has happened to another one. The first failure is thrown, the others are told.
void requireFrozenAndThawed(const Window& window) {
  std::exception_ptr first;
  const auto keepFirst = [&](const std::exception_ptr& failure) {
    if (first == nullptr) {
      first = failure;
    } else {
      tryOrReport([&] { std::rethrow_exception(failure); });
    }
  };
  for (const GroupPassage& passage : window.groups) {
    try {
      requireFrozen(passage);
    } catch (const HostError&) {
      keepFirst(std::current_exception());
    }
  }
  for (std::size_t i = window.frozen; i > 0; --i) {
    try {
      requireThawed(window.groups[i - 1]);
    } catch (const HostError&) {
      keepFirst(std::current_exception());
    }
  }
  if (first != nullptr) std::rethrow_exception(first);
}

void requireConsistent(const Window& window) {
  if (window.splitError != 0) {
    throw systemError("the volume " + window.failedSplit->device + " could not be split", window.splitError);
  }
  for (const GroupPassage& passage : window.groups) {
    const std::optional<std::chrono::seconds>& timeout = passage.group.timeout;
    const Clock::duration untilSplit = window.afterSplit - passage.beforeFreeze;
    if (!timeout || untilSplit < *timeout) continue;
    throw HostError("the snapshot is not consistent: freezing and splitting took " + milliseconds(untilSplit) +
                    ", and the freeze time-out of " + std::to_string(timeout->count()) +
                    " s may have ended the freeze before; --freeze-timeout sets a longer one");
  }
}

}  // namespace

std::chrono::microseconds splitFrozen(std::vector<FreezeGroup>& groups) {
  Window window;
  for (FreezeGroup& group : groups) window.groups.emplace_back(group);
  for (FreezeGroup& group : groups) flush(group.targets);
  for (const FreezeGroup& group : groups) group.provider->takeMessages();
  // A page of the program that had to be read now might lie on a frozen disk. Where memory cannot be locked it still
  // can be read: a freeze keeps writers waiting only.
  mlockall(MCL_CURRENT);
  const qmfi_pdk_4_4::CFiScopeExit unlockMemory([] { munlockall(); });
  {
    const BlockedSignals blocked(allSignals());
    passThrough(window);
    requireFrozenAndThawed(window);
  }
  requireConsistent(window);
  return std::chrono::duration_cast<std::chrono::microseconds>(window.afterThaw - window.groups.front().beforeFreeze);
}

}  // namespace qmfi_host
