#include "scenes/stream_order.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace qdvm {

std::int32_t PositionOf(const std::vector<std::int32_t>& order, std::int32_t stream) {
    const auto found = std::find(order.begin(), order.end(), stream);
    return found == order.end() ? -1 : static_cast<std::int32_t>(found - order.begin());
}

void MoveStream(std::vector<std::int32_t>& order, std::int32_t streamCount, std::int32_t stream,
                std::int32_t position, bool swap) {
    if (order.empty() || streamCount <= 0) return;
    stream = std::clamp(stream, 0, streamCount - 1);
    const std::int32_t last = static_cast<std::int32_t>(order.size()) - 1;
    const std::int32_t found = PositionOf(order, stream);
    const std::int32_t present = std::max(found, 0);
    if (swap && found >= 0) {
        std::swap(order[static_cast<std::size_t>(std::clamp(position, 0, last))],
                  order[static_cast<std::size_t>(present)]);
        return;
    }
    // Counted before the stream leaves its old place.
    const bool movesUp = present < position;
    const std::int32_t before =
        std::clamp(position < last && movesUp ? position + 1 : position, 0, last);
    const auto inserted = order.insert(order.begin() + before, stream);
    // The old entry is the first equal one but this.
    auto old = std::find(order.begin(), inserted, stream);
    if (old == inserted) old = std::find(inserted + 1, order.end(), stream);
    if (old != order.end()) order.erase(old);
}

}  // namespace qdvm
