// The wavelet and the component transforms of OpenJPEG 2.5 by their internal names, with as much of its structures as
// they look at.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace zelj::bench {

struct PeerBand {
  int32_t x0, y0, x1, y1;
  uint32_t number;
  void* precincts;
  uint32_t precinctsSize;
  int32_t bitPlanes;
  float stepSize;
};

struct PeerResolution {
  int32_t x0, y0, x1, y1;
  uint32_t precinctsWide, precinctsHigh, bandCount;
  PeerBand bands[3];
  uint32_t window[4];
};

struct PeerTileComponent {
  int32_t x0, y0, x1, y1;
  uint32_t number, resolutionCount, resolutionsToDecode;
  PeerResolution* resolutions;
  uint32_t resolutionsSize;
  int32_t* data;
  int32_t ownsData;
  size_t sizeNeeded, size;
  int32_t* windowData;
  uint32_t window[4];
  int32_t pixels;
};

struct PeerTileCoder {
  int32_t tilePart;
  uint32_t unused[4];
  void* pointers[4];
  uint32_t tile;
  uint32_t isDecoder;
  void* threads;
  uint32_t window[4];
  int32_t wholeTile;
  int32_t* usedComponents;
};

extern "C" {
void* opj_thread_pool_create(int threads);
int opj_dwt_encode(PeerTileCoder*, PeerTileComponent*);
int opj_dwt_decode(PeerTileCoder*, PeerTileComponent*, uint32_t resolutions);
int opj_dwt_encode_real(PeerTileCoder*, PeerTileComponent*);
int opj_dwt_decode_real(PeerTileCoder*, PeerTileComponent*, uint32_t resolutions);
void opj_mct_encode(int32_t* c0, int32_t* c1, int32_t* c2, size_t n);
void opj_mct_decode(int32_t* c0, int32_t* c1, int32_t* c2, size_t n);
void opj_mct_encode_real(float* c0, float* c1, float* c2, size_t n);
void opj_mct_decode_real(float* c0, float* c1, float* c2, size_t n);
}

// A square plane of so many levels as the peer sees it.
struct PeerTile {
  PeerTile(int32_t* data, int size, int levels) : resolutions(static_cast<size_t>(levels) + 1) {
    for (int r = levels; r >= 0; --r, size = (size + 1) / 2) {
      PeerResolution& resolution = resolutions[static_cast<size_t>(r)];
      resolution.x1 = resolution.y1 = size;
    }
    component.x1 = component.y1 = resolutions.back().x1;
    component.resolutionCount = component.resolutionsToDecode = static_cast<uint32_t>(levels) + 1;
    component.resolutions = resolutions.data();
    component.data = data;
    static void* const noThreads = opj_thread_pool_create(0);
    coder.threads = noThreads;
    coder.wholeTile = 1;
  }
  void encode() { opj_dwt_encode(&coder, &component); }
  void decode() { opj_dwt_decode(&coder, &component, component.resolutionCount); }
  void encodeReal() { opj_dwt_encode_real(&coder, &component); }
  void decodeReal() { opj_dwt_decode_real(&coder, &component, component.resolutionCount); }

  std::vector<PeerResolution> resolutions;
  PeerTileComponent component{};
  PeerTileCoder coder{};
};

} // namespace zelj::bench
