#include "common/convert.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "common/layout.h"
#include "zelj.h"

namespace img {
namespace {

using Row = std::vector<uint16_t>;

// A product of two samples, or less, over the maximum of a sample, rounded to nearest: x / (2^n - 1) is x / 2^n and a
// 2^n-th more, in 32 bits up to n = 16.
uint16_t overMaximum(int bits, uint32_t x) {
  x += 1u << (bits - 1);
  return static_cast<uint16_t>((x + (x >> bits)) >> bits);
}

template <class Sample>
void load(const Sample* samples, size_t count, Row& row) {
  row.assign(samples, samples + count);
}

// Light of any strength to the range of a display: x / (1 + x) and its transfer curve.
void loadFloats(const float* samples, size_t count, const Picture& picture, Row& row) {
  const auto channels = static_cast<size_t>(picture.channels());
  row.resize(count);
  for (size_t i = 0; i < count; ++i) {
    const float light = std::isfinite(samples[i]) ? std::max(samples[i], 0.0f) : 0.0f;
    const bool opacity = picture.alpha && i % channels == channels - 1;
    const float shown = opacity ? std::min(light, 1.0f) : std::pow(light / (1 + light), 1 / 2.2f);
    row[i] = static_cast<uint16_t>(std::lrint(shown * 65535));
  }
}

void dropAlpha(Row& row, int channels, int bits, const uint32_t background[3]) {
  const uint32_t max = (1u << bits) - 1;
  const int kept = channels - 1;
  const size_t pixels = row.size() / static_cast<size_t>(channels);
  const uint16_t* from = row.data();
  uint16_t* to = row.data();
  for (size_t x = 0; x < pixels; ++x, from += channels, to += kept) {
    const uint32_t alpha = from[kept];
    for (int c = 0; c < kept; ++c) to[c] = overMaximum(bits, from[c] * alpha + background[c % 3] * (max - alpha));
  }
  row.resize(pixels * static_cast<size_t>(kept));
}

void addAlpha(Row& row, Row& scratch, int channels, uint32_t max) {
  scratch.clear();
  for (size_t i = 0; i < row.size(); ++i) {
    scratch.push_back(row[i]);
    if (static_cast<int>(i % static_cast<size_t>(channels)) == channels - 1)
      scratch.push_back(static_cast<uint16_t>(max));
  }
  row.swap(scratch);
}

// The colour channels of each pixel by `f(from, to)`; an alpha channel behind them goes along.
template <class F>
void mapPixels(Row& row, Row& scratch, int from, int to, bool alpha, F f) {
  const size_t step = static_cast<size_t>(from) + alpha, pixels = row.size() / step;
  scratch.resize(pixels * (static_cast<size_t>(to) + alpha));
  const uint16_t* source = row.data();
  uint16_t* target = scratch.data();
  for (size_t x = 0; x < pixels; ++x, source += step) {
    f(source, target);
    target += to;
    if (alpha) *target++ = source[from];
  }
  row.swap(scratch);
}

void greyToRgb(const uint16_t* grey, uint16_t* rgb) {
  rgb[0] = rgb[1] = rgb[2] = grey[0];
}

void rgbToGrey(const uint16_t* rgb, uint16_t* grey) {
  grey[0] = static_cast<uint16_t>((19595u * rgb[0] + 38470u * rgb[1] + 7471u * rgb[2] + 32768u) >> 16);
}

class Converter : public RowReader {
 public:
  Converter(std::unique_ptr<RowReader> reader, const Picture& wanted, const Background& background)
      : reader_(std::move(reader)), row_(reader_->picture().rowBytes()) {
    picture_ = wanted;
    const Picture& from = reader_->picture();
    bits_ = from.bits > 16 ? 16 : from.bits;
    max_ = (1u << bits_) - 1;
    const double parts[3] = {background.red, background.green, background.blue};
    for (int i = 0; i < 3; ++i) background_[i] = static_cast<uint32_t>(std::lrint(parts[i] * max_));
    if (from.colour == Colour::grey) {
      const uint16_t rgb[3] = {static_cast<uint16_t>(background_[0]), static_cast<uint16_t>(background_[1]),
                               static_cast<uint16_t>(background_[2])};
      uint16_t grey;
      rgbToGrey(rgb, &grey);
      std::fill_n(background_, 3, uint32_t{grey});
    }
    // The library has these.
    const bool layout = from.layout == Layout::usual || from.layout == Layout::bgr || from.layout == Layout::planes;
    luminance_ = from.colour == Colour::rgb && from.bits == 8 && !from.alpha && wanted.colour == Colour::grey &&
                 wanted.bits == 8 && !wanted.alpha && layout;
    if (from.layout != Layout::usual) usual_.resize(from.rowSamples());
    if (wanted.layout != Layout::usual) stored_.resize(wanted.rowSamples());
  }

  int rowsAtOnce() const override { return reader_->rowsAtOnce(); }

  Error finish() override {
    const Error error = reader_->finish();
    takeRemarks();
    return error;
  }

