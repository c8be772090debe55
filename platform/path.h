// Paths of files, as bytes. Pure text work: nothing here looks at the file system.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// An argument made absolute against a base folder (which may or may not end in "/"): "." and ".." and a trailing slash are
// removed from the joined path, a double slash is kept, and nothing climbs above the root. An absolute argument stays as it is
// but for a trailing slash; "" is the base itself.
std::string resolvePath(std::string_view base, std::string_view argument);

std::string lastPathComponent(std::string_view path);          // "dir/" gives "dir", "/" gives "/"
std::string deletingLastPathComponent(std::string_view path);  // "/a/b.pdf" gives "/a"
std::string pathExtension(std::string_view path);  // after the last dot; none for ".pdf", "a." or one with a blank or slash
std::string deletingPathExtension(std::string_view path);
std::string appendingPathComponent(std::string_view folder, std::string_view name);  // one slash between

// "file:///a%20b.pdf", percent-encoded byte by byte; for messages.
std::string fileUrlText(std::string_view path, bool isDirectory = false);

}  // namespace platform
