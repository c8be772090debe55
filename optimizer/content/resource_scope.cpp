#include "optimizer/content/resource_scope.h"

#include <algorithm>

namespace optimizer::content {
namespace {

// Used by whatever names the device spaces (ISO 32000-1, 8.6.5.6).
constexpr std::string_view defaultColorSpaces[] = {"DefaultGray", "DefaultRGB", "DefaultCMYK"};

}  // namespace

std::string_view categoryName(ResourceCategory category) {
  static constexpr std::string_view names[resourceCategoryCount] = {"ExtGState", "ColorSpace", "Pattern",   "Shading",
                                                                    "XObject",   "Font",       "Properties"};
  return names[static_cast<std::size_t>(category)];
}

ResourceScope::ResourceScope(QPDFObjGen owner, QPDFObjectHandle resources, ResourceScope* outer, ResourceUse& use)
    : owner_(owner),
      resources_(resources.isDictionary() ? resources : QPDFObjectHandle::newNull()),
      outer_(outer),
      use_(use),
      level_(outer == nullptr ? 0 : outer->level_ + 1),
      lowest_(level_) {
  for (std::size_t i = 0; i < resourceCategoryCount; ++i) {
    categories_[i] = resources_.isNull()
                         ? QPDFObjectHandle::newNull()
                         : resources_.getKey("/" + std::string(categoryName(static_cast<ResourceCategory>(i))));
  }
  QPDFObjectHandle& colorSpaces = categories_[static_cast<std::size_t>(ResourceCategory::colorSpace)];
  for (std::string_view name : defaultColorSpaces) {
    if (owner_.isIndirect() && colorSpaces.isDictionary() && colorSpaces.hasKey("/" + std::string(name))) {
      use_[owner_].insert("ColorSpace/" + std::string(name));
    }
  }
}

Resource& ResourceScope::find(ResourceCategory category, const Token& name) {
  auto& known = found_[static_cast<std::size_t>(category)];
  const std::string_view raw = name.rawName();
  auto place = known.find(raw);
  if (place == known.end()) {
    Resource resource;
    resource.object = lookUp(category, nameValue(name), resource.level);
    place = known.emplace(std::string(raw), std::move(resource)).first;
  }
  touch(place->second.level);
  return place->second;
}

QPDFObjectHandle ResourceScope::lookUp(ResourceCategory category, const std::string& name, int& foundLevel) {
  const std::string key = "/" + name;
  const std::size_t index = static_cast<std::size_t>(category);
  for (ResourceScope* scope = this; scope != nullptr; scope = scope->outer_) {
    QPDFObjectHandle& dict = scope->categories_[index];
    if (!dict.isDictionary() || !dict.hasKey(key)) {
      continue;
    }
    foundLevel = scope->level_;
    if (scope->owner_.isIndirect()) {
      scope->use_[scope->owner_].insert(std::string(categoryName(category)) + "/" + name);
    }
    QPDFObjectHandle object = dict.getKey(key);
    if (category == ResourceCategory::font && object.isDictionary() && !object.isIndirect() &&
        scope->resources_.getOwningQPDF() != nullptr) {
      // Use is kept by object number, so a font must have one.
      object = scope->resources_.getOwningQPDF()->makeIndirectObject(object);
      dict.replaceKey(key, object);
    }
    return object;
  }
  foundLevel = 0;
  return QPDFObjectHandle::newNull();
}

std::vector<QPDFObjGen> ResourceScope::path() const {
  std::vector<QPDFObjGen> owners;
  for (const ResourceScope* scope = this; scope != nullptr; scope = scope->outer_) {
    owners.push_back(scope->owner_);
  }
  std::reverse(owners.begin(), owners.end());
  return owners;
}

}  // namespace optimizer::content
