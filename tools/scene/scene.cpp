#include "scene/scene.h"

#include <algorithm>
#include <cmath>

namespace img {
namespace {

struct Light {
  float r, g, b;
};

Light operator*(Light c, float f) {
  return {c.r * f, c.g * f, c.b * f};
}

Light mix(Light a, Light b, float t) {
  return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

float smooth(float from, float to, float x) {
  const float t = std::clamp((x - from) / (to - from), 0.0f, 1.0f);
  return t * t * (3 - 2 * t);
}

// A number in 0..1 for each point of a grid, the same each time.
float hash(int x, int y) {
  uint32_t h = static_cast<uint32_t>(x) * 0x9E3779B1u ^ static_cast<uint32_t>(y) * 0x85EBCA77u;
  h = (h ^ (h >> 15)) * 0x2C1B3C6Du;
  h = (h ^ (h >> 12)) * 0x297A2D39u;
  return static_cast<float>((h ^ (h >> 15)) >> 8) / 16777216.0f;
}

float valueNoise(float x, float y) {
  const float fx = std::floor(x), fy = std::floor(y);
  const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
  const float u = smooth(0, 1, x - fx), v = smooth(0, 1, y - fy);
  const float top = hash(ix, iy) + (hash(ix + 1, iy) - hash(ix, iy)) * u;
  const float bottom = hash(ix, iy + 1) + (hash(ix + 1, iy + 1) - hash(ix, iy + 1)) * u;
  return top + (bottom - top) * v;
}

// Noise of several sizes on top of each other, about 0..1.
float cloudNoise(float x, float y, int octaves) {
  float sum = 0, weight = 0.5f;
  for (int i = 0; i < octaves; ++i, weight /= 2) {
    sum += weight * valueNoise(x, y);
    x = 2 * x + 17.3f;
    y = 2 * y + 5.1f;
  }
  return sum;
}

Light sky(float x, float y) {
  Light c = mix({0.16f, 0.36f, 0.72f}, {0.98f, 0.80f, 0.58f}, smooth(0.0f, 0.52f, y));
  const float sun = std::hypot(x - 1.08f, y - 0.30f);
  c = mix(c, {1.0f, 0.94f, 0.72f}, 0.85f * std::exp(-7 * sun));
  if (sun < 0.055f) c = {1.0f, 0.98f, 0.88f};
  const float cloud = smooth(0.48f, 0.72f, cloudNoise(3 * x + 4, 7 * y, 6)) * smooth(0.55f, 0.1f, y);
  return mix(c, {0.99f, 0.97f, 0.95f}, 0.85f * cloud);
}

// A range of hills: where its ridge runs, and its surface lit from the right.
float ridge(float x, float base, float height, float frequency, float offset) {
  return base - height * cloudNoise(frequency * x + offset, offset, 6);
}

Light hills(float x, float y, Light colour, float roughness) {
  const float here = cloudNoise(roughness * x, roughness * y, 6);
  const float right = cloudNoise(roughness * (x + 0.004f), roughness * y, 6);
  return colour * std::clamp(0.8f + 4.0f * (here - right) + 0.5f * (here - 0.5f), 0.3f, 1.4f);
}

Light grass(float x, float y, int px, int py) {
  const float distance = (y - 0.70f) / 0.30f;
  const float patches = cloudNoise(9 * x, 26 * y, 4);
  const float blades = hash(px, (py + static_cast<int>(7 * hash(px, 3))) / 5); // strokes, one pixel wide
  const Light c = mix({0.38f, 0.46f, 0.18f}, {0.20f, 0.42f, 0.10f}, patches);
  return c * (0.65f + 0.3f * distance + 0.45f * (blades - 0.4f) * (0.3f + distance));
}

bool ball(float x, float y, float cx, float cy, float radius, Light paint, Light& c) {
  const float dx = (x - cx) / radius, dy = (y - cy) / radius, square = dx * dx + dy * dy;
  if (square >= 1) return false;
  const float dz = std::sqrt(1 - square);
  const float light = std::max(0.0f, 0.55f * dx - 0.60f * dy + 0.58f * dz);
  c = paint * (0.18f + 0.85f * light);
  c = mix(c, {1, 1, 1}, std::pow(light, 40.0f));
  return true;
}

// Lines of black and coloured letters, rings, and bars that become finer: 0..1 across and down.
Light board(float u, float v) {
  constexpr Light kPaper = {0.96f, 0.95f, 0.91f}, kInk = {0.08f, 0.08f, 0.10f}, kRed = {0.78f, 0.10f, 0.12f};
  if (u < 0.02f || u > 0.98f || v < 0.025f || v > 0.975f) return {0.35f, 0.22f, 0.12f};
  if (v > 0.70f && u > 0.55f) return std::sin(40 + 900 * u * u) > 0 ? kInk : kPaper;
  if (v > 0.70f && u < 0.50f) {
    const float radius = std::hypot(u - 0.26f, (v - 0.83f) * 0.62f);
    return radius < 0.085f && std::sin(9000 * radius * radius) > 0 ? Light{0.05f, 0.25f, 0.62f} : kPaper;
  }
  const float column = (u - 0.06f) * 22, line = (v - 0.07f) * 8;
  const int i = static_cast<int>(column), j = static_cast<int>(line);
  if (u < 0.06f || v < 0.07f || i > 18 || j > 4 || hash(i, 90 + j) < 0.16f) return kPaper;
  // A letter is five dots by seven, set by chance.
  const int dotX = static_cast<int>((column - static_cast<float>(i)) * 6.5f);
  const int dotY = static_cast<int>((line - static_cast<float>(j)) * 10);
  if (dotX > 4 || dotY > 6) return kPaper;
  const bool set =
      dotX == 0 || dotY == 0 ? hash(7 * i + dotX, 31 * j + dotY) < 0.75f : hash(7 * i + dotX, 31 * j + dotY) < 0.38f;
  return set ? (j == 0 ? kRed : kInk) : kPaper;
}

// x and y in units of the height.
Light scene(float x, float y, float width, int px, int py) {
  Light c = sky(x, y);
  const float far = ridge(x, 0.56f, 0.30f, 1.7f, 3), near = ridge(x, 0.72f, 0.26f, 2.6f, 11);
  if (y > far) c = mix(hills(x, y, {0.46f, 0.50f, 0.62f}, 14), {0.85f, 0.76f, 0.70f}, 0.45f * smooth(0.35f, 0.7f, y));
  if (y > near) c = hills(x, y, {0.30f, 0.36f, 0.22f}, 40);
  if (y > 0.70f) c = grass(x, y, px, py);
  const struct {
    float x, y, radius;
    Light paint;
  } balls[] = {{0.10f, 0.86f, 0.085f, {0.90f, 0.16f, 0.12f}},
               {0.27f, 0.90f, 0.060f, {0.98f, 0.78f, 0.10f}},
               {0.39f, 0.86f, 0.075f, {0.10f, 0.35f, 0.85f}}};
  for (const auto& b : balls) {
    const float shadow = std::hypot((x - b.x + 0.4f * b.radius) / 1.5f, (y - b.y - 0.95f * b.radius) * 3) / b.radius;
    if (y > 0.70f) c = c * (0.45f + 0.55f * smooth(0.4f, 1.3f, shadow));
    ball(x, y, b.x, b.y, b.radius, b.paint, c);
  }
  const float u = (x - (width - 0.72f)) / 0.62f, v = (y - 0.52f) / 0.40f;
  if (u >= 0 && u < 1 && v >= 0 && v < 1) c = board(u, v);
  return c;
}

uint8_t sample(float value, float noise) {
  return static_cast<uint8_t>(
      std::clamp(255 * std::pow(std::clamp(value, 0.0f, 1.0f), 0.9f) + noise + 0.5f, 0.0f, 255.0f));
}

} // namespace

Image renderScene(int width, int height) {
  Image image;
  shape(image, width, height, 3, 8);
  const float unit = 1.0f / static_cast<float>(height);
  for (int y = 0; y < height; ++y) {
    uint8_t* pixel = image.row<uint8_t>(y);
    for (int x = 0; x < width; ++x, pixel += 3) {
      const Light c =
          scene(static_cast<float>(x) * unit, static_cast<float>(y) * unit, static_cast<float>(width) * unit, x, y);
      const float noise = 7 * (hash(x, y + 70001) + hash(x + 50021, y) - 1); // of the sensor: the same in all channels
      pixel[0] = sample(c.r, noise);
      pixel[1] = sample(c.g, noise);
      pixel[2] = sample(c.b, noise);
    }
  }
  return image;
}

} // namespace img
