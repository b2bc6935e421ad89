// Distances between words.
#include "cli/similar_word.h"

#include <algorithm>
#include <numeric>

namespace qmfi_host {

namespace {

// How many letters are to be changed, added, taken away, or swapped with the next one, until one word is the other.
std::size_t distanceBetween(const std::string& from, const std::string& to) {
  std::vector<std::vector<std::size_t>> distances(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
  for (std::size_t i = 0; i <= from.size(); ++i) distances[i][0] = i;
  std::iota(distances[0].begin(), distances[0].end(), std::size_t{0});
  for (std::size_t i = 1; i <= from.size(); ++i) {
    for (std::size_t j = 1; j <= to.size(); ++j) {
      const std::size_t change = from[i - 1] == to[j - 1] ? 0 : 1;
      std::size_t& distance = distances[i][j];
      distance = std::min({distances[i - 1][j] + 1, distances[i][j - 1] + 1, distances[i - 1][j - 1] + change});
      const bool isSwapped = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (isSwapped) distance = std::min(distance, distances[i - 2][j - 2] + 1);
    }
  }
  return distances[from.size()][to.size()];
}

}  // namespace

std::optional<std::string> similarWord(const std::string& word, const std::vector<std::string>& candidates) {
  std::size_t least = 3;
  std::optional<std::string> nearest;
  for (const std::string& candidate : candidates) {
    const std::size_t distance = distanceBetween(word, candidate);
    if (distance >= least || 2 * distance >= candidate.size()) continue;
    least = distance;
    nearest = candidate;
  }
  return nearest;
}

}  // namespace qmfi_host
