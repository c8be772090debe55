#include <algorithm>

#include "optimizer/codec/ccitt.h"
#include "optimizer/codec/ccitt_codes.h"
#include "optimizer/codec/ccitt_runs.h"

namespace optimizer {

namespace {

using namespace ccitt;

class BitReader {
 public:
  explicit BitReader(ByteView data) : data_(data) {}
  // The next bits without taking them, up to 24; zeros past the end.
  unsigned peek(int count) const {
    std::uint64_t value = 0;
    std::size_t byte = at_ >> 3;
    for (std::size_t i = 0; i < 4; ++i) value = value << 8 | (byte + i < data_.size() ? data_[byte + i] : 0u);
    return static_cast<unsigned>(value >> (32 - count - static_cast<int>(at_ & 7))) & ((1u << count) - 1);
  }
  void skip(int count) { at_ += static_cast<std::size_t>(count); }
  void align() { at_ = (at_ + 7) & ~std::size_t{7}; }
  bool atEnd() const { return at_ >= data_.size() * 8; }
  bool passedEnd() const { return at_ > data_.size() * 8; }

 private:
  ByteView data_;
  std::size_t at_ = 0;
};

Error damaged(const char* what) { return {ErrorKind::damaged, std::string("CCITT: ") + what}; }

class RowDecoder {
 public:
  RowDecoder(ByteView data, const CcittParams& params)
      : in_(data), params_(params), above_(3, params.columns) {}

  enum class Found { row, endOfBlock };
  Result<Found> next();
  const Changes& row() const { return above_; }

 private:
  int run(bool black);
  bool takeEndOfLine();
  Status oneDimensional();
  Status twoDimensional();
  void dropEmptyRuns();

  BitReader in_;
  const CcittParams& params_;
  Changes above_, row_;
};

// Length of a run: make-up codes, then a terminating one; -1 where there is none.
int RowDecoder::run(bool black) {
  const RunTable& table = black ? blackTable() : whiteTable();
  int length = 0;
  while (true) {
    RunEntry entry = table[in_.peek(runBits)];
    if (entry.run < 0) return -1;
    in_.skip(entry.length);
    length += entry.run;
    if (entry.run < 64) return length;
    if (length > params_.columns) return -1;
  }
}

Status RowDecoder::oneDimensional() {
  int x = 0;
  for (bool black = false; x < params_.columns; black = !black) {
    int length = run(black);
    if (length < 0 || length > params_.columns - x) return damaged("run");
    x += length;
    row_.push_back(x);
  }
  return {};
}

Status RowDecoder::twoDimensional() {
  int a0 = -1;
  std::size_t b = 0;
  while (a0 < params_.columns) {
    bool black = row_.size() & 1;
    while (b > 0 && above_[b - 1] > a0) --b;
    while (above_[b] < params_.columns && (above_[b] <= a0 || (b & 1) != black)) ++b;
    int b1 = above_[b], b2 = b1 < params_.columns ? above_[b + 1] : params_.columns;
    ModeEntry entry = modeTable()[in_.peek(modeBits)];
    in_.skip(entry.length);
    switch (entry.mode) {
      case Mode::pass:
        a0 = b2;
        break;
      case Mode::vertical: {
        int a1 = b1 + entry.shift;
        if (a1 < std::max(a0, 0) || a1 > params_.columns) return damaged("vertical mode");
        row_.push_back(a0 = a1);
        break;
      }
      case Mode::horizontal: {
        a0 = std::max(a0, 0);
        for (bool colour : {black, !black}) {
          int length = run(colour);
          if (length < 0 || length > params_.columns - a0) return damaged("run");
          row_.push_back(a0 += length);
        }
        break;
      }
      case Mode::extension:
        return Error{ErrorKind::unsupported, "CCITT: uncompressed mode"};
      default:
        return damaged("mode");
    }
    if (in_.passedEnd()) return damaged("data ends too early");
  }
  return {};
}

// An end-of-line pattern, the fill before it included (T.4, 4.1.2 and 4.1.3).
bool RowDecoder::takeEndOfLine() {
  if (in_.peek(11) != 0) return false;
  BitReader ahead = in_;
  ahead.skip(11);
  while (!ahead.atEnd()) {
    bool one = ahead.peek(1);
    ahead.skip(1);
    if (one) {
      in_ = ahead;
      return true;
    }
  }
  return false;
}

// A run of no pixels between two runs of one colour is no change at all, and must not be taken for one by the
// next row.
void RowDecoder::dropEmptyRuns() {
  std::size_t kept = 0;
  for (int x : row_) {
    if (x >= params_.columns) break;
    if (kept > 0 && row_[kept - 1] == x) {
      --kept;
    } else {
      row_[kept++] = x;
    }
  }
  row_.resize(kept);
}

Result<RowDecoder::Found> RowDecoder::next() {
  bool mark = params_.endOfLine && params_.k >= 0 && takeEndOfLine();
  if (!mark && params_.encodedByteAlign) in_.align();
  bool flat = params_.k == 0;
  int marks = mark;
  while (true) {
    if (mark && params_.k > 0) {
      flat = in_.peek(1);
      in_.skip(1);
    }
    // Two marks in a row end a block in group 4; in group 3 six do, but two cannot mean anything else.
    if (marks == 2) {
      if (params_.endOfBlock) return Found::endOfBlock;
      marks = 1;
    }
    mark = takeEndOfLine();
    if (!mark) break;
    ++marks;
  }
  if (params_.k > 0 && marks == 0) {
    flat = in_.peek(1);
    in_.skip(1);
  }
  if (in_.atEnd())
    return params_.rows == 0 ? Result<Found>(Found::endOfBlock) : damaged("data ends too early");
  row_.clear();
  OPTIMIZER_TRY(flat ? oneDimensional() : twoDimensional());
  if (in_.passedEnd()) return damaged("data ends too early");
  dropEmptyRuns();
  row_.insert(row_.end(), 3, params_.columns);
  std::swap(above_, row_);
  return Found::row;
}

}  // namespace

Result<Bitonal> decodeCcitt(ByteView data, const CcittParams& params, std::size_t maxPixels) {
  if (params.columns < 1 || params.rows < 0) return damaged("size");
  std::size_t columns = static_cast<std::size_t>(params.columns);
  std::size_t mostRows = std::min<std::size_t>(maxPixels / columns, 1 << 24);
  if (static_cast<std::size_t>(params.rows) > mostRows)
    return Error{ErrorKind::limit, "CCITT: picture too large"};
  RowDecoder decoder(data, params);
  Bitonal picture(params.columns, params.rows);
  int y = 0;
  for (; params.rows == 0 || y < params.rows; ++y) {
    auto found = decoder.next();
    if (!found) return found.error();
    if (*found == RowDecoder::Found::endOfBlock) break;
    if (params.rows == 0) {
      if (static_cast<std::size_t>(y) >= mostRows) return Error{ErrorKind::limit, "CCITT: picture too large"};
      picture.bits.resize(picture.stride * (static_cast<std::size_t>(y) + 1));
    }
    paint(decoder.row(), params.columns, picture.row(y));
  }
  if (y == 0 || y < params.rows) return damaged("data ends too early");
  picture.height = y;
  return picture;
}

}  // namespace optimizer
