// Files named after copies.
#include "volume/record_directory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "failure/host_error.h"
#include "system/durable_file.h"
#include "system/small_file.h"
#include "texts/translation.h"
#include "volume/device_nodes.h"

namespace qmfi_host {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t longestFileName = 255;

std::string encoded(const std::string& name) {
  std::string result;
  for (const char character : name) {
    if (character == '/') {
      result += "%2F";
    } else if (character == '%') {
      result += "%25";
    } else {
      result += character;
    }
  }
  return result;
}

std::string decoded(const std::string& text) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool isCode = text[at] == '%' && at + 2 < text.size();
    if (!isCode) {
      result += text[at];
      continue;
    }
    result += text.compare(at, 3, "%2F") == 0 ? '/' : '%';
    at += 2;
  }
  return result;
}

}  // namespace

RecordDirectory::RecordDirectory(fs::path directory, std::string splitter)
    : m_directory(std::move(directory)), m_suffix("." + std::move(splitter)) {}

std::string RecordDirectory::fileOf(const std::string& snapshotFile) const {
  return m_directory / (encoded(snapshotFile) + m_suffix);
}

void RecordDirectory::requirePossible(const std::string& snapshotFile) const {
  const fs::path longest = qmfi_system::unfinishedFileOf(fileOf(snapshotFile));
  if (longest.filename().native().size() <= longestFileName) return;
  throw HostError(translate("the name {0}, which the snapshot needs, is too long; nothing was frozen", snapshotFile));
}

void RecordDirectory::keep(const std::string& snapshotFile, const std::string& text) const {
  if (mkdir(m_directory.c_str(), 0700) != 0 && errno != EEXIST) {
    throw systemError(translate("the directory {0} could not be made", m_directory.string()))
        .about(m_directory.string());
  }
  const int error = qmfi_system::replaceFile(fileOf(snapshotFile), text);
  if (error != 0) {
    throw systemError(translate("the record of {0} could not be written", snapshotFile), error).about(snapshotFile);
  }
}

void RecordDirectory::remove(const std::string& snapshotFile) const {
  const std::string record = fileOf(snapshotFile);
  removeName(qmfi_system::unfinishedFileOf(record));
  removeName(record);
  const int error = qmfi_system::writeOutDirectory(m_directory);
  if (error != 0 && error != ENOENT) {
    throw systemError(translate("{0} could not be written out", m_directory.string()), error)
        .about(m_directory.string());
  }
}

std::vector<KeptRecord> RecordDirectory::all() const {
  std::vector<KeptRecord> records;
  std::error_code error;
  for (fs::directory_iterator entry(m_directory, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    const fs::path& path = entry->path();
    const auto text = path.extension() == m_suffix ? qmfi_system::readSmallFile(path) : std::nullopt;
    if (text) records.push_back({decoded(path.stem()), *text});
  }
  return records;
}

}  // namespace qmfi_host
