// Freezing, mounting and remembering, with one system call each.
#include "plain_xfs_plugin.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <mntent.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

#include "cficatchladder.h"
#include "cficontextsingleton.h"
#include "cfiprivatedatamanager.h"
#include "cfiproviderinfo.h"

using namespace qmfi_pdk_4_4;

namespace {

constexpr int failed = 6;
constexpr std::int32_t pathKind = 1;
constexpr std::int32_t objectKind = 3;

const char* nameOf(const kfi_domain* node) {
  return node->fid_objid->vid_name;
}

qmfi_objid* identifierOf(const std::string& name, std::int32_t kind) {
  return qmfi_get_objid(name.c_str(), static_cast<std::uint32_t>(name.size()), kind);
}

struct Mounted {
  std::string device;
  std::string type;
};

// What a mount table says of a mount point; the last line holds.
std::optional<Mounted> mountedOn(const char* table, const std::string& mountPoint) {
  const std::unique_ptr<FILE, decltype(&endmntent)> file(setmntent(table, "re"), &endmntent);
  std::optional<Mounted> found;
  while (const mntent* const line = file != nullptr ? getmntent(file.get()) : nullptr) {
    if (mountPoint == line->mnt_dir) found = Mounted{line->mnt_fsname, line->mnt_type};
  }
  return found;
}

std::optional<std::string> deviceOfMount(const std::string& mountPoint) {
  const auto mounted = mountedOn("/proc/self/mounts", mountPoint);
  if (!mounted || mounted->type != "xfs" || mountedOn("/etc/mtab", mountPoint)) return std::nullopt;
  return mounted->device;
}

CFiPrivateDataFactorySPtr factory() {
  return CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false)->getProviderFactory();
}

// Takes the device up into the node's private data.
int recordDevice(kfi_domain* node, bool alternate) {
  const auto device = deviceOfMount(nameOf(node));
  if (!device) return failed;
  const CFiPrivateDataSPtr data = factory()->allocate(node, alternate);
  if (data->getSubObjectListLength() == 0) data->addSubObject(identifierOf(*device, objectKind));
  return 0;
}

int mountSnapshot(const char* device, const char* mountPoint) {
  if (mkdir(mountPoint, 0755) != 0 && errno != EEXIST) return failed;
  return mount(device, mountPoint, "xfs", MS_RDONLY, "nouuid") == 0 ? 0 : failed;
}

int unmountSnapshot(const char* mountPoint) {
  if (!deviceOfMount(mountPoint)) return 0;
  return umount2(mountPoint, 0) == 0 && rmdir(mountPoint) == 0 ? 0 : failed;
}

}  // namespace

int CPlainXfsPlugin::init() {
  const auto manager = CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false);
  manager->setProviderFactory(CFiPrivateDataFactorySPtr(new CFiPrivateDataConcreteFactory<CFiPrivateData>()));
  return 0;
}

void CPlainXfsPlugin::fini() {}

int CPlainXfsPlugin::getProviderInfo(kfi_provider_list** list) {
  CFiProviderInfo info;
  info.name = cfi_pgn_name_tstr;
  info.version = kfi_version{1, 0, 0, 0};
  info.attributes[0] = 0;
  info.attributes[1] = 0;
  info.fiTypes = {"xfs"};
  *list = CFiProviderInfoListFactory::allocateListElement(info);
  return 0;
}

int CPlainXfsPlugin::claim(qmfi_objid* object, qmfi_objid*** groups, int* count) {
  *groups = nullptr;
  *count = 0;
  return deviceOfMount(object->vid_name) ? 1 : 0;
}

int CPlainXfsPlugin::checkNodeExistence(kfi_domain* node, int* exists) {
  *exists = deviceOfMount(nameOf(node)) ? 1 : 0;
  return 0;
}

int CPlainXfsPlugin::isParentPgn(char* /*device*/, int* isParent, int /*reserved*/) {
  *isParent = 0;
  return 0;
}

