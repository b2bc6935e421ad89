// Freeze, split, thaw.
#include "snapshot/freeze_window.h"

#include <sys/mman.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <optional>
#include <span>
#include <system_error>

#include "cfifreezewatchdog.h"
#include "cfiscopeexit.h"
#include "failure/host_error.h"
#include "snapshot/process_limits.h"
#include "snapshot/thaw.h"
#include "system/signal_masks.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

using qmfi_pdk_4_4::CFiFreezableFileSystem;
using qmfi_pdk_4_4::CFiFreezeWatchdog;
using Clock = CFiFreezeWatchdog::Clock;
using Splits = std::vector<std::unique_ptr<GroupSplit>>;

// The kernel's time-out is to end the freezes that have one, so the watchdog is later.
constexpr std::chrono::seconds grace(1);

// A group and what happened to it in the window; looked at when that is over.
struct GroupPassage {
  explicit GroupPassage(FreezeGroup& freezeGroup) : group(freezeGroup), proven(freezeGroup.targets.size()) {
    for (const FreezeTarget& target : group.targets) quiesceNodes.push_back(target.node->quiesceNode());
  }

  FreezeGroup& group;
  std::vector<kfi_quiescenode*> quiesceNodes{};
  Clock::time_point beforeFreeze{};
  Clock::time_point afterFreeze{};
  std::vector<Clock::time_point> proven;  // when each of the targets was proved to be frozen
  Clock::time_point beforeThaw{};
  Clock::time_point afterThaw{};
  int quiesceStatus = 0;
};

struct Window {
  std::vector<GroupPassage> groups{};
  FreezeReceipt::Time begin{};  // by the clock on the wall
  FreezeReceipt::Time end{};
  std::size_t frozen = 0;  // how many of the groups, from the first
  const FreezeTarget* lastAsked = nullptr;
  int secondFreeze = EBUSY;  // what that one answered
  std::size_t begun = 0;     // how many of the splits, from the first
  int splitError = 0;
  Clock::time_point watchedUntil{};
  Clock::time_point deadline{};  // when the first of the freezes may end without a thaw
  Clock::time_point beforeSplit{};
  Clock::time_point afterSplit{};
  Clock::time_point afterThaw{};
};

// Writes out what can be written before, so that the freeze has little left to do. The first pass may take long; the
// second writes what has come meanwhile.
void flush(const std::vector<FreezeGroup>& groups, const Splits& splits) {
  constexpr int passes = 2;
  for (int pass = 0; pass < passes; ++pass) {
    for (const FreezeGroup& group : groups) {
      for (const FreezeTarget& target : group.targets) target.fileSystem->flush();
    }
    for (const auto& split : splits) split->flush();
  }
}

bool isFrozen(const Window& window) {
  return window.frozen == window.groups.size();
}

std::unique_ptr<CFiFreezeWatchdog> startWatchdog(const std::vector<FreezeGroup>& groups) {
  std::vector<CFiFreezableFileSystem> fileSystems;
  for (const FreezeGroup& group : groups) {
    for (const FreezeTarget& target : group.targets) fileSystems.push_back(target.fileSystem->freezable());
  }
  try {
    return std::make_unique<CFiFreezeWatchdog>(fileSystems);
  } catch (const std::system_error& error) {
    throw systemError(translate("the freeze cannot be watched over, so nothing was frozen"), error.code().value());
  }
}

// How long the watchdog waits from the first freeze on.
std::chrono::seconds watchedTime(const Window& window) {
  std::chrono::seconds longest(0);
  for (const GroupPassage& passage : window.groups) {
    const bool endsByItself = passage.group.provider->descriptor().timeout.has_value();
    longest = std::max(longest, passage.group.timeout + (endsByItself ? grace : std::chrono::seconds(0)));
  }
  return longest;
}

void watch(CFiFreezeWatchdog& watchdog, Window& window) {
  window.watchedUntil = Clock::now() + watchedTime(window);
  if (!watchdog.watchUntil(window.watchedUntil)) {
    throw HostError(translate("the process that watches over the freeze has ended, so nothing was frozen"));
  }
}

