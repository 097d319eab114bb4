#pragma once

// The registry of primitives: how to call each of them on regions of any size. Tests and benchmarks
// run from it.

#include "pixels/primitives/forms.h"

#include <functional>
#include <string>
#include <vector>

namespace qdvm::test {

// Bytes of a row and rows that a primitive touches of one operand.
struct Extent {
    std::ptrdiff_t rowBytes;
    std::int32_t rows;
};

enum class Role { kRead, kWrite, kReadWrite };

struct Operand {
    Role role;
    std::function<Extent(ImageSize)> extent;
    // Pixels around the region that may be read.
    int frame = 0;
};

struct View {
    Sample* data;
    std::ptrdiff_t stride;
};

// An entry of the table of forms.
struct Slot {
    const char* name;
    // Puts an operation in its place that does nothing.
    void (*disable)(RowForms* forms);
    bool (*isSame)(const RowForms& a, const RowForms& b);
};

struct PrimitiveCase {
    std::string name;
    std::vector<Operand> operands;
    std::function<ImageStatus(const std::vector<View>&, ImageSize)> call;
    std::vector<Slot> slots;
    ImageSize smallest{1, 1};
    // The last operand may be the same memory as the first.
    bool mayRunInPlace = false;
};

const std::vector<PrimitiveCase>& PrimitiveCases();

}  // namespace qdvm::test
