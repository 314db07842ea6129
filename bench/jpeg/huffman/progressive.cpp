// The progressive coders on whole photographs, beside libjpeg-turbo: files to coefficients, and coefficients to files
// with the best tables for each scan.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

#include "jpeg/huffman/pictures.h"
#include "support/measure.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

struct Component {
  int h = 1, v = 1, blocksWide = 0, blocksHigh = 0, stride = 0;
  std::vector<Zel16s> blocks; // of whole MCUs

  Zel16s* block(int x, int y) { return &blocks[static_cast<size_t>(y * stride + x) * 64]; }
};

struct DecodeTable {
  alignas(8) Zel8u bytes[1644];
  ZeliDecodeHuffmanSpec* get() { return reinterpret_cast<ZeliDecodeHuffmanSpec*>(bytes); }
};
struct EncodeTable {
  alignas(8) Zel8u bytes[1024];
  ZeliEncodeHuffmanSpec* get() { return reinterpret_cast<ZeliEncodeHuffmanSpec*>(bytes); }
};

struct Scan {
  std::vector<int> components, dcTables, acTables;
  int Ss, Se, Ah, Al;
};

struct Picture420 {
  std::vector<Component> components;
  int mcusWide = 0, mcusHigh = 0;

  // A scan of one component leaves out the blocks that hold no samples.
  template <class F>
  void forBlocks(const std::vector<int>& of, F f) {
    if (of.size() == 1) {
      Component& c = components[static_cast<size_t>(of[0])];
      for (int y = 0; y < c.blocksHigh; ++y) {
        for (int x = 0; x < c.blocksWide; ++x) f(0, c.block(x, y));
      }
      return;
    }
    for (int mcu = 0; mcu < mcusWide * mcusHigh; ++mcu) {
      for (size_t i = 0; i < of.size(); ++i) {
        Component& c = components[static_cast<size_t>(of[i])];
        for (int b = 0; b < c.h * c.v; ++b) {
          f(i, c.block(mcu % mcusWide * c.h + b % c.h, mcu / mcusWide * c.v + b / c.h));
        }
      }
    }
  }
};

void check(ZelStatus status) {
  if (status < 0) std::abort();
}

