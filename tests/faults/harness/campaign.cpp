// A campaign: its cases, failures and line of figures.
#include "campaign.h"

#include <unistd.h>

#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "support/allocation_faults.h"

namespace faults {

namespace {

// For the signal handler, which may not take memory.
char currentCase[512];

void tellCase(int signal) {
  for (const char* text : {"crashed in case ", static_cast<const char*>(currentCase), "\n"}) {
    if (write(STDERR_FILENO, text, std::strlen(text)) < 0) break;
  }
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

constexpr std::uint64_t mostFailuresShown = 40;

}  // namespace

Campaign::Campaign(std::string name, const CampaignOptions& options) : m_name(std::move(name)), m_options(options) {
  for (const int signal : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGALRM}) std::signal(signal, tellCase);
}

void Campaign::begin(const std::string& caseName) {
  ++m_cases;
  std::snprintf(currentCase, sizeof currentCase, "%s: %s", m_name.c_str(), caseName.c_str());
}

void Campaign::failed(const std::string& what) {
  ++m_failures;
  if (m_failures <= mostFailuresShown) std::fprintf(stderr, "%s: %s\n", currentCase, what.c_str());
  if (m_failures == mostFailuresShown) std::fprintf(stderr, "%s: further failures are only counted\n", m_name.c_str());
  // What is left frozen or running ends with the testbed.
  if (m_options.untilFailure) _exit(finish());
}

void Campaign::note(const std::string& what) const {
  std::fprintf(stderr, "%s: (%s)\n", currentCase, what.c_str());
}

std::string Campaign::shown(const std::vector<std::string>& texts) {
  std::string list;
  for (const std::string& text : texts) list += (list.empty() ? "" : ", ") + shown(text);
  return "[" + list + "]";
}

int Campaign::finish() {
  const auto seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
  nlohmann::ordered_json line = {{"campaign", m_name},
                                 {"form", quick() ? "quick" : "full"},
                                 {"cases", m_cases},
                                 {"failures", m_failures},
                                 {"seconds", std::floor(seconds * 10) / 10}};
  if (!m_options.only.empty()) line["only"] = m_options.only;
  for (const auto& [figure, number] : m_figures) line[figure] = number;
  std::printf("%s\n", line.dump().c_str());
  std::fflush(stdout);
  return m_failures == 0 && m_cases > 0 ? 0 : 1;
}

}  // namespace faults
