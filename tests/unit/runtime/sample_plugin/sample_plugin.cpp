// A small plug-in: makes its singletons, uses what the framework gives it, and drops them again.
#include "cficatchladder.h"
#include "cfierrorhandler.h"
#include "cfiexecpipe.h"
#include "cfipluginbase.h"

namespace {

using namespace qmfi_pdk_4_4;

template <typename T>
using Singleton = CFiContextSingleton<T, FI_PLUGIN_NAME>;

void ignoreMessage(kfi_context*, const char*, const char*, kfi_eseverity) {}

}  // namespace

// Returns the number of messages that were kept. The context outlives the plug-in's use of it.
extern "C" int sample_run(kfi_context* context) {
  context->kcx_callback = &ignoreMessage;
  const auto log = Singleton<CFiTraceLog>::instance(false);
  const auto errors = Singleton<CFiErrorManager>::instance(false);
  const auto catalogs = Singleton<CFiMessageCatalogManager>::instance(false);
  ACE_String_Base<char> first;
  ACE_String_Base<char> second;
  log->initialize("sample", first, second, 6, false);
  catalogs->registerFactory(CFiMessageCatalogFactorySPtr(new CFiIcuMessageCatalogFactory("root", "sample")));
  errors->registerHandler(new CFiErrorHandler(context, catalogs, "de"));
  qmfi_create_context();
  const CFiTraceLogFunction scope(log, "sample_run", __LINE__, __FILE__);
  guarded([]() -> int { throw std::runtime_error("in the sample"); });
  qmfi_close_context();
  return static_cast<int>(errors->messages().size());
}

extern "C" void sample_end() {
  Singleton<CFiMessageCatalogManager>::instance(true);
  Singleton<CFiTraceLog>::instance(true);
  Singleton<CFiErrorManager>::instance(true);
}
