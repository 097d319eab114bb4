#pragma once

// Rows of any width for forms that work in blocks. Whole blocks go straight through; the rest of
// the row goes through small copies of one block's size, so that a block never reads or writes
// beyond its row. For the files of one level each; everything in here belongs to the file that
// includes it.

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qdvm {
namespace {

// What a block works on. A unit (pixel, pair) of an operand has kBytes bytes.
template <int kBytes>
struct In {
    static constexpr int kUnit = kBytes;
    static constexpr bool kReads = true;
    static constexpr bool kWrites = false;
    using Pointer = const std::uint8_t*;
    Pointer data;
};

template <int kBytes>
struct Out {
    static constexpr int kUnit = kBytes;
    static constexpr bool kReads = false;
    static constexpr bool kWrites = true;
    using Pointer = std::uint8_t*;
    Pointer data;
};

template <int kBytes>
struct InOut {
    static constexpr int kUnit = kBytes;
    static constexpr bool kReads = true;
    static constexpr bool kWrites = true;
    using Pointer = std::uint8_t*;
    Pointer data;
};

// The copy of one operand's rest.
template <class Operand, int kBlock>
struct Rest {
    alignas(64) std::uint8_t bytes[kBlock * Operand::kUnit];

    Rest(const Operand& operand, std::ptrdiff_t done, std::size_t units) {
        std::memset(bytes, 0, sizeof(bytes));
        if constexpr (Operand::kReads)
            std::memcpy(bytes, operand.data + done * Operand::kUnit, units * Operand::kUnit);
    }

    void Write([[maybe_unused]] const Operand& operand, [[maybe_unused]] std::ptrdiff_t done,
               [[maybe_unused]] std::size_t units) const {
        if constexpr (Operand::kWrites)
            std::memcpy(operand.data + done * Operand::kUnit, bytes, units * Operand::kUnit);
    }
};

// block(pointers...) works on kBlock units.
template <int kBlock, class Block, class... Operands>
inline void AnyWidth(std::int32_t units, Block block, Operands... operands) {
    static_assert(kBlock > 0 && kBlock <= 128);
    std::ptrdiff_t done = 0;
    for (; done + kBlock <= units; done += kBlock) block(operands.data + done * Operands::kUnit...);
    const std::size_t rest = static_cast<std::size_t>(units - done);
    if (rest == 0) return;
    [&](auto... copies) {
        block(copies.bytes...);
        (copies.Write(operands, done, rest), ...);
    }(Rest<Operands, kBlock>(operands, done, rest)...);
}

// The same for rows that are turned around: block(src, dst) mirrors kBlock pixels, and blocks are
// taken from the end of src. Meanwhile the row at `next` is fetched from its start: processors do
// not foresee that a walk to the left goes on at the right end of the next row.
template <int kBlock, int kBytes, class Block>
inline void AnyWidthMirrored(std::int32_t pixels, Block block, const std::uint8_t* src,
                             std::uint8_t* dst, const std::uint8_t* next) {
    constexpr int kLineBytes = 64;
    std::ptrdiff_t done = 0;
    for (; done + kBlock <= pixels; done += kBlock) {
        for (int line = 0; line < kBlock * kBytes; line += kLineBytes)
            __builtin_prefetch(next + done * kBytes + line);
        block(src + (pixels - done - kBlock) * kBytes, dst + done * kBytes);
    }
    const std::size_t rest = static_cast<std::size_t>(pixels - done);
    if (rest == 0) return;
    Rest<In<kBytes>, kBlock> from({src}, 0, rest);
    Rest<Out<kBytes>, kBlock> to({dst}, 0, rest);
    block(from.bytes, to.bytes);
    // What was at the start of the block is at its end now.
    std::memcpy(dst + done * kBytes, to.bytes + (kBlock - rest) * kBytes, rest * kBytes);
}

}  // namespace
}  // namespace qdvm