void freezeAll(Window& window) noexcept {
  for (GroupPassage& passage : window.groups) {
    passage.beforeFreeze = Clock::now();
    passage.quiesceStatus = passage.group.provider->quiesce(passage.quiesceNodes);
    passage.afterFreeze = Clock::now();
    if (passage.quiesceStatus != 0) return;
    ++window.frozen;
  }
}

// A provider freezes by name, and the name may lead elsewhere by now. Only what is frozen refuses a second freeze so.
bool isProved(Window& window) noexcept {
  for (GroupPassage& passage : window.groups) {
    for (std::size_t i = 0; i < passage.proven.size(); ++i) {
      const FreezeTarget& target = passage.group.targets[i];
      window.lastAsked = &target;
      window.secondFreeze = target.fileSystem->freezeAgain();
      if (window.secondFreeze != EBUSY) return false;
      passage.proven[i] = Clock::now();
    }
  }
  return true;
}

// When the first of the freezes may end without a thaw.
Clock::time_point deadlineOf(const Window& window) {
  Clock::time_point deadline = window.watchedUntil;
  for (const GroupPassage& passage : window.groups) {
    deadline = std::min(deadline, passage.beforeFreeze + passage.group.timeout);
  }
  return deadline;
}

void splitAll(Window& window, const Splits& splits) noexcept {
  window.deadline = deadlineOf(window);
  window.beforeSplit = Clock::now();
  for (const auto& split : splits) {
    ++window.begun;
    window.splitError = split->split(window.deadline);
    if (window.splitError != 0) return;
  }
}

// Last frozen, first thawed.
void thawAll(Window& window) noexcept {
  for (std::size_t i = window.frozen; i > 0; --i) {
    GroupPassage& passage = window.groups[i - 1];
    passage.beforeThaw = Clock::now();
    passage.group.provider->unquiesce(passage.quiesceNodes);
    passage.afterThaw = Clock::now();
  }
}

FreezeReceipt::Time wallTime() noexcept {
  return std::chrono::floor<FreezeReceipt::Time::duration>(std::chrono::system_clock::now());
}

void passThrough(Window& window, const Splits& splits) noexcept {
  window.begin = wallTime();
  freezeAll(window);
  if (isFrozen(window)) {
    if (isProved(window)) splitAll(window, splits);
    window.afterSplit = Clock::now();
  }
  thawAll(window);
  window.afterThaw = Clock::now();
  window.end = wallTime();
}

std::chrono::milliseconds::rep milliseconds(Clock::duration duration) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
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

void thawPastProvider(std::span<const FreezeTarget> targets) {
  std::vector<MountedFileSystem*> fileSystems;
  for (const FreezeTarget& target : targets) fileSystems.push_back(target.fileSystem.get());
  thawFileSystems(fileSystems);
}

// The same after a failure of the provider, which whoever catches it tells. What fails here is told now.
void thawAfter(ProviderError& failure, std::span<const FreezeTarget> targets) {
  if (!tryOrReport([&] { thawPastProvider(targets); })) failure.setExitStatus(ExitStatus::freezeUncertain);
}

// Why a file system could not be frozen. answer: what it refused with.
std::string refusalOf(const std::string& mountPoint, int answer) {
  if (answer != EBUSY) return systemError(translate("{0} cannot be frozen", mountPoint), answer).what();
  return translate("{0} is frozen already, by somebody else: \"qmfi thaw {0}\" ends that", mountPoint);
}

