// A provider by its file's name.
#include "conformance/subject.h"

#include "cfimounttable.h"
#include "failure/host_error.h"
#include "provider/provider_entry_points.h"
#include "provider/trusted_files.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

// "lib<name>.so"; empty for any other file name.
std::string providerNameOf(const std::string& file) {
  constexpr std::size_t prefix = 3;
  constexpr std::size_t suffix = 3;
  if (file.size() <= prefix + suffix || !file.starts_with("lib") || !file.ends_with(".so")) return {};
  std::string name = file.substr(prefix, file.size() - prefix - suffix);
  return isProviderName(name) ? name : std::string();
}

FileSystemPlace placeOf(const std::string& mountPoint, const ProviderDescriptor& descriptor) {
  const std::optional<qmfi_pdk_4_4::CFiMount> mount = qmfi_pdk_4_4::wholeMountOn(mountPoint);
  const std::string device = mount ? qmfi_pdk_4_4::devicePathOf(*mount) : std::string();
  if (device.empty()) {
    throw HostError(ExitStatus::notFound, translate("no file system of a device is mounted on {0}", mountPoint))
        .about(mountPoint);
  }
  return {mountPoint, device, descriptor.freezeRequest, descriptor.thawRequest};
}

}  // namespace

Subject subjectOf(const std::filesystem::path& library, const std::vector<std::string>& mountPoints) {
  if (!std::filesystem::exists(library)) {
    throw HostError(ExitStatus::notFound, translate("there is no library {0}", library.string())).about(library);
  }
  Subject subject{.library = std::filesystem::canonical(library)};
  subject.name = providerNameOf(library.filename());
  if (subject.name.empty()) {
    throw UsageError(
        translate("\"{0}\" is not what the library of a provider is called: lib and the provider's name, a "
                  "word of letters, digits and _, and .so",
                  library.filename().string()));
  }
  try {
    subject.descriptor = readDescriptor(descriptorOf(subject.library.parent_path(), subject.name));
  } catch (const HostError& error) {
    subject.descriptorFault = error.what();
  }
  for (const std::string& mountPoint : mountPoints) subject.places.push_back(placeOf(mountPoint, subject.descriptor));
  return subject;
}

}  // namespace qmfi_host
