// What every fuzz target has: the bytes it is fed with, taken apart, and the checking of rules.
#ifndef FUZZ_INPUT_H
#define FUZZ_INPUT_H

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

// A broken rule ends the program, so that the input is kept as one that crashes.
inline void require(bool fulfilled, const char* rule) {
  if (fulfilled) return;
  std::fprintf(stderr, "broken rule: %s\n", rule);
  std::abort();
}

// A terminated copy in a block of just that size, so that a step beyond its end is noticed.
inline std::unique_ptr<char[]> exactCopy(std::string_view text) {
  auto copy = std::make_unique<char[]>(text.size() + 1);
  text.copy(copy.get(), text.size());
  return copy;
}

// The rest of the input as text; all of it before the first NUL when it is to be one that C functions see whole.
inline std::string restAsText(FuzzedDataProvider& input) {
  return input.ConsumeRemainingBytesAsString();
}
inline std::string restBeforeNul(FuzzedDataProvider& input) {
  const std::string text = restAsText(input);
  return text.substr(0, text.find('\0'));
}

#endif
