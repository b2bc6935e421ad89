// Volumes that are held still while they are split, and what their writers notice of it.
#ifndef FROZEN_VOLUMES_H
#define FROZEN_VOLUMES_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "live_writers.h"
#include "volume.h"

namespace bench {

using Volumes = std::vector<const Volume*>;

// The first of them.
Volumes firstOf(const std::vector<std::unique_ptr<Volume>>& volumes, std::size_t count);

std::vector<std::string> pathsOf(const Volumes& volumes);

// What a way asks of one volume; false when it is refused.
using VolumeRequest = std::function<bool(const Volume&)>;

void splitAll(const Volumes& volumes);

// The next two leave nothing frozen, also when they throw.

// Freezes one volume after another, splits all, and thaws one after another.
void splitInTurn(const Volumes& volumes, const VolumeRequest& freeze, const VolumeRequest& thaw);

// The same with the program that an administrator has for it.
void splitByPrograms(const Volumes& volumes);

enum class Load { idle, dirty };
constexpr std::size_t dirtyMegabytes = 64;

// Goes a way while there is a writer on each volume, or on that many of them, spread evenly; then everything is written
// out and tidied up.
std::vector<Stall> watch(const std::function<void()>& way, const Volumes& volumes, Load load, std::size_t writers = 64);

}  // namespace bench

#endif
