// The results as lines of plots, for gnuplot.
#ifndef PLOTS_H
#define PLOTS_H

#include <string>
#include <vector>

#include "result.h"

namespace bench {

// Writes a file for each plot that the results have a place in, PLOT.dat with blanks as underscores: a block for each
// line, its title first, then the place and the median in seconds of each point; our lines come first. Throws
// std::runtime_error when that fails.
void writePlots(const std::string& directory, const std::vector<Result>& results);

}  // namespace bench

#endif
