#include "tests/recording_engine/record.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace recording {
namespace {

int openRecord() {
  const char* path = getenv("KELV_RECORD");
  return path == nullptr ? -1 : open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
}

// Opened at load time: an empty file shows that the library was there and nobody called it.
const int recordFile = openRecord();

std::string quoted(std::string_view bytes) {
  std::string text = "\"";
  for (unsigned char byte : bytes) {
    if (byte < 0x20 || byte >= 0x7f || byte == '"' || byte == '\\') {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", byte);
      text += escape;
    } else {
      text += static_cast<char>(byte);
    }
  }
  return text + '"';
}

long long nanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

}  // namespace

Line::Line(std::string_view call) {
  text_ = "{\"call\": " + quoted(call) + ", \"thread\": " + std::to_string(gettid()) +
          ", \"time\": " + std::to_string(nanoseconds());
}

Line::~Line() {
  text_ += ", \"arguments\": [" + arguments_ + "]}\n";
  // One write to a file opened for appending: lines of several threads do not mix.
  if (recordFile >= 0 && write(recordFile, text_.data(), text_.size()) != static_cast<ssize_t>(text_.size())) {
    std::fputs("the engine's record cannot be written\n", stderr);
    std::abort();
  }
}

Line& Line::handle(long number) { return note("handle", std::to_string(number)); }

Line& Line::argument(int value) {
  arguments_ += (arguments_.empty() ? "" : ", ") + ("[\"int\", " + std::to_string(value) + "]");
  return *this;
}

Line& Line::argument(unsigned value) {
  arguments_ += (arguments_.empty() ? "" : ", ") + ("[\"unsigned\", " + std::to_string(value) + "]");
  return *this;
}

Line& Line::argument(float value) {
  char digits[32];
  auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  arguments_ += (arguments_.empty() ? "" : ", ") + ("[\"float\", \"" + std::string(digits, end) + "\"]");
  return *this;
}

Line& Line::argument(const char* value) {
  arguments_ += (arguments_.empty() ? "" : ", ") + ("[\"text\", " + (value ? quoted(value) : "null") + "]");
  return *this;
}

Line& Line::note(std::string_view name, std::string_view text) {
  text_ += ", " + quoted(name) + ": " + quoted(text);
  return *this;
}

}  // namespace recording