int CPlainXfsPlugin::initNode(kfi_domain* node, kfi_domain** domains, int count, qmfi_objid* /*object*/) {
  auto* const quiesceNode = static_cast<kfi_quiescenode*>(qmfi_alloc_buf(sizeof(kfi_quiescenode)));
  *quiesceNode = kfi_quiescenode{strdup("xfs"), node, count > 0 ? domains[0] : nullptr};
  node->fid_qnode = quiesceNode;
  return count > 0 ? recordDevice(node, false) : 0;
}

int CPlainXfsPlugin::initAltNode(kfi_domain* /*first*/, kfi_domain* /*second*/, kfi_domain* target, bool /*remote*/) {
  return recordDevice(target, true);
}

int CPlainXfsPlugin::quiesce(kfi_quiescenode** nodes, int count, char* /*options*/) {
  qmfi_create_context();
  for (int i = 0; i < count; ++i) {
    m_descriptors.push_back(::open(nameOf(nodes[i]->kqn_node), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }
  for (std::size_t i = 0; i < m_descriptors.size(); ++i) {
    if (::ioctl(m_descriptors[i], FIFREEZE, 0) == 0) continue;
    thaw(i);
    return failed;
  }
  return 0;
}

int CPlainXfsPlugin::unquiesce(kfi_quiescenode** /*nodes*/, int /*count*/) {
  thaw(m_descriptors.size());
  return 0;
}

void CPlainXfsPlugin::thaw(std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (::ioctl(m_descriptors[i], FITHAW, 0) != 0) {
      pushMessage("MSG_NOT_THAWED", {}, KFI_SEVERITY_ERROR, CFiSourceLocation::here());
    }
  }
  for (const int descriptor : m_descriptors) ::close(descriptor);
  m_descriptors.clear();
  qmfi_close_context();
}

int CPlainXfsPlugin::buildAltTree(kfi_domain* domain, char* /*fiid*/, qmfi_objid** /*objects*/,
                                  qmfi_objid** snapObjects, int /*count*/, qmfi_objid** altObject) {
  const char* const alternate = domain->fid_subobjs[0].kse_altname;
  *altObject = identifierOf(alternate, pathKind);
  return mountSnapshot(snapObjects[0]->vid_name, alternate);
}

int CPlainXfsPlugin::online(kfi_domain* /*domain*/, kfi_domain* node, int /*mode*/, kfi_disposition /*disposition*/) {
  const CFiPrivateDataSPtr data = factory()->access(node);
  if (!data || data->getSubObjectListLength() == 0) return failed;
  return mountSnapshot(data->getSubObjectList()[0]->vid_name, nameOf(node));
}

int CPlainXfsPlugin::dispose(kfi_domain* /*first*/, kfi_domain* node, kfi_splitnode* /*splitNode*/,
                             kfi_disposition /*disposition*/) {
  return unmountSnapshot(nameOf(node));
}

int CPlainXfsPlugin::deportTree(kfi_domain* /*primary*/, kfi_domain* alternate, kfi_accessnode* /*access*/) {
  return unmountSnapshot(nameOf(alternate));
}

// The state of a node is its device.
int CPlainXfsPlugin::processProviderState(kfi_domain* node, kfi_blob* blob, kfi_op_providerstate operation) {
  const CFiPrivateDataSPtr data = factory()->allocate(node, false);
  if (operation == KFI_PROVIDERSTATE_STORE) {
    if (data->getSubObjectListLength() == 0) data->addSubObject(identifierOf(blob->kb_buffer, objectKind));
    return 0;
  }
  const std::string device = data->getSubObjectList()[0]->vid_name;
  *blob = {device.size() + 1, static_cast<char*>(qmfi_alloc_buf(device.size() + 1)), KFI_BLOB_TEXT, 0};
  std::memcpy(blob->kb_buffer, device.c_str(), device.size() + 1);
  return 0;
}
