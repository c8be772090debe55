#include "optimizer/pipeline/registry.h"

#include "optimizer/passes/passes.h"
#include "optimizer/settings/settings.h"

namespace optimizer {
namespace {

bool always(const Settings&) { return true; }
bool convertsToCff(const Settings& settings) { return settings.convertToCff; }
bool removesStandardFonts(const Settings& settings) { return settings.removeStandardFonts; }
bool mergesFonts(const Settings& settings) { return settings.mergeEmbeddedFonts; }
bool optimizesResources(const Settings& settings) { return settings.optimizeResources; }
bool convertsColors(const Settings& settings) { return settings.colorConversion != ColorConversion::none; }
bool clipsImages(const Settings& settings) { return settings.clipImages; }
bool reducesColors(const Settings& settings) { return settings.reduceColorComplexity; }
bool subsetsFonts(const Settings& settings) { return settings.subsetFonts; }
constexpr std::uint32_t kFlatten = flattenFormFields | flattenLinks | flattenOtherAnnotations;
bool flattens(const Settings& settings) { return (settings.strip & kFlatten) != 0; }
bool strips(const Settings& settings) { return (settings.strip & ~kFlatten) != 0; }
bool removesImages(const Settings& settings) { return settings.removeImages; }
bool removesRedundant(const Settings& settings) { return settings.removeRedundantObjects; }

// Order matters. Flattening is first, because it makes page content of annotations, which every later pass should see.
// What a setting removes goes next, so that no later pass works on it or keeps something alive for it. Inline images
// become objects before anything works on images, and some of them inline again right after. Colour
// profiles that say nothing go, too. Equal objects become one before images and fonts, so that nothing is worked on twice, and again at the end, when everything
// else is final. Images and fonts come next, on content as it was drawn; then content and resources, which see the final
// images and fonts. Streams are coded last, once.
constexpr PassEntry kPasses[] = {
    {"flatten", "Draws form fields, links or other annotations into the pages and removes them.", flattens,
     makeFlattenPass},
    {"strip", "Removes the parts of the document that the strip bits name.", strips, makeStripPass},
    {"remove images", "Makes every image disappear.", removesImages, makeRemoveImagesPass},
    {"inline images", "Makes objects of inline images, so that they are worked on like others.", always,
     makeLiftInlineImagesPass},
    {"convert colors", "Converts images to RGB, CMYK or grey.", convertsColors, makeConvertColorsPass},
    {"profiles", "Lets device colour spaces stand for profiles that say the same.", reducesColors, makeProfilesPass},
    {"redundant", "Lets one of equal objects stand for all.", removesRedundant, makeRedundantPass},
    {"fonts-standard", "Takes out embedded copies of the standard fonts.", removesStandardFonts, makeStandardFontsPass},
    {"fonts-convert", "Converts Type 1 font programs to CFF.", convertsToCff, makeConvertFontsPass},
    {"clip images", "Cuts away what no page shows of an image.", clipsImages, makeClipImagesPass},
    {"images", "Resamples images and codes each in the smallest form that keeps its look.", always, makeImagesPass},
    {"put back inline images", "Makes inline images again of those for which an object did not pay.", always,
     makePutBackInlineImagesPass},
    {"fonts-subset", "Leaves only the glyphs that the document shows in font programs.", subsetsFonts,
     makeSubsetFontsPass},
    {"fonts-to-unicode", "Leaves only the codes that the document shows in ToUnicode CMaps.", subsetsFonts,
     makeToUnicodePass},
    {"fonts-merge", "Makes one program of several subsets of a font.", mergesFonts, makeMergeFontsPass},
    {"fonts-entries", "Leaves only what the codes shown need in widths, encodings and glyph maps of fonts.",
     subsetsFonts, makeFontEntriesPass},
    {"content", "Writes content streams again with fewer bytes that draw the same.", optimizesResources,
     makeContentPass},
    {"resources", "Drops resources that no content uses, and entries that say their default.", optimizesResources,
     makeResourcesPass},
    {"streams", "Codes every stream again with the strongest Deflate, and keeps what is smaller.", always,
     makeStreamsPass},
    // Once more: streams that were coded differently are the same only now.
    {"redundant", "Lets one of equal objects stand for all.", removesRedundant, makeRedundantPass},
};

}  // namespace

std::span<const PassEntry> passRegistry() { return kPasses; }

}  // namespace optimizer
