// The command lines that the provider runs.
//
// Required: a prefix that ends in a blank is followed by another one, so most commands have two. Nothing is quoted,
// which is why names are words.
#ifndef QMFS_COMMAND_LINES_H
#define QMFS_COMMAND_LINES_H

#include <string>

#include "qmfs_command_word.h"

// Each is the command of the program in its name, for one path or device.
std::string mkdirCommand(const CommandWord& path);
std::string rmdirCommand(const CommandWord& path);
std::string mkfsCommand(const CommandWord& device);
std::string fsckCommand(const CommandWord& device);

// Each mounts a device. This one without "-o" when the options are empty.
std::string mountCommand(const CommandWord& device, const CommandWord& mountPoint, const std::string& options);
// Required: with "-o" also when the options are empty.
std::string onlineMountCommand(const CommandWord& device, const CommandWord& mountPoint, const std::string& options);
// Required: the two blanks stand before "-o", in accessMountCommand too.
std::string snapshotMountCommand(const CommandWord& device, const CommandWord& mountPoint);
std::string accessMountCommand(const CommandWord& device, const CommandWord& mountPoint, const std::string& options);

// Each unmounts; by force with one of several programs, which take different paths.
std::string umountCommand(const CommandWord& mountPoint);
std::string forcedUmountCommand(const std::string& program, const CommandWord& mountPoint);

// Each asks for what is on a device, who uses a mount point, and what is mounted.
std::string fstypCommand(const std::string& program, const CommandWord& device);
std::string fuserCommand(const CommandWord& mountPoint);
std::string mountListCommand();

// Both remount: for a safe log, and for a fast one.
std::string cacheEnableCommand(const CommandWord& device, const CommandWord& mountPoint);
std::string cacheDisableCommand(const CommandWord& device, const CommandWord& mountPoint);

// The query for the file-system package.
std::string installCheckCommand();

#endif
