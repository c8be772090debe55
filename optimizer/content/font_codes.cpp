#include "optimizer/content/font_codes.h"

#include <algorithm>

namespace optimizer::content {

FontCodes::FontCodes(QPDFObjectHandle font, Codespaces& known) : font_(font) {
  QPDFObjectHandle subtype = font.isDictionary() ? font.getKey("/Subtype") : QPDFObjectHandle::newNull();
  composite_ = subtype.isName() && subtype.getName() == "/Type0";
  type3_ = subtype.isName() && subtype.getName() == "/Type3";
  if (composite_) {
    QPDFObjectHandle encoding = font.getKey("/Encoding");
    if (encoding.isStream()) {
      const auto [at, added] = known.try_emplace(encoding.getObjGen());
      if (added) at->second = readCodespace(encoding);
      codespace_ = at->second;
    } else {
      codespace_ = readCodespace(encoding);
    }
    twoByte_ = codespace_ && codespace_->twoByte();
    complete_ = codespace_.has_value();
  }
  if (type3_) {
    fontMatrix_ = readMatrix(font.getKey("/FontMatrix")).value_or(Matrix{0.001, 0, 0, 0.001, 0, 0});
    charProcs_ = font.getKey("/CharProcs");
  }
}

void FontCodes::add(std::uint32_t code) {
  if (code > 0xffff) {
    high_.insert(code);
    return;
  }
  if (low_.empty()) {
    low_.resize(composite_ ? 256 : 1);
  }
  std::unique_ptr<std::bitset<256>>& row = low_[code >> 8];
  if (row == nullptr) {
    row = std::make_unique<std::bitset<256>>();
  }
  row->set(code & 0xff);
}

void FontCodes::show(ByteView string) {
  if (!composite_) {
    for (std::uint8_t byte : string) {
      add(byte);
    }
    return;
  }
  if (twoByte_) {
    std::size_t i = 0;
    for (; i + 1 < string.size(); i += 2) {
      add(static_cast<std::uint32_t>(string[i] << 8 | string[i + 1]));
    }
    complete_ = complete_ && i == string.size();
    return;
  }
  while (complete_ && !string.empty()) {
    const std::optional<Codespace::Code> code = codespace_->split(string);
    if (!code) {
      complete_ = false;
      break;
    }
    add(code->value);
    string = string.subspan(static_cast<std::size_t>(code->length));
  }
}

std::set<std::uint32_t> FontCodes::codes() const {
  std::set<std::uint32_t> all;
  for (std::uint32_t row = 0; row < low_.size(); ++row) {
    for (std::uint32_t column = 0; low_[row] != nullptr && column < 256; ++column) {
      if (low_[row]->test(column)) {
        all.insert(all.end(), row << 8 | column);
      }
    }
  }
  all.insert(high_.begin(), high_.end());
  return all;
}

QPDFObjectHandle FontCodes::glyph(std::uint8_t code) {
  if (!glyphNames_) {
    readType3Encoding();
  }
  const auto name = glyphNames_->find(code);
  if (name == glyphNames_->end() || !charProcs_.isDictionary()) {
    return QPDFObjectHandle::newNull();
  }
  return charProcs_.getKey(name->second);
}

void FontCodes::readType3Encoding() {
  glyphNames_.emplace();
  QPDFObjectHandle encoding = font_.getKey("/Encoding");
  QPDFObjectHandle differences = encoding.isDictionary() ? encoding.getKey("/Differences") : encoding;
  if (!differences.isArray()) {
    return;
  }
  long long code = 0;
  for (QPDFObjectHandle& item : differences.getArrayAsVector()) {
    if (item.isInteger()) {
      code = item.getIntValue();
    } else if (item.isName()) {
      if (code >= 0 && code < 256) {
        (*glyphNames_)[static_cast<std::uint8_t>(code)] = item.getName();
      }
      ++code;
    }
  }
}

std::optional<Matrix> readMatrix(QPDFObjectHandle array) {
  if (!array.isArray() || array.getArrayNItems() != 6) {
    return std::nullopt;
  }
  double values[6];
  for (int i = 0; i < 6; ++i) {
    QPDFObjectHandle item = array.getArrayItem(i);
    if (!item.isNumber()) {
      return std::nullopt;
    }
    values[i] = item.getNumericValue();
  }
  const Matrix matrix{values[0], values[1], values[2], values[3], values[4], values[5]};
  return matrix.finite() ? std::optional(matrix) : std::nullopt;
}

std::optional<Rect> readRect(QPDFObjectHandle array) {
  if (!array.isArray() || array.getArrayNItems() != 4) {
    return std::nullopt;
  }
  double values[4];
  for (int i = 0; i < 4; ++i) {
    QPDFObjectHandle item = array.getArrayItem(i);
    if (!item.isNumber()) {
      return std::nullopt;
    }
    values[i] = item.getNumericValue();
  }
  const Rect rect{std::min(values[0], values[2]), std::min(values[1], values[3]), std::max(values[0], values[2]),
                  std::max(values[1], values[3])};
  return rect.bounded() ? std::optional(rect) : std::nullopt;
}

}  // namespace optimizer::content
