#include "optimizer/image/convert.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "optimizer/base/pool.h"
#include "optimizer/image/lcms_handles.h"
#include "optimizer/image/press.h"
#include "optimizer/image/profile.h"

namespace optimizer {
namespace {

unsigned channelsOf(ColorKind kind) { return kind == ColorKind::grey ? 1 : kind == ColorKind::cmyk ? 4 : 3; }

cmsUInt32Number formatOf(ColorKind kind) {
  return kind == ColorKind::grey ? TYPE_GRAY_8 : kind == ColorKind::cmyk ? TYPE_CMYK_8 : TYPE_RGB_8;
}

Bytes deviceProfileOf(ColorKind kind) { return kind == ColorKind::grey ? greyProfile() : srgbProfile(); }

// In three steps, of which any may be missing: the press to sRGB, profile to profile, sRGB to the press.
class Converter : public ColorConverter {
 public:
  bool open(const ImageColorSpace& from, const Bytes& deviceProfile, const ConversionTarget& to);
  Pixels convert(const Pixels& pixels) const override;

 private:
  bool openTransform(const Bytes& source, ColorKind sourceKind, const Bytes& target, ColorKind targetKind);
  void convertRows(const Pixels& pixels, std::size_t begin, std::size_t end, Pixels& result) const;
  void convertLab(const std::uint8_t* in, std::size_t count, std::uint8_t* out) const;

  ContextPtr context_;
  TransformPtr transform_;
  bool fromPress_ = false, toPress_ = false, lab_ = false;
  std::array<double, 4> labRange_{};
  ColorKind middle_ = ColorKind::rgb;  // what the transform gives, or the first step where there is none
  ColorKind target_ = ColorKind::rgb;
};

bool Converter::openTransform(const Bytes& source, ColorKind sourceKind, const Bytes& target,
                              ColorKind targetKind) {
  context_.reset(cmsCreateContext(nullptr, nullptr));
  if (!context_) return false;
  const auto opened = [this](const Bytes& profile) {
    return ProfilePtr(cmsOpenProfileFromMemTHR(context_.get(), profile.data(),
                                               static_cast<cmsUInt32Number>(profile.size())));
  };
  const ProfilePtr from =
      lab_ ? ProfilePtr(cmsCreateLab4ProfileTHR(context_.get(), nullptr)) : opened(source);
  const ProfilePtr to = opened(target);
  if (!from || !to) return false;
  transform_.reset(cmsCreateTransformTHR(
      context_.get(), from.get(), lab_ ? TYPE_Lab_DBL : formatOf(sourceKind), to.get(), formatOf(targetKind),
      INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOCACHE | cmsFLAGS_BLACKPOINTCOMPENSATION));
  return transform_ != nullptr;
}

bool Converter::open(const ImageColorSpace& from, const Bytes& deviceProfile, const ConversionTarget& to) {
  if (from.baseKind == ColorKind::other && !from.lab) return false;
  if (from.profiled && from.profile.empty()) return false;
  lab_ = from.lab;
  labRange_ = from.labRange;
  target_ = to.kind;
  Bytes source = from.profiled ? from.profile : deviceProfile;
  ColorKind sourceKind = from.baseKind;
  if (!lab_) {
    if (source.empty() && sourceKind == ColorKind::cmyk) {
      fromPress_ = true;
      sourceKind = ColorKind::rgb;
    }
    if (source.empty()) source = deviceProfileOf(sourceKind);
    if (!profileIsFor(source, sourceKind)) return false;
  }
  toPress_ = to.profile.empty() && to.kind == ColorKind::cmyk;
  middle_ = toPress_ ? ColorKind::rgb : to.kind;
  const Bytes target = to.profile.empty() ? deviceProfileOf(middle_) : to.profile;
  if (!profileIsFor(target, middle_)) return false;
  const bool nothingBetween = !lab_ && sourceKind == middle_ && source == target;
  return nothingBetween || openTransform(source, sourceKind, target, middle_);
}

void Converter::convertLab(const std::uint8_t* in, std::size_t count, std::uint8_t* out) const {
  std::vector<double> colors(count * 3);
  for (std::size_t i = 0; i < count; ++i) {
    colors[3 * i] = in[3 * i] * 100 / 255.0;
    colors[3 * i + 1] = labRange_[0] + in[3 * i + 1] * (labRange_[1] - labRange_[0]) / 255;
    colors[3 * i + 2] = labRange_[2] + in[3 * i + 2] * (labRange_[3] - labRange_[2]) / 255;
  }
  cmsDoTransform(transform_.get(), colors.data(), out, static_cast<cmsUInt32Number>(count));
}

Pixels Converter::convert(const Pixels& pixels) const {
  Pixels result(pixels.width(), pixels.height(), channelsOf(target_), target_);
  constexpr std::size_t enough = 64 << 10;  // pixels that are worth a thread's while
  inParts(0, pixels.height(), std::max<std::size_t>(1, enough / pixels.width()),
          [&](std::size_t begin, std::size_t end) { convertRows(pixels, begin, end, result); });
  return result;
}

void Converter::convertRows(const Pixels& pixels, std::size_t begin, std::size_t end, Pixels& result) const {
  const std::size_t width = pixels.width();
  Bytes first(width * 3), second(width * 4);
  for (auto y = static_cast<std::uint32_t>(begin); y < end; ++y) {
    const std::uint8_t* in = pixels.row(y);
    if (fromPress_) {
      pressToRgb(in, width, first.data());
      in = first.data();
    }
    std::uint8_t* out = toPress_ ? second.data() : result.row(y);
    if (lab_) {
      convertLab(in, width, out);
    } else if (transform_) {
      cmsDoTransform(transform_.get(), in, out, static_cast<cmsUInt32Number>(width));
    } else {
      std::copy_n(in, width * channelsOf(middle_), out);
    }
    if (toPress_) rgbToPress(out, width, result.row(y));
  }
}

}  // namespace

std::unique_ptr<ColorConverter> ColorConverter::make(const ImageColorSpace& from, const Bytes& deviceProfile,
                                                     const ConversionTarget& to) {
  auto converter = std::make_unique<Converter>();
  if (!converter->open(from, deviceProfile, to)) return nullptr;
  return converter;
}

}  // namespace optimizer
