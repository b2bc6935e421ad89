// The command lines that the provider runs.
//
// Required: a prefix that ends in a blank is followed by another one, so most commands have two. Nothing is quoted.
#ifndef QMFS_COMMAND_LINES_H
#define QMFS_COMMAND_LINES_H

#include <string>

std::string mkdirCommand(const std::string& path);
std::string rmdirCommand(const std::string& path);
std::string mkfsCommand(const std::string& device);
std::string fsckCommand(const std::string& device);
// Without "-o" when the options are empty.
std::string mountCommand(const std::string& device, const std::string& mountPoint, const std::string& options);
// Required: with "-o" also when the options are empty.
std::string onlineMountCommand(const std::string& device, const std::string& mountPoint, const std::string& options);
// Required: the two blanks stand before "-o".
std::string snapshotMountCommand(const std::string& device, const std::string& mountPoint);
std::string accessMountCommand(const std::string& device, const std::string& mountPoint, const std::string& options);
std::string umountCommand(const std::string& mountPoint);
std::string forcedUmountCommand(const std::string& program, const std::string& mountPoint);
std::string fstypCommand(const std::string& program, const std::string& device);
std::string fuserCommand(const std::string& mountPoint);
std::string mountListCommand();
// Remounts for a safe log and for a fast one.
std::string cacheEnableCommand(const std::string& device, const std::string& mountPoint);
std::string cacheDisableCommand(const std::string& device, const std::string& mountPoint);
// The query for the file-system package.
std::string installCheckCommand();

#endif
