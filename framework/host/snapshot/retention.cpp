// From times to periods.
#include "snapshot/retention.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <iomanip>
#include <numeric>
#include <set>
#include <sstream>

namespace qmfi_host {

namespace {

struct PeriodRule {
  const char* name;
  const char* period;  // as std::put_time() has it; different periods are written differently
  std::optional<int> KeepRules::*count;
};

constexpr std::array periodRules = {
    PeriodRule{"hourly", "%Y-%m-%d %H:00 %z", &KeepRules::hourly},
    PeriodRule{"daily", "%Y-%m-%d", &KeepRules::daily},
    PeriodRule{"weekly", "%G-W%V", &KeepRules::weekly},
    PeriodRule{"monthly", "%Y-%m", &KeepRules::monthly},
};

std::string periodOf(Snapshot::Time time, const char* format) {
  const std::time_t seconds = std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
  std::tm local{};
  localtime_r(&seconds, &local);
  std::ostringstream text;
  text << std::put_time(&local, format);
  return text.str();
}

std::vector<std::size_t> newestFirst(std::span<const Snapshot::Time> taken) {
  std::vector<std::size_t> order(taken.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return taken[a] > taken[b]; });
  return order;
}

}  // namespace

std::vector<std::vector<std::string>> reasonsToKeep(std::span<const Snapshot::Time> taken, const KeepRules& rules) {
  std::vector<std::vector<std::string>> reasons(taken.size());
  const std::vector<std::size_t> order = newestFirst(taken);
  const auto last = std::min(order.size(), static_cast<std::size_t>(rules.last.value_or(0)));
  for (std::size_t i = 0; i < last; ++i) reasons[order[i]].emplace_back("last");
  for (const PeriodRule& rule : periodRules) {
    const auto count = static_cast<std::size_t>((rules.*rule.count).value_or(0));
    std::set<std::string> periods;
    for (const std::size_t one : order) {
      if (periods.size() == count) break;
      const std::string period = periodOf(taken[one], rule.period);
      if (periods.insert(period).second) reasons[one].push_back(std::string(rule.name) + " " + period);
    }
  }
  return reasons;
}

}  // namespace qmfi_host
