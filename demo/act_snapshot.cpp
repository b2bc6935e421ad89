// The first act: a snapshot of live file systems.
#include <algorithm>
#include <iomanip>

#include "acts.h"
#include "demo_error.h"
#include "ledger.h"
#include "machine_state.h"
#include "snapshot_client.h"
#include "writer_process.h"

namespace demo {

namespace {

struct Result {
  Numbers numbers;
  Clock::duration held;  // the writer's longest write during the snapshot
};

double milliseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

std::string text(const Numbers& numbers) {
  std::string line;
  for (const std::uint64_t number : numbers) line += (line.empty() ? "" : ", ") + std::to_string(number);
  return line;
}

// Reads the numbers out of the snapshot and judges them.
Result check(const TakenSnapshot& snapshot, WriterProcess& writer, Clock::time_point before, Clock::time_point after) {
  Result result{};
  for (std::size_t i = 0; i < result.numbers.size(); ++i) {
    result.numbers[i] = readNumber(snapshot.nodes().at(i).alternate);
  }
  if (!isOneMoment(result.numbers)) throw DemoError("the copies are not of one moment: " + text(result.numbers));
  // By now the write that the freeze held has been completed, and others that began after it.
  writer.waitForNumbers(2);
  const std::vector<LogEntry> log = writer.log();
  const std::string wrong = contradiction(result.numbers, log, before, after);
  if (!wrong.empty()) throw DemoError(wrong);
  result.held = longestWrite(log, before, after);
  return result;
}

void requireNothingLeft(const MachineState& before) {
  const std::string left = lastingDifference(before);
  if (!left.empty()) throw DemoError("the machine is not as before:\n" + left);
  if (countSnapshots() != 0) throw DemoError("qmfi still knows a snapshot");
}

const std::vector<std::string>& mountPoints() {
  static const std::vector<std::string> list(ledgerMountPoints.begin(), ledgerMountPoints.end());
  return list;
}

}  // namespace

void playSnapshot(std::ostream& out) {
  const MachineState machine = machineState();
  WriterProcess writer;
  out << "A program numbers entries in /mnt/orders, then /mnt/invoices, then /mnt/ledger, each forced to disk.\n";
  const auto before = Clock::now();
  TakenSnapshot snapshot(mountPoints());
  const auto after = Clock::now();
  out << std::fixed << std::setprecision(1) << "Snapshot " << snapshot.id()
      << " taken while it writes: all three frozen together for " << milliseconds(snapshot.frozen()) << " ms.\n";
  const Result result = check(snapshot, writer, before, after);
  for (std::size_t i = 0; i < result.numbers.size(); ++i) {
    out << "  entry " << result.numbers[i] << " is the last in " << snapshot.nodes()[i].alternate << "\n";
  }
  out << "The three belong to one moment: no entry without the one that was written before it.\n"
      << "By the program's own log every entry completed before is there, and none begun afterwards.\n"
      << "The program noticed a write of " << milliseconds(result.held) << " ms and goes on.\n";
  snapshot.remove();
  requireNothingLeft(machine);
  out << "The snapshot is deleted; nothing is left mounted, frozen or attached.\n";
}

void playRounds(std::ostream& out, int rounds) {
  const MachineState machine = machineState();
  WriterProcess writer;
  for (int round = 1; round <= rounds; ++round) {
    const auto before = Clock::now();
    TakenSnapshot snapshot(mountPoints());
    const auto after = Clock::now();
    const Result result = check(snapshot, writer, before, after);
    snapshot.remove();
    requireNothingLeft(machine);
    out << std::fixed << std::setprecision(1) << "Round " << round << ": frozen for " << milliseconds(snapshot.frozen())
        << " ms, last entries " << text(result.numbers) << ".\n";
  }
}

}  // namespace demo
