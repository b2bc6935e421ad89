// Building a plug-in's context when it is started, and tearing it down when it is stopped.
#ifndef CFIAPILIFECYCLE_H
#define CFIAPILIFECYCLE_H

#include "cfientryguard.h"
#include "cfierrorhandler.h"

#include <memory>
#include <string>

namespace qmfi_pdk_4_4 {

// The native language of a host's context record; empty when it names none.
inline std::string nativeLanguageOf(const kfi_context* context) {
  const bool named = context != nullptr && context->kcx_language != nullptr && *context->kcx_language != nullptr;
  return named ? *context->kcx_language : "";
}

// Opens the trace log unless it is open already.
inline void openTraceLog(CFiTraceLog& traceLog) {
  if (!traceLog.isInitialized()) {
    ACE_String_Base<char> defaultDirectory;
    ACE_String_Base<char> secondDirectory;
    traceLog.initialize(cfi_pgn_name_tstr, defaultDirectory, secondDirectory, CFI_TRACE_ERROR, false);
  }
}

// Creates the singletons, ties them together and starts the provider. Opens no trace scope, since the log is only
// opened here. Returns the status of the provider's init.
template <typename Plugin>
int startPlugin(kfi_context* context, kfi_version* version, const char* fimName) {
  if (version == nullptr) {
    return CFI_STATUS_NO_VERSION_RECORD;
  }
  *version = kfi_version{7, 0, 0, 0};

  constexpr int messageIndexOffset = 6000;
  const auto plugin = CFiContextSingleton<Plugin, FI_PLUGIN_NAME>::instance(false);
  plugin->setProviderName(cfi_pgn_name_tstr);
  plugin->setFimName(fimName);
  plugin->setMessageIndexOffset(messageIndexOffset);

  const auto catalogManager = CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(false);
  const auto traceLog = CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
  const auto errorManager = CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(false);
  const auto privateDataManager = CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false);
  const auto sessionManager = CFiContextSingleton<CFiSessionManager, FI_PLUGIN_NAME>::instance(false);

  traceLog->setErrorManager(errorManager);
  privateDataManager->registerTraceLog(traceLog);
  openTraceLog(*traceLog);

  const std::string language = nativeLanguageOf(context);
  if (!language.empty()) {
    catalogManager->setNativeLanguage(language);
  }
  auto handler = std::make_unique<CFiErrorHandler>(context, catalogManager, language);
  errorManager->registerHandler(handler.release());

  plugin->registerTraceLog(traceLog);
  plugin->registerErrorManager(errorManager);
  plugin->registerCatalogManager(catalogManager);
  plugin->registerPrivateDataManager(privateDataManager);
  plugin->registerSessionManager(sessionManager);
  return plugin->init();
}

// Stops the provider and drops the singletons. Required: the session manager stays until the library is unloaded.
template <typename Plugin>
void stopPlugin(const char* entryPoint, int line) {
  const CFiTraceLogFunction scope(CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false), entryPoint, line,
                                  CFI_ENTRY_POINT_FILE);
  CFiPluginBase::isShuttingDown(true);
  CFiContextSingleton<Plugin, FI_PLUGIN_NAME>::instance(false)->fini();
  CFiContextSingleton<Plugin, FI_PLUGIN_NAME>::instance(true);
  CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(true);
  CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(true);
  CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(true);
  CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(true);
}

}  // namespace qmfi_pdk_4_4

#endif
