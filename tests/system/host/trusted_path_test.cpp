// Which paths are root's alone.
#include "trust/trusted_path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "failure/host_error.h"

namespace qmfi_host {
namespace {

namespace fs = std::filesystem;

using testing::ThrowsMessage;

constexpr uid_t user = 1000;
constexpr const char* way = "; use a place that belongs to root and that nobody else can write to";

// Root's own tree /trust/outer/inner/file.
class TrustedPathTest : public testing::Test {
 protected:
  TrustedPathTest() {
    umask(0022);
    fs::create_directories("/trust/outer/inner");
    std::ofstream("/trust/outer/inner/file") << "content";
  }
  ~TrustedPathTest() override { fs::remove_all("/trust"); }
};

TEST_F(TrustedPathTest, OfRootsDirectoriesIsTrusted) {
  for (const char* path : {"/trust/outer/inner/file", "/trust/outer/inner/", "/trust//outer/./inner/../inner", "/"}) {
    EXPECT_NO_THROW(requireTrusted(path)) << path;
  }
  fs::current_path("/trust/outer");
  EXPECT_NO_THROW(requireTrusted("inner/file"));
  fs::current_path("/");
}

TEST_F(TrustedPathTest, MayLeadToWhatIsSomebodyElses) {
  ASSERT_EQ(chown("/trust/outer/inner", user, 0), 0);
  for (const char* path :
       {"/trust/outer/inner", "/trust/outer/inner/", "/trust/outer/inner/.", "/trust/outer/new", "/"}) {
    EXPECT_NO_THROW(requireTrustedUpTo(path)) << path;
  }
  for (const char* path : {"/trust/outer/inner/file", "/trust/outer/inner/new", "/trust/outer/inner/.."}) {
    EXPECT_THROW(requireTrustedUpTo(path), HostError) << path;
  }
  // A link of root's to somebody else's link: what that one leads to is root's, and can be another thing tomorrow.
  fs::create_symlink("/trust/outer", "/trust/outer/inner/link");
  fs::create_symlink("/trust/outer/inner/link", "/trust/link");
  EXPECT_THROW(requireTrustedUpTo("/trust/link"), HostError);
  fs::current_path("/trust/outer/inner");
  EXPECT_NO_THROW(requireTrustedUpTo("."));
  EXPECT_THROW(requireTrustedUpTo("file"), HostError);
  fs::current_path("/");
}

TEST_F(TrustedPathTest, ThatSomebodyElseOwnsAPartOfIsRefused) {
  const std::string what = "/trust/outer/inner/file cannot be trusted: ";
  for (const char* part : {"/trust", "/trust/outer", "/trust/outer/inner/file"}) {
    ASSERT_EQ(chown(part, user, 0), 0);
    EXPECT_THAT([] { requireTrusted("/trust/outer/inner/file"); },
                ThrowsMessage<HostError>(what + part + " belongs to user 1000" + way));
    ASSERT_EQ(chown(part, 0, 0), 0);
  }
}

TEST_F(TrustedPathTest, ThatSomebodyElseCanWriteToAPartOfIsRefused) {
  const std::string what = "/trust/outer/inner/file cannot be trusted: ";
  const struct {
    mode_t mode;
    std::string why;
  } cases[] = {{0775, "group 0 can write to "}, {0757, "everybody can write to "}, {01777, "everybody can write to "}};
  for (const auto& [mode, why] : cases) {
    for (const std::string part : {"/trust/outer", "/trust/outer/inner/file"}) {
      struct stat before {};
      ASSERT_EQ(stat(part.c_str(), &before), 0);
      ASSERT_EQ(chmod(part.c_str(), mode), 0);
      EXPECT_THAT([] { requireTrusted("/trust/outer/inner/file"); }, ThrowsMessage<HostError>(what + why + part + way));
      ASSERT_EQ(chmod(part.c_str(), before.st_mode), 0);
    }
  }
}

TEST_F(TrustedPathTest, ThroughALinkIsAsGoodAsTheWayThatTheLinkGoes) {
  fs::create_directory("/trust/users");
  fs::create_symlink("../outer/inner", "/trust/users/relative");
  fs::create_symlink("/trust/users/relative", "/trust/absolute");
  EXPECT_NO_THROW(requireTrusted("/trust/absolute/file"));
  ASSERT_EQ(chown("/trust/users", user, 0), 0);
  EXPECT_THAT([] { requireTrusted("/trust/absolute/file"); },
              ThrowsMessage<HostError>("/trust/absolute/file cannot be trusted: /trust/users belongs to user 1000" +
                                       std::string(way)));
}

TEST_F(TrustedPathTest, OfLinksWithoutAnEndIsRefused) {
  fs::create_symlink("loop", "/trust/loop");
  EXPECT_THAT([] { requireTrusted("/trust/loop"); },
              ThrowsMessage<HostError>("/trust/loop cannot be read: Too many levels of symbolic links"));
}

TEST_F(TrustedPathTest, ThatIsStillToBeMadeIsAsGoodAsWhereItWillLie) {
  EXPECT_NO_THROW(requireTrusted("/trust/outer/new/deeper"));
  ASSERT_EQ(chown("/trust/outer", user, 0), 0);
  EXPECT_THAT([] { requireTrusted("/trust/outer/new/deeper"); },
              ThrowsMessage<HostError>("/trust/outer/new/deeper cannot be trusted: /trust/outer belongs to user 1000" +
                                       std::string(way)));
}

TEST_F(TrustedPathTest, ThroughAFileIsRefused) {
  EXPECT_THAT([] { requireTrusted("/trust/outer/inner/file/deeper"); },
              ThrowsMessage<HostError>("/trust/outer/inner/file/deeper cannot be read: Not a directory"));
}

}  // namespace
}  // namespace qmfi_host
