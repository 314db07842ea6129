// Rate allocation: which coding passes each quality layer takes.
#pragma once

#include <functional>

#include "jpeg2000/packets.h"

namespace j2k {

// What the distortions of a code-block are worth: a factor to the squared error of samples.
using Weight = std::function<double(size_t component, const Band& band)>;

// All passes in one layer.
void takeAllPasses(Tile& tile);

// Layers whose packets, with those of the layers before, take at most so many bytes each.
void allocateBytes(const TileParameters& parameters, const Weight& weight, const std::vector<size_t>& bytes,
                   Tile& tile);

// One layer as small as it gets with a squared error of all samples of at most `error`, beside that of the quantiser.
void allocateError(const Weight& weight, double error, Tile& tile);

} // namespace j2k
