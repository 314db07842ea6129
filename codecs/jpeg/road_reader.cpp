#include "jpeg/road_reader.h"

#include <cstring>

#include "jpeg/coefficient_reader.h"
#include "jpeg/layouts.h"
#include "jpeg/planes.h"

namespace jpeg {
namespace {

using img::AlignedArray;
using img::Layout;
using img::Rows;

// Pairs of pixels are what files of halved chroma hold; the components as they are come in the usual layout or in
// planes; all others by conversion.
Layout layoutFor(const DecodeOptions& options, const Header& header) {
  const Layout wanted = options.layout;
  const size_t count = header.frame.components.size();
  if (wanted == Layout::planes && count > 1) return wanted;
  if (count != 3 || !hasChroma(header)) return Layout::usual;
  return wanted == Layout::yuyv && shapeOf(header.frame) != k422 ? Layout::usual : wanted;
}

class RoadReader : public DamageReader {
 public:
  RoadReader(img::ByteSource& source, const DecodeOptions& options, Header&& header, const ScanHeader& scan,
             Damage& damageOfHeader)
      : DamageReader(options.keepGoing),
        source_(source),
        options_(options),
        header_(std::move(header)),
        firstScan_(scan),
        converts_(hasChroma(header_)),
        inverts_(header_.frame.components.size() == 4 && header_.adobeTransform.has_value()),
        shape_(shapeOf(header_.frame)),
        scan_(layOutScan(header_.frame, allComponents(header_.frame))) {
    for (const std::string& remark : damageOfHeader.remarks()) damage_.remark(remark);
    const size_t count = header_.frame.components.size();
    picture_.width = header_.frame.width;
    picture_.height = header_.frame.height;
    picture_.colour = count == 1 ? img::Colour::grey : count == 3 ? img::Colour::rgb : img::Colour::cmyk;
    picture_.layout = layoutFor(options, header_);
    picture_.metadata = metadataOf(header_);
    members_ = convertingMembers(picture_.colour, picture_.layout);
    const bool has = converts_ && shape_ != kNoShape;
    byMcu_ = has && options.road == Road::mcu && members_.fromBlocks[shape_];
    // Pairs are never converted; others only where chroma is to be plain.
    halved_ = has && !byMcu_ && members_.fromHalved[shape_] &&
              (options.upsampling == Upsampling::plain || picture_.layout == Layout::yuyv);
    rowsOfStrip_ = byMcu_ ? 8 * header_.frame.vMax : halved_ && shape_ == k420 ? 2 : 1;
  }

  int rowsAtOnce() const override { return rowsOfStrip_; }

  Error read(const Rows& rows) override {
    if (!coefficients_) {
      if (Error error = begin()) return error;
    }
    for (int y = 0; y < rows.count; ++y, ++rowsDone_) {
      const int inside = rowsDone_ % rowsOfStrip_;
      if (inside == 0) makeStrip(rowsDone_);
      Zel8u* row = rows.row<Zel8u>(y);
      const size_t bytes = picture_.rowBytes();
      if (picture_.layout == Layout::planes) {
        for (int c = 0; c < picture_.channels(); ++c) {
          std::memcpy(row + c * picture_.width, stripRow(inside) + c * channelStep_,
                      static_cast<size_t>(picture_.width));
        }
      } else {
        std::memcpy(row, stripRow(inside), bytes);
      }
      for (size_t i = 0; i < bytes && inverts_; ++i) row[i] = static_cast<Zel8u>(~row[i]);
    }
    return {};
  }

 private:
  Zel8u* stripRow(int y) const { return strip_.data() + static_cast<ptrdiff_t>(y) * stripStep_; }
  TargetPixels stripPixels() const {
    return {strip_.data(), stripStep_, picture_.layout == Layout::planes ? channelStep_ : 0};
  }

  Error begin() {
    const Frame& frame = header_.frame;
    if (Error error = readCoefficients(source_, header_, firstScan_, options_.scansRead, options_.threads, damage_,
                                       coefficients_, steps_)) {
      return error;
    }
    // As wide as whole MCUs.
    channelStep_ = (frame.mcusWide * 8 * frame.hMax + 63) / 64 * 64 + 64;
    stripStep_ = 4 * channelStep_;
    strip_ = AlignedArray<Zel8u>(static_cast<size_t>(stripStep_) * static_cast<size_t>(rowsOfStrip_));
    if (byMcu_) return {};
    for (size_t c = 0; c < frame.components.size(); ++c) makePlane(c);
    for (size_t c = 0; c < frame.components.size() && !halved_; ++c) widen(c);
    return {};
  }

  // A component's samples: transform, level shift, and the limits of a byte.
  void makePlane(size_t number) {
    const Frame& frame = header_.frame;
    const Component& c = frame.components[number];
    Plane<Zel8u>& plane = planes_[number];
    plane.width = c.width;
    plane.height = c.height;
    plane.step = (c.blocksWide * 8 + 63) / 64 * 64 + 64;
    plane.rowsKept = c.blocksHigh * 8;
    plane.samples = AlignedArray<Zel8u>(static_cast<size_t>(plane.step) * static_cast<size_t>(plane.rowsKept));
    for (int y = 0; y < c.blocksHigh; ++y) {
      Block* block = coefficients_->row(static_cast<int>(number), y);
      for (int x = 0; x < c.blocksWide; ++x, ++block) {
        zeliDCTQuantInv8x8_JPEG_16s_C1I(block->coefficients, steps_[number]);
        zeliAdd128_JPEG_16s8u_C1R(block->coefficients, 8 * sizeof(Zel16s), plane.row(8 * y) + 8 * x, plane.step,
                                  {8, 8});
      }
    }
  }

