// Building a plug-in's context when it is started, and tearing it down when it is stopped.
#ifndef CFIAPILIFECYCLE_H
#define CFIAPILIFECYCLE_H

#include <memory>

#include "cfientryguard.h"
#include "cfierrorhandler.h"
#include "cfiscopeexit.h"

namespace qmfi_pdk_4_4 {

// The native language of a host's context record, which may be empty; null when it names none.
inline const char* nativeLanguageOf(const kfi_context* context) {
  return context != nullptr && context->kcx_language != nullptr ? *context->kcx_language : nullptr;
}

// Opens the trace log unless it is open already. A log that cannot be opened stays silent.
inline void openTraceLog(CFiTraceLog& traceLog) {
  if (!traceLog.isInitialized()) {
    ACE_String_Base<char> defaultDirectory;
    ACE_String_Base<char> secondDirectory;
    traceLog.initialize(cfi_pgn_name_tstr, defaultDirectory, secondDirectory, CFI_TRACE_ERROR, false);
  }
}

// Creates the singletons, ties them together and starts the provider. Opens no trace scope, since the log is only
// opened here. context may be null and must outlive the plug-in's work; fimName may be null. Returns the status of the
// provider's init, 6 when a mutex that fails leaves a singleton out, or 7 when version is null. The host calls
// it, and stopPlugin, while no other thread is within the plug-in.
template <typename Plugin>
int startPlugin(kfi_context* context, kfi_version* version, const char* fimName) {
  if (version == nullptr) return CFI_STATUS_NO_VERSION_RECORD;
  *version = kfi_version{KFI_INTERFACE_MAJOR, 0, 0, 0};

  constexpr int messageIndexOffset = 6000;
  const auto plugin = CFiContextSingleton<Plugin, FI_PLUGIN_NAME>::instance(false);
  if (!plugin) return CFI_STATUS_FAILED;
  plugin->setProviderName(cfi_pgn_name_tstr);
  plugin->setFimName(fimName);
  plugin->setMessageIndexOffset(messageIndexOffset);

  const auto catalogManager = CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(false);
  const auto traceLog = CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
  const auto errorManager = CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(false);
  const auto privateDataManager = CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false);
  const auto sessionManager = CFiContextSingleton<CFiSessionManager, FI_PLUGIN_NAME>::instance(false);
  if (!catalogManager || !traceLog || !errorManager || !privateDataManager || !sessionManager) return CFI_STATUS_FAILED;

  traceLog->setErrorManager(errorManager);
  privateDataManager->registerTraceLog(traceLog);
  openTraceLog(*traceLog);

  const char* const language = nativeLanguageOf(context);
  if (language != nullptr) catalogManager->setNativeLanguage(language);
  auto handler = std::make_unique<CFiErrorHandler>(context, catalogManager, language != nullptr ? language : "");
  errorManager->registerHandler(handler.release());

  plugin->registerTraceLog(traceLog);
  plugin->registerErrorManager(errorManager);
  plugin->registerCatalogManager(catalogManager);
  plugin->registerPrivateDataManager(privateDataManager);
  plugin->registerSessionManager(sessionManager);
  return plugin->init();
}

// Required: in this order, and the session manager stays until the library is unloaded.
template <typename Plugin>
void dropSingletons() {
  CFiContextSingleton<Plugin, FI_PLUGIN_NAME>::instance(true);
  CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(true);
  CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(true);
  CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(true);
  CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(true);
}

// Stops the provider and drops the singletons, whichever way the provider's own end goes.
template <typename Plugin>
void stopPlugin(const char* entryPoint, int line) {
  const CFiTraceLogFunction scope(CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false), entryPoint, line,
                                  CFI_ENTRY_POINT_FILE);
  CFiPluginBase::isShuttingDown(true);
  const CFiScopeExit drop([] { dropSingletons<Plugin>(); });
  // Guarded here already: the message of an exception is for the host's handler, which goes with the singletons.
  guardEntryPoint(line, [] {
    const auto plugin = CFiContextSingleton<Plugin, FI_PLUGIN_NAME>::instance(false);
    if (plugin) plugin->fini();
    return 0;
  });
}

}  // namespace qmfi_pdk_4_4

#endif
