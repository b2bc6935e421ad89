// Names of snapshots and of their phases.
#include "state/snapshot.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <random>
#include <string_view>

#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

constexpr std::size_t longestName = 64;
constexpr std::size_t idLength = 8;

constexpr std::array<std::string_view, 10> phaseNames = {"preparing",  "freezing",  "attaching",  "mounting", "ready",
                                                         "unmounting", "unmounted", "remounting", "deleting", "lent"};

bool isNameCharacter(unsigned char character) {
  return std::isalnum(character) != 0 || character == '.' || character == '_' || character == '-';
}

bool looksLikeId(const std::string& name) {
  return name.size() == idLength &&
         std::all_of(name.begin(), name.end(), [](unsigned char digit) { return std::isxdigit(digit) != 0; });
}

}  // namespace

std::string phaseName(Phase phase) {
  return std::string(phaseNames.at(static_cast<std::size_t>(phase)));
}

Phase phaseOfName(const std::string& name) {
  const auto* const found = std::find(phaseNames.begin(), phaseNames.end(), name);
  if (found == phaseNames.end()) {
    throw HostError(translate("the state store holds a snapshot in the unknown phase {0}", name));
  }
  return static_cast<Phase>(found - phaseNames.begin());
}

bool isAtRest(Phase phase) {
  return phase == Phase::ready || phase == Phase::unmounted;
}

std::string newSnapshotId() {
  constexpr std::string_view digits = "0123456789abcdef";
  std::random_device random;
  std::uniform_int_distribution<std::size_t> digit(0, digits.size() - 1);
  std::string id(idLength, '0');
  std::generate(id.begin(), id.end(), [&] { return digits[digit(random)]; });
  return id;
}

void requireSnapshotName(const std::string& name) {
  if (name.empty() || name.size() > longestName || !std::all_of(name.begin(), name.end(), isNameCharacter)) {
    throw UsageError(
        translate("\"{0}\" cannot name a snapshot: 1 to 64 letters, digits, \".\", \"_\" and \"-\" do", name));
  }
  // A directory is called by the name.
  if (name == "." || name == "..") {
    throw UsageError(translate("\"{0}\" cannot name a snapshot: it names a directory", name));
  }
}

void requireUsersSnapshotName(const std::string& name) {
  requireSnapshotName(name);
  if (looksLikeId(name)) {
    throw UsageError(
        translate("\"{0}\" cannot name a snapshot: eight hexadecimal digits are an id, perhaps another's", name));
  }
}

}  // namespace qmfi_host
