#include "optimizer/base/pool.h"

#include <algorithm>

namespace optimizer {

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
  task(index);
  lock.lock();
  --running_;
  held_ -= cost;
  changed_.notify_all();
  return true;
}

void WorkerPool::work() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stop_) {
    if (!runOne(lock)) changed_.wait(lock);
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
    if (!runOne(lock)) changed_.wait(lock);
  }
  count_ = next_ = 0;
  task_ = nullptr;
  cost_ = nullptr;
}

}  // namespace optimizer
