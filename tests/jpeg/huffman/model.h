// A plain model of Huffman coding for the tests: bits are characters of a string.
#pragma once

#include <array>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "support/random.h"
#include "zelj.h"

namespace zelj::test {

using Block = std::array<Zel16s, 64>;

// Walks the anti-diagonals, to and fro.
inline std::array<int, 64> zigzagOrder() {
  std::array<int, 64> order{};
  for (int i = 0, row = 0, column = 0; i < 64; ++i) {
    order[static_cast<size_t>(i)] = row * 8 + column;
    const bool up = (row + column) % 2 == 0;
    if (up && column == 7) {
      ++row;
    } else if (up && row == 0) {
      ++column;
    } else if (!up && row == 7) {
      ++column;
    } else if (!up && column == 0) {
      ++row;
    } else {
      row += up ? -1 : 1;
      column += up ? 1 : -1;
    }
  }
  return order;
}

struct Table {
  std::array<Zel8u, 16> bits{};
  std::vector<Zel8u> values;
  std::map<int, std::string> codes;
  alignas(8) Zel8u encode[1024];
  alignas(8) Zel8u decode[1644];

  Table(const std::array<Zel8u, 16>& listBits, const std::vector<Zel8u>& listValues)
      : bits(listBits), values(listValues) {
    unsigned code = 0;
    size_t p = 0;
    for (int length = 1; length <= 16; ++length, code *= 2) {
      for (int i = 0; i < bits[static_cast<size_t>(length - 1)]; ++i, ++code) {
        std::string& text = codes[values[p++]];
        text.clear();
        for (int b = length - 1; b >= 0; --b) text += code >> b & 1 ? '1' : '0';
      }
    }
    values.resize(256);
    if (zeliEncodeHuffmanSpecInit_JPEG_8u(bits.data(), values.data(), encoder()) != zelStatusOk) std::abort();
    if (zeliDecodeHuffmanSpecInit_JPEG_8u(bits.data(), values.data(), decoder()) != zelStatusOk) std::abort();
  }
  ZeliEncodeHuffmanSpec* encoder() { return reinterpret_cast<ZeliEncodeHuffmanSpec*>(encode); }
  ZeliDecodeHuffmanSpec* decoder() { return reinterpret_cast<ZeliDecodeHuffmanSpec*>(decode); }
};

// A random code for the symbols 0..count - 1 in random order; no code is all ones.
inline Table randomTable(Random& random, int count) {
  std::vector<Zel8u> values;
  for (int i = 0; i < count; ++i) {
    values.push_back(static_cast<Zel8u>(i));
    std::swap(values[static_cast<size_t>(random.in(0, i))], values.back());
  }
  // Of the codes left at each length some are taken, and as many left as the rest needs.
  std::array<Zel8u, 16> bits{};
  int left = count, open = 1;
  for (int length = 1; length <= 16 && left > 0; ++length) {
    open *= 2;
    const int longest = 16 - length, spare = open - 1 - ((left >> longest) + 1);
    const int take = length == 16 ? left : std::max(0, std::min({left, spare, random.in(0, 2 + length * 4)}));
    bits[static_cast<size_t>(length - 1)] = static_cast<Zel8u>(take);
    open -= take;
    left -= take;
  }
  return {bits, values};
}

inline int categoryOf(int value) {
  int category = 0;
  for (int magnitude = std::abs(value); magnitude; magnitude /= 2) ++category;
  return category;
}

inline std::string additionalBits(int value) {
  const int category = categoryOf(value);
  const int bits = value < 0 ? value + (1 << category) - 1 : value;
  std::string text;
  for (int b = category - 1; b >= 0; --b) text += bits >> b & 1 ? '1' : '0';
  return text;
}

inline std::string encodeBlock(const Block& block, int lastDc, Table& dc, Table& ac) {
  static const auto order = zigzagOrder();
  const int difference = block[0] - lastDc;
  std::string bits = dc.codes[categoryOf(difference)] + additionalBits(difference);
  int run = 0;
  for (size_t k = 1; k < 64; ++k) {
    const int value = block[static_cast<size_t>(order[k])];
    if (value == 0) {
      ++run;
      continue;
    }
    for (; run > 15; run -= 16) bits += ac.codes[0xF0];
    bits += ac.codes[run * 16 + categoryOf(value)] + additionalBits(value);
    run = 0;
  }
  return run ? bits + ac.codes[0] : bits;
}

// Whole bytes of the bits, with stuffing.
inline std::vector<Zel8u> bytesOf(const std::string& bits) {
  std::vector<Zel8u> bytes;
  for (size_t i = 0; i + 8 <= bits.size(); i += 8) {
    bytes.push_back(static_cast<Zel8u>(std::stoi(bits.substr(i, 8), nullptr, 2)));
    if (bytes.back() == 0xFF) bytes.push_back(0);
  }
  return bytes;
}

// A block as they come: from empty to full, small values and all values.
inline Block randomBlock(Random& random) {
  Block block{};
  const int count = random.oneOf({0, 1, 3, 8, 20, 63}),
            limit = random.oneOf({1, 3, 15, 126, 127, 128, 300, 2047, 16383});
  for (int i = 0; i < count; ++i)
    block[static_cast<size_t>(random.in(1, 63))] = static_cast<Zel16s>(random.in(-limit, limit));
  block[0] = static_cast<Zel16s>(random.in(-limit, limit));
  return block;
}

// The tables of ITU T.81 Annex K.3 for luminance.
inline Table standardDc() {
  return {{0, 1, 5, 1, 1, 1, 1, 1, 1}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}};
}

} // namespace zelj::test
