// A host program of the queued mode: it submits files for asynchronous work and services the main queue.
//
//   queue_host submit PROCESSORS OUT FILE…   one submission a file; prints each completion
//   queue_host batch PROCESSORS OUT FILE…    one asynchronous batch into the folder OUT; prints its end
//   queue_host remove PROCESSORS OUT FILE…   one synchronous batch that removes what stands at the output locations
//   queue_host passwords PROCESSORS OUT FILE each pair of passwords in turn, synchronously
//   queue_host idle                          a queue with the limit 0; prints whether anything ran
//
// Lines: "limit N", "main THREAD", "verbose FLAG", "returned NANOSECONDS", "completion NANOSECONDS THREAD RESULT",
// "statistics PROGRESS ORIGINAL COMPRESSED", "ran N".
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "kelv/compressor/pdf_compressor.h"
#include "platform/services.h"

namespace {

long long nanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

// The system's own process, on a machine with another number of processors.
class OtherProcessors : public platform::Process {
 public:
  OtherProcessors(platform::Process& process, int count) : process_(process), count_(count) {}
  bool environmentIsEmpty() override { return process_.environmentIsEmpty(); }
  std::optional<std::string> environment(const std::string& name) override {
    return process_.environment(name);
  }
  std::string temporaryDirectory() override { return process_.temporaryDirectory(); }
  std::string newUuidText() override { return process_.newUuidText(); }
  int processorCount() override { return count_; }
  void log(const std::string& line) override { process_.log(line); }
  void beep() override { process_.beep(); }
  void print(const std::string& line) override { process_.print(line); }

 private:
  platform::Process& process_;
  int count_;
};

void printCompletion(const std::string& result) {
  std::printf("completion %lld %d %s\n", nanoseconds(), gettid(), result.c_str());
}

int submit(kelv::PDFCompressor& compressor, platform::MainQueue& mainQueue, const std::string& out,
           const std::vector<std::string>& files) {
  std::size_t done = 0;
  for (std::size_t index = 0; index < files.size(); ++index) {
    kelv::Submission submission;
    submission.inputPath = files[index];
    submission.outputPath = out + "/" + std::to_string(index) + ".pdf";
    submission.profile = std::make_shared<kelv::CompressionProfile>();
    submission.asynchronous = true;
    submission.completion = [&done, index](const std::optional<platform::PlatformError>& error) {
      ++done;  // all completions run on this thread, so there is no lock
      printCompletion(std::to_string(index) + (error ? " " + error->localizedDescription() : " ok"));
    };
    compressor.submitFile(std::move(submission));
  }
  std::printf("returned %lld\n", nanoseconds());
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  mainQueue.service([&] { return done == files.size() || std::chrono::steady_clock::now() > deadline; });
  return done == files.size() ? 0 : 1;
}

int batch(kelv::PDFCompressor& compressor, platform::MainQueue& mainQueue, kelv::BatchRequest request,
          const std::string& out, const std::vector<std::string>& files) {
  std::size_t statistics = 0, failures = 0;
  bool finished = false;
  request.inputPaths = files;
  request.outputFolder = out;
  request.verbose = true;
  request.statistics = [&statistics](double progress, double original, double compressed) {
    ++statistics;
    std::printf("statistics %.17g %.17g %.17g\n", progress, original, compressed);
  };
  request.completion = [&](const std::vector<std::string>& paths,
                           const std::optional<platform::PlatformError>& error) {
    if (error) {
      ++failures;
      printCompletion("failure " + error->localizedDescription());
    } else {
      finished = true;
      printCompletion("finished " + std::to_string(paths.size()) + " " + std::to_string(statistics));
    }
  };
  compressor.compressBatch(request);
  std::printf("returned %lld\n", nanoseconds());
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  mainQueue.service([&] {
    return finished || (failures > 0 && statistics + failures == files.size()) ||
           std::chrono::steady_clock::now() > deadline;
  });
  return finished ? 0 : 1;
}

int passwords(kelv::PDFCompressor& compressor, const std::string& out, const std::string& file) {
  for (const auto& [first, second] : {std::pair{"", ""}, {"one", ""}, {"", "two"}, {"one", "two"}}) {
    kelv::Submission submission;
    submission.inputPath = file;
    submission.outputPath = out + "/result.pdf";
    submission.firstPassword = first;
    submission.secondPassword = second;
    submission.profile = std::make_shared<kelv::CompressionProfile>();
    submission.completion = [](const std::optional<platform::PlatformError>&) { printCompletion("ok"); };
    compressor.submitFile(std::move(submission));
  }
  return 0;
}

int idle(platform::Queues& queues) {
  std::atomic<int> ran = 0;
  const auto queue = queues.newOperationQueue();
  queue->setMaxConcurrentOperationCount(0);
  for (int i = 0; i < 5; ++i) queue->addOperation([&ran] { ++ran; });
  std::this_thread::sleep_for(std::chrono::milliseconds(700));
  std::printf("ran %d\n", ran.load());
  queue->setMaxConcurrentOperationCount(2);
  for (int i = 0; i < 100 && ran < 5; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  std::printf("ran %d\n", ran.load());
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  platform::Services& system = platform::systemServices();
  const std::string mode = count > 1 ? arguments[1] : "";
  if (mode == "idle") return idle(system.queues);
  if (count < 5) return 2;
  OtherProcessors process(system.process, std::atoi(arguments[2]));
  platform::Services services{system.files, system.preferences, system.bookmarks, system.formatting, process, system.queues};
  const std::vector<std::string> files(arguments + 4, arguments + count);
  int result = 2;
  {
    const auto compressor = kelv::PDFCompressor::make(services);
    std::printf("limit %ld\nmain %d\nverbose %d\n", compressor->compressionQueue().maxConcurrentOperationCount(),
                gettid(), compressor->verbose());
    auto& mainQueue = services.queues.mainQueue();
    if (mode == "submit") result = submit(*compressor, mainQueue, arguments[3], files);
    kelv::BatchRequest request;
    request.asynchronous = mode == "batch";
    if (mode == "remove") {
      request.replace = true;
      request.moveToTrash = false;
    }
    if (mode == "batch" || mode == "remove") result = batch(*compressor, mainQueue, request, arguments[3], files);
    if (mode == "passwords") result = passwords(*compressor, arguments[3], files[0]);
  }
  return result;
}
