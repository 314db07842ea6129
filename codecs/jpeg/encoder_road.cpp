#include "jpeg/encoder_road.h"

#include <cstring>

#include "jpeg/samples.h"

namespace jpeg {

EncoderRoad::EncoderRoad(const Frame& frame, const Scan& scan, const img::Picture& picture,
                         const EncodeOptions& options, const std::vector<ForwardTable>& tables)
    : frame_(frame),
      scan_(scan),
      picture_(picture),
      road_(options.road),
      tables_(tables),
      shape_(shapeOf(frame)),
      fromPairs_(picture.layout == img::Layout::yuyv && shape_ != k422),
      members_(convertingMembers(picture.colour, fromPairs_ ? img::Layout::usual : picture.layout)),
      converts_(picture.colour == img::Colour::rgb || (picture.colour == img::Colour::cmyk && options.ycck)),
      inverts_(picture.colour == img::Colour::cmyk),
      pixelBytes_(fromPairs_ ? 3 : pixelBytes(picture)),
      // Rows a power of two apart would fall on the same few lines of the cache.
      step_(mcusOfRun(scan) * 8 * frame.hMax + 64) {
  const size_t samples = static_cast<size_t>(step_) * 8 * static_cast<size_t>(frame.vMax);
  gathered_ = img::AlignedArray<Zel8u>(samples * 4);
  for (size_t c = 0; c < frame.components.size(); ++c) {
    full_[c] = img::AlignedArray<Zel8u>(samples);
    halved_[c] = img::AlignedArray<Zel8u>(samples);
  }
}

// The pixels of a run, of which the last column and the last row go on outside the picture; in their own place if they
// are all there.
SourcePixels EncoderRoad::gather(const img::ConstRows& rows, const Run& run) {
  const int x = run.x * 8 * frame_.hMax, width = run.count * 8 * frame_.hMax, height = 8 * frame_.vMax;
  const int insideWidth = std::min(width, picture_.width - x), insideHeight = std::min(height, rows.count);
  const bool planar = picture_.layout == img::Layout::planes, pairs = picture_.layout == img::Layout::yuyv;
  const Zel8u* source = rows.row<Zel8u>(0) + static_cast<ptrdiff_t>(x) * (pairs ? 2 : pixelBytes_);
  if (insideWidth == width && insideHeight == height && !inverts_ && !fromPairs_) {
    return {source, static_cast<int>(rows.step), planar ? picture_.width : 0};
  }
  const int channels = planar ? picture_.channels() : 1, rowBytes = 4 * step_;
  const size_t unit = pairs && !fromPairs_ ? 4 : static_cast<size_t>(pixelBytes_);
  const size_t inside = (static_cast<size_t>(insideWidth) * static_cast<size_t>(pixelBytes_) + unit - 1) / unit * unit;
  const size_t whole = static_cast<size_t>(width) * static_cast<size_t>(pixelBytes_);
  for (int y = 0; y < height; ++y) {
    for (int c = 0; c < channels; ++c) {
      Zel8u* to = gathered_.data() + static_cast<ptrdiff_t>(y) * rowBytes + static_cast<ptrdiff_t>(c) * step_;
      if (y >= insideHeight) {
        std::memcpy(to, to - rowBytes, whole);
        continue;
      }
      const Zel8u* from = source + y * rows.step + static_cast<ptrdiff_t>(c) * picture_.width;
      if (fromPairs_)
        img::toUsual(picture_.layout, from, insideWidth, to);
      else
        std::memcpy(to, from, inside);
      for (size_t i = inside; i < whole; ++i) to[i] = to[i - unit];
      for (size_t i = 0; i < whole && inverts_; ++i) to[i] = static_cast<Zel8u>(~to[i]);
    }
  }
  return {gathered_.data(), rowBytes, planar ? step_ : 0};
}

// A component at half the width, half the height, or a quarter of the width.
void EncoderRoad::halve(size_t c, ZeliSize size) {
  const int across = frame_.hMax / frame_.components[c].h, down = frame_.vMax / frame_.components[c].v;
  if (across * down == 1) return;
  const Zel8u* full = full_[c].data();
  Zel8u* half = halved_[c].data();
  const ZeliSize to = {size.width / across, size.height / down};
  if (across == 2) {
    const auto down2 = down == 1 ? zeliSampleDownH2V1_JPEG_8u_C1R : zeliSampleDownH2V2_JPEG_8u_C1R;
    down2(full, step_, size, half, step_, to);
    return;
  }
  for (int y = 0; y < to.height; ++y, full += down * step_, half += step_) {
    if (across == 1)
      average<1, 2>(full, step_, to.width, half);
    else
      average<4, 1>(full, step_, to.width, half);
  }
}

void EncoderRoad::makePlanes(const SourcePixels& pixels, ZeliSize size) {
  Zel8u* const full[4] = {full_[0].data(), full_[1].data(), full_[2].data(), full_[3].data()};
  if (converts_ && shape_ != kNoShape && members_.toHalved[shape_]) {
    Zel8u* const planes[3] = {full[0], halved_[1].data(), halved_[2].data()};
    const int steps[3] = {step_, step_, step_};
    members_.toHalved[shape_](pixels, planes, steps, size);
    return;
  }
  if (converts_)
    members_.toPlanes(pixels, full, step_, size);
  else
    splitChannels(pixels, picture_.channels(), full, step_, size);
  for (size_t c = 0; c < frame_.components.size(); ++c) halve(c, size);
}

bool EncoderRoad::isInside(const ScanBlock& b, const Run& run, int mcu) const {
  const Component& c = frame_.components[static_cast<size_t>(b.component)];
  return (run.x + mcu) * b.across + b.x < c.blocksWide && run.y * b.down + b.y < c.blocksHigh;
}

void EncoderRoad::transformPlanes(const Run& run, Block* block) const {
  for (int m = 0; m < run.count; ++m) {
    for (const ScanBlock& b : scan_.mcu) {
      const auto c = static_cast<size_t>(b.component);
      const bool halved = frame_.components[c].h < frame_.hMax || frame_.components[c].v < frame_.vMax;
      const Zel8u* samples = (halved ? halved_ : full_)[c].data() + 8 * b.y * step_ + 8 * (m * b.across + b.x);
      if (!isInside(b, run, m)) {
        *block = Block{{block[-1].coefficients[0]}};
      } else if (tables_[c].fine) {
        transformForward(samples, step_, block->coefficients, tables_[c].fine);
      } else if (road_ == Road::planes) {
        zeliSub128_JPEG_8u16s_C1R(samples, step_, block->coefficients, 8 * sizeof(Zel16s), {8, 8});
        zeliDCTQuantFwd8x8_JPEG_16s_C1I(block->coefficients, tables_[c].steps);
      } else {
        transformForward(samples, step_, block->coefficients, tables_[c].steps);
      }
      ++block;
    }
  }
}

// The blocks of an MCU lie one behind the other in the order in which they are coded.
void EncoderRoad::transformMcus(const SourcePixels& pixels, const Run& run, Block* block) const {
  Block samples[10];
  Zel16s* planes[4] = {};
  for (size_t i = scan_.mcu.size(); i-- > 0;) planes[scan_.mcu[i].component] = samples[i].coefficients;
  SourcePixels mcu = pixels;
  for (int m = 0; m < run.count; ++m, mcu.data += 8 * frame_.hMax * pixelBytes_) {
    members_.toBlocks[shape_](mcu, planes);
    for (size_t i = 0; i < scan_.mcu.size(); ++i, ++block) {
      const ScanBlock& b = scan_.mcu[i];
      if (isInside(b, run, m)) {
        zeliDCTQuantFwd8x8_JPEG_16s_C1(samples[i].coefficients, block->coefficients,
                                       tables_[static_cast<size_t>(b.component)].steps);
      } else {
        *block = Block{{block[-1].coefficients[0]}};
      }
    }
  }
}

void EncoderRoad::transform(const img::ConstRows& rows, const Run& run, Block* blocks) {
  const SourcePixels pixels = gather(rows, run);
  if (road_ == Road::mcu && converts_ && shape_ != kNoShape && members_.toBlocks[shape_]) {
    transformMcus(pixels, run, blocks);
    return;
  }
  makePlanes(pixels, {run.count * 8 * frame_.hMax, 8 * frame_.vMax});
  transformPlanes(run, blocks);
}

} // namespace jpeg
