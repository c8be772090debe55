#include "optimizer/document/reachable.h"

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
  Reach from(QPDFObjectHandle trailer) {
    look(trailer, 0, false);
    for (std::size_t next = 0; next < reach_.objects.size(); ++next) {
      QPDFObjectHandle object = reach_.objects[next];
      if (object.isStream()) object = object.getDict();
      if (isContainer(object)) lookInto(object, 0, true);
    }
    return std::move(reach_);
  }

 private:
  static bool isContainer(QPDFObjectHandle& value) {
    const qpdf_object_type_e type = value.getTypeCode();
    return type == ot_dictionary || type == ot_array;
  }

  // inObject: the value stands in an object, and not in the trailer.
  void look(QPDFObjectHandle& value, int depth, bool inObject) {
    if (value.isIndirect()) {
      const auto [count, fresh] = reach_.references.try_emplace(keyOf(value), 0);
      if (inObject) ++count->second;
      if (fresh && !value.isNull()) reach_.objects.push_back(value);
    } else if (depth < limits::kNesting && isContainer(value)) {
      lookInto(value, depth + 1, inObject);
    }
  }

  void lookInto(const QPDFObjectHandle& container, int depth, bool inObject) {
    if (inObject) reach_.containers.push_back(container);
    forEachChild(container, [&](QPDFObjectHandle& child) { look(child, depth, inObject); });
  }

  Reach reach_;
};

}  // namespace

Reach reachOf(QPDF& pdf) { return Walk().from(pdf.getTrailer()); }

std::vector<QPDFObjectHandle> reachableObjects(QPDF& pdf) { return reachOf(pdf).objects; }

}  // namespace optimizer
