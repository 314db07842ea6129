#include "common/orient.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "common/image.h"

namespace img {
namespace {

// The place of the orientation in EXIF's first directory (TIFF 6.0), and the order of its bytes; 0 if it has none.
struct Place {
  size_t at = 0;
  bool bigEndian = false;
};

Place findOrientation(ByteSpan exif) {
  Place place;
  if (exif.size() < 8) return place;
  place.bigEndian = exif[0] == 'M';
  const auto number = [&](size_t at, size_t bytes) {
    size_t value = 0;
    for (size_t i = 0; i < bytes; ++i) value = value << 8 | exif[at + (place.bigEndian ? i : bytes - 1 - i)];
    return value;
  };
  if (exif[0] != exif[1] || (exif[0] != 'M' && exif[0] != 'I') || number(2, 2) != 42) return place;
  const size_t directory = number(4, 4);
  if (directory > exif.size() - 2) return place;
  constexpr size_t kEntry = 12, kOrientation = 0x112, kShort = 3;
  const size_t entries = std::min(number(directory, 2), (exif.size() - directory - 2) / kEntry);
  for (size_t i = 0; i < entries; ++i) {
    const size_t entry = directory + 2 + i * kEntry;
    if (number(entry, 2) != kOrientation || number(entry + 2, 2) != kShort || number(entry + 4, 4) != 1) continue;
    place.at = entry + 8 + (place.bigEndian ? 1 : 0); // the low byte
    break;
  }
  return place;
}

class Oriented : public RowReader {
 public:
  Oriented(std::unique_ptr<RowReader> reader, int orientation) : reader_(std::move(reader)), orientation_(orientation) {
    picture_ = reader_->picture();
    pixelBytes_ = picture_.rowBytes() / static_cast<size_t>(picture_.width);
    if (const Place place = findOrientation(picture_.metadata.exif); place.at) picture_.metadata.exif[place.at] = 1;
    if (!turned()) return;
    std::swap(picture_.width, picture_.height);
    std::swap(picture_.metadata.density.x, picture_.metadata.density.y);
  }

  Error read(const Rows& rows) override {
    if (orientation_ == 2) {
      if (Error error = reader_->read(rows)) return error;
      for (int y = 0; y < rows.count; ++y) mirror(rows.row<uint8_t>(y));
      return {};
    }
    if (whole_.bytes.empty()) {
      shape(whole_, reader_->picture());
      if (Error error = reader_->read(whole_.rows())) return error;
    }
    for (int y = 0; y < rows.count; ++y) putRow(next_++, rows.row<uint8_t>(y));
    return {};
  }

  Error finish() override {
    const Error error = reader_->finish();
    remarks_ = reader_->remarks();
    damaged_ = reader_->damaged();
    return error;
  }

 private:
  bool turned() const { return orientation_ >= 5; }

  void mirror(uint8_t* row) const {
    uint8_t* last = row + picture_.rowBytes() - pixelBytes_;
    for (; row < last; row += pixelBytes_, last -= pixelBytes_) std::swap_ranges(row, row + pixelBytes_, last);
  }

  // Row y of the result: from a row or a column of the picture, forwards or backwards.
  void putRow(int y, uint8_t* to) const {
    const bool fromLeft = orientation_ == 4 || orientation_ == 5 || orientation_ == 6;
    const bool fromTop = orientation_ == 5 || orientation_ == 8;
    for (int x = 0; x < picture_.width; ++x, to += pixelBytes_) {
      const int column = turned() ? y : x, row = turned() ? x : y;
      const int fromX = fromLeft ? column : whole_.width - 1 - column, fromY = fromTop ? row : whole_.height - 1 - row;
      std::memcpy(to, whole_.row<uint8_t>(fromY) + static_cast<size_t>(fromX) * pixelBytes_, pixelBytes_);
    }
  }

  std::unique_ptr<RowReader> reader_;
  const int orientation_;
  size_t pixelBytes_;
  Image whole_;
  int next_ = 0;
};

} // namespace

int orientationOf(const Metadata& metadata) {
  const Place place = findOrientation(metadata.exif);
  const int value = place.at ? metadata.exif[place.at] : 1;
  return value >= 1 && value <= 8 ? value : 1;
}

Bytes exifOfOrientation(int orientation) {
  Bytes exif = {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1, 0x12, 0, 3, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0};
  exif[19] = static_cast<uint8_t>(orientation);
  return exif;
}

std::unique_ptr<RowReader> oriented(std::unique_ptr<RowReader> reader) {
  const int orientation = orientationOf(reader->picture().metadata);
  if (orientation == 1) return reader;
  return std::make_unique<Oriented>(std::move(reader), orientation);
}

} // namespace img
