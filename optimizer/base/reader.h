// The one way of reading binary formats: big-endian, bounds-checked, sticky failure.
#pragma once

#include <cstddef>
#include <cstdint>

#include "optimizer/base/bytes.h"

namespace optimizer {

// Reads forward through bytes that it does not own. A read past the end gives zero and clears ok(), which stays cleared:
// a parser may read a whole record and look at ok() once.
class Reader {
 public:
  explicit Reader(ByteView data, std::size_t position = 0) : data_(data) { seek(position); }

  bool ok() const { return ok_; }
  std::size_t position() const { return position_; }
  std::size_t remaining() const { return data_.size() - position_; }
  bool atEnd() const { return position_ == data_.size(); }

  void seek(std::size_t position) {
    if (position > data_.size()) {
      ok_ = false;
      position = data_.size();
    }
    position_ = position;
  }
  void skip(std::size_t count) {
    if (count > remaining()) {
      ok_ = false;
      count = remaining();
    }
    position_ += count;
  }

  std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
  std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
  std::uint32_t u24() { return number(3); }
  std::uint32_t u32() { return number(4); }
  std::int8_t i8() { return static_cast<std::int8_t>(u8()); }
  std::int16_t i16() { return static_cast<std::int16_t>(u16()); }
  std::int32_t i32() { return static_cast<std::int32_t>(u32()); }
  // An unsigned number of 1 to 4 bytes.
  std::uint32_t number(std::size_t size) {
    if (size > remaining()) {
      ok_ = false;
      position_ = data_.size();
      return 0;
    }
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value = value << 8 | data_[position_ + i];
    position_ += size;
    return value;
  }

  // The next count bytes; empty, and not ok, when there are fewer.
  ByteView bytes(std::size_t count) {
    if (count > remaining()) {
      ok_ = false;
      position_ = data_.size();
      return {};
    }
    const ByteView view = data_.subspan(position_, count);
    position_ += count;
    return view;
  }

 private:
  ByteView data_;
  std::size_t position_ = 0;
  bool ok_ = true;
};

// The part of data that begins at offset, at most length bytes; empty where there is none.
inline ByteView slice(ByteView data, std::size_t offset, std::size_t length) {
  if (offset >= data.size()) return {};
  return data.subspan(offset, length < data.size() - offset ? length : data.size() - offset);
}

}  // namespace optimizer
