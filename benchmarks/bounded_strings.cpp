// Bounded copy and append beside the shortest safe way, and beside libbsd's.
#include <bsd/string.h>

#include <string>

#include "K_strings.h"
#include "in_process.h"
#include "yardsticks/plain_strings.h"

namespace {

using Bounded = std::size_t (*)(char*, const char*, std::size_t);

constexpr std::size_t mostBytes = 4096;

bench::Work copying(Bounded copy, std::size_t length) {
  return [=](benchmark::State& state) {
    const std::string text(length, 'x');
    std::string buffer(2 * mostBytes, '\0');
    for (auto round : state) {
      benchmark::DoNotOptimize(copy(buffer.data(), text.c_str(), buffer.size()));
      benchmark::ClobberMemory();
    }
  };
}

bench::Work appending(Bounded append, std::size_t length) {
  return [=](benchmark::State& state) {
    const std::string text(length, 'x');
    std::string buffer(2 * mostBytes + 1, '\0');
    buffer.replace(0, length, text);
    for (auto round : state) {
      buffer[length] = '\0';
      benchmark::DoNotOptimize(append(buffer.data(), text.c_str(), buffer.size()));
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