// A freeze that was refused, with what stands in its way. Each is asked by itself, with nothing else frozen: one that
// can be frozen is thawed again at once.
ProviderError refusedFreeze(const std::string& what, int status, const FreezeGroup& group) {
  std::string all;
  std::string found;
  std::vector<std::string> refusing;
  bool isFrozenByOther = false;
  for (const FreezeTarget& target : group.targets) {
    all += (all.empty() ? "" : ", ") + target.fileSystem->mountPoint();
    const int answer = target.fileSystem->freezeAgain();
    if (answer == 0) continue;
    refusing.push_back(target.fileSystem->mountPoint());
    isFrozenByOther = isFrozenByOther || answer == EBUSY;
    if (!found.empty()) found += "; ";
    found += refusalOf(target.fileSystem->mountPoint(), answer);
  }
  const std::string together = translate(
      "{0}: each can be frozen by itself; together they were refused, or a path has led elsewhere meanwhile", all);
  ProviderError error(what, status, {}, found.empty() ? together : found);
  if (isFrozenByOther) error.setFailure(Failure::frozenByOther);
  if (refusing.size() == 1) error.about(refusing.front());
  return error;
}

// A freeze that failed half-way would otherwise last until its time-out.
void requireFrozen(const GroupPassage& passage) {
  if (passage.quiesceStatus == 0) return;
  const std::string what = translate("the file systems could not be frozen");
  ProviderError failure = passage.group.provider->failure(what, passage.quiesceStatus);
  thawAfter(failure, perhapsFrozen(passage.group, failure));
  if (!failure.messages().empty()) throw ProviderError(failure);
  throw refusedFreeze(what, failure.status(), passage.group);
}

// A freeze that may have ended before everything was split.
struct Overrun {
  Clock::duration taken;
  std::chrono::seconds allowed;
};

std::optional<Overrun> overrunOf(const Window& window) {
  for (const GroupPassage& passage : window.groups) {
    const Clock::duration untilSplit = window.afterSplit - passage.beforeFreeze;
    if (untilSplit >= passage.group.timeout) return Overrun{untilSplit, passage.group.timeout};
  }
  if (window.afterSplit < window.watchedUntil) return std::nullopt;
  return Overrun{window.afterSplit - window.groups.front().beforeFreeze, watchedTime(window)};
}

// Whether the kernel or the watchdog may have been quicker with the thaw.
bool isThawLate(const Window& window) {
  return window.afterThaw >= window.watchedUntil ||
         std::any_of(window.groups.begin(), window.groups.begin() + static_cast<std::ptrdiff_t>(window.frozen),
                     [&](const GroupPassage& passage) {
                       return window.afterThaw >= passage.beforeFreeze + passage.group.timeout;
                     });
}

// A thaw that the provider reports as failed is tried once more, past the provider. A provider that comes late reports
// that nothing is frozen any more, which is no failure.
void requireThawed(const GroupPassage& passage, bool isLate) {
  Provider& provider = *passage.group.provider;
  if (isLate) {
    if (!provider.takeMessages().empty()) thawPastProvider(passage.group.targets);
    return;
  }
  try {
    provider.throwIfMessages(translate("the file systems could not be thawed"));
  } catch (ProviderError& failure) {
    thawAfter(failure, passage.group.targets);
    throw;
  }
}

// Every group is looked at, whatever has happened to another one. The first failure is thrown, or rather one that
// leaves something frozen; the others are told.
void requireFrozenAndThawed(const Window& window) {
  std::exception_ptr thrown;
  bool isUncertain = false;
  const auto keep = [&](const HostError& failure) {
    std::exception_ptr told = std::current_exception();
    const bool leavesFrozen = failure.exitStatus() == ExitStatus::freezeUncertain;
    if (thrown == nullptr || (leavesFrozen && !isUncertain)) std::swap(thrown, told);
    isUncertain = isUncertain || leavesFrozen;
    if (told != nullptr) tryOrReport([&] { std::rethrow_exception(told); });
  };
  const bool isLate = isThawLate(window);
  for (const GroupPassage& passage : window.groups) {
    try {
      requireFrozen(passage);
    } catch (const HostError& failure) {
      keep(failure);
    }
  }
  for (std::size_t i = window.frozen; i > 0; --i) {
    try {
      requireThawed(window.groups[i - 1], isLate);
    } catch (const HostError& failure) {
      keep(failure);
    }
  }
  if (thrown != nullptr) std::rethrow_exception(thrown);
}

