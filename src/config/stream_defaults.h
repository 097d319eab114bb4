#pragma once

// The per-user start values of every stream.

#include <cstdint>

namespace qdvm {

// Taken over by a stream when it is made; not checked against any range.
struct StreamDefaults {
    // Frames that a stream may miss before it counts as lost; 0 or less never.
    std::int32_t maxWaitFrames = 8;
    // What it then shows, as a value of eVM_LostShow.
    std::int32_t lostShow = 1;
    // On the input's thread: 0 nothing, 1 the alpha plane, else all but the last stage.
    std::int32_t inputProcessing = 1;
    // Not 0: a key plane goes into the fourth byte of an ARGB32 picture.
    std::int32_t argb32Mix = 1;
    // 2 or more: an empty tick counts as ready before the stream's first frame.
    std::int32_t syncStart = 0;
};

// Reads the user's settings; what is missing there, or of another type, is written back with its
// default. Never fails: without a store the defaults hold. Any thread.
StreamDefaults LoadStreamDefaults();

}  // namespace qdvm
