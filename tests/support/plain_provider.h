// The least that a provider must be.
#ifndef SUPPORT_PLAIN_PROVIDER_H
#define SUPPORT_PLAIN_PROVIDER_H

#include "cfipluginbase.h"

class PlainProvider : public qmfi_pdk_4_4::CFiPluginBase {
 public:
  int init() override { return 0; }
  void fini() override {}
};

#endif
