// The command lines that the provider runs.
//
// Required: a prefix that ends in a blank is followed by another one, so most commands have two. Nothing is quoted,
// which is why names are words.
#ifndef QMFS_COMMAND_LINES_H
#define QMFS_COMMAND_LINES_H

#include "qmfs_command_word.h"

#include <string>

std::string mkdirCommand(const CommandWord& path);
std::string rmdirCommand(const CommandWord& path);
std::string mkfsCommand(const CommandWord& device);
std::string fsckCommand(const CommandWord& device);
// Without "-o" when the options are empty.
std::string mountCommand(const CommandWord& device, const CommandWord& mountPoint, const std::string& options);
// Required: with "-o" also when the options are empty.
std::string onlineMountCommand(const CommandWord& device, const CommandWord& mountPoint, const std::string& options);
// Required: the two blanks stand before "-o".
std::string snapshotMountCommand(const CommandWord& device, const CommandWord& mountPoint);
std::string accessMountCommand(const CommandWord& device, const CommandWord& mountPoint, const std::string& options);
std::string umountCommand(const CommandWord& mountPoint);
std::string forcedUmountCommand(const std::string& program, const CommandWord& mountPoint);
std::string fstypCommand(const std::string& program, const CommandWord& device);
std::string fuserCommand(const CommandWord& mountPoint);
std::string mountListCommand();
// Remounts for a safe log and for a fast one.
std::string cacheEnableCommand(const CommandWord& device, const CommandWord& mountPoint);
std::string cacheDisableCommand(const CommandWord& device, const CommandWord& mountPoint);
// The query for the file-system package.
std::string installCheckCommand();

#endif
