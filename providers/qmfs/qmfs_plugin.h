// The snapshot provider for file systems of type qmfs.
#ifndef QMFS_PLUGIN_H
#define QMFS_PLUGIN_H

#include <ace/SString.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cficatchladder.h"
#include "cfipluginbase.h"
#include "qmfs_command_runner.h"
#include "qmfs_command_word.h"
#include "qmfs_configuration.h"
#include "qmfs_frozen_set.h"
#include "qmfs_mount_table.h"
#include "qmfs_private_data.h"

// Process-wide settings; zero until init has read them.
extern TuningParameters m_tuningParams;

// Mount points of a cluster file system. Nothing fills or reads the list.
extern std::vector<std::string> m_vecCfsMountPoints;

extern "C" {

// The framework's identifier of a name, without a terminator counted and of kind 1. Returns 0 and stores it, or 1 when
// there is none; a null argument is 1 too.
int fipgn_get_objid(const char* name, qmfi_objid** object);
}

// What a mount point is used for at the moment.
enum QmfsMountStatus : int { QMFS_NOT_MOUNTED = 1, QMFS_MOUNTED = 2, QMFS_MOUNT_STATUS_UNKNOWN = 3 };

// The group of objects that this provider quiesces.
inline constexpr char QMFS_QUIESCE_GROUP[] = "qmfs-quiesce";

// Configuration parameter with the freeze time-out in seconds.
inline constexpr const char* QMFS_FREEZE_TIMEOUT = "qmfsFreezeTimeout";

// What an operation does, takes and answers stands in cfientrypoints.def; only what this provider adds is said here.
// Operations that the framework calls catch every exception through the catch ladder and return a status; helpers
// throw, as they say. A missing argument is status 3, before anything is done. Operations may run on several threads,
// except that only one quiesce can be outstanding.
class CQmFSPlugin : public qmfi_pdk_4_4::CFiPluginBase {
 public:
  CQmFSPlugin() = default;
  // Thaws what is still quiesced.
  ~CQmFSPlugin() override;

  // Start, stop and identity.

  int init() override;
  void fini() override;
  int getProviderInfo(kfi_provider_list** list) override;
  // Required: stores 0 whatever the type is, and answers 0 always.
  int supportsFiType(kfi_domain* domain, char* fiType) override;

  // Claim, existence and parent checks.

  // Ours is a path, not a device's, where a file system of type qmfs is mounted; the one group is qmfs-quiesce.
  int claim(qmfi_objid* object, qmfi_objid*** groups, int* count) override;
  int checkNodeExistence(kfi_domain* node, int* exists) override;
  int isParentPgn(char* device, int* isParent, int reserved) override;

  // Node initialisation.

  int initNode(kfi_domain* node, kfi_domain** domains, int count, qmfi_objid* object) override;
  int initAltNode(kfi_domain* first, kfi_domain* second, kfi_domain* target, bool remote) override;

  // Quiesce and thaw.

  int quiesce(kfi_quiescenode** nodes, int count, char* options) override;
  int unquiesce(kfi_quiescenode** nodes, int count) override;

  // Alternate tree.

  int buildAltTree(kfi_domain* domain, char* fiid, qmfi_objid** objects, qmfi_objid** snapObjects, int count,
                   qmfi_objid** altObject) override;
  int importTreeNode(kfi_domain* domain, qmfi_objid** objects, qmfi_objid** snapObjects, int count,
                     qmfi_objid** altObject) override;
  int reAccessAltNode(kfi_domain* domain, qmfi_objid* altObject, qmfi_objid* other, char* name, qmfi_objid** out1,
                      qmfi_objid** out2, int count, kfi_intent intent) override;

  // Online, dispose, deport and provider state.

  int online(kfi_domain* domain, kfi_domain* node, int mode, kfi_disposition disposition) override;
  int dispose(kfi_domain* first, kfi_domain* node, kfi_splitnode* splitNode, kfi_disposition disposition) override;
  int deportTree(kfi_domain* primary, kfi_domain* alternate, kfi_accessnode* access) override;
  int processProviderState(kfi_domain* node, kfi_blob* blob, kfi_op_providerstate operation) override;

