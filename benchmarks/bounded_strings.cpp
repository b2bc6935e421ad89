// Bounded copy and append beside the shortest safe way, and beside libbsd's.
#include <bsd/string.h>

#include <algorithm>
#include <string>

#include "K_strings.h"
#include "in_process.h"
#include "yardsticks/plain_strings.h"

namespace {

using Bounded = std::size_t (*)(char*, const char*, std::size_t);

constexpr std::size_t mostBytes = 4096;

// All sides use the same bytes: how two blocks lie to each other alone makes a tenth of a short copy's time.
alignas(64) char source[mostBytes + 1];
alignas(64) char target[2 * mostBytes + 1];

void fill(std::size_t length) {
  std::fill_n(source, length, 'x');
  source[length] = '\0';
  std::fill_n(target, length, 'x');
}

bench::Work copying(Bounded copy, std::size_t length) {
  return [=](benchmark::State& state) {
    fill(length);
    for (auto round : state) {
      benchmark::DoNotOptimize(copy(target, source, sizeof target));
      benchmark::ClobberMemory();
    }
  };
}

bench::Work appending(Bounded append, std::size_t length) {
  return [=](benchmark::State& state) {
    fill(length);
    for (auto round : state) {
      target[length] = '\0';
      benchmark::DoNotOptimize(append(target, source, sizeof target));
      benchmark::ClobberMemory();
    }
  };
}

void compareLength(std::size_t length) {
  const double farther = length >= 256 ? 0.15 : 0;
  const std::string bytes = std::to_string(length) + " bytes";
  bench::compare("10", "bounded copy, " + bytes, copying(K_strlcpy, length),
                 {{"strnlen and memcpy", copying(bench::plainCopy, length), 1.10},
                  {"libbsd's strlcpy", copying(strlcpy, length), farther}},
                 {.noise = length == 16});
  bench::compare("10", "bounded append, " + bytes, appending(K_strlcat, length),
                 {{"strnlen and memcpy", appending(bench::plainAppend, length), 1.10},
                  {"libbsd's strlcat", appending(strlcat, length), farther}});
}

}  // namespace

int main(int count, char** words) {
  for (std::size_t length = 16; length <= mostBytes; length *= 4) compareLength(length);
  return bench::runComparisons(count, words);
}