void requireProved(const Window& window) {
  if (window.secondFreeze == EBUSY) return;
  const std::string& mountPoint = window.lastAsked->fileSystem->mountPoint();
  const std::string& device = window.lastAsked->device;
  if (window.secondFreeze != 0) {
    throw systemError(translate("the file system of {0} on {1} does not tell whether it is frozen", device, mountPoint),
                      window.secondFreeze)
        .about(mountPoint);
  }
  throw HostError(
      translate("the file system of {0} on {1} was not frozen, though its provider said so: another one has "
                "been mounted there meanwhile, or the path has been changed; everything is thawed, and "
                "\"findmnt --target {1}\" shows what is there",
                device, mountPoint))
      .about(mountPoint)
      .advise(translate("\"findmnt --target {0}\" shows what is there", mountPoint));
}

void requireSplit(const Window& window, const Splits& splits) {
  for (std::size_t i = 0; i < window.begun; ++i) splits[i]->requireSplit();
}

void requireConsistent(const Window& window, const Splits& splits) {
  // A copy that was given up is told of by the time-out that ended it.
  const bool isGivenUp = window.splitError == ETIME;
  if (!isGivenUp) requireSplit(window, splits);
  if (const std::optional<Overrun> overrun = overrunOf(window)) {
    const auto taken = milliseconds(overrun->taken);
    throw HostError(ExitStatus::timedOut,
                    translate("the snapshot is not consistent: freezing and splitting took {0} ms, and the freeze "
                              "time-out of {1} s may have ended the freeze before; --freeze-timeout sets a longer one",
                              taken, overrun->allowed.count()))
        .because(translate("freezing and splitting took {0} ms", taken));
  }
  requireProved(window);
  if (isGivenUp) requireSplit(window, splits);
}

// Of a window in which every freeze was proved and all was split and thawed.
FreezeReceipt receiptOf(const Window& window) {
  const Clock::time_point begin = window.groups.front().beforeFreeze;
  const auto moment = [&](Clock::time_point time) { return std::chrono::ceil<FreezeReceipt::Moment>(time - begin); };
  // A provider that comes late does not tell whether it was the one that ended the freeze.
  const ThawAnswer thaw = isThawLate(window) ? ThawAnswer::unknown : ThawAnswer::noFailure;
  FreezeReceipt receipt;
  receipt.begin = window.begin;
  receipt.end = window.end;
  receipt.sinceStart = std::chrono::floor<FreezeReceipt::Moment>(begin.time_since_epoch());
  receipt.splitBegan = moment(window.beforeSplit);
  receipt.splitEnded = moment(window.afterSplit);
  receipt.over = moment(window.afterThaw);
  receipt.mayEnd = moment(window.deadline);
  for (const GroupPassage& passage : window.groups) {
    for (const Clock::time_point proven : passage.proven) {
      receipt.fileSystems.push_back({moment(passage.beforeFreeze), moment(passage.afterFreeze), moment(proven),
                                     moment(passage.beforeThaw), moment(passage.afterThaw), thaw});
    }
  }
  return receipt;
}

}  // namespace

FreezeReceipt splitFrozen(std::vector<FreezeGroup>& groups, const Splits& splits) {
  Window window;
  for (FreezeGroup& group : groups) window.groups.emplace_back(group);
  flush(groups, splits);
  for (const FreezeGroup& group : groups) group.provider->takeMessages();
  const LastToBeEnded last;
  // Before this process's pages are locked: they become its own only by that.
  const std::unique_ptr<CFiFreezeWatchdog> watchdog = startWatchdog(groups);
  // A page of the program that had to be read now might lie on a frozen disk. Where memory cannot be locked it still
  // can be read: a freeze keeps writers waiting only.
  mlockall(MCL_CURRENT);
  const qmfi_pdk_4_4::CFiScopeExit unlockMemory([] { munlockall(); });
  {
    const qmfi_system::BlockedSignals blocked(qmfi_system::allSignals());
    watch(*watchdog, window);
    passThrough(window, splits);
    requireFrozenAndThawed(window);
  }
  requireConsistent(window, splits);
  return receiptOf(window);
}

}  // namespace qmfi_host
