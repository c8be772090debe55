// Queues of work: one that runs operations on its own threads up to a limit, and the main queue that a host program services.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace platform {

class OperationQueue {
 public:
  virtual ~OperationQueue() = default;  // waits for running operations; those not started are dropped
  virtual void setMaxConcurrentOperationCount(long count) = 0;  // 0 runs nothing
  virtual long maxConcurrentOperationCount() const = 0;
  virtual void addOperation(std::function<void()> block) = 0;
};

class MainQueue {
 public:
  virtual ~MainQueue() = default;
  // Runs block on the thread that services the queue, no earlier than after the delay.
  virtual void asyncAfter(std::chrono::nanoseconds delay, std::function<void()> block) = 0;
  // For a host program: runs blocks as they fall due on this thread until done() is true (asked after each block and at least
  // every 50 ms).
  virtual void service(const std::function<bool()>& done) = 0;
};

class Queues {
 public:
  virtual ~Queues() = default;
  virtual std::unique_ptr<OperationQueue> newOperationQueue() = 0;
  virtual MainQueue& mainQueue() = 0;
};

}  // namespace platform
