// The worker pool: work within one document runs on all cores, and its results are the same whatever the number of
// threads, because every task writes only to its own slot.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace optimizer {

// A fixed number of threads. One parallelFor runs at a time per pool; a task must not start another on the same pool,
// but it may split its work by inParallel.
class WorkerPool {
 public:
  // threads: how many run tasks, the caller's included; 0 means one per processor.
  explicit WorkerPool(unsigned threads = 0);
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  unsigned threads() const { return static_cast<unsigned>(workers_.size()) + 1; }

  // Calls task(i) once for every i below count, in no fixed order, and returns when all are done. A task must not let an
  // exception out. cost(i), when given, is the task's peak memory in bytes: tasks wait while the sum of the running
  // ones would pass the budget, but one always runs.
  void parallelFor(std::size_t count, const std::function<void(std::size_t)>& task,
                   const std::function<std::size_t(std::size_t)>& cost = {});

  // Bytes that running tasks may hold together.
  void setBudget(std::size_t bytes) { budget_ = bytes; }
  std::size_t budget() const { return budget_; }

 private:
  friend void inParallel(const std::function<void()>& first, const std::function<void()>& second);

  // The second half of a task's work, until it is done.
  struct Half {
    const std::function<void()>* work;
    bool taken = false, done = false;
    std::exception_ptr error;
  };

  void work();
  bool runOne(std::unique_lock<std::mutex>& lock);
  bool runHalf(std::unique_lock<std::mutex>& lock);
  void split(const std::function<void()>& first, const std::function<void()>& second);

  std::vector<std::thread> workers_;
  std::mutex mutex_;
  std::condition_variable changed_;
  const std::function<void(std::size_t)>* task_ = nullptr;
  const std::function<std::size_t(std::size_t)>* cost_ = nullptr;
  std::size_t next_ = 0, count_ = 0, running_ = 0, held_ = 0;
  std::size_t budget_ = std::size_t{160} << 20;
  std::deque<Half*> halves_;  // that no thread has taken yet
  bool stop_ = false;
};

// Runs both and returns when both are done. Within a task of a pool a thread of it that has nothing else to do takes
// the second; otherwise, and outside of any pool, they run one after the other. Neither may need what the other makes.
// An exception that leaves one of them leaves this function, once both have ended.
void inParallel(const std::function<void()>& first, const std::function<void()>& second);

// Calls body(begin, end) for parts that together are [begin, end), none of them below `least` long, in parallel as
// inParallel does. The parts are the same whatever the number of threads.
template <typename Body>
void inParts(std::size_t begin, std::size_t end, std::size_t least, const Body& body) {
  if (end - begin < 2 * least) return body(begin, end);
  const std::size_t middle = begin + (end - begin) / 2;
  inParallel([&] { inParts(begin, middle, least, body); }, [&] { inParts(middle, end, least, body); });
}

}  // namespace optimizer
