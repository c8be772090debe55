#include "kelvara/key_texts.h"

#include <map>

#include "kelvara/json.h"

namespace kelvara {
namespace {

const std::map<std::string, const char*>& meanings() {
  static const std::map<std::string, const char*> texts = {
      {"imageQuality", "quality of re-coded images as a fraction; 1 is lossless"},
      {"imageResolution", "images above this many dots per inch are reduced to it; 0 leaves all as they are"},
      {"colorConversion", "images and colours become: 0 as they are, 1 RGB, 2 CMYK, 3 grey"},
      {"clipImages", "1 cuts off parts of images that no page shows"},
      {"reduceColorComplexity", "1 stores images in the simplest colour space that shows them alike"},
      {"forceRecompression", "1 re-codes images even where their present coding would do"},
      {"convertToCFF", "1 turns Type 1 and TrueType fonts into the compact font format"},
      {"mergeEmbeddedFonts", "1 merges subsets of the same font"},
      {"removeStandardFonts", "1 drops the embedded standard fonts that every reader has"},
      {"subsetFonts", "1 cuts fonts down to the characters that are used"},
      {"optimizeResources", "1 drops resources that no page uses"},
      {"removeRedundantObjects", "1 stores equal objects once"},
      {"removeAuthor", "true overwrites the author with customAuthor"},
      {"customAuthor", "the author to write; empty clears it"},
      {"removeSubject", "true overwrites the subject with customSubject"},
      {"customSubject", "the subject to write; empty clears it"},
      {"removeTitle", "true overwrites the title with customTitle"},
      {"customTitle", "the title to write; empty clears it"},
      {"removeKeywords", "true overwrites the keywords with customKeywords"},
      {"customKeywords", "the keywords to write; empty clears them"},
      {"removeCreator", "true overwrites the creator with customCreator"},
      {"customCreator", "the creator to write; empty clears it"},
      {"removeProducer", "true overwrites the producer with customProducer, false with \"Kelvara 4\""},
      {"customProducer", "the producer to write; never empty, \"-\" instead"},
      {"updateModificationAndCreationDate",
       "true dates document and file now; counts only beside updateModificationDate"},
      {"updateModificationDate",
       "true lets the modification date become now, false keeps it; counts only beside "
       "updateModificationAndCreationDate"},
      {"stripThreads", "true drops article threads"},
      {"stripMetadata", "true drops XMP metadata"},
      {"stripPieceInfo", "true drops the private data of the programs that made the document"},
      {"stripDocumentStructureTree", "true drops the structure that screen readers use"},
      {"stripThumbnails", "true drops the small pictures of pages"},
      {"stripSpiderInfo", "true drops data of web capture"},
      {"stripAlternateImages", "true drops other versions of images"},
      {"stripAndFlattenFormFields", "true turns form fields into plain page content"},
      {"stripAndFlattenLinkAnnotations", "true turns links into plain page content"},
      {"stripAndFlattenAnnotationsExceptFormFieldsAndLinks",
       "true turns all other annotations into plain page content"},
      {"stripTheDocumentOutputIntents", "true drops the colour profile that the document is meant for"},
      {"removeAllImages", "true removes every image"},
  };
  return texts;
}

}  // namespace

std::string keyMeaning(const std::string& key) {
  const auto found = meanings().find(key);
  return found == meanings().end() ? "" : found->second;
}

const char* typeName(const kelv::ProfileKey& key) {
  switch (key.type) {
    case kelv::ValueType::real:
      return "number";
    case kelv::ValueType::int32:
      return "0 or 1";
    case kelv::ValueType::uint32:
      return "0 to 3";
    case kelv::ValueType::flag:
      return "true or false";
    case kelv::ValueType::text:
      return "text";
  }
  return "";
}

std::string defaultValue(const kelv::ProfileKey& key) {
  if (key.required) return "required";
  switch (key.type) {
    case kelv::ValueType::flag:
      return key.defaultNumber != 0 ? "true" : "false";
    case kelv::ValueType::text:
      return jsonText(key.defaultText);
    default:
      return std::to_string(key.defaultNumber);
  }
}

}  // namespace kelvara
