#include "optimizer/base/pool.h"

#include <algorithm>
#include <utility>

namespace optimizer {
namespace {

thread_local WorkerPool* poolOfThread = nullptr;

// What work() throws, or null.
std::exception_ptr thrownBy(const std::function<void()>& work) {
  try {
    work();
  } catch (...) {
    return std::current_exception();
  }
  return nullptr;
}

}  // namespace

WorkerPool::WorkerPool(unsigned threads) {
  if (threads == 0) threads = std::max(1u, std::thread::hardware_concurrency());
  for (unsigned i = 1; i < threads; ++i) workers_.emplace_back([this] { work(); });
}

WorkerPool::~WorkerPool() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  changed_.notify_all();
  for (std::thread& worker : workers_) worker.join();
}

// Takes the next task if the budget allows it and runs it unlocked; false when there is nothing to take now.
bool WorkerPool::runOne(std::unique_lock<std::mutex>& lock) {
  if (next_ >= count_) return false;
  const std::size_t cost = cost_ && *cost_ ? (*cost_)(next_) : 0;
  if (running_ > 0 && cost > 0 && held_ + cost > budget_) return false;
  const std::size_t index = next_++;
  const std::function<void(std::size_t)>& task = *task_;
  ++running_;
  held_ += cost;
  lock.unlock();
  WorkerPool* const before = std::exchange(poolOfThread, this);
  task(index);
  poolOfThread = before;
  lock.lock();
  --running_;
  held_ -= cost;
  changed_.notify_all();
  return true;
}

// Takes the half that waits longest, which is the largest of a task's, and runs it unlocked; false when there is none.
bool WorkerPool::runHalf(std::unique_lock<std::mutex>& lock) {
  if (halves_.empty()) return false;
  Half& half = *halves_.front();
  halves_.pop_front();
  half.taken = true;
  lock.unlock();
  WorkerPool* const before = std::exchange(poolOfThread, this);
  std::exception_ptr error = thrownBy(*half.work);
  poolOfThread = before;
  lock.lock();
  half.error = std::move(error);
  half.done = true;
  changed_.notify_all();
  return true;
}

void WorkerPool::split(const std::function<void()>& first, const std::function<void()>& second) {
  Half half{&second, false, false, nullptr};
  {
    std::lock_guard<std::mutex> lock(mutex_);
    halves_.push_back(&half);
  }
  changed_.notify_all();
  const std::exception_ptr error = thrownBy(first);
  std::unique_lock<std::mutex> lock(mutex_);
  if (half.taken) {
    while (!half.done) {
      if (!runHalf(lock)) changed_.wait(lock);
    }
  } else {
    halves_.erase(std::find(halves_.begin(), halves_.end(), &half));
    lock.unlock();
    if (!error) half.error = thrownBy(second);
  }
  if (error) std::rethrow_exception(error);
  if (half.error) std::rethrow_exception(half.error);
}

void inParallel(const std::function<void()>& first, const std::function<void()>& second) {
  if (poolOfThread != nullptr && poolOfThread->threads() > 1) {
    poolOfThread->split(first, second);
  } else {
    first();
    second();
  }
}

void WorkerPool::work() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stop_) {
    if (!runOne(lock) && !runHalf(lock)) changed_.wait(lock);
  }
}

void WorkerPool::parallelFor(std::size_t count, const std::function<void(std::size_t)>& task,
                             const std::function<std::size_t(std::size_t)>& cost) {
  std::unique_lock<std::mutex> lock(mutex_);
  task_ = &task;
  cost_ = &cost;
  next_ = 0;
  count_ = count;
  changed_.notify_all();
  while (next_ < count_ || running_ > 0) {
    if (!runOne(lock) && !runHalf(lock)) changed_.wait(lock);
  }
  count_ = next_ = 0;
  task_ = nullptr;
  cost_ = nullptr;
}

}  // namespace optimizer
