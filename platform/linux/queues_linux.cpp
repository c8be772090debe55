#include "platform/linux/queues_linux.h"

#include <algorithm>
#include <deque>
#include <thread>
#include <vector>

namespace platform {
namespace {

constexpr auto longestWait = std::chrono::milliseconds(50);  // how often a host's done() is asked

// Threads start as operations come, up to the limit, and stay.
class ThreadOperationQueue : public OperationQueue {
 public:
  ~ThreadOperationQueue() override {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stop_ = true;
      waiting_.clear();
    }
    changed_.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }

  void setMaxConcurrentOperationCount(long count) override {
    std::lock_guard<std::mutex> lock(mutex_);
    limit_ = count;
    startThreads();
    changed_.notify_all();
  }

  long maxConcurrentOperationCount() const override {
    std::lock_guard<std::mutex> lock(mutex_);
    return limit_;
  }

  void addOperation(std::function<void()> block) override {
    std::lock_guard<std::mutex> lock(mutex_);
    waiting_.push_back(std::move(block));
    startThreads();
    changed_.notify_one();
  }

 private:
  void startThreads() {
    const long wanted = std::min(limit_, running_ + static_cast<long>(waiting_.size()));
    while (static_cast<long>(threads_.size()) < wanted) threads_.emplace_back([this] { work(); });
  }

  void work() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stop_) {
      if (waiting_.empty() || running_ >= limit_) {
        changed_.wait(lock);
        continue;
      }
      const std::function<void()> block = std::move(waiting_.front());
      waiting_.pop_front();
      ++running_;
      lock.unlock();
      block();
      lock.lock();
      --running_;
      changed_.notify_all();
    }
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> waiting_;
  std::vector<std::thread> threads_;
  long limit_ = static_cast<long>(std::max(1u, std::thread::hardware_concurrency()));
  long running_ = 0;
  bool stop_ = false;
};

}  // namespace

void ThreadMainQueue::asyncAfter(std::chrono::nanoseconds delay, std::function<void()> block) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    due_.emplace(Clock::now() + delay, std::move(block));
  }
  added_.notify_all();
}

void ThreadMainQueue::service(const std::function<bool()>& done) {
  while (!done()) {
    std::unique_lock<std::mutex> lock(mutex_);
    const Clock::time_point now = Clock::now();
    if (due_.empty() || due_.begin()->first > now) {
      const Clock::time_point until = due_.empty() ? now + longestWait : std::min(due_.begin()->first, now + longestWait);
      added_.wait_until(lock, until);
      continue;
    }
    const std::function<void()> block = std::move(due_.begin()->second);
    due_.erase(due_.begin());
    lock.unlock();
    block();
  }
}

std::unique_ptr<OperationQueue> ThreadQueues::newOperationQueue() { return std::make_unique<ThreadOperationQueue>(); }

}  // namespace platform
