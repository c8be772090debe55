// The document information dictionary (ISO 32000-1, 14.3.3) and its text strings (7.9.2.2).
#include "optimizer/document/document.h"
#include "optimizer/document/text.h"

namespace optimizer {

QPDFObjectHandle Document::infoDictionary(bool create) {
  QPDFObjectHandle trailer = pdf_->getTrailer();
  QPDFObjectHandle info = trailer.getKey("/Info");
  if (!info.isDictionary()) {
    if (!create) return QPDFObjectHandle::newNull();
    info = pdf_->makeIndirectObject(QPDFObjectHandle::newDictionary());
    trailer.replaceKey("/Info", info);
  } else if (!info.isIndirect() && create) {
    info = pdf_->makeIndirectObject(info);
    trailer.replaceKey("/Info", info);
  }
  return info;
}

std::optional<std::string> Document::infoEntry(const std::string& name) {
  try {
    QPDFObjectHandle info = infoDictionary(false);
    if (!info.isDictionary()) return std::nullopt;
    QPDFObjectHandle value = info.getKey("/" + name);
    if (value.isString()) return value.getUTF8Value();
    if (value.isName()) return value.getName().substr(1);
    return std::nullopt;
  } catch (...) {
    return std::nullopt;
  }
}

Status Document::setInfoEntry(const std::string& name, const std::string& value) {
  if (name.empty()) return Error{ErrorKind::unsupported, "An information entry needs a name"};
  if (!isUtf8(value)) return Error{ErrorKind::unsupported, "The text of an information entry is not UTF-8"};
  return withoutExceptions("The information entry cannot be set", [&]() -> Status {
    changedInfo_.insert(name);
    QPDFObjectHandle info = infoDictionary(!value.empty());
    if (!info.isDictionary()) return {};
    if (value.empty()) {
      info.removeKey("/" + name);
    } else if (name == "Trapped") {  // the one standard entry that is a name
      info.replaceKey("/" + name, QPDFObjectHandle::newName("/" + value));
    } else {
      info.replaceKey("/" + name, QPDFObjectHandle::newUnicodeString(value));
    }
    return {};
  });
}

}  // namespace optimizer
