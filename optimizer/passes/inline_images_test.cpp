#include "optimizer/passes/inline_images.h"

#include <gtest/gtest.h>

#include "optimizer/base/pool.h"
#include "optimizer/content/stream.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/document/verify.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"
#include "optimizer/settings/settings.h"
#include "optimizer/testing/pdf_builder.h"
#include "optimizer/testing/run_pass.h"

namespace optimizer {
namespace {

using testing::PdfBuilder;
using testing::runPass;

std::string ref(int number) { return PdfBuilder::ref(number); }

constexpr int kSide = 40;

// Samples that no coding makes smaller.
std::string grain(std::size_t count, std::uint32_t seed = 1) {
  std::string samples;
  for (std::size_t i = 0; i < count; ++i) {
    seed = seed * 1664525u + 1013904223u;
    samples.push_back(static_cast<char>(seed >> 24));
  }
  return samples;
}

// Samples that almost every coding makes smaller.
std::string steps(std::size_t count) {
  std::string samples;
  for (std::size_t i = 0; i < count; ++i) samples.push_back(static_cast<char>(i / 97 * 31));
  return samples;
}

std::string hex(const std::string& data) {
  std::string text;
  for (char c : data) {
    constexpr const char* digits = "0123456789abcdef";
    text += digits[static_cast<std::uint8_t>(c) >> 4];
    text += digits[static_cast<std::uint8_t>(c) & 15];
  }
  return text + ">";
}

std::string inlineImage(const std::string& entries, const std::string& data) {
  return "BI /W 40 /H 40 " + entries + " ID " + data + "\nEI";
}

const std::string kGrey = inlineImage("/CS /G /BPC 8", grain(kSide* kSide));

std::string contentOf(QPDFObjectHandle stream) {
  const Result<Bytes> data = decodedStreamData(stream);
  return data.ok() ? std::string(data->begin(), data->end()) : "unreadable";
}

QPDFObjectHandle page(Document& document, std::size_t index = 0) { return document.pages()[index]; }

QPDFObjectHandle lifted(QPDFObjectHandle owner, const std::string& name = "/II1") {
  QPDFObjectHandle objects = resourcesOfOwner(owner).getKey("/XObject");
  return objects.isDictionary() ? objects.getKey(name) : QPDFObjectHandle::newNull();
}

PassOutcome lift(Document& document) { return runPass(document, makeLiftInlineImagesPass()); }

// The dictionary of what becomes of an inline image of these entries, without the entries that all have.
std::string dictionaryOf(const std::string& entries, const std::string& data,
                         const std::string& resources = "<< >>") {
  PdfBuilder builder;
  builder.addPage("q " + inlineImage(entries, data) + " Q", resources);
  const auto document = builder.open();
  if (lift(*document) == PassOutcome::unchanged) return "stays";
  QPDFObjectHandle image = lifted(page(*document));
  EXPECT_EQ(contentOf(page(*document).getKey("/Contents")), "q /II1 Do Q");
  QPDFObjectHandle dictionary = image.getDict();
  for (const char* key : {"/Type", "/Subtype", "/Width", "/Height", "/Length"}) {
    EXPECT_TRUE(dictionary.hasKey(key)) << key;
    dictionary.removeKey(key);
  }
  const Result<Bytes> raw = rawStreamData(image);
  EXPECT_TRUE(raw.ok() && std::string(raw->begin(), raw->end()).starts_with(data));
  return dictionary.unparse();
}

TEST(LiftInlineImages, SpellsOutKeysSpacesAndFilters) {
  const std::string grey = grain(kSide * kSide), rgb = grain(kSide * kSide * 3),
                    bits = grain(kSide * kSide / 8 + 100);
  const std::string spaces =
      "<< /ColorSpace << /CS0 [/CalGray << /WhitePoint [1 1 1] >>] /CS1 /DeviceGray >> >>";
  const struct {
    std::string entries, data, resources, expected;
  } cases[] = {
      {"/CS /G /BPC 8", grey, "", "<< /BitsPerComponent 8 /ColorSpace /DeviceGray >>"},
      {"/ColorSpace /DeviceRGB /BitsPerComponent 8 /I true", rgb, "",
       "<< /BitsPerComponent 8 /ColorSpace /DeviceRGB /Interpolate true >>"},
      {"/CS /CMYK /BPC 2 /D [1 0 1 0 1 0 1 0]", grain(kSide * kSide), "",
       "<< /BitsPerComponent 2 /ColorSpace /DeviceCMYK /Decode [ 1 0 1 0 1 0 1 0 ] >>"},
      {"/CS [/I /RGB 1 <ff000000ff00>] /BPC 4", grain(kSide * kSide / 2), "",
       "<< /BitsPerComponent 4 /ColorSpace [ /Indexed /DeviceRGB 1 <ff000000ff00> ] >>"},
      {"/CS /CS0 /BPC 8", grey, spaces,
       "<< /BitsPerComponent 8 /ColorSpace [ /CalGray << /WhitePoint [ 1 1 1 ] >> ] >>"},
      {"/CS /CS1 /BPC 8", grey, spaces, "<< /BitsPerComponent 8 /ColorSpace /DeviceGray >>"},
      {"/CS /G /BPC 8 /F /Fl", testing::deflate(grey), "",
       "<< /BitsPerComponent 8 /ColorSpace /DeviceGray /Filter /FlateDecode >>"},
      {"/CS /G /BPC 8 /F [/AHx] /L 3201", hex(grey), "",
       "<< /BitsPerComponent 8 /ColorSpace /DeviceGray /Filter [ /ASCIIHexDecode ] >>"},
      {"/CS /G /BPC 8 /F [/AHx /Fl] /DP [null << /Predictor 1 >>]", hex(testing::deflate(grey)), "",
       "<< /BitsPerComponent 8 /ColorSpace /DeviceGray /DecodeParms [ null << /Predictor 1 >> ] "
       "/Filter [ /ASCIIHexDecode /FlateDecode ] >>"},
  };
  for (const auto& [entries, data, resources, expected] : cases) {
    EXPECT_EQ(dictionaryOf(entries, data, resources.empty() ? "<< >>" : resources), expected) << entries;
  }
}

TEST(LiftInlineImages, ReadsRunLengths) {
  std::string data;
  for (int i = 0; i < kSide * kSide; i += 100)
    data += std::string(1, 99) + grain(100, static_cast<std::uint32_t>(i));
  EXPECT_EQ(dictionaryOf("/CS /G /BPC 8 /F /RL", data + "\x80"),
            "<< /BitsPerComponent 8 /ColorSpace /DeviceGray /Filter /RunLengthDecode >>");
}

TEST(LiftInlineImages, LeavesWhatReadersMayUnderstandDifferently) {
  const std::string grey = grain(kSide * kSide);
  std::string withEnd = testing::deflate(grey);
  withEnd.replace(withEnd.size() / 2, 4, " EI\n");
  const struct {
    std::string what, entries, data, resources;
  } cases[] = {
      {"a key twice", "/CS /G /ColorSpace /G /BPC 8", grey, ""},
      {"an unknown key", "/CS /G /BPC 8 /Gamma 2", grey, ""},
      {"a space that is not there", "/CS /CS0 /BPC 8", grey, ""},
      {"a device space as a resource", "/CS /G /BPC 8", grey, "<< /ColorSpace << /G /DeviceRGB >> >>"},
      {"the same by its full name", "/CS /G /BPC 8", grey, "<< /ColorSpace << /DeviceGray /DeviceRGB >> >>"},
      {"no depth", "/CS /G", grey, ""},
      {"a filter for objects only", "/CS /G /BPC 8 /F /JPXDecode", grey, ""},
      {"data that ends early", "/CS /G /BPC 8 /F /Fl", testing::deflate(grey).substr(0, 900), ""},
      {"fewer samples than rows", "/CS /RGB /BPC 8 /F /Fl", testing::deflate(grey), ""},
      {"what looks like an end inside", "/CS /G /BPC 8 /F /Fl", withEnd, ""},
      {"resources of another kind", "/CS /G /BPC 8", grey, "<< /XObject [] >>"},
  };
  for (const auto& [what, entries, data, resources] : cases) {
    EXPECT_EQ(dictionaryOf(entries, data, resources.empty() ? "<< >>" : resources), "stays") << what;
  }
}

TEST(LiftInlineImages, LeavesWhatIsNotWorthAnObject) {
  EXPECT_EQ(dictionaryOf("/CS /G /BPC 1", grain(5 * kSide)), "stays");
  EXPECT_EQ(dictionaryOf("/CS /G /BPC 8", std::string(kSide * kSide, 'x')), "stays");
}

TEST(LiftInlineImages, MakesOneObjectOfEqualImages) {
  PdfBuilder builder;
  const int form = builder.addStream("/Type /XObject /Subtype /Form /BBox [0 0 1 1] /Resources << >>", kGrey);
  const int pattern = builder.addStream(
      "/PatternType 1 /PaintType 1 /TilingType 1 /XStep 1 /YStep 1 /BBox [0 0 1 1] "
      "/Resources << >>",
      kGrey);
  builder.addPage(kGrey + " " + kGrey,
                  "<< /Pattern << /P " + ref(pattern) + " >> /XObject << /F " + ref(form) + " >> >>");
  builder.addPage("0 g " + kGrey);
  const auto document = builder.open();
  EXPECT_EQ(lift(*document), PassOutcome::changed);
  EXPECT_EQ(contentOf(page(*document).getKey("/Contents")), "/II1 Do /II1 Do");
  EXPECT_EQ(contentOf(page(*document, 1).getKey("/Contents")), "0 g /II1 Do");
  const QPDFObjGen image = lifted(page(*document)).getObjGen();
  EXPECT_TRUE(image.isIndirect());
  EXPECT_EQ(lifted(page(*document, 1)).getObjGen(), image);
  EXPECT_EQ(lifted(document->pdf().getObjectByID(form, 0)).getObjGen(), image);
  EXPECT_EQ(lifted(document->pdf().getObjectByID(pattern, 0)).getObjGen(), image);
  EXPECT_EQ(lift(*document), PassOutcome::unchanged);
}

TEST(LiftInlineImages, TakesNamesThatNothingUses) {
  PdfBuilder builder;
  const int form = builder.addStream("/Type /XObject /Subtype /Form /BBox [0 0 1 1]", "0 g");
  const int resources = builder.addObject("<< /XObject << /II1 " + ref(form) + " >> >>");
  builder.addPage("/II1 Do " + kGrey, ref(resources));
  // Shares the resources, and draws what is not there.
  builder.addPage("/II2 Do /II1 Do", ref(resources));
  const auto document = builder.open();
  EXPECT_EQ(lift(*document), PassOutcome::changed);
  EXPECT_EQ(contentOf(page(*document).getKey("/Contents")), "/II1 Do /II3 Do");
  EXPECT_EQ(lifted(page(*document), "/II1").getObjGen(), document->pdf().getObjectByID(form, 0).getObjGen());
  EXPECT_TRUE(lifted(page(*document, 1), "/II2").isNull());
}

TEST(LiftInlineImages, LeavesContentWithoutResourcesOfItsOwn) {
  PdfBuilder builder;
  const int form = builder.addStream("/Type /XObject /Subtype /Form /BBox [0 0 1 1]", kGrey);
  builder.addPage("/F Do", "<< /XObject << /F " + ref(form) + " >> >>");
  EXPECT_EQ(lift(*builder.open()), PassOutcome::unchanged);
}

TEST(LiftInlineImages, LeavesContentThatIsDamagedOrOdd) {
  for (const std::string& content : {kGrey + " ] 0 g", "1 2 " + kGrey, kGrey.substr(0, kGrey.size() - 2)}) {
    PdfBuilder builder;
    builder.addPage(content);
    EXPECT_EQ(lift(*builder.open()), PassOutcome::unchanged) << content.substr(0, 10);
  }
}

TEST(LiftInlineImages, LeavesSharedContentThatMeansSomethingElseElsewhere) {
  const std::string image = inlineImage("/CS /CS0 /BPC 8", grain(kSide * kSide));
  for (const bool same : {true, false}) {
    PdfBuilder builder;
    builder.addPage(image, "<< /ColorSpace << /CS0 [/CalGray << /WhitePoint [1 1 1] >>] >> >>");
    const std::string other =
        same ? "[/CalGray << /WhitePoint [1 1 1] >>]" : "[/CalGray << /WhitePoint [0.9 1 1] >>]";
    builder.addPage("0 g", "<< /ColorSpace << /CS0 " + other + " >> >>");
    const auto document = builder.open();
    QPDFObjectHandle contents = page(*document).getKey("/Contents");
    page(*document, 1).replaceKey("/Contents", contents);
    EXPECT_EQ(lift(*document), same ? PassOutcome::changed : PassOutcome::unchanged);
    if (!same) continue;
    EXPECT_EQ(lifted(page(*document)).getObjGen(), lifted(page(*document, 1)).getObjGen());
  }
}

TEST(LiftInlineImages, WorksInEachStreamOfAPage) {
  PdfBuilder builder;
  const int first = builder.addStream("", "q " + kGrey), second = builder.addStream("", kGrey.substr(0, 300));
  const int third = builder.addStream("", kGrey.substr(300) + " " + kGrey + " Q");
  builder.addPage("");
  const auto document = builder.open();
  QPDFObjectHandle parts = QPDFObjectHandle::newArray();
  for (int number : {first, second, third}) parts.appendItem(document->pdf().getObjectByID(number, 0));
  page(*document).replaceKey("/Contents", parts);
  EXPECT_EQ(lift(*document), PassOutcome::changed);
  EXPECT_EQ(contentOf(parts.getArrayItem(0)), "q /II1 Do");
  // The one between two streams stays.
  EXPECT_EQ(contentOf(parts.getArrayItem(1)), kGrey.substr(0, 300));
  EXPECT_EQ(contentOf(parts.getArrayItem(2)), kGrey.substr(300) + " /II1 Do Q");
}

TEST(LiftInlineImages, DrawsOnlyStencilsInGlyphsThatTakeTheColourOfText) {
  const std::string stencil =
      inlineImage("/IM true /D [1 0] /F /Fl", testing::deflate(grain(kSide * kSide / 8 + 200)));
  const std::string large = "BI /W 80 /H 80 /IM true ID " + grain(800) + "\nEI";
  PdfBuilder builder;
  const int grey = builder.addStream("", "9 0 0 0 9 9 d1 " + kGrey);
  const int mask = builder.addStream("", "9 0 0 0 9 9 d1 " + large);
  const int colored = builder.addStream("", "9 0 d0 " + kGrey),
            small = builder.addStream("", "9 0 d0 " + stencil);
  const int font = builder.addObject(
      "<< /Type /Font /Subtype /Type3 /FontBBox [0 0 9 9] /FontMatrix [1 0 0 1 0 0] "
      "/Resources << >> /CharProcs << /a " +
      ref(grey) + " /b " + ref(mask) + " /c " + ref(colored) + " /d " + ref(small) + " >> >>");
  builder.addPage("/F 1 Tf (abcd) Tj", "<< /Font << /F " + ref(font) + " >> >>");
  const auto document = builder.open();
  EXPECT_EQ(lift(*document), PassOutcome::changed);
  const auto glyph = [&](int number) { return contentOf(document->pdf().getObjectByID(number, 0)); };
  EXPECT_EQ(glyph(grey), "9 0 0 0 9 9 d1 " + kGrey);
  EXPECT_TRUE(glyph(mask).ends_with(" Do")) << glyph(mask).size();
  EXPECT_TRUE(glyph(colored).ends_with(" Do"));
  EXPECT_TRUE(resourcesOfOwner(document->pdf().getObjectByID(font, 0)).getKey("/XObject").isDictionary());
}

// Lifting, the pass for images, and putting back: what the last of them says.
PassOutcome work(Document& document, const Settings& settings = {}) {
  WorkerPool pool(2);
  Report report;
  PassContext context{document, settings, pool, report};
  PassOutcome last = PassOutcome::unchanged;
  for (auto* make : {makeLiftInlineImagesPass, makeImagesPass, makePutBackInlineImagesPass}) {
    const std::unique_ptr<Pass> pass = make();
    report.begin(std::string(pass->name()));
    const Result<PassOutcome> outcome = pass->process(context);
    EXPECT_TRUE(outcome.ok());
    if (outcome.ok()) last = *outcome;
    context.usage.reset();
    document.forgetReachable();
  }
  EXPECT_TRUE(verifyInMemory(document).ok());
  return last;
}

TEST(PutBackInlineImages, RestoresContentWhereNothingWasGained) {
  PdfBuilder builder;
  builder.addPage("q " + kGrey + " Q 0 g", "<< /ProcSet [/PDF] >>");
  const auto document = builder.open();
  const std::string before = testing::written(*document);
  EXPECT_EQ(work(*document), PassOutcome::changed);
  EXPECT_EQ(testing::written(*document), before);
}

TEST(PutBackInlineImages, KeepsObjectsThatAreSmaller) {
  PdfBuilder builder;
  const std::string samples = grain(kSide * kSide / 2) + steps(kSide * kSide / 2);
  const std::string shrinks = inlineImage("/CS /G /BPC 8 /F /AHx", hex(samples));
  builder.addPage(shrinks + " " + kGrey + " 0 g");
  builder.addPage(shrinks);
  const auto document = builder.open();
  EXPECT_EQ(work(*document), PassOutcome::changed);
  EXPECT_EQ(contentOf(page(*document).getKey("/Contents")), "/II1 Do " + kGrey + " 0 g");
  EXPECT_EQ(contentOf(page(*document, 1).getKey("/Contents")), "/II1 Do");
  EXPECT_EQ(lifted(page(*document)).getDict().getKey("/Filter").unparse(), "/FlateDecode");
  EXPECT_TRUE(lifted(page(*document), "/II2").isNull());
}

TEST(PutBackInlineImages, LeavesObjectsWhereEveryImageMustChange) {
  PdfBuilder builder;
  builder.addPage(kGrey);
  const auto document = builder.open();
  Settings settings;
  settings.forceRecompression = true;
  EXPECT_EQ(work(*document, settings), PassOutcome::unchanged);
  EXPECT_TRUE(lifted(page(*document)).isStream());
}

}  // namespace
}  // namespace optimizer
