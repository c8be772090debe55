#include "kelvara/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <ostream>

namespace kelvara {
namespace {

std::size_t columns() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col < 20) return 79;
  return size.ws_col - 1U;
}

// The first so many characters of UTF-8 text, control characters left out.
std::string cut(const std::string& text, std::size_t most) {
  std::string kept;
  std::size_t count = 0;
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    if (byte < 0x20 || byte == 0x7F) continue;
    if ((byte & 0xC0) != 0x80 && ++count > most) break;
    kept += letter;
  }
  return kept;
}

}  // namespace

void Progress::show(const std::string& text) {
  if (!context_.progress) return;
  context_.err << "\r\033[K" << cut(text, columns()) << std::flush;
  shown_ = true;
}

void Progress::clear() {
  if (shown_) context_.err << "\r\033[K" << std::flush;
  shown_ = false;
}

}  // namespace kelvara
