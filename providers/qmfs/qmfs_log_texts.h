// The texts of the provider's log.
//
// Required: programs read the log. The texts are agreed with those who wrote these programs, so each stays as it is to
// the byte: words that are spelt wrong, two blanks or none, a blank at the end, a function named by another name. Tests
// compare whole records. The names of functions in "Entering Function" and "Exiting Function" are those of the
// operations and helpers themselves, which a trace scope is given.
#ifndef QMFS_LOG_TEXTS_H
#define QMFS_LOG_TEXTS_H

namespace qmfs_log {

// Commands, and what became of them.
inline constexpr char command[] = "Command : %s";
inline constexpr char commandFailed[] = "command '%s' failed with message '%s'.";
inline constexpr char commandFailedWithCode[] = "command '%s' failed with errorCode [%d] message '%s'.";
inline constexpr char pipeFailed[] = "Exec Pipe failed with error code [%d]";
inline constexpr char pipeFailedWithMessage[] = "execPipe.Exec failed with errorCode [%d] message %s";
inline constexpr char executeCommand[] = "executeCommand - Command : %s";
inline constexpr char executePipeFailed[] = "executeCommand - Exec Pipe failed with error code [%d] and message [%s]";
inline constexpr char executeCommandFailed[] =
    "executeCommand - Command [%s] failed with error code [%d] and message [%s]";
inline constexpr char executeTimedOut[] = "executeCommand - Command [%s] has timmedout";

// The programs for types and forced unmounts, and the type on a device.
inline constexpr char searchingFstyp[] = "Searching for fstype cmd : %s";
inline constexpr char foundFstyp[] = "Found fstype cmd : %s";
inline constexpr char noFstyp[] = "fstype command is not installed";
inline constexpr char foundType[] = "Found fstype for device : %s  as %s";
inline constexpr char noTypePrinted[] = "command '%s' returned no fstype";
inline constexpr char searchingUmount[] = "Searching for umount cmd : %s";
inline constexpr char foundUmount[] = "Found umount cmd : %s";
inline constexpr char noForcedUmount[] = "qmumount command is not installed";

// Start, and the settings.
inline constexpr char notInstalled[] = "CQmFSPlugin::init QmFS not installed.";
inline constexpr char installCheckPassed[] = "QmFS install check passed.";
inline constexpr char initialized[] = "QmFS plugin init successful";
inline constexpr char installCheck[] = "CQmFSPlugin::isInstalled : command : %s";
inline constexpr char sectionOpened[] = "CQmFSConfiguration::importConfigData - Successfully opend section %s";
inline constexpr char timeoutMissing[] = "CQmFSConfiguration::importConfigData - could not find value for  %s";
inline constexpr char serialMissing[] = "CQmFSConfiguration::importConfigData - could not find value for %s";
inline constexpr char timeoutRead[] =
    "CQmFSConfiguration::importConfigData From File - configData.quiescenceTimeout = %d";
inline constexpr char serialRead[] =
    "CQmFSConfiguration::importConfigData From File - configData.allowSerialQuiescence = %d";
inline constexpr char timeoutWithoutSection[] =
    "CQmFSConfiguration::importConfigData - configData.quiescenceTimeout = %d";
inline constexpr char serialWithoutSection[] =
    "CQmFSConfiguration::importConfigData - configData.allowSerialQuiescence = %d";
inline constexpr char timeoutAfterException[] =
    "CQmFSConfiguration::importConfigData in catch - configData.quiescenceTimeout = %d";
inline constexpr char serialAfterException[] =
    "CQmFSConfiguration::importConfigData in catch - configData.allowSerialQuiescence = %d";

// Names that are given, refused and generated.
inline constexpr char notMountPoint[] = "Not a valid mount point path [%s]";
inline constexpr char notDevice[] = "Not a valid device path [%s]";
inline constexpr char notOptions[] = "Not valid mount options [%s]";
inline constexpr char nameReceived[] = "CQmFSPlugin::generateName recieved name : %s";
inline constexpr char nameGenerated[] = "CQmFSPlugin::generateName generated name : %s";

// Claim and existence.
inline constexpr char primaryName[] = "primaryObjid->vid_name : %s";
inline constexpr char callingCheckClaim[] = "Calling qmfs_check_claim";
inline constexpr char checkClaimAnswer[] = "qmfs_check_claim returned claim : %d";
inline constexpr char claim[] = "claim : %d";
inline constexpr char callingCheckClaimOnNode[] = "Calling qmfs_check_claim on node->fid_objid->vid_name : %s";
inline constexpr char nodeExists[] = "Node :%s exists";

// What is mounted, where and how.
inline constexpr char lookupFailed[] = "Mount point entry lookup failed";
inline constexpr char child[] = "Child is : %s";
inline constexpr char alreadyMounted[] = "Device {%s} is already mounted";
inline constexpr char mountedElsewhere[] = "Device {%s} is mounted on different mount point already";
inline constexpr char onlineCallingGetmnt[] = "Calling qmfs_getmnt";
inline constexpr char onlineMount[] = "Device: %s :: mount: %s :: mnt_opts: %s";
inline constexpr char accessCallingGetmnt[] = "Calling qmfs_getmnt for : %s";
inline constexpr char accessMount[] = "Device: %s :: mount: %s";
inline constexpr char resourceCallingGetmnt[] = "Calling qmfs_getmnt for :%s";
inline constexpr char resourceMount[] = "Device: %s :: mntPoint: %s";

// Nodes, and what is remembered of them.
inline constexpr char node[] = "Node: %s";
inline constexpr char nodeCallingGetsubobj[] = "Calling qmfs_getsubobj for %s : %s";
inline constexpr char nodeWithoutDevice[] = "subobj not found for %s : %s";
inline constexpr char nodeDevice[] = "Node: %s :: subobj: %s ";
inline constexpr char deviceAdded[] = "Added subobj to the privated data";
inline constexpr char nodeOptions[] = "Node: %s :: mnt_opts: %s";
inline constexpr char noOptions[] = "CQmFSPrivateData::setMntOpts no mount options are specified";
inline constexpr char optionsReceived[] = "Got mount options for filtering: %s";
inline constexpr char optionsFiltered[] = "Setting filtered mount options: %s";
inline constexpr char stateComposed[] = "getNodeState: [%s] [%d]:[%s] [%d], mnt_opts=[%s], m_subObjectList[0]=[%s]";
inline constexpr char stateNotText[] = "setNodeState() Blob uses non-string encoding.";
inline constexpr char stateParsed[] = "setNodeState: m_mntOpts=[%s], subobj=[%s], altobj=[%s]";

// Freeze and thaw.
inline constexpr char quiesceOutstanding[] = "CQmFSPlugin::quiesce : a quiesce is outstanding already";
inline constexpr char quiesceException[] = "CQmFSPlugin::quiesce : caught exception, calling close_context";
inline constexpr char creatingContext[] = "CQmFSPlugin::quiesce : Calling qmfi_create_context for split operations";
inline constexpr char contextFailed[] =
    "CQmFSPlugin::quiesce : create_context failed with error : %d, calling close_context";
inline constexpr char freezeTimeout[] = "CQmFSPlugin::quiesce - freezeTimeout = %d";
inline constexpr char openFailed[] = "CQmFSPlugin::quiesce : open failed for : %s , errno =[%d]";
inline constexpr char freezeAllFailed[] = "CQmFSPlugin::quiesce : qmFreezeAll failed for the file system.";
inline constexpr char serialNotAllowed[] =
    "CQmFSPlugin::quiesce - Could not quiesce as QM_FREEZE_ALL failed and QM_FREEZE is not allowed.";
inline constexpr char bothFreezesFailed[] =
    "CQmFSPlugin::quiesce - Could not quiesce as QM_FREEZE_ALL and QM_FREEZE calls failed.";
inline constexpr char quiesceThawFailed[] = "CQmFSPlugin::quiesce : ioctl QM_THAW failed, errno=[%d]";
inline constexpr char requestingFreezeAll[] = "CQmFSPlugin::qmFreezeAll : calling ioctl QM_FREEZE_ALL";
inline constexpr char freezeAllRequestFailed[] =
    "CQmFSPlugin::qmFreezeAll : ioctl QM_FREEZE_ALL failed with errno : %d ";
inline constexpr char requestingFreeze[] = "CQmFSPlugin::qmFreeze - calling ioctl QM_FREEZE for %s";
inline constexpr char freezeRequestFailed[] = "CQmFSPlugin::qmFreeze : ioctl QM_FREEZE failed for %s with errno : %d ";
inline constexpr char thawRequestFailed[] =
    "CQmFSPlugin::thawFileSystemList : ioctl QM_THAW failed for %s with errno : %d ";
inline constexpr char closingContext[] = "CQmFSPlugin::unquiesce : calling close_context";
inline constexpr char requestingThaw[] = "CQmFSPlugin::unquiesce : calling ioctl QM_THAW";
inline constexpr char unquiesceThawFailed[] = "CQmFSPlugin::unquiesce : ioctl QM_THAW failed, errno=[%d]";

// The alternate tree. What begins with a blank follows the name of an operation.
inline constexpr char text[] = "%s";
inline constexpr char noIdentifier[] = " : Failed to get objid for :";
inline constexpr char invalidPrefix[] = "buildAltTree() : Invalid prefix :";
inline constexpr char buildGenerated[] = "No altname specified generated  : %s";
inline constexpr char buildMountFailed[] = "Command :%s failed with, return status :%d";
inline constexpr char noPrivateData[] = "Warning : private data is missing for node.";
inline constexpr char buildSucceeded[] = "buildAltTree succeeded";
inline constexpr char importGenerated[] = "CQmFSPlugin::importTreeNode altname not specified, generated :%s";
inline constexpr char importCallingGetsubobj[] = "Calling qmfs_getsubobj for :%s";
inline constexpr char reAccessStatFailed[] = "CQmFSPlugin::reAccessAltNode : stat on %s failed with errno=[%d]";
inline constexpr char deportEmptyAlternate[] =
    "CQmFSPlugin::deportTree: found empty alt node for %s, assuming import failed";
inline constexpr char deportCallingCheckClaim[] = "Calling qmfs_check_claim on :%s";

// Access.
inline constexpr char accessWithoutDevices[] = "list->subobjs list is null";
inline constexpr char accessReadOnly[] = "As CFiPrivateDataSPtr is null, using readonly mount options";
inline constexpr char accessWithoutList[] = "Subobj list is not set ";

// Resources.
inline constexpr char typeNotSupported[] = "type %s is not supported by qmfs provider";
inline constexpr char mkdirPipeFailed[] = "QMFS:onlineResource -execPipe.Exec failed with errorCode [%d]";
inline constexpr char mkdirFailed[] = "QMFS:onlineResource - command '%s' failed with errorCode [%d] message '%s'.";
inline constexpr char mountPipeFailed[] = "qmfs::onlineResource - execPipe returned with error code [%d]";
inline constexpr char mountCommandFailed[] =
    "qmfs::onlineResource - mount command [%s] failed with errorCode [%d] message '%s'.";
inline constexpr char mountedNevertheless[] = "CQMFS::onlineResource - device is mounted on mountPoint";
inline constexpr char notMounted[] = "CQMFS::onlineResource - mount command failed to mount device";
inline constexpr char mountFailed[] = "Mount command failed with message '%s'.";
inline constexpr char mountFailedTryingFsck[] = "Mount command failed with message '%s' trying fsck.";

// Unmounting.
inline constexpr char umountFailed[] = "Umount failed for %s";
inline constexpr char noMountPoint[] = "Mount point is not specified";
inline constexpr char umountCallingGetsubobj[] = "CQmFSPlugin::QmFSUmount calling qmfs_getsubobj for node : %s";
inline constexpr char alreadyUnmounted[] = "Mountpoint %s is already umounted";
inline constexpr char deviceBusy[] = "Device to be unmounted is busy";
inline constexpr char unmountFailed[] = "unmount failed";
inline constexpr char forceNotSupported[] = "Force unmount is not supported";
inline constexpr char unmountedNevertheless[] = "unmountDevice - Device unmount was succesful";
inline constexpr char retrying[] = "Retrying umount... slept time '%d' sec and retry attempt '%d'.";
inline constexpr char retrySucceeded[] = "umount is successful.";
inline constexpr char retryFailed[] = "Command [%s] failed with error code [%d] and output [%s]";

// The dump after a failed mount or unmount: its records, then the pieces of which they are made.
inline constexpr char deviceDump[] = "dumpInformationDevice = %s";
inline constexpr char mountPointDump[] = "dumpInformationMount = %s";
inline constexpr char fuserCommand[] = "dumpInformationFuser: FUSER_CMD = %s";
inline constexpr char fuserDump[] = "dumpInformationFuser = %s";
inline constexpr char mountListCommand[] = "dumpInformationMountCmd: MOUNT_CMD = %s";
inline constexpr char mountListDump[] = "dumpInformationMountCmd = %s";
inline constexpr char dumpingDevice[] = "Dumping device information for device ";
inline constexpr char dumpingDeviceStat[] = "Dumping stat information for device ";
inline constexpr char deviceStatFailed[] = "Stat information failed for the device ";
inline constexpr char dumpingMountPointStat[] = "Dumping stat information for mount point ";
inline constexpr char mountPointStatFailed[] = "Stat information failed for the mount point ";
inline constexpr char withErrorCode[] = "with error code ";
inline constexpr char dumpingFuser[] = "Dumping fuser data for mountpoint using command ";
inline constexpr char fuserFailed[] = "fuser command failed to print usage information with  error code ";
inline constexpr char dumpingMountList[] = "Dumping information about mounted devices using command ";
inline constexpr char mountListFailed[] = "Mount command failed to print mount information with  error code ";
inline constexpr char andOutput[] = "and output ";

}  // namespace qmfs_log

#endif
