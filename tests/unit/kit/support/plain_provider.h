// The least that a provider must be.
#ifndef TESTS_UNIT_KIT_SUPPORT_PLAIN_PROVIDER_H
#define TESTS_UNIT_KIT_SUPPORT_PLAIN_PROVIDER_H

#include "cfipluginbase.h"

class PlainProvider : public qmfi_pdk_4_4::CFiPluginBase {
 public:
  int init() override { return 0; }
  void fini() override {}
};

#endif
