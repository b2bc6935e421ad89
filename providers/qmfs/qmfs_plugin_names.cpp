// Names: of devices, of generated mount points, as commands can carry them, and as the framework receives them.
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "K_strings.h"
#include "K_time.h"
#include "qmfs_log_texts.h"
#include "qmfs_node_access.h"
#include "qmfs_plugin.h"

using namespace qmfi_pdk_4_4;

namespace {

constexpr const char* blockPrefix = "/dev/qm/d";
constexpr const char* rawPrefix = "/dev/qm/rd";

// Required: the prefix may stand anywhere, but it is always the first characters that are replaced.
void replacePrefix(std::string& device, const char* from, const char* to) {
  if (device.find(from) != std::string::npos) device = to + device.substr(std::strlen(from));
}

}  // namespace

int fipgn_get_objid(const char* name, qmfi_objid** object) {
  if (name == nullptr || object == nullptr) return 1;
  qmfi_objid* const found = qmfi_get_objid(name, static_cast<std::uint32_t>(std::strlen(name)), KFI_OBJID_PATH);
  if (found == nullptr) return 1;
  *object = found;
  return 0;
}

void CQmFSPlugin::convertBlockToRawDevice(std::string& device) {
  const auto scope = traceScope("convertBlockToRawDevice");
  replacePrefix(device, blockPrefix, rawPrefix);
}

void CQmFSPlugin::convertRawToBlockDevice(std::string& device) {
  const auto scope = traceScope("convertRawToBlockDevice");
  replacePrefix(device, rawPrefix, blockPrefix);
}

std::optional<CommandWord> CQmFSPlugin::acceptedMountPoint(const std::string& path) {
  std::optional<CommandWord> word = CommandWord::of(path);
  if (!word) trace(CFI_TRACE_REJECTED, qmfs_log::notMountPoint, path.c_str());
  return word;
}

std::optional<CommandWord> CQmFSPlugin::acceptedDevice(const char* device) {
  if (device == nullptr) return std::nullopt;
  // A command without a device would choose for itself what it works on.
  std::optional<CommandWord> word = *device != '\0' ? CommandWord::of(device) : std::nullopt;
  if (!word) trace(CFI_TRACE_REJECTED, qmfs_log::notDevice, device);
  return word;
}

bool CQmFSPlugin::acceptsOptions(const std::string& options) {
  if (areCommandOptions(options)) return true;
  trace(CFI_TRACE_REJECTED, qmfs_log::notOptions, options.c_str());
  return false;
}

int CQmFSPlugin::createPathAndAllocBuffer(const ACE_String_Base<char>& path, char*** paths, int* count) {
  const auto scope = traceScope("createPathAndAllocBuffer");
  std::unique_ptr<char*, FreeDeleter> array(static_cast<char**>(std::malloc(sizeof(char*))));
  if (array == nullptr) return CFI_STATUS_NO_MEMORY;
  const std::size_t length = path.length();
  auto* const buffer = static_cast<char*>(qmfi_alloc_buf(length + 1));
  if (buffer == nullptr) {
    throw CFiError(CFI_STATUS_NO_MEMORY, "Bad allocation for path", "qmfs_plugin_names.cpp", "createPathAndAllocBuffer",
                   __LINE__);
  }
  K_strlncpy(buffer, path.c_str(), length, length + 1);
  *array = buffer;
  *paths = array.release();
  *count = 1;
  return 0;
}

std::string CQmFSPlugin::getTime() {
  const auto scope = traceScope("getTime");
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  K_localtime(&now, &local);
  char stamp[15];
  K_snprintf(stamp, sizeof stamp, "%02d%02d%04d%02d%02d%02d", local.tm_mday, local.tm_mon + 1, local.tm_year + 1900,
             local.tm_hour, local.tm_min, local.tm_sec);
  return stamp;
}

void CQmFSPlugin::generateName(const std::string& name, std::string& generated) {
  const auto scope = traceScope("generateName");
  trace(CFI_TRACE_DETAIL, qmfs_log::nameReceived, name.c_str());
  const std::size_t slash = name.rfind('/');
  generated = slash != std::string::npos ? name.substr(slash) : "/" + name;
  trace(CFI_TRACE_DETAIL, qmfs_log::nameGenerated, generated.c_str());
}
