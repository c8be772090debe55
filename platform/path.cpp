#include "platform/path.h"

#include <vector>

namespace platform {
namespace {

std::string_view withoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  return path;
}

// RFC 3986, 5.2.4, for an absolute path; empty segments are kept, nothing climbs above the root.
std::string removeDotSegments(std::string_view path) {
  std::vector<std::string_view> kept;
  std::size_t at = 1;
  while (at <= path.size()) {
    std::size_t end = path.find('/', at);
    if (end == std::string_view::npos) end = path.size();
    const std::string_view segment = path.substr(at, end - at);
    const bool last = end == path.size();
    if (segment == "..") {
      if (!kept.empty()) kept.pop_back();
    } else if (segment != "." && !(last && segment.empty())) {
      kept.push_back(segment);
    }
    at = end + 1;
  }
  std::string result;
  for (const std::string_view segment : kept) result.append("/").append(segment);
  return result.empty() ? "/" : result;
}

}  // namespace

std::string resolvePath(std::string_view base, std::string_view argument) {
  if (!argument.empty() && argument.front() == '/') return std::string(withoutTrailingSlashes(argument));
  std::string joined(base);
  if (joined.empty() || joined.front() != '/') joined.insert(joined.begin(), '/');
  if (joined.back() != '/') joined += '/';
  joined += argument;
  return removeDotSegments(joined);
}

std::string lastPathComponent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  if (path == "/") return "/";
  const std::size_t slash = path.rfind('/');
  return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

std::string deletingLastPathComponent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  const std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return "";
  return std::string(slash == 0 ? "/" : path.substr(0, slash));
}

std::string pathExtension(std::string_view path) {
  const std::string name = lastPathComponent(path);
  const std::size_t dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0 || dot + 1 == name.size()) return "";
  const std::string extension = name.substr(dot + 1);
  return extension.find_first_of(" /") == std::string::npos ? extension : "";
}

std::string deletingPathExtension(std::string_view path) {
  path = withoutTrailingSlashes(path);
  const std::string extension = pathExtension(path);
  if (extension.empty()) return std::string(path);
  return std::string(path.substr(0, path.size() - extension.size() - 1));
}

std::string appendingPathComponent(std::string_view folder, std::string_view name) {
  std::string path(folder);
  if (path.empty() || path.back() != '/') path += '/';
  return path.append(name);
}

std::string fileUrlText(std::string_view path, bool isDirectory) {
  static constexpr char hex[] = "0123456789ABCDEF";
  // The characters of RFC 3986 that stand for themselves in a path.
  static constexpr std::string_view plain = "-._~!$&'()*+,=:@/";
  std::string url = "file://";
  for (const char c : path) {
    const bool alphanumeric = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    if (alphanumeric || plain.find(c) != std::string_view::npos) {
      url += c;
    } else {
      url += {'%', hex[static_cast<unsigned char>(c) >> 4], hex[static_cast<unsigned char>(c) & 15]};
    }
  }
  if (isDirectory && url.back() != '/') url += '/';
  return url;
}

}  // namespace platform
