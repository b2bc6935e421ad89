// A provider and a volume layer that do nothing but tell what they were asked for, and fail where a test wants it.
#ifndef FAKE_PROVIDER_H
#define FAKE_PROVIDER_H

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "failure/host_error.h"
#include "provider/provider_entry_points.h"
#include "provider/providers.h"
#include "snapshot/alternate_directories.h"
#include "snapshot/mounted_file_system.h"
#include "volume/splitters.h"

// What both of them did, in order, as "call argument...".
class Journal {
 public:
  void record(const std::string& call) {
    m_calls.push_back(call);
    if (onCall) onCall(call);
  }
  const std::vector<std::string>& calls() const { return m_calls; }
  void clear() { m_calls.clear(); }

  // Run after every record.
  std::function<void(const std::string&)> onCall;

 private:
  std::vector<std::string> m_calls;
};

// The entry points are plain functions, so one object of this class exists at a time; it may serve several providers.
// Every function that the host uses is there; the others are null.
class FakeProvider {
 public:
  explicit FakeProvider(Journal& journal);
  FakeProvider(const FakeProvider&) = delete;
  FakeProvider& operator=(const FakeProvider&) = delete;
  ~FakeProvider();

  const qmfi_host::ProviderEntryPoints& entryPoints() const { return m_entryPoints; }

  // Records a call; the whole of it, or else its name up to the first blank, finds the status that it returns and the
  // messages that it pushes.
  int answer(const std::string& call);

  // By the call or its name. Without a status a call returns 0 ("claim": 1).
  std::map<std::string, int> statuses;
  std::map<std::string, std::vector<qmfi_host::ProviderMessage>> messages;

  // Pushed and not yet forgotten, newest first; the text is given as arguments.
  std::vector<qmfi_host::ProviderMessage> pushed;
  // The language that the last text was asked for in.
  std::string language;
  // What asking for a text returns, and whether it gives one.
  int textStatus = 0;
  bool hasTexts = true;
  // Told, when an alternate is taken down, the name of its provider.
  std::function<void(const std::string&)> onDeport;
  // Where it mounts an alternate, when that is not where it was asked to.
  std::string alternate;
  // What the look-up of a node finds.
  bool nodeExists = false;
  // The device whose content is its own.
  std::string ownDevice;
  // The call that succeeds without handing out what it should.
  std::string leavesOut;
  // What the version record is filled with.
  std::uint16_t version = 7;

 private:
  Journal& m_journal;
  qmfi_host::ProviderEntryPoints m_entryPoints;
};

// Providers that are there without being installed, by their names.
class GivenProviders : public qmfi_host::Providers {
 public:
  void add(qmfi_host::Provider& provider) { m_providers[provider.name()] = &provider; }

  qmfi_host::Provider& named(const std::string& name) override {
    const auto found = m_providers.find(name);
    if (found == m_providers.end()) throw qmfi_host::HostError("there is no provider " + name);
    return *found->second;
  }
  std::vector<qmfi_host::Provider*> started() override {
    std::vector<qmfi_host::Provider*> all;
    for (const auto& [name, provider] : m_providers) all.push_back(provider);
    return all;
  }
  bool tellOfOthers() override { return false; }

 private:
  std::map<std::string, qmfi_host::Provider*> m_providers;
};

// A volume layer that only keeps a journal.
class FakeSplitter : public qmfi_host::VolumeSplitter {
 public:
  explicit FakeSplitter(Journal& journal) : m_journal(journal) {}

  std::string name() const override { return ownName; }
  void requireUsable() const override;
  bool isFor(const std::string& device) const override { return device.starts_with(ownDevices); }
  qmfi_host::SplitPlan plan(const std::string& device, const std::string& snapshotId) const override;
  std::string workPlace(const qmfi_host::SplitPlan& plan) const override { return place.value_or(plan.volumeFile); }
  std::unique_ptr<qmfi_host::GroupSplit> prepare(const std::vector<qmfi_host::SplitPlan>& plans) const override;
  std::unique_ptr<qmfi_host::SnapshotDevice> attach(const qmfi_host::SplitPlan& plan) const override;
  void detach(const qmfi_host::SplitPlan& plan) const override;
  qmfi_host::VolumeStatus look(const qmfi_host::SplitPlan& plan, qmfi_host::LookAt what) const override;
  void keepRecord(const qmfi_host::SplitPlan& plan, const std::string& text) const override;
  std::vector<qmfi_host::KeptRecord> records() const override;
  void release(const qmfi_host::SplitPlan& plan) const override;

  std::string ownName = qmfi_host::reflinkSplitterName;
  // How the paths of the devices begin that are its own.
  std::string ownDevices = "/";
  // Where it writes, otherwise where the volume's file lies.
  std::optional<std::string> place{};
  // By the device: how it stands with a volume.
  std::map<std::string, qmfi_host::VolumeStatus> volumes{};
  // By the device: what was kept beside its snapshot. What is found beside all.
  mutable std::map<std::string, std::string> kept{};
  std::vector<qmfi_host::KeptRecord> found{};

  // The call that throws ("prepare DEVICE", ...), and the errno value that a split returns.
  std::string failingCall;
  int splitError = 0;
  // What a split is found to have failed with when all is thawed; empty for nothing.
  std::string lateFailure;
  // What the last split was given.
  mutable std::chrono::steady_clock::time_point deadline{};
  // Run within every split.
  std::function<void()> onSplit;

 private:
  void record(const std::string& call) const;

  Journal& m_journal;
};

// File systems that are always the right ones. They keep no journal unless a test wants one.
class FakeFileSystems : public qmfi_host::FileSystems {
 public:
  std::unique_ptr<qmfi_host::MountedFileSystem> open(const qmfi_host::FileSystemPlace& place) const override;

  // What a second freeze of the file system on a mount point answers, otherwise that it is frozen.
  std::function<int(const std::string& mountPoint)> onSecondFreeze;
  // The mount points of those that were thawed without their provider.
  mutable std::vector<std::string> thawed;
  // What these thaws fail with; 0 where nothing fails.
  int thawError = 0;
};

// Directories of alternates that nobody makes.
class FakeDirectories : public qmfi_host::AlternateDirectories {
 public:
  explicit FakeDirectories(Journal& journal) : m_journal(journal) {}

  std::string plan(const std::filesystem::path& directory, const std::string& snapshotName,
                   const std::string& mountPoint) const override;
  void claim(const qmfi_host::Snapshot& snapshot) const override;
  void make(const qmfi_host::Snapshot& snapshot, const qmfi_host::SnapshotNode& node) const override;
  void secure(const qmfi_host::SnapshotNode& node) const override;

  // The call that throws ("claim NAME", "make ALTERNATE", "secure ALTERNATE").
  std::string failingCall;

 private:
  void record(const std::string& call) const;

  Journal& m_journal;
};

#endif
