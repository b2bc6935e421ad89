// The provider's start and stop, and what it says of itself.
#include "qmfs_plugin.h"

#include "cfinode.h"
#include "cfiproviderinfo.h"
#include "cfistringtool.h"
#include "qmfs_command_lines.h"
#include "qmfs_log_texts.h"

using namespace qmfi_pdk_4_4;

TuningParameters m_tuningParams;
qmfi_objid* CQmFSPlugin::grpobjid[1];
bool CQmFSPlugin::isCfsInstalled;

// A child that the host has forked meanwhile must not thaw at its end what its parent keeps frozen. The error manager
// may be gone already.
CQmFSPlugin::~CQmFSPlugin() {
  if (m_frozenSet.isOfThisProcess()) thawQuiesced(ThawReport::traceOnly);
}

int CQmFSPlugin::init() {
  const auto scope = traceScope("init");
  bool caught = false;
  const int status = guarded(
      [&]() -> int {
        if (!isInstalled()) {
          trace(CFI_TRACE_ERROR, qmfs_log::notInstalled);
          return CFI_STATUS_NOT_INSTALLED;
        }
        trace(CFI_TRACE_PROGRESS, qmfs_log::installCheckPassed);
        isCfsInstalled = false;
        registerProviderFactories<CQmFSPrivateData>();
        declareParameters();
        CQmFSConfiguration configuration(cfi_pgn_name_tstr);
        configuration.registerTraceLog(traceLog());
        m_tuningParams = configuration.importConfigData();
        trace(CFI_TRACE_PROGRESS, qmfs_log::initialized);
        return 0;
      },
      &caught);
  if (caught) pushMessage("MSG_ERROR_INITIALIZATION_FAILED", {}, KFI_SEVERITY_ERROR, CFiSourceLocation::here());
  return status;
}

void CQmFSPlugin::declareParameters() {
  constexpr int defaultTimeout = 2;
  CFiConfigParamInfo parameter;
  parameter.name = QMFS_FREEZE_TIMEOUT;
  parameter.defaultValue = std::to_string(defaultTimeout);
  parameter.flag = 1;
  globalConfigInfoList(0, true).addParamInfo(parameter);
}

void CQmFSPlugin::fini() {
  const auto scope = traceScope("fini");
  thawQuiesced(ThawReport::messages);
}

bool CQmFSPlugin::isInstalled() {
  const auto scope = traceScope("isInstalled");
  const std::string command = installCheckCommand();
  trace(CFI_TRACE_PROGRESS, qmfs_log::installCheck, command.c_str());
  const CQmFSCommandRun query = commandRunner().run(command);
  if (query.succeeded()) return true;
  trace(CFI_TRACE_ERROR, qmfs_log::commandFailed, command.c_str(), query.message().c_str());
  pushMessage("MSG_ERROR_COMMAND_FAILED",
              {messageText(command), messageText(query.output.empty() ? std::string() : query.output.front())},
              KFI_SEVERITY_ERROR, CFiSourceLocation::here());
  return false;
}

int CQmFSPlugin::getProviderInfo(kfi_provider_list** list) {
  const auto scope = traceScope("getProviderInfo");
  return guarded([&] {
    CFiProviderInfo info;
    info.name = cfi_pgn_name_tstr;
    info.version = kfi_version{KFI_INTERFACE_MAJOR, 0, 0, 0};
    info.attributes[0] = 16;
    info.attributes[1] = 2;
    info.fiTypes = {QMFS_TYPE};
    if (list != nullptr) *list = CFiProviderInfoListFactory::allocateListElement(info);
    return 0;
  });
}

int CQmFSPlugin::supportsFiType(kfi_domain* domain, char* /*fiType*/) {
  const auto scope = traceScope("supportsFiType");
  if (domain != nullptr && domain->fid_supported != nullptr) *domain->fid_supported = 0;
  return 0;
}
