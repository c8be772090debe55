// The one way of writing binary formats: big-endian, into a growing buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "optimizer/base/bytes.h"

namespace optimizer {

class Writer {
 public:
  std::size_t size() const { return bytes_.size(); }

  void u8(std::uint32_t value) { bytes_.push_back(static_cast<std::uint8_t>(value)); }
  void u16(std::uint32_t value) { number(value, 2); }
  void u24(std::uint32_t value) { number(value, 3); }
  void u32(std::uint32_t value) { number(value, 4); }
  // The low size bytes of value, 1 to 4.
  void number(std::uint32_t value, std::size_t size) {
    for (std::size_t i = size; i-- > 0;) u8(value >> (8 * i));
  }
  void bytes(ByteView data) { bytes_.insert(bytes_.end(), data.begin(), data.end()); }
  void text(std::string_view data) { bytes_.insert(bytes_.end(), data.begin(), data.end()); }
  // Zeros up to the next multiple of alignment.
  void align(std::size_t alignment) {
    while (bytes_.size() % alignment != 0) bytes_.push_back(0);
  }
  // Overwrites bytes written before; at + size must lie inside.
  void patch(std::size_t at, std::uint32_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
      bytes_[at + i] = static_cast<std::uint8_t>(value >> (8 * (size - 1 - i)));
    }
  }

  const Bytes& view() const { return bytes_; }
  Bytes take() { return std::move(bytes_); }

 private:
  Bytes bytes_;
};

}  // namespace optimizer
