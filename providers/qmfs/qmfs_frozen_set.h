// The file systems of one quiesce, from the opening of their mount points to the thaw.
#ifndef QMFS_FROZEN_SET_H
#define QMFS_FROZEN_SET_H

#include <sys/ioctl.h>
#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cfiundisturbed.h"
#include "qmfs_ioctl.h"

// Thaws the first count descriptors in order, each whatever came of those before it. step is called with the number of
// each and a function that makes its request and returns the driver's result.
template <typename Step>
void thawEach(const std::int32_t* descriptors, std::int32_t count, const Step& step) {
  const qmfi_pdk_4_4::CFiUndisturbed undisturbed;
  for (std::int32_t i = 0; i < count; ++i) step(i, [&] { return ::ioctl(descriptors[i], QM_THAW, 0L); });
}

// Closes the first count descriptors; does nothing for a null list or a count of 0 or less.
void closeEach(const std::int32_t* descriptors, std::int32_t count);

// Owns the descriptors and names of file systems that are frozen together, and knows how far it has come with them.
// It belongs to one thread at a time.
class CQmFSFrozenSet {
 public:
  // One of them, as messages name it.
  struct FileSystem {
    std::string mountPoint;
    bool thawFailed = false;
  };

  // Holds that many file systems from now on, none of them open, for the calling process. Throws std::bad_alloc.
  void hold(std::vector<FileSystem> fileSystems);
  // Opens the mount point of the next one. False when it cannot be opened, and errno tells why.
  bool openNext();
  // That many of them, from the first, are frozen. Means nothing when nothing is held.
  void setFrozen(std::int32_t count) { m_frozen = isHolding() ? count : 0; }
  // That its number failed to thaw, which fileSystems() tells from then on.
  void noteFailedThaw(std::int32_t number) { m_fileSystems[static_cast<std::size_t>(number)].thawFailed = true; }
  // Holds nothing any more. What has happened to the descriptors is its holder's choice.
  void release();

  // Whether there are file systems to be thawed or closed.
  bool isHolding() const { return m_descriptors != nullptr; }
  // One for each file system, in order; null when nothing is held.
  const std::int32_t* descriptors() const { return m_descriptors.get(); }
  std::int32_t opened() const { return m_opened; }
  std::int32_t frozen() const { return m_frozen; }
  // Those that were held last, so that failures can be told of when nothing is held any more.
  const std::vector<FileSystem>& fileSystems() const { return m_fileSystems; }
  // Whether the calling process is the one that holds them, not a child of it.
  bool isOfThisProcess() const;

 private:
  std::unique_ptr<std::int32_t[]> m_descriptors;
  std::vector<FileSystem> m_fileSystems;
  std::int32_t m_opened = 0;
  std::int32_t m_frozen = 0;
  pid_t m_process = 0;
};

#endif
