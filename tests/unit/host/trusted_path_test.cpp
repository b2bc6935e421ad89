// Why a path is not trusted, in the user's language.
#include "trust/trusted_path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "failure/host_error.h"
#include "german_texts.h"

namespace qmfi_host {
namespace {

using testing::ThrowsMessage;

TEST(TrustedPath, ThatEverybodyCanWriteToIsRefusedInTheUsersLanguage) {
  const GermanTexts german;
  EXPECT_THAT([] { requireTrusted("/tmp/file"); },
              ThrowsMessage<HostError>("/tmp/file ist nicht vertrauenswürdig: jeder kann in /tmp schreiben; einen Ort "
                                       "verwenden, der root gehört und in den niemand sonst schreiben kann"));
}

}  // namespace
}  // namespace qmfi_host
