// Medians and quartiles of samples.
#include "statistics.h"

#include <algorithm>
#include <cstddef>

namespace bench {

double quantile(std::vector<double> samples, double share) {
  if (samples.empty()) return 0;
  std::sort(samples.begin(), samples.end());
  const double place = share * static_cast<double>(samples.size() - 1);
  const auto lower = static_cast<std::size_t>(place);
  const std::size_t upper = std::min(lower + 1, samples.size() - 1);
  return samples[lower] + (place - static_cast<double>(lower)) * (samples[upper] - samples[lower]);
}

double median(const std::vector<double>& samples) {
  return quantile(samples, 0.5);
}

double spread(const std::vector<double>& samples) {
  return quantile(samples, 0.75) - quantile(samples, 0.25);
}

}  // namespace bench
