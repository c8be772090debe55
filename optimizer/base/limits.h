// Bounds that keep hostile documents from taking the machine. Each is far above what real documents need; a document
// beyond one is refused with a message, or the part beyond it is left as it is.
#pragma once

#include <cstddef>
#include <cstdint>

namespace optimizer::limits {

// Bytes that one stream may have when its filters are undone.
inline constexpr std::size_t kStreamBytes = std::size_t{128} << 20;
// How many times its coded size a large stream may grow. Deflate itself reaches 1032 (RFC 1951); two in a row are a bomb.
inline constexpr std::size_t kStreamExpansion = 5000;
// Below this size the expansion is not looked at.
inline constexpr std::size_t kExpansionFree = std::size_t{16} << 20;
// Filters of one stream.
inline constexpr int kFilters = 8;
// Levels of the page tree, and of dictionaries and arrays inside one another.
inline constexpr int kPageTreeDepth = 200;
inline constexpr int kNesting = 500;
// Pages and indirect objects of one document.
inline constexpr std::size_t kPages = 100'000;
inline constexpr std::size_t kObjects = 8'388'607;  // ISO 32000-1, Annex C
// Values in object streams: so many, and so many more for each byte of the file. Structure trees have one a byte or two.
inline constexpr std::uint64_t kValuesFree = 4'000'000;
inline constexpr std::uint64_t kValuesPerByte = 4;
// Entries of the cross-reference table: so many, and one more for each byte of the file.
inline constexpr std::size_t kEntriesFree = 1'000'000;
// Stack of the thread that opens and saves: the PDF library follows some chains of objects by recursion.
inline constexpr std::size_t kStackBytes = std::size_t{512} << 20;

}  // namespace optimizer::limits
