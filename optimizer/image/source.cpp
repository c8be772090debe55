#include "optimizer/image/source.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <qpdf/QPDF.hh>

#include "optimizer/document/stream_data.h"
#include "optimizer/image/profile.h"

namespace optimizer {
namespace {

Error unsupported(const char* what) { return {ErrorKind::unsupported, what}; }

QPDFObjectHandle keyOf(QPDFObjectHandle dictionary, const char* name, const char* shortName) {
  QPDFObjectHandle value = dictionary.getKey(name);
  return value.isNull() ? dictionary.getKey(shortName) : value;
}

long long integerOf(QPDFObjectHandle dictionary, const char* key, long long otherwise) {
  if (!dictionary.isDictionary()) return otherwise;
  QPDFObjectHandle value = dictionary.getKey(key);
  return value.isInteger() ? value.getIntValue() : otherwise;
}

bool flagOf(QPDFObjectHandle dictionary, const char* key, bool otherwise) {
  if (!dictionary.isDictionary()) return otherwise;
  QPDFObjectHandle value = dictionary.getKey(key);
  return value.isBool() ? value.getBoolValue() : otherwise;
}

double numberOf(QPDFObjectHandle dictionary, const char* key, double otherwise) {
  if (!dictionary.isDictionary()) return otherwise;
  QPDFObjectHandle value = dictionary.getKey(key);
  return value.isNumber() ? value.getNumericValue() : otherwise;
}

template <std::size_t count>
std::array<double, count> numbersOf(QPDFObjectHandle dictionary, const char* key,
                                    const std::array<double, count>& otherwise) {
  if (!dictionary.isDictionary()) return otherwise;
  QPDFObjectHandle values = dictionary.getKey(key);
  if (!values.isArray() || values.getArrayNItems() != static_cast<int>(count)) return otherwise;
  std::array<double, count> numbers{};
  for (int i = 0; i < static_cast<int>(count); ++i) {
    if (!values.getArrayItem(i).isNumber()) return otherwise;
    numbers[static_cast<std::size_t>(i)] = values.getArrayItem(i).getNumericValue();
  }
  return numbers;
}

ColorKind kindOfCount(unsigned components) {
  return components == 1 ? ColorKind::grey : components == 3 ? ColorKind::rgb : ColorKind::cmyk;
}

Result<ImageColorSpace> readSpace(QPDFObjectHandle space, int depth) {
  ImageColorSpace found;
  const auto direct = [&found](ColorKind kind, unsigned components) {
    found.kind = found.baseKind = kind;
    found.components = found.baseComponents = components;
    return found;
  };
  if (depth > 4) return unsupported("colour space nested too deep");
  if (space.isName()) {
    const std::string name = space.getName();
    if (name == "/DeviceGray" || name == "/G" || name == "/CalGray") return direct(ColorKind::grey, 1);
    if (name == "/DeviceRGB" || name == "/RGB" || name == "/CalRGB") return direct(ColorKind::rgb, 3);
    if (name == "/DeviceCMYK" || name == "/CMYK") return direct(ColorKind::cmyk, 4);
    return unsupported("unknown colour space");
  }
  if (!space.isArray() || space.getArrayNItems() < 1 || !space.getArrayItem(0).isName()) {
    return unsupported("unknown colour space");
  }
  const std::string family = space.getArrayItem(0).getName();
  if (space.getArrayNItems() == 1) return readSpace(space.getArrayItem(0), depth + 1);
  if (family == "/CalGray" || family == "/CalRGB") {
    QPDFObjectHandle calibration = space.getArrayItem(1);
    const auto white = numbersOf<3>(calibration, "/WhitePoint", {0, 0, 0});
    found.profiled = true;
    if (family == "/CalGray") {
      found.profile = calibratedGrey(white, numberOf(calibration, "/Gamma", 1));
      return direct(ColorKind::grey, 1);
    }
    found.profile = calibratedRgb(white, numbersOf<3>(calibration, "/Gamma", {1, 1, 1}),
                                  numbersOf<9>(calibration, "/Matrix", {1, 0, 0, 0, 1, 0, 0, 0, 1}));
    return direct(ColorKind::rgb, 3);
  }
  if (family == "/Lab") {
    found.lab = true;
    found.labRange = numbersOf<4>(space.getArrayItem(1), "/Range", found.labRange);
    return direct(ColorKind::other, 3);
  }
  if (family == "/ICCBased") {
    QPDFObjectHandle profile = space.getArrayItem(1);
    if (!profile.isStream()) return Error{ErrorKind::damaged, "ICC profile is missing"};
    QPDFObjectHandle dictionary = profile.getDict();
    const long long components = integerOf(dictionary, "/N", 0);
    if (components != 1 && components != 3 && components != 4)
      return unsupported("ICC profile of unusual components");
    QPDFObjectHandle range = dictionary.getKey("/Range");
    if (range.isArray()) {
      for (int i = 0; i < range.getArrayNItems(); ++i) {
        if (!range.getArrayItem(i).isNumber() || range.getArrayItem(i).getNumericValue() != i % 2) {
          return unsupported("ICC profile of unusual range");
        }
      }
    }
    found.profiled = true;
    Result<Bytes> bytes = decodedStreamData(profile);
    if (!bytes) return bytes.error();
    found.profile = std::move(*bytes);
    return direct(kindOfCount(static_cast<unsigned>(components)), static_cast<unsigned>(components));
  }
  if (family == "/Separation") return direct(ColorKind::other, 1);
  if (family == "/DeviceN") {
    QPDFObjectHandle names = space.getArrayItem(1);
    if (!names.isArray() || names.getArrayNItems() < 1 || names.getArrayNItems() > 32) {
      return unsupported("DeviceN of unusual components");
    }
    return direct(ColorKind::other, static_cast<unsigned>(names.getArrayNItems()));
  }
  if (family == "/Indexed" || family == "/I") {
    if (space.getArrayNItems() != 4) return Error{ErrorKind::damaged, "indexed colour space is incomplete"};
    Result<ImageColorSpace> base = readSpace(space.getArrayItem(1), depth + 1);
    if (!base) return base.error();
    if (base->kind == ColorKind::indexed) return Error{ErrorKind::damaged, "indexed over indexed"};
    QPDFObjectHandle high = space.getArrayItem(2), table = space.getArrayItem(3);
    if (!high.isInteger() || high.getIntValue() < 0 || high.getIntValue() > 255) {
      return Error{ErrorKind::damaged, "palette of unusual size"};
    }
    found = std::move(*base);
    found.kind = ColorKind::indexed;
    found.components = 1;
    if (table.isString()) {
      const std::string text = table.getStringValue();
      found.palette.assign(text.begin(), text.end());
    } else if (table.isStream()) {
      Result<Bytes> bytes = decodedStreamData(table);
      if (!bytes) return bytes.error();
      found.palette = std::move(*bytes);
    } else {
      return Error{ErrorKind::damaged, "palette is missing"};
    }
    // Viewers take missing entries as zero.
    found.palette.resize((static_cast<std::size_t>(high.getIntValue()) + 1) * found.baseComponents);
    return found;
  }
  return unsupported("colour space that images cannot have");
}

Result<ImageCoding> readCoding(ImageSource& source, const std::string& filter, QPDFObjectHandle parms) {
  if (filter == "/FlateDecode" || filter == "/Fl") {
    source.flate.predictor = static_cast<int>(integerOf(parms, "/Predictor", 1));
    source.flate.colors = static_cast<unsigned>(std::clamp(integerOf(parms, "/Colors", 1), 0LL, 64LL));
    source.flate.bits =
        static_cast<unsigned>(std::clamp(integerOf(parms, "/BitsPerComponent", 8), 0LL, 64LL));
    source.flate.columns =
        static_cast<std::uint32_t>(std::clamp(integerOf(parms, "/Columns", 1), 0LL, 1LL << 24));
    return ImageCoding::flate;
  }
  if (filter == "/DCTDecode" || filter == "/DCT") {
    const long long transform = integerOf(parms, "/ColorTransform", -1);
    if (transform >= 0) source.colorTransform = transform != 0;
    return ImageCoding::jpeg;
  }
  if (filter == "/JPXDecode") return ImageCoding::jpx;
  if (filter == "/CCITTFaxDecode" || filter == "/CCF") {
    CcittParms& ccitt = source.ccitt;
    ccitt.k = static_cast<int>(std::clamp(integerOf(parms, "/K", 0), -1LL, 1000LL));
    ccitt.columns =
        static_cast<std::uint32_t>(std::clamp(integerOf(parms, "/Columns", 1728), 0LL, 1LL << 24));
    ccitt.rows = static_cast<std::uint32_t>(std::clamp(integerOf(parms, "/Rows", 0), 0LL, 1LL << 24));
    ccitt.endOfLine = flagOf(parms, "/EndOfLine", false);
    ccitt.byteAlign = flagOf(parms, "/EncodedByteAlign", false);
    ccitt.endOfBlock = flagOf(parms, "/EndOfBlock", true);
    ccitt.blackIs1 = flagOf(parms, "/BlackIs1", false);
    return ImageCoding::ccitt;
  }
  if (filter == "/JBIG2Decode") {
    if (parms.isDictionary() && parms.getKey("/JBIG2Globals").isStream()) {
      Result<Bytes> globals = decodedStreamData(parms.getKey("/JBIG2Globals"));
      if (!globals) return globals.error();
      source.jbig2Globals = std::move(*globals);
    }
    return ImageCoding::jbig2;
  }
  return unsupported("unknown filter");
}

bool isGeneric(const std::string& filter) {
  for (const char* name : {"/LZWDecode", "/LZW", "/RunLengthDecode", "/RL", "/ASCII85Decode", "/A85",
                           "/ASCIIHexDecode", "/AHx", "/FlateDecode", "/Fl"}) {
    if (filter == name) return true;
  }
  return false;
}

// Takes the bytes and undoes every filter but the last; a generic last one other than Flate too.
Status readData(ImageSource& source, QPDFObjectHandle image) {
  QPDFObjectHandle dictionary = image.getDict();
  QPDFObjectHandle filters = keyOf(dictionary, "/Filter", "/F"),
                   parms = keyOf(dictionary, "/DecodeParms", "/DP");
  std::vector<QPDFObjectHandle> names, allParms;
  if (filters.isName()) {
    names.push_back(filters);
    allParms.push_back(parms.isArray() && parms.getArrayNItems() > 0 ? parms.getArrayItem(0) : parms);
  } else if (filters.isArray()) {
    for (int i = 0; i < filters.getArrayNItems(); ++i) {
      names.push_back(filters.getArrayItem(i));
      allParms.push_back(parms.isArray() && i < parms.getArrayNItems() ? parms.getArrayItem(i)
                         : parms.isDictionary() && filters.getArrayNItems() == 1
                             ? parms
                             : QPDFObjectHandle::newNull());
    }
  } else if (!filters.isNull()) {
    return unsupported("unknown filter");
  }
  for (QPDFObjectHandle& name : names) {
    if (!name.isName()) return unsupported("unknown filter");
  }
  if (dictionary.hasKey("/F") && !dictionary.getKey("/F").isName() && !dictionary.getKey("/F").isArray()) {
    return unsupported("image data in another file");
  }
  Result<Bytes> raw = rawStreamData(image);
  if (!raw) return raw.error();
  source.storedBytes = raw->size();
  if (names.empty()) {
    source.data = std::move(*raw);
    return {};
  }
  const std::string last = names.back().getName();
  const bool keepLast = !isGeneric(last) || last == "/FlateDecode" || last == "/Fl";
  if (keepLast) {
    Result<ImageCoding> coding = readCoding(source, last, allParms.back());
    if (!coding) return coding.error();
    source.coding = *coding;
  }
  source.storedBytes += source.jbig2Globals.size();
  if (keepLast) {
    names.pop_back();
    allParms.pop_back();
  }
  if (names.empty()) {
    source.data = std::move(*raw);
    return {};
  }
  for (QPDFObjectHandle& name : names) {
    if (!isGeneric(name.getName())) return unsupported("unusual chain of filters");
  }
  QPDF* pdf = image.getOwningQPDF();
  if (pdf == nullptr) return unsupported("image without a document");
  QPDFObjectHandle chain = QPDFObjectHandle::newStream(pdf, std::string(raw->begin(), raw->end()));
  chain.getDict().replaceKey("/Filter", QPDFObjectHandle::newArray(names));
  chain.getDict().replaceKey("/DecodeParms", QPDFObjectHandle::newArray(allParms));
  Result<Bytes> plain = decodedStreamData(chain);
  if (!plain) return plain.error();
  source.data = std::move(*plain);
  return {};
}

}  // namespace

bool ImageSource::invertedDecode() const {
  if (decode.size() != std::size_t{color.components} * 2 || color.lab) return false;
  const double high = color.kind == ColorKind::indexed ? (1u << bits) - 1 : 1;
  for (std::size_t i = 0; i < decode.size(); i += 2) {
    if (decode[i] != high || decode[i + 1] != 0) return false;
  }
  return true;
}

Result<ImageColorSpace> readColorSpace(QPDFObjectHandle space) {
  try {
    return readSpace(space, 0);
  } catch (const std::exception& error) {
    return Error{ErrorKind::damaged, error.what()};
  }
}

bool isImage(QPDFObjectHandle object) {
  return object.isStream() && object.getDict().getKey("/Subtype").isNameAndEquals("/Image");
}

Result<ImageSource> readImageSource(QPDFObjectHandle image) {
  try {
    if (!image.isStream()) return Error{ErrorKind::damaged, "image is no stream"};
    QPDFObjectHandle dictionary = image.getDict();
    ImageSource source;
    const long long width = integerOf(dictionary, "/Width", integerOf(dictionary, "/W", 0));
    const long long height = integerOf(dictionary, "/Height", integerOf(dictionary, "/H", 0));
    if (width < 1 || height < 1 || width > maxImageSide || height > maxImageSide) {
      return Error{ErrorKind::limit, "image of unusual size"};
    }
    source.width = static_cast<std::uint32_t>(width);
    source.height = static_cast<std::uint32_t>(height);
    QPDFObjectHandle stencil = keyOf(dictionary, "/ImageMask", "/IM");
    source.stencil = stencil.isBool() && stencil.getBoolValue();
    OPTIMIZER_TRY(readData(source, image));

    QPDFObjectHandle bits = keyOf(dictionary, "/BitsPerComponent", "/BPC");
    source.bits = bits.isInteger() ? static_cast<unsigned>(std::clamp(bits.getIntValue(), 0LL, 64LL)) : 8;
    if (source.stencil || source.coding == ImageCoding::ccitt || source.coding == ImageCoding::jbig2)
      source.bits = 1;
    if (source.coding == ImageCoding::jpeg || source.coding == ImageCoding::jpx) source.bits = 8;
    if (source.bits != 1 && source.bits != 2 && source.bits != 4 && source.bits != 8 && source.bits != 16) {
      return unsupported("unusual bits per component");
    }
    QPDFObjectHandle space = keyOf(dictionary, "/ColorSpace", "/CS");
    if (!source.stencil) {
      if (space.isNull() && source.coding == ImageCoding::jpx)
        return unsupported("colour space inside JPEG 2000 data");
      Result<ImageColorSpace> color = readColorSpace(space);
      if (!color) return color.error();
      source.color = std::move(*color);
    }
    if (source.color.kind == ColorKind::indexed && source.bits == 16)
      return unsupported("palette index of 16 bits");

    QPDFObjectHandle decode = keyOf(dictionary, "/Decode", "/D");
    if (decode.isArray()) {
      bool plain = true;
      const double high = source.color.kind == ColorKind::indexed ? (1u << source.bits) - 1 : 1;
      for (int i = 0; i < decode.getArrayNItems(); ++i) {
        if (!decode.getArrayItem(i).isNumber()) return Error{ErrorKind::damaged, "Decode array is damaged"};
        source.decode.push_back(decode.getArrayItem(i).getNumericValue());
        double usual = i % 2 ? high : 0;
        if (source.color.lab && source.color.kind != ColorKind::indexed && i < 6) {
          usual = i < 2 ? 100.0 * i : source.color.labRange[static_cast<std::size_t>(i) - 2];
        }
        plain = plain && source.decode.back() == usual;
      }
      if (source.decode.size() != std::size_t{source.color.components} * 2) {
        return unsupported("Decode array of unusual length");
      }
      if (plain) source.decode.clear();
    }
    QPDFObjectHandle mask = dictionary.getKey("/Mask");
    source.colorKeyMask = mask.isArray();
    if (mask.isStream()) {
      // Viewers make of such a mask what they like.
      QPDFObjectHandle maskIsStencil = mask.getDict().getKey("/ImageMask");
      if (!maskIsStencil.isBool() || !maskIsStencil.getBoolValue()) return unsupported("mask that is no stencil");
    }
    source.jpxAlpha = integerOf(dictionary, "/SMaskInData", 0) != 0;
    QPDFObjectHandle softMask = dictionary.getKey("/SMask");
    source.matte =
        dictionary.hasKey("/Matte") || (softMask.isStream() && softMask.getDict().hasKey("/Matte"));
    return source;
  } catch (const std::exception& error) {
    return Error{ErrorKind::damaged, error.what()};
  }
}

}  // namespace optimizer
