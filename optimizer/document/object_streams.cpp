#include "optimizer/document/object_streams.h"

#include <cstdlib>
#include <qpdf/QPDF.hh>
#include <set>
#include <string>

#include "optimizer/base/limits.h"
#include "optimizer/content/tokenizer.h"
#include "optimizer/document/stream_data.h"

namespace optimizer {
namespace {

// What is long counts for several, since it takes memory, or time where it is read again and again.
constexpr std::size_t kBytesOfAValue = 128;

// Those of all objects of a stream, each counted from where the stream's head says it begins: several may
// begin in one place, or inside of one another.
std::uint64_t valuesOf(const Bytes& data, QPDFObjectHandle stream, std::uint64_t most) {
  QPDFObjectHandle first = stream.getDict().getKey("/First");
  if (!first.isInteger() || first.getIntValue() < 0) return 0;
  const auto bodies = static_cast<std::size_t>(first.getIntValue());
  if (bodies >= data.size()) return 0;
  content::Tokenizer head({data.data(), bodies});
  std::uint64_t values = 0;
  while (values < most && head.next().isNumber()) {
    const content::Token offset = head.next();
    if (!offset.isNumber()) break;
    const auto from = static_cast<double>(bodies) + offset.value;
    if (!(offset.value >= 0 && from < static_cast<double>(data.size()))) continue;
    const auto begin = static_cast<std::size_t>(from);
    values += countValues({data.data() + begin, data.size() - begin}, most - values);
  }
  return values;
}

}  // namespace

std::uint64_t valuesAllowed(std::uint64_t fileBytes) {
  return limits::kValuesFree + fileBytes * limits::kValuesPerByte;
}

std::uint64_t countValues(ByteView object, std::uint64_t most) {
  content::Tokenizer tokens(object);
  std::uint64_t values = 0;
  int depth = 0, numbers = 0;
  do {
    const content::Token token = tokens.next();
    switch (token.kind) {
      case content::TokenKind::end:
        return values + object.size() / kBytesOfAValue;
      case content::TokenKind::arrayStart:
      case content::TokenKind::dictStart:
        ++depth;
        break;
      case content::TokenKind::arrayEnd:
      case content::TokenKind::dictEnd:
        --depth;
        numbers = 0;
        continue;
      default:
        break;
    }
    ++values;
    if (token.kind == content::TokenKind::keyword && token.text() == "R" && numbers >= 2)
      values -= 2;  // a reference
    numbers = token.isNumber() ? numbers + 1 : 0;
  } while (depth > 0 && values < most);
  return values + static_cast<std::uint64_t>(tokens.position() - object.data()) / kBytesOfAValue;
}

Status checkObjectStreams(QPDF& pdf, std::uint64_t fileBytes) {
  const Error tooLarge{ErrorKind::limit, "The PDF's objects expand beyond what can be handled"};
  const auto table = pdf.getXRefTable();
  // Each would become an object, also where the file has none.
  if (table.size() > limits::kEntriesFree + fileBytes) return tooLarge;
  std::set<int> streams;
  for (const auto& [object, entry] : table) {
    if (entry.getType() == 2) streams.insert(entry.getObjStreamNumber());
  }
  const std::uint64_t allowed = valuesAllowed(fileBytes);
  std::uint64_t values = 0;
  for (const int number : streams) {
    const auto own = table.find(QPDFObjGen(number, 0));
    if (own == table.end() || own->second.getType() != 1) continue;  // no stream can be read there
    QPDFObjectHandle stream = pdf.getObject(number, 0);
    if (!stream.isStream()) continue;
    const Result<Bytes> data = decodedStreamData(stream);
    if (data.ok()) values += valuesOf(*data, stream, allowed - values);
    if (values >= allowed || (!data.ok() && data.error().kind == ErrorKind::limit)) {
      return tooLarge;
    }
  }
  return {};
}

}  // namespace optimizer
