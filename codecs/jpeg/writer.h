// The marker segments of a file in the order in which an encoder writes them (T.81 Annex B).
#pragma once

#include <algorithm>

#include "jpeg/frame.h"
#include "jpeg/jpeg.h"
#include "jpeg/tables.h"

namespace jpeg {

class SegmentWriter {
 public:
  explicit SegmentWriter(Bytes& file) : file_(file) {}

  void marker(int code) {
    byte(0xFF);
    byte(code);
  }
  void jfif(const img::Density& density) {
    const bool known = density.x >= 1 && density.y >= 1 && density.x < 65536 && density.y < 65536;
    segment(kApp0, 14);
    for (const char letter : {'J', 'F', 'I', 'F', '\0'}) byte(letter);
    word(0x0101); // version 1.1
    byte(known ? static_cast<int>(density.unit) : 0);
    word(known ? static_cast<int>(density.x + 0.5) : 1);
    word(known ? static_cast<int>(density.y + 0.5) : 1);
    word(0); // no thumbnail
  }
  // EXIF and the colour profile, if the segments for them can hold them: one, and up to 255. Says what they cannot.
  std::vector<std::string> metadata(const img::Metadata& metadata) {
    constexpr size_t kLargest = 65533;
    std::vector<std::string> leftOut;
    if (metadata.exif.size() + 6 > kLargest) {
      leftOut.push_back("the EXIF is left out: it is too long for a JPEG file");
    } else if (!metadata.exif.empty()) {
      segment(kApp1, static_cast<int>(metadata.exif.size()) + 6);
      for (const char letter : {'E', 'x', 'i', 'f', '\0', '\0'}) byte(letter);
      bytes(metadata.exif);
    }
    constexpr size_t kPart = kLargest - 14;
    const size_t parts = (metadata.icc.size() + kPart - 1) / kPart;
    if (parts > 255) leftOut.push_back("the colour profile is left out: it is too long for a JPEG file");
    for (size_t i = 0; i < parts && parts < 256; ++i) {
      const ByteSpan part =
          ByteSpan(metadata.icc).subspan(i * kPart).first(std::min(kPart, metadata.icc.size() - i * kPart));
      segment(kApp2, static_cast<int>(part.size()) + 14);
      for (const char letter : {'I', 'C', 'C', '_', 'P', 'R', 'O', 'F', 'I', 'L', 'E', '\0'}) byte(letter);
      byte(static_cast<int>(i) + 1);
      byte(static_cast<int>(parts));
      bytes(part);
    }
    return leftOut;
  }
  // Tells what the components are: 0, as they are, R, G, B or C, M, Y, K; 2, Y, Cb, Cr, K of inks. Inks are inverted.
  void adobe(int transform) {
    segment(kApp14, 12);
    for (const char letter : {'A', 'd', 'o', 'b', 'e'}) byte(letter);
    for (const int value : {0, 100, 0, 0, 0, 0, transform}) byte(value);
  }
  void quantTable(int id, const uint8_t* table) {
    segment(kDqt, 65);
    byte(id);
    for (int i = 0; i < 64; ++i) byte(table[i]);
  }
  // Steps in natural order, of which none may be larger than a byte unless `wide`.
  void quantTable(int id, const uint16_t* steps, bool wide) {
    segment(kDqt, wide ? 129 : 65);
    byte((wide ? 16 : 0) | id);
    for (const uint8_t natural : kNaturalOrder) wide ? word(steps[natural]) : byte(steps[natural]);
  }
  void frame(int process, const Frame& frame) {
    segment(process, 6 + 3 * static_cast<int>(frame.components.size()));
    byte(frame.bits);
    word(frame.height);
    word(frame.width);
    byte(static_cast<int>(frame.components.size()));
    for (const Component& c : frame.components) {
      byte(c.id);
      byte(c.h << 4 | c.v);
      byte(c.quantTable);
    }
  }
  void huffmanTable(int tableClass, int id, const HuffmanList& list) {
    segment(kDht, 17 + symbolCount(list));
    byte(tableClass << 4 | id);
    for (const int count : list.bits) byte(count);
    for (int i = 0; i < symbolCount(list); ++i) byte(list.values[i]);
  }
  void restartInterval(int mcus) {
    segment(kDri, 2);
    word(mcus);
  }
  // One scan of all components, each with the tables of its class.
  void scan(const Frame& frame) {
    std::vector<int> all, tables;
    for (const Component& c : frame.components) {
      all.push_back(static_cast<int>(all.size()));
      tables.push_back(c.quantTable << 4 | c.quantTable);
    }
    scan(frame, {all, 0, 63, 0, 0}, tables);
  }
  // `tables`: of each component, for DC << 4 | for AC.
  void scan(const Frame& frame, const ScanSpec& spec, const std::vector<int>& tables) {
    const int count = static_cast<int>(spec.components.size());
    segment(kSos, 4 + 2 * count);
    byte(count);
    for (size_t i = 0; i < spec.components.size(); ++i) {
      byte(frame.components[static_cast<size_t>(spec.components[i])].id);
      byte(tables[i]);
    }
    byte(spec.Ss);
    byte(spec.Se);
    byte(spec.Ah << 4 | spec.Al);
  }
  void bytes(ByteSpan all) { file_.insert(file_.end(), all.begin(), all.end()); }

 private:
  void segment(int code, int length) {
    marker(code);
    word(length + 2);
  }
  void byte(int value) { file_.push_back(static_cast<uint8_t>(value)); }
  void word(int value) {
    byte(value >> 8);
    byte(value & 255);
  }

  Bytes& file_;
};

} // namespace jpeg
