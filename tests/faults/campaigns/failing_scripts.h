// Scripts that are run again and again, each time with another one of a kind failing: an allocation, a lock.
#ifndef FAILING_SCRIPTS_H
#define FAILING_SCRIPTS_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "campaign.h"
#include "scripts.h"

namespace faults {

using Transcript = std::vector<CallRecord>;

// What fails while a script runs.
struct Fault {
  std::string name;          // of one, in the names of cases
  std::uint64_t only = 0;    // the only number that fails; 0 for each
  bool keepsMemory = false;  // whether blocks may be left behind
  std::string keptOpen{};    // a path below the machine's directory on which a descriptor may stay; may be empty
  std::function<void(std::uint64_t number)> plan{};  // number 0 only counts
  std::function<void()> forget{};
  std::function<std::uint64_t()> planned{};  // how many there were since the plan was made
  std::function<void()> started{};           // called when the plug-in has been started, if it is set
  std::vector<std::string> names{};          // of each, in the names of cases, if they differ
};

// What comes of one call of a script: the usual, an end of the script that is right, or what is wrong.
enum class Judgement { usual, absorbed, reported, wrong };
// failsHere: the call is the first one in which something failed.
using Judge = std::function<Judgement(const CallRecord& record, const CallRecord& usual, bool failsHere)>;

class FailingScript {
 public:
  // Runs it as usual, which is a case.
  FailingScript(Campaign& campaign, Machine& machine, const Script& script, Fault fault);

  // Runs it once for every number that is to fail, and judges the calls until a judgement is not the usual. how: the
  // end of the cases' names. Nothing may stay behind. Returns how many cases that were.
  std::uint64_t failEach(const std::string& how, const Judge& judge);

 private:
  // look: is given the host when all its calls are made and nothing is left to be given back.
  void run(std::uint64_t number, const std::function<void(const Host&)>& look);
  void failOne(std::uint64_t number, const Judge& judge);
  std::string nameOf(std::uint64_t number) const;
  void judgeTranscript(const Transcript& transcript, const Judge& judge);

  Campaign& m_campaign;
  Machine& m_machine;
  const Script& m_script;
  const Fault m_fault;
  Transcript m_usual;
  std::uint64_t m_count = 0;
};

}  // namespace faults

#endif
