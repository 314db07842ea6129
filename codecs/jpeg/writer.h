// The marker segments of a file in the order in which an encoder writes them (T.81 Annex B).
#pragma once

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
  void jfif() {
    segment(kApp0, 14);
    for (const char letter : {'J', 'F', 'I', 'F', '\0'}) byte(letter);
    for (const int value : {1, 1, 0, 0, 1, 0, 1, 0, 0}) byte(value); // version 1.1, square pixels, no thumbnail
  }
  void quantTable(int id, const uint8_t* table) {
    segment(kDqt, 65);
    byte(id);
    for (int i = 0; i < 64; ++i) byte(table[i]);
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
    const int count = static_cast<int>(frame.components.size());
    segment(kSos, 4 + 2 * count);
    byte(count);
    for (const Component& c : frame.components) {
      byte(c.id);
      byte(c.quantTable << 4 | c.quantTable);
    }
    for (const int value : {0, 63, 0}) byte(value); // all coefficients at full precision
  }

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