  // Access and cache control.

  int enableAccess(kfi_node_subobj_list* list, long flags, int level, int options) override;
  int disableAccess(kfi_node_subobj_list* list, long flags) override;
  int cacheEnable(kfi_domain* domain, int reserved) override;
  int cacheDisable(kfi_domain* domain, int reserved) override;

  // Resources.

  int format(char** devices, int count, char* extra1, char* type, char* extra2, int flags, char*** paths,
             int* pathCount) override;
  int onlineResource(char** devices, int count, char* mountPoint, char* type, char* options, char* extra3, int extra4,
                     char*** paths, int* pathCount) override;

  // Commands. Those without a result throw EFiExecPipe when the command fails.

  // Runs a command for at most timeoutSeconds, appending what it prints to output. Returns the exec-pipe code and sets
  // exitStatus when the command ended with a non-zero one.
  int executeCommand(const std::string& command, std::vector<std::string>& output, int& exitStatus, int timeoutSeconds);
  // Each runs the program that its subject needs, and throws EFiExecPipe when that fails.
  void createMntPoint(const CommandWord& path);
  void removeMntPoint(const CommandWord& path);
  void mkfs(const CommandWord& device);
  void fsck(const CommandWord& device);
  // Mounts with the options, or without any when they are empty.
  void mount(const CommandWord& mountPoint, const CommandWord& device, const std::string& options);
  // Conversion between platforms is not offered: always 4.
  int fscdsconv(const std::string& device);
  // The file-system type on a device as its type program prints it; empty on any failure.
  std::string getFSType(const CommandWord& device);
  // 0 and the first type program that exists, or 6. Required: the opposite sense to getUmountLocation.
  int getFSTypeLocation(std::string& path);
  // Whether there is a program for forced unmounts; then path is the first that exists.
  bool getUmountLocation(std::string& path);

  // Unmount.

  // 0 when nothing is mounted there any more, 3 without a mount point or for one that a command cannot name, 6 when the
  // mount table cannot be read, 32 when it stays busy. Throws the exit status as int, or EFiExecPipe from the retries.
  int QmFSUmount(char* mountPoint, bool force);
  // Tries a busy unmount again, waiting twice as long each time. 0, or 32 when the last attempt finds the device busy;
  // throws EFiExecPipe when it fails otherwise, or at once without retries.
  int umountRetry(const ACE_String_Base<char>& command, int retries, int sleepSeconds);
  // Writes what is known about a mount point and a device (may be empty) to the trace; returns the last part of it.
  std::string dumpMountInformation(const CommandWord& mountPoint, const std::string& device);
  // A QmfsMountStatus.
  int getMountStatus(const char* mountPoint);

  // Names.

  // Both change the path of a volume's device in place; any other path is left as it is.
  void convertBlockToRawDevice(std::string& device);
  void convertRawToBlockDevice(std::string& device);
  // Hands one path to the framework: an array to be freed with free, and in it a buffer of qmfi_alloc_buf. 0, or 5 when
  // there is no memory for the array; throws CFiError 5 when there is none for the buffer.
  int createPathAndAllocBuffer(const ACE_String_Base<char>& path, char*** paths, int* count);
  // Local time as DDMMYYYYhhmmss.
  std::string getTime();
  // A top-level mount point named like the last component of a path.
  void generateName(const std::string& name, std::string& generated);

  // Freezing. descriptors and nodes have count entries.

  // Freezes all or none. 0 or 6.
  int qmFreezeAll(const std::int32_t* descriptors, std::int32_t count, std::int32_t timeout);
  // Freezes one after another. 0 or 6.
  int qmFreeze(const std::int32_t* descriptors, kfi_quiescenode** nodes, std::int32_t count, std::int32_t timeout);
  // Thaws the first count. 0, or the negative result of the last one that failed.
  int thawFileSystemList(const std::int32_t* descriptors, kfi_quiescenode** nodes, std::int32_t count);
  // Closes the first count; does nothing for a null list or a count of 0 or less.
  void closeFDList(const std::int32_t* descriptors, std::int32_t count);