  // A component at the size of the picture. The filters for planes look at samples on all sides: those of the edge go
  // on there.
  void widen(size_t number) {
    const Frame& frame = header_.frame;
    const Plane<Zel8u>& plane = planes_[number];
    const Component& c = frame.components[number];
    const Upsampler<Zel8u> upsampler(plane, frame.hMax, c.h, frame.vMax, c.v, options_.upsampling, frame.width);
    AlignedArray<Zel8u>& full = full_[number];
    full = AlignedArray<Zel8u>(static_cast<size_t>(channelStep_) * static_cast<size_t>(frame.height));
    const ZeliSize from = {plane.width, plane.height}, to = {frame.width, frame.height};
    using Kind = Upsampler<Zel8u>::Kind;
    if (upsampler.kind() == Kind::double2x1 || upsampler.kind() == Kind::double2x2) {
      const int step = plane.width + 2;
      std::vector<Zel8u> margined(static_cast<size_t>(step) * static_cast<size_t>(plane.height + 2));
      for (int y = -1; y <= plane.height; ++y) {
        const Zel8u* row = plane.rowInside(y);
        Zel8u* wide = margined.data() + static_cast<ptrdiff_t>(y + 1) * step;
        wide[0] = row[0];
        std::memcpy(wide + 1, row, static_cast<size_t>(plane.width));
        wide[step - 1] = row[plane.width - 1];
      }
      const Zel8u* first = margined.data() + step + 1;
      if (upsampler.kind() == Kind::double2x2)
        zeliSampleUpH2V2_JPEG_8u_C1R(first, step, from, full.data(), channelStep_, to);
      else
        zeliSampleUpH2V1_JPEG_8u_C1R(first, step, from, full.data(), channelStep_, to);
      return;
    }
    std::vector<Zel8u> scratch(static_cast<size_t>(frame.width) + 64);
    for (int y = 0; y < frame.height; ++y) {
      std::memcpy(full.data() + static_cast<ptrdiff_t>(y) * channelStep_, upsampler.row(y, scratch.data()),
                  static_cast<size_t>(frame.width));
    }
  }

  // The rows from y on.
  void makeStrip(int y) const {
    if (byMcu_) {
      makeMcus(y / rowsOfStrip_);
      return;
    }
    const int width = header_.frame.width, count = picture_.channels();
    const Zel8u* rows[4] = {};
    if (halved_) {
      const int steps[3] = {planes_[0].step, planes_[1].step, planes_[2].step};
      for (int c = 0; c < 3; ++c) rows[c] = planes_[c].row(c ? y / rowsOfStrip_ : y);
      members_.fromHalved[shape_](rows, steps, stripPixels(), {(width + 1) / 2 * 2, rowsOfStrip_});
      return;
    }
    for (int c = 0; c < count; ++c) rows[c] = full_[c].data() + static_cast<ptrdiff_t>(y) * channelStep_;
    if (converts_)
      members_.fromPlanes(rows, channelStep_, stripPixels(), {width, 1});
    else
      joinChannels(rows, count, channelStep_, stripPixels(), {width, 1});
  }

  void makeMcus(int mcuRow) const {
    Block samples[10];
    const Zel16s* planes[4] = {};
    for (size_t i = scan_.mcu.size(); i-- > 0;) planes[scan_.mcu[i].component] = samples[i].coefficients;
    TargetPixels mcu = stripPixels();
    for (int x = 0; x < scan_.mcusWide; ++x, mcu.data += 8 * header_.frame.hMax * pixelBytes(picture_)) {
      for (size_t i = 0; i < scan_.mcu.size(); ++i) {
        const ScanBlock& b = scan_.mcu[i];
        zeliDCTQuantInv8x8_JPEG_16s_C1(coefficients_->block(b, x, mcuRow).coefficients, samples[i].coefficients,
                                       steps_[b.component]);
      }
      members_.fromBlocks[shape_](planes, mcu);
    }
  }

  img::ByteSource& source_;
  const DecodeOptions options_;
  Header header_;
  const ScanHeader firstScan_;
  const bool converts_, inverts_;
  const Shape shape_;
  const Scan scan_;
  Members members_;
  bool byMcu_, halved_; // halved_: pixels are made of halved chroma in one go
  int rowsOfStrip_, rowsDone_ = 0;
  std::unique_ptr<CoefficientImage> coefficients_;
  uint16_t steps_[4][64];
  Plane<Zel8u> planes_[4];
  AlignedArray<Zel8u> full_[4]; // planes at the size of the picture, `channelStep_` from row to row
  AlignedArray<Zel8u> strip_;   // of pixels
  int stripStep_ = 0, channelStep_ = 0;
};

} // namespace

bool takesRoad(const DecodeOptions& options, const Header& header) {
  const bool asked = options.road != Road::runs || options.layout != Layout::usual;
  return asked && header.process <= kSof2 && header.frame.bits == 8 && options.scale == 1;
}

std::unique_ptr<img::RowReader> openRoadReader(img::ByteSource& source, const DecodeOptions& options, Header&& header,
                                               const ScanHeader& scan, Damage& damageOfHeader) {
  return std::make_unique<RoadReader>(source, options, std::move(header), scan, damageOfHeader);
}

} // namespace jpeg
