// Freezing many file systems for a snapshot: how long live writers stand still, and how far apart.
//
// Runs in the testbed, with volumes mounted on /bench/0, /bench/1 and so on.
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "comparison.h"
#include "live_writers.h"
#include "quiesce_nodes.h"
#include "yardsticks/plain_spawn.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::size_t dirtyBytes = std::size_t{64} << 20;
// Right after a freeze the next one finds the kernel's work still done, as no snapshot does.
constexpr auto coolDown = 100ms;
constexpr auto programTime = 60s;

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

class File {
 public:
  File(const std::string& path, int flags) : m_descriptor(open(path.c_str(), flags | O_CLOEXEC, 0600)) {
    if (m_descriptor < 0) fail(path);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() { close(m_descriptor); }
  int get() const { return m_descriptor; }

 private:
  int m_descriptor;
};

// A mounted volume, and a file beside the volume's own that becomes its clone.
class Volume {
 public:
  explicit Volume(const std::string& path)
      : m_path(path),
        m_directory(path, O_RDONLY | O_DIRECTORY),
        m_image(backingFile(), O_RDONLY),
        m_clonePath(backingFile() + "-clone"),
        m_clone(m_clonePath, O_RDWR | O_CREAT) {}
  ~Volume() { unlink(m_clonePath.c_str()); }

  const std::string& path() const { return m_path; }
  int directory() const { return m_directory.get(); }

  void flush() const {
    if (syncfs(m_directory.get()) != 0 || fdatasync(m_image.get()) != 0) fail("flush of " + m_path);
  }
  void split() const {
    if (ioctl(m_clone.get(), FICLONE, m_image.get()) != 0) fail("clone of " + m_path);
  }
  // A new file, since the kernel begins at once to write out one that was emptied and filled again.
  void makeDirty() const {
    const std::string block(std::size_t{1} << 20, 'x');
    const File file(m_path + "/dirty", O_WRONLY | O_CREAT | O_EXCL);
    for (std::size_t written = 0; written < dirtyBytes; written += block.size()) {
      if (write(file.get(), block.data(), block.size()) != static_cast<ssize_t>(block.size())) fail("write");
    }
  }
  void clean() const {
    fs::remove(m_path + "/dirty");
    if (ftruncate(m_clone.get(), 0) != 0) fail("clone");
    flush();
  }

 private:
  std::string backingFile() const {
    struct stat status {};
    if (stat(m_path.c_str(), &status) != 0) fail(m_path);
    std::ifstream file("/sys/dev/block/" + std::to_string(major(status.st_dev)) + ":" +
                       std::to_string(minor(status.st_dev)) + "/loop/backing_file");
    std::string name;
    std::getline(file, name);
    return name;
  }

