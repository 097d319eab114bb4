#pragma once

// Runs a primitive on prepared regions with two tables of forms and compares every byte.

#include "support/guarded_memory.h"
#include "support/primitive_cases.h"

#include <memory>
#include <random>
#include <string>
#include <vector>

namespace qdvm::test {

enum class Contents { kRandom, kExtremes, kZeros, kFull };

// How the operands of one run lie in memory.
struct Arrangement {
    std::ptrdiff_t padding = 0;   // bytes between rows
    bool isUpsideDown = false;    // negative strides
    bool isAtEnd = true;          // the last byte before the inaccessible page, or the first after
    std::ptrdiff_t distance = 0;  // bytes between the region and that page
    bool isInPlace = false;
    Contents contents = Contents::kRandom;
};

class FormChecker {
public:
    FormChecker();

    // Empty if the forms under test write exactly what the reference writes, and neither writes
    // anything else; else what went wrong, with a map of the region.
    std::string Compare(const PrimitiveCase& primitive, ImageSize size,
                        const Arrangement& arrangement, const RowForms& tested,
                        const RowForms& reference);

private:
    struct Region;

    std::vector<Region> Arrange(const PrimitiveCase& primitive, ImageSize size,
                                const Arrangement& arrangement) const;
    void Fill(const Region& region, Contents contents);

    std::vector<std::unique_ptr<GuardedMemory>> memories;
    std::mt19937 random;
};

}  // namespace qdvm::test
