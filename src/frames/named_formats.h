#pragma once

// The output formats that a person picks by name.

#include <qdvideomixer/video_props.h>

#include <array>
#include <cstddef>

namespace qdvm {

// The pixel format is left open (0) in every row.
struct NamedVideoFormat {
    const char* name;
    VM_VIDEO_PROPS props;
};

inline constexpr std::size_t kNamedVideoFormatCount = 20;

// In the order in which they are offered.
extern const std::array<NamedVideoFormat, kNamedVideoFormatCount> NamedVideoFormats;

}  // namespace qdvm
