// An engine inside the test program: it writes down every call, and behaves as the test says.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kelv::testing {

struct RecordingEngine {
  // Calls as "Name(arguments)" without the handle, such as "SetImageQuality(50)", "OpenA(/in.pdf, )".
  std::vector<std::string> calls;
  std::vector<std::string> handles;  // "1 create", "1 close", "1 destroy", …

  int openResult = 1;
  int saveResult = 1;
  std::optional<std::string> message;              // what GetErrorMessage gives after a failure
  std::map<std::string, std::string> information;  // entries of the document
  std::function<void(const std::string& path)> onSave;

  // The calls whose name begins with prefix.
  std::vector<std::string> callsOf(const std::string& prefix) const;
  void record(std::string call);
  void recordHandle(int number, const std::string& event);

  int created = 0;
  std::mutex mutex;
};

// The one that the engine's functions talk to; made anew by reset.
RecordingEngine& recordingEngine();
void resetRecordingEngine();

}  // namespace kelv::testing
