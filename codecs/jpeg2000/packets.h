// Packets: what a layer brings to a precinct, a header of bits and the bytes of code-blocks.
#pragma once

#include "jpeg2000/tile.h"

namespace j2k {

// Gives the pieces of all packets to their code-blocks, of layers below `layers` only. The bytes must outlive them.
// Where the data end or make no sense, the rest is left out and `damage` says so.
void readPackets(ByteSpan data, ByteSpan headers, bool hasHeaders, const TileParameters& parameters, int layers,
                 Tile& tile, std::string& damage);

// The packets of a tile whose code-blocks are coded and know which passes each layer takes.
void writePackets(const TileParameters& parameters, Tile& tile, Bytes& bytes);

// How many bytes they are.
size_t sizeOfPackets(const TileParameters& parameters, Tile& tile);

} // namespace j2k
