// The codec beside Pillow, which opens our DDS files, and squish as a second decoder of BC1, BC2 and BC3.
//
// Where decoders differ on purpose:
//
//   format    here                                   there
//   BC1       index 3 of three colours opaque white  transparent black; our encoder does not use it
//   BC4, BC5  ramps are rounded                      Pillow cuts them off: 1 less at most
//   BC3       alpha is rounded                       both cut it off: 1 less at most
//   BC6       a negative sum of an end and a         it wraps, the signed form extends it again: another colour
//             difference stays negative
//   BC7       alpha of pictures without it is left   what the blocks hold: 255 or a little less
//             out, since the file says so
#include <squish.h>

#include <cmath>

#include "codecs/texture/support.h"
#include "support/random.h"
#include "zelj.h"

namespace zelj::test {
namespace {

using texture::Container;
using texture::Target;

class TextureInterop : public testing::Test {
 protected:
  // Pillow's pixels of a file in R, G, B, A, or nothing where there is no Pillow.
  Bytes pillow(const std::string& name) const {
    for (const char* python : {"python3", "/usr/bin/python3"}) {
      if (folder_.run(std::string(python) + " -c 'import PIL'") != 0) continue;
      const std::string script = "from PIL import Image; open(\"raw\", \"wb\").write(Image.open(\"" + name +
                                 "\").convert(\"RGBA\").tobytes())";
      std::string said;
      EXPECT_EQ(folder_.run(std::string(python) + " -c '" + script + "'", &said), 0) << said;
      return folder_.read("raw");
    }
    return {};
  }
  Folder folder_;
};

TEST_F(TextureInterop, PillowReadsOurFiles) {
  const struct {
    Target target;
    int most, mostAlpha; // difference of a sample
  } cases[] = {{Target::bc1, 0, 0}, {Target::bc2, 0, 0}, {Target::bc3, 0, 1},  {Target::bc4, 1, 0},
               {Target::bc5, 1, 0}, {Target::bc7, 0, 0}, {Target::rgba8, 0, 0}};
  for (const auto& [target, most, mostAlpha] : cases) {
    for (const bool mips : {false, true}) {
      const int width = 124, height = mips ? 64 : 52;
      texture::EncodeOptions options;
      options.target = target;
      options.mips = mips;
      options.modes = mips ? 0xFF : 0;
      const Bytes file = textureFile(pictureFor(target, width, height), Container::dds, options);
      folder_.write("a.dds", file);
      const Bytes theirs = pillow("a.dds");
      if (theirs.empty()) GTEST_SKIP() << "Pillow is missing: run scripts/setup.sh";
      const Image ours = readTexture(file, Container::dds);
      ASSERT_EQ(theirs.size(), static_cast<size_t>(4 * width * height));
      const auto channels = static_cast<size_t>(ours.channels());
      int worst[4] = {};
      for (size_t p = 0; p < theirs.size() / 4; ++p) {
        for (size_t c = 0; c < channels; ++c) {
          worst[c] = std::max(worst[c], std::abs(ours.bytes[p * channels + c] - theirs[4 * p + c]));
        }
      }
      EXPECT_LE(std::max({worst[0], worst[1], worst[2]}), most) << "target " << static_cast<int>(target);
      EXPECT_LE(worst[3], mostAlpha) << "target " << static_cast<int>(target);
    }
  }
}

// Noise in each mode of BC6: all samples but those of ends whose sums are negative, a few in a hundred.
TEST_F(TextureInterop, PillowDecodesBc6AsWeDo) {
  constexpr int kSide = 64;
  constexpr uint8_t kModes[] = {0, 1, 2, 6, 10, 14, 18, 22, 26, 30, 3, 7, 11, 15};
  Random random(1);
  texture::EncodeOptions options;
  options.modes = 1 << 6;
  Bytes file = textureFile(pictureFor(Target::bc7, kSide, kSide), Container::dds, options);
  file[128] = 95;
  for (const uint8_t mode : kModes) {
    for (size_t i = 148; i < file.size(); ++i) file[i] = static_cast<uint8_t>(random.bits());
    for (size_t i = 148; i < file.size(); i += 16) {
      file[i] = static_cast<uint8_t>((file[i] & (mode < 2 ? ~3 : ~31)) | mode);
    }
    folder_.write("a.dds", file);
    const Bytes theirs = pillow("a.dds");
    if (theirs.empty()) GTEST_SKIP() << "Pillow is missing: run scripts/setup.sh";
    const Image ours = readTexture(file, Container::dds);
    int different = 0;
    for (int p = 0; p < kSide * kSide; ++p) {
      for (int c = 0; c < 3; ++c) { // 8 bits of what lies between 0 and 1, cut off
        const float light = std::clamp(ours.row<float>(p / kSide)[3 * (p % kSide) + c], 0.0f, 1.0f);
        different += std::abs(255 * light - theirs[static_cast<size_t>(4 * p + c)]) > 1.01f;
      }
    }
    EXPECT_LT(different, 3 * kSide * kSide * 6 / 100) << "mode " << int{mode};
  }
}

// Noise for blocks: every bit pattern decodes.
TEST_F(TextureInterop, SquishDecodesAsWeDo) {
  Random random(1);
  const struct {
    Target target;
    size_t blockBytes;
    int flag, mostAlpha;
  } cases[] = {
      {Target::bc1, 8, squish::kDxt1, 0}, {Target::bc2, 16, squish::kDxt3, 0}, {Target::bc3, 16, squish::kDxt5, 1}};
  for (const auto& c : cases) {
    texture::EncodeOptions options;
    options.target = c.target;
    Bytes file = textureFile(pictureFor(c.target, 64, 64), Container::dds, options);
    for (size_t i = 128; i < file.size(); ++i) {
      if (random.in(0, 3)) file[i] = static_cast<uint8_t>(random.bits());
    }
    const Image ours = readTexture(file, Container::dds);
    const auto channels = static_cast<size_t>(ours.channels());
    for (size_t b = 0; b < 256; ++b) {
      const uint8_t* block = file.data() + 128 + b * c.blockBytes;
      uint8_t theirs[64];
      squish::Decompress(theirs, block, c.flag);
      const bool three = c.target == Target::bc1 && (block[0] | block[1] << 8) <= (block[2] | block[3] << 8);
      for (size_t p = 0; p < 16; ++p) {
        const uint8_t* pixel =
            ours.row<uint8_t>(static_cast<int>(b / 16 * 4 + p / 4)) + (b % 16 * 4 + p % 4) * channels;
        if (three && (block[4 + p / 4] >> 2 * (p % 4) & 3) == 3) {
          EXPECT_TRUE(pixel[0] == 255 && theirs[4 * p + 3] == 0);
          continue;
        }
        for (size_t k = 0; k < 3; ++k) ASSERT_EQ(pixel[k], theirs[4 * p + k]) << static_cast<int>(c.target);
        if (channels == 4) {
          ASSERT_LE(std::abs(pixel[3] - theirs[4 * p + 3]), c.mostAlpha) << static_cast<int>(c.target);
        }
      }
    }
  }
}

} // namespace
} // namespace zelj::test
