// The named resources that a content stream can reach (ISO 32000-1, 7.8.3): its own, and behind them those of the
// content that draws it, as readers look them up where a form names something that only its page has.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

#include "optimizer/content/tokenizer.h"

namespace optimizer::content {

class FontCodes;

enum class ResourceCategory : std::uint8_t { extGState, colorSpace, pattern, shading, xObject, font, properties };
constexpr std::size_t resourceCategoryCount = 7;
// As its key in a resource dictionary, without slash: "ExtGState", "XObject" …
std::string_view categoryName(ResourceCategory category);

using ResourceUse = std::map<QPDFObjGen, std::set<std::string>>;

struct Resource {
  QPDFObjectHandle object;  // null when nothing has the name
  int level = 0;            // of the scope that has it
  FontCodes* font = nullptr;
  bool drawn = false;       // patterns: its content is already part of the draws of this scope's content
};

class ResourceScope {
 public:
  // owner: the page, form, pattern, glyph's font … whose Resources these are. resources may be null. Every name looked up
  // is noted in `use` under the owner that has it.
  ResourceScope(QPDFObjGen owner, QPDFObjectHandle resources, ResourceScope* outer, ResourceUse& use);

  // The name token's resource, from here outwards. The reference stays valid as long as the scope.
  Resource& find(ResourceCategory category, const Token& name);

  int level() const { return level_; }
  // Lowest level that a lookup through this scope has touched: what its content means depends on the scopes from there.
  int lowestLevel() const { return lowest_; }
  void touch(int level) { lowest_ = level < lowest_ ? level : lowest_; }
  // Owners from the outermost scope to this one.
  std::vector<QPDFObjGen> path() const;

 private:
  QPDFObjectHandle lookUp(ResourceCategory category, const std::string& name, int& foundLevel);

  QPDFObjGen owner_;
  QPDFObjectHandle resources_;
  ResourceScope* outer_;
  ResourceUse& use_;
  int level_;
  int lowest_;
  std::array<QPDFObjectHandle, resourceCategoryCount> categories_;
  std::array<std::map<std::string, Resource, std::less<>>, resourceCategoryCount> found_;
};

}  // namespace optimizer::content
