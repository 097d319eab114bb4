#include "platform/ticks.h"

#include <chrono>

namespace qdvm {

std::uint32_t TickCountMs() {
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(sinceStart).count());
}

}  // namespace qdvm
