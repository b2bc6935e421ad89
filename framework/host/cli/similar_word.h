// What a mistyped word may have been meant to be.
#ifndef SIMILAR_WORD_H
#define SIMILAR_WORD_H

#include <optional>
#include <string>
#include <vector>

namespace qmfi_host {

// The candidate that differs least from the word, by two letters at most, and by fewer than half of its own; the first
// of several. Nothing where none is so near.
std::optional<std::string> similarWord(const std::string& word, const std::vector<std::string>& candidates);

}  // namespace qmfi_host

#endif
