// A campaign: many cases of one kind of fault, counted, with one line of JSON at its end.
#ifndef CAMPAIGN_H
#define CAMPAIGN_H

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace faults {

struct CampaignOptions {
  bool full = false;
  // Ends with the first failure, for who only asks whether there is one.
  bool untilFailure = false;
  // Runs only the cases whose names contain this text; all when it is empty.
  std::string only;
  // Mount points of real file systems for the driver campaign.
  std::vector<std::string> volumes;
  // Runs the memory campaign's cases with this allocation only, and shows where it is; 0 for all.
  std::uint64_t allocation = 0;
  // The same for the mutexes campaign's locks.
  std::uint64_t lock = 0;
  // What the random choices of the threads campaign begin with.
  std::uint64_t seed = 20261121;
};

// Counts cases and failures, and says on standard error what failed. One thread at a time.
class Campaign {
 public:
  Campaign(std::string name, const CampaignOptions& options);

  const CampaignOptions& options() const { return m_options; }
  bool quick() const { return !m_options.full; }
  bool wants(const std::string& caseName) const { return caseName.find(m_options.only) != std::string::npos; }

  // Begins a case; what fails from now on is its failure. The name is told when the program crashes, too.
  void begin(const std::string& caseName);
  // Ends the program where the campaign is to end with its first failure.
  void failed(const std::string& what);
  // Says on standard error what is no failure but worth a look.
  void note(const std::string& what) const;
  void expect(bool fulfilled, const std::string& what) {
    if (!fulfilled) failed(what);
  }
  template <typename Value>
  void expectEqual(const Value& expected, const Value& actual, const std::string& what) {
    if (!(expected == actual)) failed(what + ": expected " + shown(expected) + ", was " + shown(actual));
  }
  void expectNone(const std::vector<std::string>& differences) {
    for (const std::string& difference : differences) failed(difference);
  }
  // Adds to a figure of the campaign's line.
  void count(const std::string& figure, std::uint64_t number = 1) { m_figures[figure] += number; }

  std::uint64_t failures() const { return m_failures; }
  // Writes the line to standard output. Returns the program's exit status.
  int finish();

 private:
  static std::string shown(const std::string& text) { return "\"" + text + "\""; }
  static std::string shown(std::int64_t number) { return std::to_string(number); }
  static std::string shown(const std::vector<std::string>& texts);

  const std::string m_name;
  const CampaignOptions m_options;
  const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
  std::uint64_t m_cases = 0;
  std::uint64_t m_failures = 0;
  std::map<std::string, std::uint64_t> m_figures;
};

}  // namespace faults

#endif
