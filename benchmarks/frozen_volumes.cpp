// Volumes that are held still while they are split, and what their writers notice of it.
#include "frozen_volumes.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <stdexcept>
#include <thread>

#include "yardsticks/plain_spawn.h"

namespace bench {

namespace {

using namespace std::chrono_literals;

// Right after a freeze the next one finds the kernel's work still done, as no snapshot does.
constexpr auto coolDown = 100ms;
constexpr auto programTime = 60s;

bool runFsfreeze(const char* option, const Volume& volume) {
  std::string output;
  return spawnAndCapture({{"/sbin/fsfreeze", option, volume.path()}}, output, programTime) == 0;
}

std::vector<std::string> spreadOver(const Volumes& volumes, std::size_t writers) {
  const std::size_t count = std::min(writers, volumes.size());
  std::vector<std::string> paths;
  for (std::size_t i = 0; i < count; ++i) paths.push_back(volumes[i * volumes.size() / count]->path());
  return paths;
}

}  // namespace

Volumes firstOf(const std::vector<std::unique_ptr<Volume>>& volumes, std::size_t count) {
  Volumes chosen;
  for (std::size_t i = 0; i < count; ++i) chosen.push_back(volumes.at(i).get());
  return chosen;
}

std::vector<std::string> pathsOf(const Volumes& volumes) {
  std::vector<std::string> paths;
  for (const Volume* volume : volumes) paths.push_back(volume->path());
  return paths;
}

void splitAll(const Volumes& volumes) {
  for (const Volume* volume : volumes) volume->split();
}

void splitInTurn(const Volumes& volumes, const VolumeRequest& freeze, const VolumeRequest& thaw) {
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

void splitByPrograms(const Volumes& volumes) {
  splitInTurn(
      volumes, [](const Volume& volume) { return runFsfreeze("-f", volume); },
      [](const Volume& volume) { return runFsfreeze("-u", volume); });
}

std::vector<Stall> watch(const std::function<void()>& way, const Volumes& volumes, Load load, std::size_t writers) {
  for (const Volume* volume : volumes) {
    if (load == Load::dirty) volume->makeDirty(dirtyMegabytes);
  }
  LiveWriters live(spreadOver(volumes, writers));
  std::this_thread::sleep_for(coolDown);
  way();
  auto stalls = live.stop();
  for (const Volume* volume : volumes) volume->clean();
  return stalls;
}

}  // namespace bench
