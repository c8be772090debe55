#include "optimizer/base/pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

namespace optimizer {
namespace {

TEST(Pool, PartsCoverARangeOnceWithAnyNumberOfThreads) {
  for (unsigned threads : {1u, 2u, 8u}) {
    WorkerPool pool(threads);
    std::vector<std::atomic<int>> seen(1000);
    pool.parallelFor(3, [&](std::size_t task) {
      inParts(task * 300, task * 300 + 301, 7, [&](std::size_t begin, std::size_t end) {
        EXPECT_GE(end - begin, 7u);
        for (std::size_t i = begin; i < end; ++i) ++seen[i];
      });
    });
    for (std::size_t i = 0; i < 901; ++i) EXPECT_EQ(seen[i], i == 300 || i == 600 ? 2 : 1) << i;
  }
}

TEST(Pool, HalvesOfATaskRunAtTheSameTime) {
  WorkerPool pool(2);
  std::atomic<int> arrived{0};
  const auto meet = [&] {
    ++arrived;
    const auto start = std::chrono::steady_clock::now();
    while (arrived < 2 && std::chrono::steady_clock::now() - start < std::chrono::seconds(20))
      std::this_thread::yield();
    EXPECT_EQ(arrived, 2);
  };
  pool.parallelFor(1, [&](std::size_t) { inParallel(meet, meet); });
}

TEST(Pool, ExceptionsOfEitherHalfComeOut) {
  WorkerPool pool(2);
  const auto fail = [] { throw std::runtime_error("no"); };
  const auto wait = [] { std::this_thread::sleep_for(std::chrono::milliseconds(5)); };
  int caught = 0;
  pool.parallelFor(1, [&](std::size_t) {
    for (int i = 0; i < 3; ++i) {
      try {
        inParallel(i == 1 ? std::function<void()>(wait) : fail, i == 0 ? std::function<void()>(wait) : fail);
      } catch (const std::runtime_error&) {
        ++caught;
      }
    }
  });
  EXPECT_EQ(caught, 3);
}

TEST(Pool, OutsideOfATaskBothRunInTurn) {
  std::vector<int> order;
  inParallel([&] { order.push_back(1); }, [&] { order.push_back(2); });
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

}  // namespace
}  // namespace optimizer
