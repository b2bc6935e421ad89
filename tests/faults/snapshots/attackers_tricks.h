// What the attacker does, in a process of his own.
#ifndef ATTACKERS_TRICKS_H
#define ATTACKERS_TRICKS_H

#include <string>
#include <vector>

#include "attacker.h"
#include "system/descriptor.h"

namespace faults {

class AttackersTricks {
 public:
  explicit AttackersTricks(std::string otherMountPoint) : m_otherMountPoint(std::move(otherMountPoint)) {}

  // Puts everything back before. The report is empty when nothing was possible that must not be.
  std::string play(Trick trick);
  std::string putBack();

 private:
  void replacePlace(Trick trick);
  void holdFilesOpen();
  void plantFiles();

  const std::string m_otherMountPoint;
  std::vector<qmfi_system::Descriptor> m_held{};
  std::vector<std::string> m_planted{};
};

}  // namespace faults

#endif
