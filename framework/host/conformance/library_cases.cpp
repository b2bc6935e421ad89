// The shared library itself.
#include <dlfcn.h>

#include <memory>

#include "conformance/conformance_case.h"
#include "conformance/process_state.h"
#include "failure/host_error.h"

namespace qmfi_host {

namespace {

using Library = std::unique_ptr<void, int (*)(void*)>;

Library load(Examination& it) {
  const std::string path = it.subject().library;
  return it.calling("loading of the library", [&] {
    Library library(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL), &dlclose);
    if (library == nullptr) it.expect(false, dlerror());
    return library;
  });
}

void loads(Examination& it) {
  load(it);
}

void exportsAll(Examination& it) {
  const Library library = load(it);
  if (library == nullptr) return;
  const auto look = [&](const std::string& suffix) {
    const std::string symbol = it.subject().name + "_" + suffix;
    it.expect(dlsym(library.get(), symbol.c_str()) != nullptr, "there is no function " + symbol);
  };
#define FI_ENTRY_POINT(suffix, result, parameters) look(#suffix);
#include "cfientrypoints.def"
}

void hasDescriptor(Examination& it) {
  it.expect(it.subject().descriptorFault.empty(), it.subject().descriptorFault);
}

void changesNothingWhenLoaded(Examination& it) {
  makeProcessStateUnusual();
  const auto before = processState();
  load(it);
  const auto between = processState();
  const Library library = load(it);
  for (const auto& [part, text] : processState()) {
    const std::string& expected = mayChangeOnce(part) ? between.at(part) : before.at(part);
    it.expect(text == expected, std::string("loading changes the ").append(part).append(": ").append(text));
  }
}

bool isLoaded(const std::string& path) {
  const Library library(dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD), &dlclose);
  return library != nullptr;
}

void unloads(Examination& it) {
  constexpr int times = 3;
  for (int i = 0; i < times; ++i) {
    it.started();
    it.stop();
    it.calling("unloading of the library", [&] { it.unload(); });
    it.require(!isLoaded(it.subject().library), "the library is still loaded after dlclose");
  }
}

}  // namespace

ConformanceCases libraryCases() {
  return {
      {"library.loads", "The library can be loaded, with all symbols bound.", CaseNeeds::first, loads},
      {"library.exports", "The library exports all the functions of the list, each with the provider's name before it.",
       CaseNeeds::first, exportsAll},
      {"library.descriptor", "Beside the library stands a descriptor file that makes sense.", CaseNeeds::library,
       hasDescriptor},
      {"library.load-is-quiet", "Loading makes static strings only.", CaseNeeds::library, changesNothingWhenLoaded},
      {"library.unloads", "After fini and dlclose the library is unmapped, and can be loaded again.",
       CaseNeeds::library, unloads},
  };
}

}  // namespace qmfi_host
