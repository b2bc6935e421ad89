// Scripts in which one after another of a kind fails.
#include "failing_scripts.h"

#include <utility>

#include "support/allocation_faults.h"

namespace faults {

namespace {

std::string described(const CallRecord& record) {
  std::string text = record.entryPoint + " status " + std::to_string(record.status) + " outputs " + record.outputs;
  for (const std::string& message : record.messages) text += " " + message;
  return text;
}

}  // namespace

FailingScript::FailingScript(Campaign& campaign, Machine& machine, const Script& script, Fault fault)
    : m_campaign(campaign), m_machine(machine), m_script(script), m_fault(std::move(fault)) {
  m_campaign.begin(std::string(script.name) + " as usual");
  run(0, [this](const Host& host) {
    m_usual = host.transcript();
    m_count = m_fault.planned();
  });
}

void FailingScript::run(std::uint64_t number, const std::function<void(const Host&)>& look) {
  m_machine.reset();
  m_script.prepare(m_machine);
  Host host(m_machine);
  host.whenStarted = m_fault.started;
  if (!m_fault.keptOpen.empty()) host.mayStay.descriptors.push_back(m_machine.path(m_fault.keptOpen));
  m_fault.plan(number);
  m_script.run(host);
  host.stop();
  m_fault.forget();
  look(host);
  m_campaign.expectNone(m_machine.differences(host.mayStay));
}

std::uint64_t FailingScript::failEach(const std::string& how, const Judge& judge) {
  const std::uint64_t first = m_fault.only != 0 ? m_fault.only : 1;
  const std::uint64_t last = m_fault.only != 0 ? m_fault.only : m_count;
  for (std::uint64_t number = first; number <= last; ++number) {
    m_campaign.begin(std::string(m_script.name) + ", " + nameOf(number) + how);
    failOne(number, judge);
  }
  return last + 1 - first;
}

std::string FailingScript::nameOf(std::uint64_t number) const {
  if (!m_fault.names.empty()) return m_fault.names[number - 1];
  return m_fault.name + " " + std::to_string(number) + " of " + std::to_string(m_count);
}

void FailingScript::failOne(std::uint64_t number, const Judge& judge) {
  const std::uint64_t failuresBefore = m_campaign.failures();
  const std::int64_t blocksBefore = livingBlocks();
  run(number, [&](const Host& host) { judgeTranscript(host.transcript(), judge); });
  if (m_campaign.failures() != failuresBefore) return;
  const std::int64_t blocks = livingBlocks() - blocksBefore;
  m_campaign.expect(blocks == 0 || m_fault.keepsMemory, std::to_string(blocks) + " blocks of memory are left behind");
  m_campaign.expect(!isMapped("libqmfsfi.so"), "the plug-in stays loaded");
}

void FailingScript::judgeTranscript(const Transcript& transcript, const Judge& judge) {
  bool hasFailed = false;
  for (std::size_t i = 0; i < transcript.size(); ++i) {
    const CallRecord& record = transcript[i];
    if (i >= m_usual.size() || record.entryPoint != m_usual[i].entryPoint) {
      return m_campaign.failed("other calls than usual: " + described(record));
    }
    const bool failsHere = record.faultHappened && !hasFailed;
    hasFailed = hasFailed || record.faultHappened;
    // What comes of the calls that follow depends on the one that failed.
    switch (judge(record, m_usual[i], failsHere)) {
      case Judgement::usual:
        break;
      case Judgement::absorbed:
        return m_campaign.count("absorbed");
      case Judgement::reported:
        return m_campaign.count("reported");
      case Judgement::wrong:
        return m_campaign.failed("instead of " + described(m_usual[i]) + " was " + described(record));
    }
  }
  m_campaign.count("unnoticed");
}

}  // namespace faults