// Decodes a file to coefficients; scan(header, code) hears of each scan.
template <class Hear>
void decodeFile(const std::vector<uint8_t>& file, Picture420& picture, Hear hear) {
  DecodeTable tables[2][4];
  const auto word = [&](size_t at) { return file[at] * 256 + file[at + 1]; };
  for (size_t at = 2; file[at + 1] != 0xD9;) {
    const int marker = file[at + 1];
    const size_t begin = at + 4, end = at + 2 + static_cast<size_t>(word(at + 2));
    at = end;
    if (marker == 0xC4) {
      for (size_t p = begin; p < end;) {
        const int id = file[p];
        size_t count = 0;
        for (size_t i = 1; i <= 16; ++i) count += file[p + i];
        Zel8u values[256]{};
        std::copy_n(&file[p + 17], count, values);
        check(zeliDecodeHuffmanSpecInit_JPEG_8u(&file[p + 1], values, tables[id >> 4][id & 3].get()));
        p += 17 + count;
      }
    } else if (marker == 0xC2) {
      const int height = word(begin + 1), width = word(begin + 3);
      picture.components.resize(file[begin + 5]);
      picture.mcusWide = (width + 15) / 16;
      picture.mcusHigh = (height + 15) / 16;
      for (size_t i = 0; i < picture.components.size(); ++i) {
        Component& c = picture.components[i];
        c.h = file[begin + 7 + 3 * i] >> 4;
        c.v = file[begin + 7 + 3 * i] & 15;
        c.blocksWide = (width * c.h / 2 + 7) / 8;
        c.blocksHigh = (height * c.v / 2 + 7) / 8;
        c.stride = picture.mcusWide * c.h;
        c.blocks.assign(static_cast<size_t>(c.stride * picture.mcusHigh * c.v) * 64, 0);
      }
    } else if (marker == 0xDA) {
      Scan scan;
      for (size_t i = 0; i < file[begin]; ++i) {
        scan.components.push_back(file[begin + 1 + 2 * i] - 1);
        scan.dcTables.push_back(file[begin + 2 + 2 * i] >> 4);
        scan.acTables.push_back(file[begin + 2 + 2 * i] & 15);
      }
      scan.Ss = file[end - 3];
      scan.Se = file[end - 2];
      scan.Ah = file[end - 1] >> 4;
      scan.Al = file[end - 1] & 15;
      alignas(8) Zel8u memory[24];
      auto* state = reinterpret_cast<ZeliDecodeHuffmanState*>(memory);
      check(zeliDecodeHuffmanStateInit_JPEG_8u(state));
      const Zel8u* source = file.data();
      const auto length = static_cast<Zel32s>(file.size());
      Zel32s position = static_cast<Zel32s>(end), found = 0;
      Zel16s lastDc[4]{};
      ZeliDecodeHuffmanSpec* ac = tables[1][scan.acTables[0]].get();
      if (scan.Ss > 0) {
        auto* read = scan.Ah ? zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1 : zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1;
        picture.forBlocks(scan.components, [&](size_t, Zel16s* block) {
          check(read(source, length, &position, block, &found, scan.Ss, scan.Se, scan.Al, ac, state));
        });
      } else if (scan.Ah) {
        picture.forBlocks(scan.components, [&](size_t, Zel16s* block) {
          check(zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(source, length, &position, block, &found, scan.Al, state));
        });
      } else {
        picture.forBlocks(scan.components, [&](size_t i, Zel16s* block) {
          check(zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(source, length, &position, block, &lastDc[i], &found,
                                                           scan.Al, tables[0][scan.dcTables[i]].get(), state));
        });
      }
      const auto* next = &file[end];
      while (!(next[0] == 0xFF && next[1] != 0)) ++next;
      at = static_cast<size_t>(next - file.data());
      hear(scan, end, at);
    }
  }
}

// Codes a scan with the best tables, in two passes. Returns where it ends.
Zel32s encodeScan(Picture420& picture, const Scan& scan, std::vector<uint8_t>& to, Zel32s position) {
  alignas(8) static Zel8u memory[1048];
  auto* state = reinterpret_cast<ZeliEncodeHuffmanState*>(memory);
  check(zeliEncodeHuffmanStateInit_JPEG_8u(state));
  Zel32u counts[4][256]{};
  EncodeTable tables[4];
  const auto room = static_cast<Zel32s>(to.size());
  Zel16s lastDc[4]{};
  const auto makeTable = [&](size_t i) {
    Zel8u bits[16], values[256];
    check(zeliEncodeHuffmanRawTableInit_JPEG_8u(reinterpret_cast<const Zel32s*>(counts[i]), bits, values));
    check(zeliEncodeHuffmanSpecInit_JPEG_8u(bits, values, tables[i].get()));
  };
  if (scan.Ss > 0) {
    auto* count =
        scan.Ah ? zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1 : zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1;
    auto* code = scan.Ah ? zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1 : zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1;
    picture.forBlocks(scan.components, [&](size_t, Zel16s* block) {
      check(count(block, counts[0], scan.Ss, scan.Se, scan.Al, state, 0));
    });
    check(count(nullptr, counts[0], scan.Ss, scan.Se, scan.Al, state, 1));
    makeTable(0);
    picture.forBlocks(scan.components, [&](size_t, Zel16s* block) {
      check(code(block, to.data(), room, &position, scan.Ss, scan.Se, scan.Al, tables[0].get(), state, 0));
    });
    check(code(nullptr, to.data(), room, &position, scan.Ss, scan.Se, scan.Al, tables[0].get(), state, 1));
    return position;
  }
  if (scan.Ah) {
    picture.forBlocks(scan.components, [&](size_t, Zel16s* block) {
      check(zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(block, to.data(), room, &position, scan.Al, state, 0));
    });
  } else {
    picture.forBlocks(scan.components, [&](size_t i, Zel16s* block) {
      check(zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block, counts[scan.dcTables[i]], &lastDc[i], scan.Al));
    });
    makeTable(0);
    makeTable(1);
    std::fill(lastDc, lastDc + 4, Zel16s{0});
    picture.forBlocks(scan.components, [&](size_t i, Zel16s* block) {
      check(zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(block, to.data(), room, &position, &lastDc[i], scan.Al,
                                                       tables[scan.dcTables[i]].get(), state, 0));
    });
  }
  check(zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(nullptr, to.data(), room, &position, 0, state, 1));
  return position;
}

