#include "platform/error.h"

#include <cstdio>

namespace platform {
namespace {

const std::string* find(const PlatformError& error, const char* key) {
  for (const auto& [name, value] : error.userInfo) {
    if (name == key) return &value;
  }
  return nullptr;
}

std::string describe(const PlatformError& error, int levels) {
  const std::string* text = find(error, debugDescriptionKey);
  if (!text) text = find(error, localizedDescriptionKey);
  if (!text && !error.domainText.empty()) text = &error.domainText;
  if (!text) text = find(error, failureReasonKey);
  std::string line = "Error Domain=" + error.domain + " Code=" + std::to_string(error.code) + " ";
  line += text ? "\"" + *text + "\"" : "\"(null)\"";
  std::string details;
  for (const auto& [name, value] : error.userInfo) {
    if (!details.empty()) details += ", ";
    details += name + "=" + value;
  }
  if (error.underlying && levels > 0) {
    if (!details.empty()) details += ", ";
    char address[24];
    std::snprintf(address, sizeof address, "%p", static_cast<const void*>(error.underlying.get()));
    details += std::string("NSUnderlyingError=") + address + " {" + describe(*error.underlying, levels - 1) + "}";
  }
  if (!details.empty()) line += " UserInfo={" + details + "}";
  return line;
}

}  // namespace

std::string PlatformError::localizedDescription() const {
  if (const std::string* text = find(*this, localizedDescriptionKey)) return *text;
  if (!domainText.empty()) return domainText;
  std::string text = "The operation couldn’t be completed. ";
  if (const std::string* reason = find(*this, failureReasonKey)) return text + *reason;
  return text + "(" + domain + " error " + std::to_string(code) + ".)";
}

std::string PlatformError::description() const { return describe(*this, 2); }

}  // namespace platform
