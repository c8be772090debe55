// The binary form. A header of eight bytes, then objects, then a table of the objects' offsets, then a trailer of 32 bytes:
// six unused, size of an offset, size of a reference, then as 64-bit numbers the count of objects, the number of the top object
// and the offset of the table. All numbers are big-endian. An object starts with a byte of kind (high half) and size (low half).
//
// 1. The trailer and the offsets are checked as a whole.
// 2. Objects are read from the top one down, each once: who refers to it again shares what was read. How deep a value is kept
//    with it, so that shared values cannot be stacked deeper than any direct nesting could be.
#include <algorithm>
#include <bit>
#include <optional>
#include <unordered_map>

#include "platform/linux/file_errors.h"
#include "platform/linux/property_list_forms.h"
#include "platform/utf8.h"

namespace platform {
namespace {

constexpr std::size_t headerSize = 8;
constexpr std::size_t trailerSize = 32;

// An integer object beyond 64 bits, such as 2^64, is kept as the nearest real.
PropertyList wideInteger(std::uint64_t high, std::uint64_t low) {
  const auto signedLow = static_cast<std::int64_t>(low);
  if ((high == 0 && signedLow >= 0) || (high == ~std::uint64_t{0} && signedLow < 0))
    return PropertyList(PropertyList::Value(signedLow));
  if (high == 0) return PropertyList(PropertyList::Value(low));
  return PropertyList(
      PropertyList::Value(static_cast<double>(static_cast<std::int64_t>(high)) * 0x1p64 + static_cast<double>(low)));
}

class BinaryReader {
 public:
  explicit BinaryReader(PropertyListBytes bytes) : bytes_(bytes) {}

  Result<PropertyList> parse() {
    if (!readTrailer()) return propertyListError("Bad trailer of a binary property list");
    Value top;
    if (!object(topObject_, 0, top)) return propertyListError(failure_);
    return std::move(top.list);
  }

 private:
  struct Value {
    PropertyList list;
    int height = 0;  // levels of containers in it, itself included
    bool isContainer() const { return height > 0; }
  };

  bool fail(const char* reason) {
    if (failure_.empty()) failure_ = reason;
    return false;
  }

  // The caller has checked that the bytes are there; size is 1 to 8.
  std::uint64_t number(std::size_t at, std::size_t size) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value = value << 8 | bytes_[at + i];
    return value;
  }

  // Whether size bytes can tell every number up to largest.
  static bool holds(std::size_t size, std::uint64_t largest) {
    return size >= 1 && size <= 8 && (size == 8 || largest >> (8 * size) == 0);
  }

  bool readTrailer() {
    if (bytes_.size() < headerSize + 1 + trailerSize) return false;
    const std::size_t trailer = bytes_.size() - trailerSize;
    offsetSize_ = bytes_[trailer + 6];
    referenceSize_ = bytes_[trailer + 7];
    const std::uint64_t count = number(trailer + 8, 8);
    topObject_ = number(trailer + 16, 8);
    const std::uint64_t table = number(trailer + 24, 8);
    if (count == 0 || topObject_ >= count || table < headerSize + 1 || table >= trailer) return false;
    if (!holds(offsetSize_, table) || !holds(referenceSize_, count)) return false;
    if (count > (trailer - table) / offsetSize_ || count * offsetSize_ != trailer - table) return false;
    count_ = count;
    table_ = static_cast<std::size_t>(table);
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint64_t offset = number(table_ + i * offsetSize_, offsetSize_);
      if (offset < headerSize || offset >= table_) return false;
    }
    return true;
  }

  bool object(std::uint64_t index, int depth, Value& value) {
    if (index >= count_) return fail("Reference to an object that is not there");
    if (++values_ > mostValues) return fail("Too many values");
    const auto [entry, isNew] = known_.try_emplace(index);
    if (!isNew) {
      if (!entry->second) return fail("Object within itself");
      value = *entry->second;
      if (depth + value.height > deepestLevel) return fail("Too many levels");
      return value.isContainer() || takeCopy(value.list);
    }
    const std::size_t at = static_cast<std::size_t>(number(table_ + static_cast<std::size_t>(index) * offsetSize_, offsetSize_));
    if (!read(at, depth, value)) return false;
    known_[index] = value;
    return true;
  }

  // Texts and data are copied to each place that refers to them, which a hostile list could ask for without end.
  bool takeCopy(const PropertyList& list) {
    if (const std::string* text = list.text()) copied_ += text->size();
    if (const PropertyListData* data = list.data()) copied_ += data->bytes.size();
    return copied_ <= longestList || fail("Too much text and data");
  }

  bool read(std::size_t at, int depth, Value& value) {
    const unsigned kind = bytes_[at] >> 4;
    const unsigned low = bytes_[at] & 15;
    switch (kind) {
      case 0x0: return readSimple(low, value);
      case 0x1: return readInteger(at + 1, low, value);
      case 0x2: return readReal(at + 1, low, value);
      case 0x3: return low == 3 ? readDate(at + 1, value) : fail("Bad date");
      case 0x8: return low < 8 && has(at + 1, low + 1u) ? true : fail("Bad UID");
      case 0x4:
      case 0x5:
      case 0x6: return readBytes(at, kind, value);
      case 0xA:
      case 0xC:
      case 0xD: return readContainer(at, kind, depth, value);
      default: return fail("Unknown kind of object");
    }
  }

