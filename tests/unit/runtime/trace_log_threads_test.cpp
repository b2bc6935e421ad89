// Tracing from many threads: records stay whole and in each thread's order, whatever the split context does meanwhile.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <thread>

#include "trace_fixture.h"

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

void expectEveryRecordOnceAndInOrder(const std::vector<TraceRecordText>& records) {
  ASSERT_EQ(records.size(), static_cast<std::size_t>(threadCount) * recordCount);
  std::map<int, int> next;
  std::map<int, std::string> numbers;
  for (const TraceRecordText& record : records) {
    const int thread = std::stoi(record.text);
    ASSERT_EQ(record.text, textOf(thread, next[thread]++));
    const std::string threadNumber = record.head.substr(record.head.find(' '));
    ASSERT_EQ(numbers.emplace(thread, threadNumber).first->second, threadNumber);
  }
}

TEST(TraceLogThreadsTest, writesWholeRecordsInEachThreadsOrder) {
  TraceDirectory place;
  CFiTraceLog log;
  place.open(log, 1);
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) threads.emplace_back([&log, i] { traceAll(log, i); });
  for (std::thread& thread : threads) thread.join();
  expectEveryRecordOnceAndInOrder(place.records());
}

TEST(TraceLogThreadsTest, losesNothingWhileTheSplitContextOpensAndCloses) {
  TraceDirectory place;
  CFiTraceLog log;
  place.open(log, 1);
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
    const auto size = place.content().size();
    EXPECT_EQ(place.content().size(), size);
  }
  for (std::thread& thread : threads) thread.join();
  expectEveryRecordOnceAndInOrder(place.records());
}

TEST(TraceLogThreadsTest, writesNothingOnceTheSplitContextIsOpen) {
  TraceDirectory place;
  CFiTraceLog log;
  place.open(log, 1);
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([&] {
      while (!stop) log.trace(1, "x");
    });
  }
  for (int i = 0; i < 20; ++i) {
    const OpenSplitContext context;
    const auto size = std::filesystem::file_size(place.directory().file("sample.log"));
    std::this_thread::yield();
    EXPECT_EQ(std::filesystem::file_size(place.directory().file("sample.log")), size);
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
}

TEST(TraceLogThreadsTest, countsTheUsersOfTheSplitContextFromAllThreads) {
  TraceDirectory place;
  CFiTraceLog log;
  place.open(log, 1);
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
  EXPECT_THAT(place.texts(), testing::ElementsAre("written at once"));
}

}  // namespace
