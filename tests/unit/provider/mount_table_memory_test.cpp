// Look-ups when memory is short: unreadable, never "not mounted", and no exception.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "qmfs_mount_table.h"
#include "support/temporary_directory.h"

namespace {

enum class Allocation { none, stringCopy, block, memoryStream, lineOfTable };

// The kind of allocation that fails, from the given one on (1 is the first).
Allocation failing = Allocation::none;
int callsBeforeFailure = 0;

bool fails(Allocation allocation) {
  if (failing != allocation) return false;
  return --callsBeforeFailure <= 0;
}

}  // namespace

// The linker directs the look-ups' calls of the functions without "__wrap_" to these.
extern "C" {

char* __real_strdup(const char* text);
char* __wrap_strdup(const char* text) {
  return fails(Allocation::stringCopy) ? nullptr : __real_strdup(text);
}

void* __real_malloc(std::size_t size);
void* __wrap_malloc(std::size_t size) {
  return fails(Allocation::block) ? nullptr : __real_malloc(size);
}

std::FILE* __real_fmemopen(void* buffer, std::size_t size, const char* mode);
std::FILE* __wrap_fmemopen(void* buffer, std::size_t size, const char* mode) {
  return fails(Allocation::memoryStream) ? nullptr : __real_fmemopen(buffer, size, mode);
}

// Reading a line is one or the other, as the compiler likes it.
ssize_t __real_getline(char** line, std::size_t* size, std::FILE* stream);
ssize_t __wrap_getline(char** line, std::size_t* size, std::FILE* stream) {
  if (fails(Allocation::lineOfTable)) {
    errno = ENOMEM;
    return -1;
  }
  return __real_getline(line, size, stream);
}

ssize_t __real___getdelim(char** line, std::size_t* size, int delimiter, std::FILE* stream);
ssize_t __wrap___getdelim(char** line, std::size_t* size, int delimiter, std::FILE* stream) {
  if (fails(Allocation::lineOfTable)) {
    errno = ENOMEM;
    return -1;
  }
  return __real___getdelim(line, size, delimiter, stream);
}
}

namespace {

struct MemoryCase {
  const char* name;
  Allocation failing;
  int call;
};

class ShortMemory : public testing::TestWithParam<MemoryCase> {
 protected:
  ~ShortMemory() override { failing = Allocation::none; }
};

TEST_P(ShortMemory, MakesTheTableUnreadable) {
  const TemporaryDirectory directory;
  const std::string table = directory.write("mtab", "/dev/x /x xfs rw 0 0\n/dev/a /a qmfs rw 0 0\n");
  char left[] = "left over";
  char* device = left;
  char* options = left;
  failing = GetParam().failing;
  callsBeforeFailure = GetParam().call;
  const int result = searchMountTable(table.c_str(), MountTableKey::mountPoint, "/a", QMFS_TYPE, &device, &options);
  failing = Allocation::none;
  EXPECT_EQ(result, -1);
  EXPECT_EQ(device, nullptr);
  EXPECT_EQ(options, nullptr);
}

INSTANTIATE_TEST_SUITE_P(All, ShortMemory,
                         testing::Values(MemoryCase{"FirstCopy", Allocation::stringCopy, 1},
                                         MemoryCase{"SecondCopy", Allocation::stringCopy, 2},
                                         MemoryCase{"RoomForTheEntry", Allocation::block, 1},
                                         MemoryCase{"Decoder", Allocation::memoryStream, 1},
                                         MemoryCase{"FirstLine", Allocation::lineOfTable, 1},
                                         MemoryCase{"LaterLine", Allocation::lineOfTable, 2}),
                         [](const auto& caseInfo) { return std::string(caseInfo.param.name); });

}  // namespace