// The peer's coefficients, and its work from these to a file.
struct Peer {
  jpeg_decompress_struct from;
  jpeg_error_mgr errors;
  jvirt_barray_ptr* arrays;

  explicit Peer(const std::vector<uint8_t>& file) {
    from.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&from);
    jpeg_mem_src(&from, file.data(), file.size());
    jpeg_read_header(&from, TRUE);
    arrays = jpeg_read_coefficients(&from);
  }

  void write(std::vector<uint8_t>& to) {
    jpeg_compress_struct jpeg;
    jpeg_error_mgr own;
    jpeg.err = jpeg_std_error(&own);
    jpeg_create_compress(&jpeg);
    unsigned char* bytes = to.data();
    unsigned long length = to.size();
    jpeg_mem_dest(&jpeg, &bytes, &length);
    jpeg_copy_critical_parameters(&from, &jpeg);
    jpeg_simple_progression(&jpeg);
    jpeg_write_coefficients(&jpeg, arrays);
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    if (bytes != to.data()) std::abort();
  }
};

struct Work {
  std::vector<uint8_t> file;
  Picture420 picture;
  std::vector<Scan> scans;
  std::unique_ptr<Peer> peer;
};

[[maybe_unused]] const bool registered = [] {
  for (const int quality : {75, 90}) {
    auto works = std::make_shared<std::vector<Work>>();
    auto code = std::make_shared<std::vector<uint8_t>>(size_t{1} << 20);
    double pixels = 0;
    for (const Picture& picture : benchPictures()) {
      Work work;
      work.file = compress(picture, quality, true);
      std::vector<std::pair<size_t, size_t>> places;
      decodeFile(work.file, work.picture, [&](const Scan& scan, size_t begin, size_t end) {
        work.scans.push_back(scan);
        places.emplace_back(begin, end);
      });
      // The same tables make the same bytes.
      for (size_t i = 0; i < work.scans.size(); ++i) {
        const Zel32s length = encodeScan(work.picture, work.scans[i], *code, 0);
        const auto [begin, end] = places[i];
        if (static_cast<size_t>(length) != end - begin ||
            !std::equal(code->begin(), code->begin() + length, &work.file[begin])) {
          std::abort();
        }
      }
      work.peer = std::make_unique<Peer>(work.file);
      works->push_back(std::move(work));
      pixels += kWidth * kHeight;
    }
    const auto all = [&](const char* what, const char* who, auto one) {
      char name[64];
      std::snprintf(name, sizeof name, "huffman/progressive %s q%d", what, quality);
      measure(name, who, "pixels", pixels, [=] {
        for (Work& work : *works) one(work);
      });
    };
    all("decode", "zelj", [](Work& work) { decodeFile(work.file, work.picture, [](const Scan&, size_t, size_t) {}); });
    all("decode", "libjpeg-turbo",
        [](Work& work) { readCoefficients(work.file, [](jpeg_decompress_struct&, jvirt_barray_ptr*) {}); });
    all("encode", "zelj", [=](Work& work) {
      Zel32s position = 0;
      for (const Scan& scan : work.scans) position = encodeScan(work.picture, scan, *code, position);
    });
    all("encode", "libjpeg-turbo", [=](Work& work) { work.peer->write(*code); });
  }
  return true;
}();

} // namespace
} // namespace zelj::bench
