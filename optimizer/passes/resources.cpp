// Drops what resource dictionaries name and no content uses (ISO 32000-1, 7.8.3), and entries of pages, forms and images
// that say no more than their default. Nothing is dropped for being unused unless all content could be read.
//
// Dictionaries are often shared: by pages, by the page and its forms, or one category of them with the form fields. So
// names are gathered first, per dictionary over everything that holds it; a dictionary with a holder whose content was
// not read stays whole.
#include <map>
#include <set>
#include <string>
#include <vector>

#include "optimizer/content/font_codes.h"
#include "optimizer/content/resource_scope.h"
#include "optimizer/document/document.h"
#include "optimizer/document/reachable.h"
#include "optimizer/document/usage.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"

namespace optimizer {
namespace {

QPDFObjectHandle entry(QPDFObjectHandle dictionary, const std::string& key) {
  return dictionary.isDictionary() ? dictionary.getKey(key) : QPDFObjectHandle::newNull();
}

std::string categoryKey(std::size_t category) {
  return "/" + std::string(content::categoryName(static_cast<content::ResourceCategory>(category)));
}

// One category of one resource dictionary, with the names used from it by all its holders.
struct Names {
  QPDFObjectHandle dictionary;
  std::set<std::string> used;
  bool whole = false;
};

class ResourcesPass : public Pass {
 public:
  std::string_view name() const override { return "resources"; }
  bool keepsObjects() const override { return dropped_ == 0 && !letGo_; }
  Result<PassOutcome> process(PassContext& context) override {
    return withoutExceptions("Resources cannot be read", [&]() -> Result<PassOutcome> { return run(context); });
  }

 private:
  // Identity of a category's dictionary: its own number, or that of what it directly stands in.
  using Place = std::pair<QPDFObjGen, std::string>;

  PassOutcome run(PassContext& context);
  void collect(PassContext& context, const DocumentUsage& usage);
  void hold(QPDFObjectHandle holder, QPDFObjectHandle resources, const std::set<std::string>* used);
  void prune();
  void dropDefaults(QPDFObjectHandle object);
  void drop(QPDFObjectHandle dictionary, const std::string& key);