  bool has(std::size_t at, std::uint64_t size) const { return at <= table_ && size <= table_ - at; }

  bool readSimple(unsigned low, Value& value) {
    if (low != 0 && low != 8 && low != 9) return fail("Unknown kind of object");
    if (low != 0) value.list = PropertyList(PropertyList::Value(low == 9));
    return true;
  }

  bool readInteger(std::size_t at, unsigned low, Value& value) {
    const std::size_t size = std::size_t{1} << low;
    if (low > 4 || !has(at, size)) return fail("Bad integer");
    value.list = size == 16 ? wideInteger(number(at, 8), number(at + 8, 8))
                            : PropertyList(PropertyList::Value(static_cast<std::int64_t>(number(at, size))));
    return true;
  }

  bool readReal(std::size_t at, unsigned low, Value& value) {
    if ((low != 2 && low != 3) || !has(at, std::size_t{1} << low)) return fail("Bad real");
    const double real = low == 2 ? std::bit_cast<float>(static_cast<std::uint32_t>(number(at, 4)))
                                 : std::bit_cast<double>(number(at, 8));
    value.list = PropertyList(PropertyList::Value(real));
    return true;
  }

  bool readDate(std::size_t at, Value& value) {
    if (!has(at, 8)) return fail("Bad date");
    value.list = PropertyList(PropertyList::Value(PropertyListDate{std::bit_cast<double>(number(at, 8))}));
    return true;
  }

  // The count behind the byte at `at`, which is left on the first byte of the content.
  bool readCount(std::size_t& at, std::uint64_t& count) {
    count = bytes_[at++] & 15;
    if (count != 15) return true;
    if (!has(at, 1) || bytes_[at] >> 4 != 1 || (bytes_[at] & 15) > 3) return fail("Bad count");
    const std::size_t size = std::size_t{1} << (bytes_[at] & 15);
    if (!has(at + 1, size)) return fail("Bad count");
    count = number(at + 1, size);
    at += 1 + size;
    return true;
  }

  // Data, a text of one byte (Latin 1) or a text of two bytes (UTF-16) a character.
  bool readBytes(std::size_t at, unsigned kind, Value& value) {
    std::uint64_t count = 0;
    if (!readCount(at, count)) return false;
    if (count > table_ || !has(at, kind == 6 ? 2 * count : count)) return fail("Text or data beyond the objects");
    const PropertyListBytes content = bytes_.subspan(at, static_cast<std::size_t>(count) * (kind == 6 ? 2 : 1));
    if (kind == 4) {
      value.list = PropertyList(PropertyList::Value(PropertyListData{{content.begin(), content.end()}}));
      return takeCopy(value.list);
    }
    std::u16string units;
    for (std::size_t i = 0; i < content.size(); i += kind == 6 ? 2 : 1)
      units += static_cast<char16_t>(kind == 6 ? content[i] << 8 | content[i + 1] : content[i]);
    value.list = PropertyList(PropertyList::Value(utf8FromUtf16(units)));
    return takeCopy(value.list);
  }

  bool readContainer(std::size_t at, unsigned kind, int depth, Value& value) {
    if (depth >= deepestLevel) return fail("Too many levels");
    std::uint64_t count = 0;
    if (!readCount(at, count)) return false;
    const std::uint64_t references = kind == 0xD ? 2 : 1;
    if (count > table_ || !has(at, count * references * referenceSize_)) return fail("References beyond the objects");
    int inner = 0;
    const auto element = [&](std::uint64_t position, Value& found) {
      if (!object(number(at + static_cast<std::size_t>(position) * referenceSize_, referenceSize_), depth + 1, found))
        return false;
      inner = std::max(inner, found.height);
      return true;
    };
    const bool isDone = kind == 0xD ? readEntries(count, element, value) : readItems(kind, count, element, value);
    value.height = inner + 1;
    return isDone;
  }

  template <typename Element>
  bool readItems(unsigned kind, std::uint64_t count, const Element& element, Value& value) {
    PropertyListArray items;
    for (std::uint64_t i = 0; i < count; ++i) {
      Value item;
      if (!element(i, item)) return false;
      items.push_back(std::move(item.list));
    }
    if (kind == 0xA) value.list = PropertyList::array(std::move(items));
    return true;
  }

  // Of several entries with one key the first counts.
  template <typename Element>
  bool readEntries(std::uint64_t count, const Element& element, Value& value) {
    PropertyListDictionary entries;
    bool hasOtherKeys = false;
    for (std::uint64_t i = 0; i < count; ++i) {
      Value key, held;
      if (!element(i, key) || !element(count + i, held)) return false;
      if (key.isContainer()) return fail("A container as a key");
      if (const std::string* text = key.list.text()) {
        entries.try_emplace(*text, std::move(held.list));
      } else {
        hasOtherKeys = true;
      }
    }
    if (!hasOtherKeys) value.list = PropertyList::dictionary(std::move(entries));
    return true;
  }

  PropertyListBytes bytes_;
  std::size_t offsetSize_ = 0, referenceSize_ = 0, table_ = 0;
  std::uint64_t count_ = 0, topObject_ = 0;
  std::unordered_map<std::uint64_t, std::optional<Value>> known_;  // none while an object is being read
  std::size_t values_ = 0, copied_ = 0;
  std::string failure_;
};

}  // namespace

Result<PropertyList> parseBinaryPropertyList(PropertyListBytes bytes) { return BinaryReader(bytes).parse(); }

}  // namespace platform
