#include "optimizer/document/reachable.h"

#include <unordered_set>

#include "optimizer/base/limits.h"

namespace optimizer {

std::uint64_t keyOf(const QPDFObjectHandle& object) {
  const QPDFObjGen id = object.getObjGen();
  return static_cast<std::uint64_t>(static_cast<std::uint32_t>(id.getObj())) << 32 |
         static_cast<std::uint32_t>(id.getGen());
}

namespace {

class Walk {
 public:
  std::vector<QPDFObjectHandle> from(QPDFObjectHandle trailer) {
    look(trailer, 0);
    for (std::size_t next = 0; next < found_.size(); ++next) {
      const QPDFObjectHandle object = found_[next];
      forEachChild(object, [this](QPDFObjectHandle& child) { look(child, 0); });
    }
    return std::move(found_);
  }

 private:
  void look(QPDFObjectHandle& value, int depth) {
    if (value.isIndirect()) {
      if (seen_.insert(keyOf(value)).second && !value.isNull()) found_.push_back(value);
    } else if (depth < limits::kNesting && (value.isDictionary() || value.isArray())) {
      forEachChild(value, [this, depth](QPDFObjectHandle& child) { look(child, depth + 1); });
    }
  }

  std::vector<QPDFObjectHandle> found_;
  std::unordered_set<std::uint64_t> seen_;
};

void addContainersIn(QPDFObjectHandle& value, int depth, std::vector<QPDFObjectHandle>& containers) {
  if (!value.isDictionary() && !value.isArray()) return;
  containers.push_back(value);
  if (depth >= limits::kNesting) return;
  forEachChild(value, [&](QPDFObjectHandle& child) {
    if (!child.isIndirect()) addContainersIn(child, depth + 1, containers);
  });
}

}  // namespace

void addContainers(QPDFObjectHandle object, std::vector<QPDFObjectHandle>& containers) {
  if (object.isStream()) object = object.getDict();
  addContainersIn(object, 0, containers);
}

std::vector<QPDFObjectHandle> reachableObjects(QPDF& pdf) { return Walk().from(pdf.getTrailer()); }

}  // namespace optimizer