  // Whether the file-system package is installed.
  bool isInstalled();

  // One-entry array with the identifier of the quiesce group, as claim hands it out; its entry is null until then.
  static qmfi_objid* grpobjid[1];
  // Whether there is a cluster file system. Nothing reads it.
  static bool isCfsInstalled;

 private:
  // A new one for commands that have nothing to do with those before.
  CQmFSCommandRunner commandRunner() const { return CQmFSCommandRunner(traceLog()); }

  struct UmountAttempt;
  int unmount(const CommandWord& mountPoint, bool force);
  bool runUmount(UmountAttempt& attempt);
  int umountWithoutForce(UmountAttempt& attempt);
  void traceUmountFailure(const UmountAttempt& attempt);

  // The name as a word of a command. What none can carry is shown in the trace; a missing device is only refused.
  std::optional<CommandWord> acceptedMountPoint(const std::string& path);
  std::optional<CommandWord> acceptedDevice(const char* device);
  // Whether a command line can carry them. What it cannot is shown in the trace.
  bool acceptsOptions(const std::string& options);

  void declareParameters();

  int attachSubObject(CQmFSPrivateData& data, const char* device);
  int recordMount(kfi_domain* node, CQmFSPrivateData& data, bool alternate);

  enum class ThawReport { messages, traceOnly };
  int quiesceNodes(kfi_quiescenode** nodes, std::int32_t count);
  std::int32_t freezeTimeout(qmfi_pdk_4_4::CFiPrivateData& config);
  int openMountPoints(kfi_quiescenode** nodes, std::int32_t count);
  int freezeNodes(kfi_quiescenode** nodes, std::int32_t count, std::int32_t timeout);
  int endQuiesce(std::int32_t count);
  void abandonQuiesce();
  void closeContext(ThawReport report) noexcept;
  int thawQuiesced(ThawReport report);
  int reportFailedThaws();
  void thawDescriptors();

  int buildAltNode(kfi_domain* domain, const CommandWord& device, qmfi_pdk_4_4::CFiPrivateDataFactory& factory,
                   qmfi_objid** altObject);
  std::string importedAlternateName(const kfi_domain* domain, const qmfi_pdk_4_4::CFiPrivateDataSPtr& data);
  int importAltNode(const CommandWord& alternate, qmfi_objid** snapObjects);
  void storeAlternateIdentifier(const char* operation, const std::string& alternate, qmfi_objid** altObject);

  int bringOnline(kfi_domain* node);
  int takeOffline(kfi_domain* node, kfi_disposition disposition);
  int deportAltNode(char* name);

  // What came of enabling one node: mounted, or the status that ends the walk.
  struct NodeAccess {
    bool mounted;
    int status;
  };
  NodeAccess enableNode(const kfi_node_subobj_list& element);
  NodeAccess mountNode(const kfi_node_subobj_list& element, const char* device, const char* name);
  int disableNode(kfi_domain& node, bool force);
  using RemountCommand = std::string (*)(const CommandWord& device, const CommandWord& mountPoint);
  int remount(kfi_domain* domain, RemountCommand command);

  int bringResourceOnline(const char* device, const std::string& mountPoint, const std::string& options,
                          bool generated);
  void makeResourceMountPoint(const CommandWord& mountPoint);
  void mountResource(const CommandWord& device, const CommandWord& mountPoint, const std::string& options);

  enum class QuiesceState { idle, changing, quiesced };
  std::atomic<QuiesceState> m_quiesceState{QuiesceState::idle};
  CQmFSFrozenSet m_frozenSet;
  // Whether the split context is to be closed.
  bool m_isContextOpen = false;
};

#endif
