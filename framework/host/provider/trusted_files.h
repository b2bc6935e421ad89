// The files that a provider's code, texts and settings come from.
#ifndef TRUSTED_FILES_H
#define TRUSTED_FILES_H

#include <filesystem>
#include <string>
#include <vector>

namespace qmfi_host {

// The directory of texts in other languages: those of a provider by its name, qmfi's own by "qmfi".
std::filesystem::path textsOf(const std::string& owner);

// The same directory with all that is in it.
std::vector<std::filesystem::path> filesOfTexts(const std::string& owner);

// The descriptor of a provider that is installed in the directory.
std::filesystem::path descriptorOf(const std::filesystem::path& directory, const std::string& name);

// What is read when a provider is started: its library and its descriptor, which lie in the directory, its settings,
// and the directories of its texts and of qmfi's with all that is in them. Settings and texts are where the environment
// or else the system has them.
std::vector<std::filesystem::path> filesOfProvider(const std::filesystem::path& directory, const std::string& name);

// The log that a provider keeps.
std::filesystem::path logOfProvider(const std::string& name);

// Throws HostError when a provider has settings that cannot be read: the runtime library would go on without them.
void requireReadableSettings(const std::string& name);

}  // namespace qmfi_host

#endif
