// Medians and quartiles of samples.
#ifndef STATISTICS_H
#define STATISTICS_H

#include <vector>

namespace bench {

// The value below which that share (0 to 1) of the samples lies. 0 for no samples.
double quantile(std::vector<double> samples, double share);

double median(const std::vector<double>& samples);

// The distance between the quartiles.
double spread(const std::vector<double>& samples);

}  // namespace bench

#endif