  Error read(const Rows& rows) override {
    for (int y = 0; y < rows.count; ++y) {
      const Error error = reader_->read({row_.data(), static_cast<ptrdiff_t>(row_.size()), 1});
      if (error) return error;
      if (luminance_)
        takeLuminance(rows.row<uint8_t>(y));
      else
        convertRow(rows, y);
    }
    takeRemarks();
    return {};
  }

 private:
  void takeRemarks() {
    remarks_ = reader_->remarks();
    damaged_ = reader_->damaged();
  }

  void takeLuminance(uint8_t* to) const {
    const int step = static_cast<int>(std::min<size_t>(row_.size(), INT32_MAX)), width = picture_.width;
    const Layout layout = reader_->picture().layout;
    if (layout == Layout::planes) {
      const uint8_t* const planes[3] = {row_.data(), row_.data() + width, row_.data() + 2 * width};
      zeliRGBToY_JPEG_8u_P3C1R(planes, step, to, width, {width, 1});
    } else {
      const auto convert = layout == Layout::bgr ? zeliBGRToY_JPEG_8u_C3C1R : zeliRGBToY_JPEG_8u_C3C1R;
      convert(row_.data(), step, to, width, {width, 1});
    }
  }

  void convertRow(const Rows& rows, int y) {
    const Picture& from = reader_->picture();
    const size_t count = from.rowSamples();
    if (from.layout != Layout::usual) toUsual(from.layout, row_.data(), from.width, usual_.data(), from.channels());
    const uint8_t* const row = from.layout == Layout::usual ? row_.data() : usual_.data();
    if (from.bits > 16)
      loadFloats(reinterpret_cast<const float*>(row), count, from, a_);
    else if (from.bits > 8)
      load(reinterpret_cast<const uint16_t*>(row), count, a_);
    else
      load(row, count, a_);
    int channels = from.channels();
    const bool keepAlpha = from.alpha && picture_.alpha;
    if (from.alpha && !picture_.alpha) dropAlpha(a_, channels--, bits_, background_);
    changeColour(from.colour, keepAlpha);
    if (picture_.alpha && !from.alpha) addAlpha(a_, b_, picture_.channels() - 1, max_);
    store(rows, y);
  }

  void changeColour(Colour from, bool alpha) {
    const Colour to = picture_.colour;
    if (from == to) return;
    const uint32_t max = max_;
    const int bits = bits_;
    if (from == Colour::grey) mapPixels(a_, b_, 1, 3, alpha, greyToRgb);
    if (from == Colour::cmyk) {
      mapPixels(a_, b_, 4, 3, alpha, [=](const uint16_t* cmyk, uint16_t* rgb) {
        for (int c = 0; c < 3; ++c) rgb[c] = overMaximum(bits, (max - cmyk[c]) * (max - cmyk[3]));
      });
    }
    if (to == Colour::grey) mapPixels(a_, b_, 3, 1, alpha, rgbToGrey);
    if (to == Colour::cmyk) {
      mapPixels(a_, b_, 3, 4, alpha, [=](const uint16_t* rgb, uint16_t* cmyk) {
        for (int c = 0; c < 3; ++c) cmyk[c] = static_cast<uint16_t>(max - rgb[c]);
        cmyk[3] = 0;
      });
    }
  }

  template <class F>
  void storeSamples(const Rows& rows, int y, F scaled) {
    if (picture_.bits > 8)
      std::transform(a_.begin(), a_.end(), rows.row<uint16_t>(y),
                     [=](uint16_t v) { return static_cast<uint16_t>(scaled(v)); });
    else
      std::transform(a_.begin(), a_.end(), stored_.empty() ? rows.row<uint8_t>(y) : stored_.data(),
                     [=](uint16_t v) { return static_cast<uint8_t>(scaled(v)); });
  }

  void store(const Rows& rows, int y) {
    if (picture_.bits > 16) {
      std::transform(a_.begin(), a_.end(), rows.row<float>(y),
                     [this](uint16_t v) { return static_cast<float>(v) / static_cast<float>(max_); });
      return;
    }
    const auto to = static_cast<uint32_t>(picture_.maxValue()), from = max_;
    const int bits = bits_;
    if (to % from == 0)
      storeSamples(rows, y, [by = to / from](uint32_t v) { return v * by; });
    else if (to < from)
      storeSamples(rows, y, [=](uint32_t v) { return overMaximum(bits, v * to); });
    else
      storeSamples(rows, y, [=](uint32_t v) { return (v * to + from / 2) / from; });
    if (!stored_.empty()) {
      fromUsual(picture_.layout, stored_.data(), picture_.width, rows.row<uint8_t>(y), picture_.channels());
    }
  }

  std::unique_ptr<RowReader> reader_;
  Bytes row_, usual_, stored_; // as read; in the usual layout, before and behind the conversion
  Row a_, b_;
  int bits_ = 8;
  uint32_t max_ = 255;
  uint32_t background_[3];
  bool luminance_ = false;
};

} // namespace

std::unique_ptr<RowReader> converted(std::unique_ptr<RowReader> reader, const Picture& wanted,
                                     const Background& background) {
  if (sameSamples(reader->picture(), wanted)) return reader;
  return std::make_unique<Converter>(std::move(reader), wanted, background);
}

} // namespace img