  std::string m_path;
  File m_directory;
  File m_image;
  std::string m_clonePath;
  File m_clone;
};

using Volumes = std::vector<const Volume*>;

// The ways to hold volumes still while they are split. Each leaves nothing frozen, also when it throws.

void splitAll(const Volumes& volumes) {
  for (const Volume* volume : volumes) volume->split();
}

// As the host does it.
void byPlugin(bench::QuiesceNodes& nodes, const Volumes& volumes) {
  for (const Volume* volume : volumes) volume->flush();
  nodes.quiesce();
  try {
    splitAll(volumes);
  } catch (...) {
    nodes.unquiesce();
    throw;
  }
  nodes.unquiesce();
}

using Act = std::function<bool(const Volume&)>;

void inTurn(const Volumes& volumes, const Act& freeze, const Act& thaw) {
  std::size_t frozen = 0;
  while (frozen < volumes.size() && freeze(*volumes[frozen])) ++frozen;
  std::exception_ptr error;
  try {
    if (frozen < volumes.size()) throw std::runtime_error("not frozen");
    splitAll(volumes);
  } catch (...) {
    error = std::current_exception();
  }
  for (std::size_t i = 0; i < frozen; ++i) thaw(*volumes[i]);
  if (error) std::rethrow_exception(error);
}

void byRequests(const Volumes& volumes) {
  inTurn(
      volumes, [](const Volume& volume) { return ioctl(volume.directory(), FIFREEZE, 0) == 0; },
      [](const Volume& volume) { return ioctl(volume.directory(), FITHAW, 0) == 0; });
}

bool runFsfreeze(const char* option, const Volume& volume) {
  std::string output;
  return bench::spawnAndCapture({"/sbin/fsfreeze", option, volume.path()}, output, programTime) == 0;
}

void byPrograms(const Volumes& volumes) {
  inTurn(
      volumes, [](const Volume& volume) { return runFsfreeze("-f", volume); },
      [](const Volume& volume) { return runFsfreeze("-u", volume); });
}

enum class Load { idle, dirty };

std::vector<bench::Stall> watch(const std::function<void()>& way, const Volumes& volumes, Load load) {
  std::vector<std::string> paths;
  for (const Volume* volume : volumes) paths.push_back(volume->path());
  for (const Volume* volume : volumes) {
    if (load == Load::dirty) volume->makeDirty();
  }
  bench::LiveWriters writers(paths);
  std::this_thread::sleep_for(coolDown);
  way();
  const auto stalls = writers.stop();
  for (const Volume* volume : volumes) volume->clean();
  return stalls;
}

void measure(const bench::LoadedPlugin& plugin, const Volumes& volumes, Load load,
             std::vector<bench::Comparison>& results) {
  const bool dirty = load == Load::dirty;
  const int repetitions = dirty ? 5 : 9;
  std::vector<std::string> paths;
  for (const Volume* volume : volumes) paths.push_back(volume->path());
  bench::QuiesceNodes nodes(plugin, paths);
  std::vector<double> ours;
  std::vector<double> skew;
  std::vector<double> requests;
  std::vector<double> requestsAgain;
  std::vector<double> programs;
  for (int repetition = 0; repetition < repetitions; ++repetition) {
    const auto stalls = watch([&] { byPlugin(nodes, volumes); }, volumes, load);
    ours.push_back(bench::longestStall(stalls));
    skew.push_back(bench::greatestSkew(stalls));
    requests.push_back(bench::longestStall(watch([&] { byRequests(volumes); }, volumes, load)));
    programs.push_back(bench::longestStall(watch([&] { byPrograms(volumes); }, volumes, load)));
    requestsAgain.push_back(bench::longestStall(watch([&] { byRequests(volumes); }, volumes, load)));
  }
  const bool most = volumes.size() == 16;
  const std::string what = std::to_string(volumes.size()) + (dirty ? " XFS, 64 MB dirty each" : " XFS, idle");
  bench::Comparison serial{"8", "writer's stall, " + what, "FIFREEZE in turn", "ms", ours, requests, {}};
  if (most) serial.goal = dirty ? 0.06 : 0.10;
  results.push_back(serial);
  results.push_back({"8", "writer's stall, " + what, "fsfreeze in turn", "ms", ours, programs, {}});
  results.push_back(
      {"A/A", "writer's stall, " + what + ": FIFREEZE in turn", "itself", "ms", requestsAgain, requests, {}});
  if (volumes.size() > 1) results.push_back({"8", "skew, " + what, "", "ms", skew, {}, 1.0});
}

}  // namespace

int main(int count, char** words) {
  if (count != 2) return 2;
  const bench::LoadedPlugin plugin;
  std::vector<std::unique_ptr<Volume>> volumes;
  for (int number = 0; fs::exists("/bench/" + std::to_string(number)); ++number) {
    volumes.push_back(std::make_unique<Volume>("/bench/" + std::to_string(number)));
  }
  std::vector<bench::Comparison> results;
  for (const std::size_t fileSystems : {1U, 4U, 16U}) {
    Volumes chosen;
    for (std::size_t i = 0; i < fileSystems; ++i) chosen.push_back(volumes.at(i).get());
    measure(plugin, chosen, Load::idle, results);
    measure(plugin, chosen, Load::dirty, results);
  }
  bench::writeComparisons(words[1], results);
  return 0;
}
