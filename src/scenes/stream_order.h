#pragma once

// The order in which streams are drawn, as a list of stream numbers.

#include <cstdint>
#include <vector>

namespace qdvm {

// Brings a stream to a position. Both numbers are limited to what is there. With `swap` the stream
// at that position takes the old one of the moved stream; without, the streams between close up,
// and a position at or past the last one is that before the last, where the free stream stands.
void MoveStream(std::vector<std::int32_t>& order, std::int32_t streamCount, std::int32_t stream,
                std::int32_t position, bool swap);

// -1 if the stream isn't in the order.
std::int32_t PositionOf(const std::vector<std::int32_t>& order, std::int32_t stream);

}  // namespace qdvm
