// init and fini.
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "conformance/conformance_case.h"

namespace qmfi_host {

namespace {

void starts(Examination& it) {
  it.started();
  it.stop();
}

void tellsVersion(Examination& it) {
  kfi_version version{9, 9, 9, 9};
  it.calling("init", [&] { return it.provider().fi_pgn_init(nullptr, &version, nullptr); });
  it.expect(version.kv_major == KFI_INTERFACE_MAJOR, "the first number of the version is " +
                                                         std::to_string(version.kv_major) + ", not " +
                                                         std::to_string(KFI_INTERFACE_MAJOR));
  it.expect(version.kv_minor == 0 && version.kv_patch == 0 && version.kv_build == 0,
            "the other numbers of the version are not 0");
  it.stop();
}

// Nothing has been built then, so that there is nothing to be ended, and a start goes on as the first one.
void needsVersion(Examination& it) {
  constexpr int noVersionRecord = 7;
  for (int i = 0; i < 2; ++i) {
    const int answer = it.calling("init without a version record",
                                  [&] { return it.provider().fi_pgn_init(nullptr, nullptr, nullptr); });
    it.expect(answer == noVersionRecord, "init without a version record answers " + std::to_string(answer) + ", not 7");
  }
  it.started();
  it.stop();
}

// A page that can be taken away.
char* pageWith(const std::string& text) {
  void* const page = mmap(nullptr, static_cast<std::size_t>(getpagesize()), PROT_READ | PROT_WRITE,
                          MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  std::memcpy(page, text.c_str(), text.size() + 1);
  return static_cast<char*>(page);
}

void copiesName(Examination& it) {
  kfi_version version{};
  char* const name = pageWith("host");
  it.calling("init", [&] { return it.provider().fi_pgn_init(nullptr, &version, name); });
  munmap(name, static_cast<std::size_t>(getpagesize()));
  kfi_provider_list* list = nullptr;
  it.calling("get_provider_info after the host's name is gone",
             [&] { return it.provider().fi_pgn_get_provider_info(&list); });
  qmfi_free_providerlist(list);
  it.stop();
}

void startsWithAContext(Examination& it) {
  char language[] = "de_DE";
  char* languageName = language;
  kfi_context context{};
  kfi_version version{};
  for (char** const given : {static_cast<char**>(nullptr), &languageName}) {
    context.kcx_language = given;
    const int answer =
        it.calling("init with a context", [&] { return it.provider().fi_pgn_init(&context, &version, nullptr); });
    it.expect(answer == 0, "init with a context answers " + std::to_string(answer));
    it.stop();
  }
}

void startsAgain(Examination& it) {
  constexpr int times = 5;
  for (int i = 0; i < times; ++i) {
    it.started();
    it.stop();
  }
}

}  // namespace

ConformanceCases startCases() {
  return {
      {"start.answers", "init answers 0 where all that the provider needs is there, without a context record too.",
       CaseNeeds::first, starts},
      {"start.version", "init stores the version of the interface: 7 and three zeros.", CaseNeeds::library,
       tellsVersion},
      {"start.no-version-record", "init answers 7 without a version record, and then nothing has been built.",
       CaseNeeds::library, needsVersion},
      {"start.copies-name", "The host's name is copied by init.", CaseNeeds::library, copiesName},
      {"start.context", "A context record may have a language, or none, and no callback.", CaseNeeds::library,
       startsWithAContext},
      {"start.again", "A provider that was stopped can be started again.", CaseNeeds::library, startsAgain},
  };
}

}  // namespace qmfi_host
