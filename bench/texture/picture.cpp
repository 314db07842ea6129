// A picture to a texture file in memory, as zelimg makes it: the efforts of the search for BC7 on one thread and on
// two, by the clock on the wall, beside stb_dxt's BC3. Counters tell the PSNR over R, G and B.
#include <memory>
#include <string>
#include <vector>

#include "common/image.h"
#include "scene/scene.h"
#include "support/measure.h"
#include "support/stb.h"
#include "texture/texture.h"

namespace zelj::bench {
namespace {

constexpr int kSide = 512;

double psnrOfFile(const img::Image& image, const img::Bytes& file) {
  img::ByteSource source{img::ByteSpan(file)};
  std::unique_ptr<img::RowReader> reader;
  img::Image decoded;
  if (texture::openReader(source, texture::Container::dds, {}, reader) || img::readAll(*reader, decoded)) return 0;
  return img::psnr(image, decoded.channels() == 3 ? decoded : img::withChannels(decoded, 3));
}

void registerAll() {
  const struct {
    const char* name;
    texture::Target target;
    texture::Effort effort;
  } kinds[] = {{"BC3", texture::Target::bc3, texture::Effort::normal},
               {"BC3 YCoCg", texture::Target::yCoCg, texture::Effort::normal},
               {"BC7 fast", texture::Target::bc7, texture::Effort::fast},
               {"BC7 normal", texture::Target::bc7, texture::Effort::normal},
               {"BC7 best", texture::Target::bc7, texture::Effort::best}};
  for (const auto& kind : kinds) {
    const std::string work = std::string("texture/picture to ") + kind.name;
    for (const int threads : {1, 2}) {
      const std::string who = threads == 1 ? "zelj" : "zelj, 2 threads";
      benchmark::RegisterBenchmark((work + "/" + who).c_str(), [=](benchmark::State& state) {
        const img::Image image = img::renderScene(kSide, kSide);
        texture::EncodeOptions options;
        options.target = kind.target;
        options.effort = kind.effort;
        options.threads = threads;
        img::Bytes file;
        for (auto _ : state) {
          file.clear();
          img::MemorySink sink(file);
          std::unique_ptr<img::RowWriter> writer;
          if (texture::openWriter(sink, texture::Container::dds, image, options, writer) ||
              img::writeAll(image, *writer)) {
            state.SkipWithError("no file");
          }
        }
        state.counters["pixels"] = benchmark::Counter(kSide * kSide, benchmark::Counter::kIsIterationInvariantRate);
        state.counters["dB"] = psnrOfFile(image, file);
      })->UseRealTime();
    }
    benchmark::RegisterBenchmark((work + "/stb_dxt BC3").c_str(), [=](benchmark::State& state) {
      const img::Image image = img::renderScene(kSide, kSide);
      texture::EncodeOptions options;
      options.target = texture::Target::bc3;
      img::Bytes file;
      img::MemorySink sink(file);
      std::unique_ptr<img::RowWriter> writer;
      if (texture::openWriter(sink, texture::Container::dds, image, options, writer) || img::writeAll(image, *writer)) {
        state.SkipWithError("no file");
      }
      for (auto _ : state) {
        uint8_t* block = file.data() + 128;
        for (int b = 0; b < kSide * kSide / 16; ++b, block += 16) {
          uint8_t pixels[64];
          for (int p = 0; p < 16; ++p) {
            const uint8_t* from = image.row<uint8_t>(b / (kSide / 4) * 4 + p / 4) + 3 * (b % (kSide / 4) * 4 + p % 4);
            for (int c = 0; c < 4; ++c) pixels[4 * p + c] = c < 3 ? from[c] : 255;
          }
          stb_compress_dxt_block(block, pixels, 1, STB_DXT_HIGHQUAL);
        }
      }
      state.counters["pixels"] = benchmark::Counter(kSide * kSide, benchmark::Counter::kIsIterationInvariantRate);
      state.counters["dB"] = psnrOfFile(image, file);
    })->UseRealTime();
  }
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