  std::map<Place, Names> places_;
  std::vector<QPDFObjectHandle> prunable_;  // resource dictionaries
  std::size_t dropped_ = 0, defaults_ = 0;
  bool letGo_ = false;  // of an object by a default entry
};

PassOutcome ResourcesPass::run(PassContext& context) {
  const DocumentUsage& usage = usageOf(context);
  if (usage.complete) {
    collect(context, usage);
    prune();
  }
  for (QPDFObjectHandle& object : context.document.reachable()) dropDefaults(object);
  if (dropped_ + defaults_ == 0) return PassOutcome::unchanged;
  context.report.note(std::to_string(dropped_) + " unused names, " + std::to_string(defaults_) + " default entries");
  return PassOutcome::changed;
}

void ResourcesPass::collect(PassContext& context, const DocumentUsage& usage) {
  static const std::set<std::string> nothing;
  std::set<QPDFObjGen> pages;
  for (const QPDFObjectHandle& page : context.document.pages()) pages.insert(QPDFObjectHandle(page).getObjGen());
  for (QPDFObjectHandle& object : context.document.reachable()) {
    QPDFObjectHandle dictionary = object.isStream() ? object.getDict() : object;
    if (!dictionary.isDictionary()) continue;
    // Fields of forms may be typed with anything that the form names.
    for (QPDFObjectHandle defaults : {entry(dictionary, "/DR"), entry(entry(dictionary, "/AcroForm"), "/DR")}) {
      if (defaults.isDictionary()) hold(object, defaults, nullptr);
    }
    QPDFObjectHandle resources = dictionary.getKey("/Resources");
    if (!resources.isDictionary()) continue;
    const auto used = usage.resources.find(object.getObjGen());
    if (used != usage.resources.end()) {
      hold(object, resources, &used->second);
    } else {
      hold(object, resources, pages.count(object.getObjGen()) != 0 ? &nothing : nullptr);
    }
  }
}

// used: the names that this holder uses; null when that is not known.
void ResourcesPass::hold(QPDFObjectHandle holder, QPDFObjectHandle resources, const std::set<std::string>* used) {
  prunable_.push_back(resources);
  for (std::size_t category = 0; category < content::resourceCategoryCount; ++category) {
    const std::string key = categoryKey(category);
    QPDFObjectHandle dictionary = resources.getKey(key);
    if (!dictionary.isDictionary()) continue;
    const QPDFObjGen place = dictionary.isIndirect()  ? dictionary.getObjGen()
                             : resources.isIndirect() ? resources.getObjGen()
                                                      : holder.getObjGen();
    Names& names = places_[{place, dictionary.isIndirect() ? key : key + (resources.isIndirect() ? " shared" : " own")}];
    names.dictionary = dictionary;
    if (used == nullptr) {
      names.whole = true;
      continue;
    }
    const std::string prefix = key.substr(1) + "/";
    for (auto name = used->lower_bound(prefix); name != used->end() && name->starts_with(prefix); ++name) {
      names.used.insert(name->substr(prefix.size() - 1));
    }
  }
}

void ResourcesPass::prune() {
  // One dictionary under two categories would have to keep the names of both.
  std::map<QPDFObjGen, int> categories;
  for (auto& [place, names] : places_) {
    if (names.dictionary.isIndirect()) ++categories[names.dictionary.getObjGen()];
  }
  for (auto& [place, names] : places_) {
    if (names.whole || (names.dictionary.isIndirect() && categories[names.dictionary.getObjGen()] > 1)) continue;
    for (const std::string& name : names.dictionary.getKeys()) {
      if (names.used.count(name) == 0) {
        names.dictionary.removeKey(name);
        ++dropped_;
      }
    }
  }
  for (QPDFObjectHandle& resources : prunable_) {
    for (std::size_t category = 0; category < content::resourceCategoryCount; ++category) {
      const std::string key = categoryKey(category);
      QPDFObjectHandle dictionary = resources.getKey(key);
      if (dictionary.isDictionary() && dictionary.getKeys().empty()) drop(resources, key);
    }
    // Obsolete: no reader needs procedure sets (14.2).
    if (resources.hasKey("/ProcSet")) drop(resources, "/ProcSet");
  }
}

void ResourcesPass::drop(QPDFObjectHandle dictionary, const std::string& key) {
  letGo_ = letGo_ || dictionary.getKey(key).isIndirect();
  dictionary.removeKey(key);
  ++defaults_;
}

// Is the same value inherited when the page does not say it?
bool inheritsNothing(QPDFObjectHandle page, const std::string& key) {
  QPDFObjectHandle node = page.getKey("/Parent");
  for (int depth = 0; node.isDictionary() && depth < 64; ++depth) {
    if (node.hasKey(key)) return false;
    node = node.getKey("/Parent");
  }
  return true;
}

void ResourcesPass::dropDefaults(QPDFObjectHandle object) {
  if (object.isDictionary() && object.getKey("/Type").isNameAndEquals("/Page")) {
    QPDFObjectHandle rotate = object.getKey("/Rotate");
    if (rotate.isInteger() && rotate.getIntValue() == 0 && inheritsNothing(object, "/Rotate")) drop(object, "/Rotate");
    const auto crop = content::readRect(object.getKey("/CropBox"));
    if (crop && crop == content::readRect(object.getKey("/MediaBox")) && inheritsNothing(object, "/CropBox")) {
      drop(object, "/CropBox");
    }
    QPDFObjectHandle annotations = object.getKey("/Annots");
    if (annotations.isArray() && annotations.getArrayNItems() == 0) drop(object, "/Annots");
    return;
  }
  if (!object.isStream()) return;
  QPDFObjectHandle dictionary = object.getDict();
  QPDFObjectHandle subtype = dictionary.getKey("/Subtype");
  // The type of an external object is optional, and its name obsolete (8.9.5, 8.10.2).
  if (subtype.isNameAndEquals("/Form") || subtype.isNameAndEquals("/Image")) {
    // One viewer asks for the type of a mask that does not say it is one.
    QPDFObjectHandle bits = dictionary.getKey("/BitsPerComponent");
    const bool maybeMask = bits.isInteger() && bits.getIntValue() == 1 && !dictionary.hasKey("/ImageMask");
    if (!maybeMask && dictionary.getKey("/Type").isNameAndEquals("/XObject")) drop(dictionary, "/Type");
    if (dictionary.getKey("/Name").isName()) drop(dictionary, "/Name");
  }
  if (subtype.isNameAndEquals("/Form")) {
    QPDFObjectHandle type = dictionary.getKey("/FormType");
    if (type.isInteger() && type.getIntValue() == 1) drop(dictionary, "/FormType");
    const auto matrix = content::readMatrix(dictionary.getKey("/Matrix"));
    if (matrix && matrix->identity()) drop(dictionary, "/Matrix");
  } else if (subtype.isNameAndEquals("/Image")) {
    for (const char* key : {"/Interpolate", "/ImageMask"}) {
      QPDFObjectHandle value = dictionary.getKey(key);
      if (value.isBool() && !value.getBoolValue()) drop(dictionary, key);
    }
  }
}

}  // namespace

std::unique_ptr<Pass> makeResourcesPass() { return std::make_unique<ResourcesPass>(); }

}  // namespace optimizer
