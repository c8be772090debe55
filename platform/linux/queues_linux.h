// Queues over standard threads.
#pragma once

#include <condition_variable>
#include <map>
#include <mutex>

#include "platform/queues.h"

namespace platform {

class ThreadMainQueue : public MainQueue {
 public:
  void asyncAfter(std::chrono::nanoseconds delay, std::function<void()> block) override;
  void service(const std::function<bool()>& done) override;

 private:
  using Clock = std::chrono::steady_clock;
  std::mutex mutex_;
  std::condition_variable added_;
  std::multimap<Clock::time_point, std::function<void()>> due_;
};

class ThreadQueues : public Queues {
 public:
  std::unique_ptr<OperationQueue> newOperationQueue() override;
  MainQueue& mainQueue() override { return main_; }

 private:
  ThreadMainQueue main_;
};

}  // namespace platform
