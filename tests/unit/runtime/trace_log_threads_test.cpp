// Tracing from many threads: records stay whole and in each thread's order, whatever the split context does meanwhile.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <thread>

#include "open_split_context.h"
#include "support/trace_capture.h"

namespace {

using namespace qmfi_pdk_4_4;

constexpr int threadCount = 8;
constexpr int recordCount = 500;

// The text of a record: its thread, its number and a filling that is long for some.
std::string textOf(int thread, int number) {
  const std::size_t filling = number % 50 == 0 ? 6000 : static_cast<std::size_t>(number % 97);
  return std::to_string(thread) + " " + std::to_string(number) + " " +
         std::string(filling, static_cast<char>('a' + thread));
}

void traceAll(CFiTraceLog& log, int thread) {
  for (int number = 0; number < recordCount; ++number) log.trace(1, "%s", textOf(thread, number).c_str());
}

void expectEveryRecordOnceAndInOrder(const std::vector<TraceRecord>& records) {
  ASSERT_EQ(records.size(), static_cast<std::size_t>(threadCount) * recordCount);
  std::map<int, int> next;
  std::map<int, std::string> numbers;
  for (const TraceRecord& record : records) {
    const int thread = std::stoi(record.text);
    ASSERT_EQ(record.text, textOf(thread, next[thread]++));
    ASSERT_EQ(numbers.emplace(thread, record.numbers).first->second, record.numbers);
  }
}

TEST(TraceLogThreadsTest, WritesWholeRecordsInEachThreadsOrder) {
  TraceDirectory traces;
  CFiTraceLog log;
  traces.open(log, 1);
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) threads.emplace_back([&log, i] { traceAll(log, i); });
  for (std::thread& thread : threads) thread.join();
  expectEveryRecordOnceAndInOrder(traces.records());
}

TEST(TraceLogThreadsTest, LosesNothingWhileTheSplitContextOpensAndCloses) {
  TraceDirectory traces;
  CFiTraceLog log;
  traces.open(log, 1);
  std::atomic<int> running{threadCount};
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([&log, &running, i] {
      traceAll(log, i);
      --running;
    });
  }
  while (running != 0) {
    const OpenSplitContext context;
    const auto size = traces.content().size();
    EXPECT_EQ(traces.content().size(), size);
  }
  for (std::thread& thread : threads) thread.join();
  expectEveryRecordOnceAndInOrder(traces.records());
}

TEST(TraceLogThreadsTest, WritesNothingOnceTheSplitContextIsOpen) {
  TraceDirectory traces;
  CFiTraceLog log;
  traces.open(log, 1);
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([&] {
      while (!stop) log.trace(1, "x");
    });
  }
  for (int i = 0; i < 20; ++i) {
    const OpenSplitContext context;
    const auto size = std::filesystem::file_size(traces.directory().file("sample.log"));
    std::this_thread::yield();
    EXPECT_EQ(std::filesystem::file_size(traces.directory().file("sample.log")), size);
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
}

TEST(TraceLogThreadsTest, CountsTheUsersOfTheSplitContextFromAllThreads) {
  TraceDirectory traces;
  CFiTraceLog log;
  traces.open(log, 1);
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([] {
      for (int round = 0; round < 200; ++round) {
        qmfi_create_context();
        qmfi_close_context();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  log.trace(1, "written at once");
  EXPECT_THAT(traces.texts(), testing::ElementsAre("written at once"));
}

}  // namespace
