// The exported functions, and the sound provider behind them. The folder that the library lies in is the name of its
// fault: so one library, linked into many folders, is as many broken providers.
#include "support/broken_provider/broken_provider.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <string>

ProviderCalls brokenCalls{};
ProviderCalls soundCalls{};

// Each jumps to its place in the table, with whatever arguments it was given.
// clang-format off
#define FI_ENTRY_POINT(suffix, result, parameters)       \
  ".globl brokenfi_" #suffix "\n"                       \
  ".type brokenfi_" #suffix ", @function\n"             \
  "brokenfi_" #suffix ": jmp *brokenCalls+8*brokenPlace(%rip)\n" \
  ".set brokenPlace, brokenPlace+1\n"
__asm__(
    ".text\n"
    ".set brokenPlace, 0\n"
#include "cfientrypoints.def"
);
// clang-format on

namespace {

int (*soundInfo)(kfi_provider_list**);

// What the sound one says of itself, under the name of this one, which is shorter.
int ownInfo(kfi_provider_list** list) {
  const int status = soundInfo(list);
  if (status == 0) std::strcpy((*list)->kpl_name, "brokenfi");
  return status;
}

// The library's own: it is a provider only as long as the sound one is loaded.
class SoundProvider {
 public:
  SoundProvider() : m_library(dlopen(BROKEN_SOUND_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
    if (m_library == nullptr) std::abort();
#define FI_ENTRY_POINT(suffix, result, parameters) resolve("linuxfsfi_" #suffix, soundCalls.suffix);
#include "cfientrypoints.def"
    soundInfo = soundCalls.fi_pgn_get_provider_info;
    soundCalls.fi_pgn_get_provider_info = ownInfo;
    brokenCalls = soundCalls;
    putFaultIn(ownFolder().c_str());
  }
  SoundProvider(const SoundProvider&) = delete;
  SoundProvider& operator=(const SoundProvider&) = delete;
  ~SoundProvider() {
    dlclose(m_library);
  }

 private:
  template <typename Function>
  void resolve(const char* symbol, Function*& function) {
    function = reinterpret_cast<Function*>(dlsym(m_library, symbol));
    if (function == nullptr) std::abort();
  }

  static std::string ownFolder() {
    Dl_info info{};
    if (dladdr(&brokenCalls, &info) == 0) std::abort();
    const std::string path = info.dli_fname;
    const std::size_t end = path.rfind('/');
    return path.substr(path.rfind('/', end - 1) + 1, end - path.rfind('/', end - 1) - 1);
  }

  void* m_library;
};

const SoundProvider soundProvider;

}  // namespace
