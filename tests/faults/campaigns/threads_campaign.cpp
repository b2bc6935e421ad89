// Every entry point from many threads at once; between the rounds one thread stops the plug-in and another starts it
// again, while all others are quiet.
#include <array>
#include <thread>

#include "campaigns.h"
#include "thread_calls.h"

namespace faults {

namespace {

constexpr int threadCount = 16;

struct Load {
  int rounds;
  int callsOfThread;  // in each round
};

class ThreadsCampaign {
 public:
  explicit ThreadsCampaign(Campaign& campaign) : m_campaign(campaign), m_machine(threadCount) {
    m_shared = {m_machine.fileSystem(0), m_machine.device(0)};
    // With the first thread, a sanitizer makes one of its own.
    std::thread([] {}).join();
  }

  void runRound(int round, int callsOfThread) {
    m_campaign.begin("round " + std::to_string(round) + " of seed " + std::to_string(m_campaign.options().seed));
    m_machine.reset();
    // Everything that a program does it says it has done: the machine is as it was for all threads.
    for (const char* program : {"/bin/mkdir", "/bin/rmdir", "/bin/mount", "/bin/umount", "/opt/KRIB/bin/qmumount"}) {
      m_machine.programs.answer(program, Answer());
    }
    {
      Provider provider;
      int status = -1;
      std::thread([&] { status = provider.start(); }).join();
      m_campaign.expectEqual<std::int64_t>(0, status, "init");
      workTogether(provider, round, callsOfThread);
      std::thread([&] { provider.stop(); }).join();
      ++m_calls["init"];
      ++m_calls["fini"];
    }
    m_campaign.expectNone(m_machine.differences());
  }

  void expectAllEntryPoints() {
#define EXPECT_CALLS(name, result, parameters) m_campaign.expect(m_calls[#name] > 0, #name " was never called");
    FOREIGN_ENTRY_POINTS(EXPECT_CALLS)
#undef EXPECT_CALLS
    for (const auto& [name, count] : m_calls) m_campaign.count("calls", count);
  }

 private:
  // Each thread initialises its nodes, calls and de-initialises them, beside all others.
  void workTogether(Provider& provider, int round, int callsOfThread) {
    std::array<Worker::Record, threadCount> records;
    std::vector<std::thread> threads;
    for (int number = 0; number < threadCount; ++number) {
      const std::uint64_t seed = m_campaign.options().seed + static_cast<std::uint64_t>(round * threadCount + number);
      Worker::Record& record = records[static_cast<std::size_t>(number)];
      threads.emplace_back([this, &provider, &record, number, seed, callsOfThread] {
        Worker(provider, m_shared, m_machine.fileSystem(number), seed, record).work(callsOfThread);
      });
    }
    for (std::thread& thread : threads) thread.join();
    for (const Worker::Record& record : records) {
      m_campaign.expectNone(record.failures);
      for (const auto& [name, count] : record.calls) m_calls[name] += count;
    }
  }

  Campaign& m_campaign;
  Machine m_machine;
  SharedNames m_shared;
  std::map<std::string, std::uint64_t> m_calls;
};

}  // namespace

void runThreadsCampaign(Campaign& campaign) {
  const Load load = campaign.quick() ? Load{25, 250} : Load{200, 5000};
  campaign.count("seed", campaign.options().seed);
  ThreadsCampaign threads(campaign);
  for (int round = 0; round < load.rounds; ++round) threads.runRound(round, load.callsOfThread);
  threads.expectAllEntryPoints();
}

}  // namespace faults
