#include "optimizer/codec/jpx_packets.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "optimizer/base/writer.h"

namespace optimizer::jpx {
namespace {

// Bits of a packet's header; after a byte of ones the next begins with a zero (B.10.1).
class HeaderBits {
 public:
  void put(unsigned bit) {
    if (left_ == 0) {
      left_ = bytes_.back() == 0xFF ? 7 : 8;
      bytes_.push_back(0);
    }
    --left_;
    bytes_.back() = static_cast<std::uint8_t>(bytes_.back() | bit << left_);
  }
  void put(std::uint32_t value, unsigned count) {
    while (count-- > 0) put(value >> count & 1);
  }
  void ones(unsigned count) {
    while (count-- > 0) put(1);
  }
  ByteView finish() {
    if (bytes_.back() == 0xFF) bytes_.push_back(0);
    return ByteView(bytes_).subspan(1);
  }

 private:
  Bytes bytes_ = {0};  // the first never leaves
  unsigned left_ = 0;
};

// B.10.2. A node holds the least value below it; each is told once, when first needed.
class TagTree {
 public:
  TagTree(std::uint32_t width, std::uint32_t height) {
    for (;;) {
      levels_.push_back({width, std::vector<Node>(std::size_t{width} * height)});
      if (width * height <= 1) break;
      width = (width + 1) / 2;
      height = (height + 1) / 2;
    }
  }
  void set(std::uint32_t x, std::uint32_t y, unsigned value) {
    for (Level& level : levels_) {
      Node& node = level.at(x, y);
      if (node.value <= value) break;
      node.value = value;
      x /= 2;
      y /= 2;
    }
  }
  // Tells whether the value at that place is below the threshold, and which it is.
  void tell(std::uint32_t x, std::uint32_t y, unsigned threshold, HeaderBits& bits) {
    unsigned low = 0;
    for (std::size_t i = levels_.size(); i-- > 0;) {
      Node& node = levels_[i].at(x >> i, y >> i);
      low = std::max(low, node.low);
      for (; low < threshold && low < node.value; ++low) bits.put(0);
      if (low < threshold && !node.told) {
        bits.put(1);
        node.told = true;
      }
      node.low = low;
    }
  }

