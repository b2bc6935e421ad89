// A mount point below a directory that belongs to an unprivileged user, and what that user must not touch.
#ifndef ATTACKED_PLACE_H
#define ATTACKED_PLACE_H

#include <sys/types.h>

#include <set>
#include <string>
#include <vector>

#include "campaign.h"

namespace faults {

inline constexpr uid_t attackingUser = 1000;
inline constexpr const char* attackersHome = "/mnt/user";
inline constexpr const char* attackersPlace = "/mnt/user/place";
inline constexpr const char* attackersAway = "/mnt/user/away";
inline constexpr const char* attackedMountPoint = "/mnt/user/place/orders";
inline constexpr const char* victimDirectory = "/srv/victim";
inline constexpr const char* attackedSnapshot = "/run/qmfi/snapshots/fault";

// Moves the first volume of the testbed to the attacked mount point; the second stays where it is, for root alone.
class AttackedPlace {
 public:
  explicit AttackedPlace(const std::vector<std::string>& mountPoints);
  AttackedPlace(const AttackedPlace&) = delete;
  AttackedPlace& operator=(const AttackedPlace&) = delete;
  ~AttackedPlace();

  const std::string& device() const { return m_device; }
  const std::string& otherMountPoint() const { return m_otherMountPoint; }

  // Unmounts the attacked file system, and mounts it where it is not mounted.
  void unmount() const;
  void mount() const;

  // What is compared later: the victims with all that is in them, and the mounts but for those of the snapshot.
  void remember() { m_before = state(); }
  void expectAsBefore(Campaign& campaign) const;
  // Nothing in the attacker's home belongs to anybody else.
  void expectNothingOfRootsInHome(Campaign& campaign) const;
  // What is mounted of the snapshot: for root alone, without the rights of others, and of the file system whose path it
  // carries.
  void expectHarmlessSnapshot(Campaign& campaign) const;

 private:
  std::set<std::string> state() const;

  std::string m_firstMountPoint;
  std::string m_device;
  std::string m_otherMountPoint;
  std::set<std::string> m_before{};
};

}  // namespace faults

#endif
