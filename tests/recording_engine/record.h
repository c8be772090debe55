// Writes down the calls that a program makes into the engine, one JSON object per line.
#pragma once

#include <string>
#include <string_view>

namespace recording {

// One line of the record: the call's name, the thread, a monotonic time, then the arguments in order with their C types.
// The record is the file that KELV_RECORD names; it is opened when the library is loaded, so that later limits on the
// process do not reach it. Texts are escaped byte by byte: the character U+00XX stands for the byte XX.
class Line {
 public:
  explicit Line(std::string_view call);
  ~Line();  // writes the line
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  Line& handle(long number);
  Line& argument(int value);
  Line& argument(unsigned value);
  Line& argument(float value);
  Line& argument(const char* value);  // NULL becomes null
  Line& note(std::string_view name, std::string_view text);

 private:
  std::string text_;
  std::string arguments_;
};

}  // namespace recording