 private:
  struct Node {
    unsigned value = std::numeric_limits<unsigned>::max(), low = 0;
    bool told = false;
  };
  struct Level {
    std::uint32_t width;
    std::vector<Node> nodes;
    Node& at(std::uint32_t x, std::uint32_t y) { return nodes[std::size_t{y} * width + x]; }
  };
  std::vector<Level> levels_;  // the leaves first
};

// Table B.4
void putPasses(unsigned passes, HeaderBits& bits) {
  if (passes == 1) {
    bits.put(0);
  } else if (passes == 2) {
    bits.put(0b10, 2);
  } else if (passes <= 5) {
    bits.put(0b1100 | (passes - 3), 4);
  } else if (passes <= 36) {
    bits.put(0b1111 << 5 | (passes - 6), 9);
  } else {
    bits.put(0b1'1111'1111u << 7 | (passes - 37), 16);
  }
}

// B.10.7.1: the number of bits of a length grows with that of passes; three are there from the beginning.
void putLength(std::uint32_t length, unsigned passes, HeaderBits& bits) {
  const auto known = 3 + static_cast<unsigned>(std::bit_width(passes)) - 1;
  const unsigned needed = std::max(known, static_cast<unsigned>(std::bit_width(length)));
  bits.ones(needed - known);
  bits.put(0);
  bits.put(length, needed);
}

void putBand(const CodedPicture& picture, const Cuts& cuts, const Band& band, HeaderBits& bits) {
  if (band.blocksAcross == 0 || band.blocksDown == 0) return;
  TagTree included(band.blocksAcross, band.blocksDown), missing(band.blocksAcross, band.blocksDown);
  const unsigned planes = picture.quantiser.planesOf(band);
  const auto each = [&](const auto& work) {
    for (std::uint32_t y = 0; y < band.blocksDown; ++y) {
      for (std::uint32_t x = 0; x < band.blocksAcross; ++x)
        work(x, y, band.firstBlock + std::size_t{y} * band.blocksAcross + x);
    }
  };
  each([&](std::uint32_t x, std::uint32_t y, std::size_t block) {
    included.set(x, y, cuts[block] > 0 ? 0 : 1);
    if (cuts[block] > 0) missing.set(x, y, planes - picture.blocks[block].planes());
  });
  each([&](std::uint32_t x, std::uint32_t y, std::size_t block) {
    included.tell(x, y, 1, bits);
    const unsigned passes = cuts[block];
    if (passes == 0) return;
    missing.tell(x, y, planes + 1, bits);
    putPasses(passes, bits);
    putLength(picture.blocks[block].passes()[passes - 1].cut.size(), passes, bits);
  });
}

// Calls work with the header of each packet and the bands in it.
template <typename Work>
void eachPacket(const CodedPicture& picture, const Cuts& cuts, const Work& work) {
  const std::vector<Band>& bands = picture.layout.bands;
  for (std::size_t first = 0, end = 0; first < bands.size(); first = end) {
    const auto same = [&](const Band& band) {
      return band.resolution == bands[first].resolution && band.component == bands[first].component;
    };
    std::size_t blocks = bands[first].firstBlock;
    bool empty = true;
    for (end = first; end < bands.size() && same(bands[end]); ++end) {
      const std::size_t count = std::size_t{bands[end].blocksAcross} * bands[end].blocksDown;
      for (std::size_t i = 0; i < count; ++i) empty = empty && cuts[blocks + i] == 0;
      blocks += count;
    }
    HeaderBits bits;
    bits.put(empty ? 0 : 1);
    for (std::size_t i = first; i < end && !empty; ++i) putBand(picture, cuts, bands[i], bits);
    work(bits.finish(), bands[first].firstBlock, blocks);
  }
}

// Annex A: one tile of the picture's size, LRCP, blocks of 64 by 64, derived steps.
void putMainHeader(const CodedPicture& picture, Writer& out) {
  const Layout& layout = picture.layout;
  out.u16(0xFF4F);  // SOC
  out.u16(0xFF51);  // SIZ
  out.u16(38 + 3 * layout.components);
  out.u16(0);
  for (int i = 0; i < 2; ++i) {  // of the picture, then of the tile
    out.u32(layout.width);
    out.u32(layout.height);
    out.u32(0);
    out.u32(0);
  }
  out.u16(layout.components);
  for (unsigned i = 0; i < layout.components; ++i) {
    out.u8(7);  // 8 bits, unsigned
    out.u8(1);
    out.u8(1);
  }
  out.u16(0xFF52);  // COD
  out.u16(12);
  out.u8(0);
  out.u8(0);
  out.u16(1);
  out.u8(layout.components == 3 ? 1 : 0);
  out.u8(layout.levels);
  out.u8(std::countr_zero(blockSide) - 2);
  out.u8(std::countr_zero(blockSide) - 2);
  out.u8(0);
  out.u8(0);
  out.u16(0xFF5C);  // QCD
  out.u16(5);
  out.u8(Quantiser::guardBits << 5 | 1);
  out.u16(picture.quantiser.code());
}

constexpr std::size_t tileHeaderBytes = 14, endBytes = 2;

// Annex I: what a reader must know, and no more. The last box's size is patched.
void putBoxes(const Layout& layout, Writer& out) {
  out.u32(12);
  out.text("jP  ");
  out.u32(0x0D0A870A);
  out.u32(20);
  out.text("ftypjp2 ");
  out.u32(0);
  out.text("jp2 ");
  out.u32(45);
  out.text("jp2h");
  out.u32(22);
  out.text("ihdr");
  out.u32(layout.height);
  out.u32(layout.width);
  out.u16(layout.components);
  out.u8(7);  // 8 bits, unsigned
  out.u8(7);
  out.u8(0);
  out.u8(0);
  out.u32(15);
  out.text("colr");
  out.u8(1);
  out.u8(0);
  out.u8(0);
  out.u32(layout.components == 3 ? 16 : 17);  // sRGB, grey
  out.u32(0);
  out.text("jp2c");
}

}  // namespace

Bytes writeJp2(const CodedPicture& picture, const Cuts& cuts) {
  Writer out;
  putBoxes(picture.layout, out);
  const std::size_t stream = out.size();
  putMainHeader(picture, out);
  const std::size_t tile = out.size();
  out.u16(0xFF90);  // SOT
  out.u16(10);
  out.u16(0);
  out.u32(0);
  out.u8(0);
  out.u8(1);
  out.u16(0xFF93);  // SOD
  eachPacket(picture, cuts, [&](ByteView header, std::size_t first, std::size_t end) {
    out.bytes(header);
    for (std::size_t block = first; block < end; ++block)
      if (cuts[block] > 0) out.bytes(picture.blocks[block].code(cuts[block]));
  });
  out.patch(tile + 6, static_cast<std::uint32_t>(out.size() - tile), 4);
  out.u16(0xFFD9);  // EOC
  out.patch(stream - 8, static_cast<std::uint32_t>(out.size() - stream + 8), 4);
  return out.take();
}

std::size_t sizeOfJp2(const CodedPicture& picture, const Cuts& cuts) {
  Writer heads;
  putBoxes(picture.layout, heads);
  putMainHeader(picture, heads);
  std::size_t size = heads.size() + tileHeaderBytes + endBytes;
  eachPacket(picture, cuts, [&](ByteView header, std::size_t first, std::size_t end) {
    size += header.size();
    for (std::size_t block = first; block < end; ++block)
      if (cuts[block] > 0) size += picture.blocks[block].passes()[cuts[block] - 1u].cut.size();
  });
  return size;
}

}  // namespace optimizer::jpx
