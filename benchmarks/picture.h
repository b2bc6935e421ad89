// The results as a picture.
#pragma once

#include <string>
#include <vector>

#include "result.h"

namespace bench {

// Draws the plots that the results have a place in, as SVG. Throws std::runtime_error when that fails.
void drawPicture(const std::string& path, const std::vector<Result>& results);

}  // namespace bench
