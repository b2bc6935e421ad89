// Lists that are handed out when the framework has no buffer for them: this program has its own way to get one.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfiapisession.h"
#include "support/domains.h"
#include "support/plain_provider.h"

extern "C" void* qmfi_alloc_buf(std::size_t) {
  return nullptr;
}

namespace {

using namespace qmfi_pdk_4_4;

struct Thrown {
  int number;
  std::string text;
  std::string file;
  std::string function;

  bool operator==(const Thrown&) const = default;
};

void PrintTo(const Thrown& thrown, std::ostream* out) {
  *out << thrown.number << " \"" << thrown.text << "\" " << thrown.file << ' ' << thrown.function;
}

template <typename Call>
Thrown thrownBy(const Call& call) {
  try {
    call();
  } catch (const CFiError& error) {
    return {error.getNumber(), error.what(), error.getFile(), error.getFunction()};
  }
  return {};
}

TEST(BufferFailure, OfIdentifiersIsFive) {
  qmfi_objid** objects = nullptr;
  int count = -7;
  EXPECT_EQ(thrownBy([&] { exportIdentifiers({"/snap/a"}, &objects, &count); }),
            (Thrown{5, "Bad allocation for object identifiers", "cfiapisession.h", "exportIdentifiers"}));
  EXPECT_EQ(objects, nullptr);
}

TEST(BufferFailure, OfSubObjectsIsFiveAndTouchesNothing) {
  const CFiPrivateDataManagerSPtr manager(new CFiPrivateDataManager());
  manager->setDefaultFactory(CFiPrivateDataFactorySPtr(new CFiPrivateDataConcreteFactory<CFiPrivateData>()));
  PlainProvider provider;
  provider.registerPrivateDataManager(manager);
  kfi_domain node = domainNamed("/data");
  manager->getDefaultFactory()->allocate(&node, false)->addSubObject(identifierOf("/dev/a"));
  qmfi_objid* untouched = nullptr;
  qmfi_objid** objects = &untouched;
  int count = -7;
  EXPECT_EQ(thrownBy([&] { provider.subobjList(&node, &objects, &count); }),
            (Thrown{5, "Bad allocation for sub-object list", "plugin_base.cpp", "subobjList"}));
  EXPECT_EQ(objects, &untouched);
  EXPECT_EQ(count, -7);
  provider.deInitNode(&node);
}

}  // namespace
