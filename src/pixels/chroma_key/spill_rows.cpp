#include "pixels/chroma_key/spill_rows.h"

#include "frames/format_table.h"
#include "pixels/primitives/forms.h"

#include <cstring>

namespace qdvm {

namespace {

constexpr std::size_t kAlignment = 64;

std::size_t RowBytesOf(std::int32_t width) {
    return (static_cast<std::size_t>(width) + kAlignment) / kAlignment * kAlignment;
}

bool IsPacked(std::int32_t fccType) {
    return fccType == kFccYUY2 || fccType == kFccUYVY || fccType == kFccHDYC;
}

}  // namespace

std::size_t SpillRows::BytesFor(const KeyPlan& plan, std::int32_t width) {
    const std::size_t row = RowBytesOf(width);
    const std::size_t table = plan.isUvSpill ? kUvTableBytes : 0;
    // Two rows for `columns` and `grownTwice`, one for `amounts`, two for a packed row.
    return 5 * row + static_cast<std::size_t>(plan.spills) * (2 * kRing * row + table);
}

SpillRows::SpillRows(const KeyPicture& source, const KeyPlan& keyPlan, BYTE* memory)
    : picture(source),
      plan(keyPlan),
      isPacked(IsPacked(source.fccType)),
      all("[Anti-Spill (Full)]"),
      measuring("[SSEGetAlphaCenterEx_AC4C1(Chroma) + UV Scale + Smooth]"),
      correcting(keyPlan.isUvSpill ? "[Anti-Spill (UV)]" : "[SSECorrectUV_422_C1IR]") {
    const std::size_t row = RowBytesOf(source.size.width);
    const auto take = [&memory](std::size_t bytes) {
        BYTE* const taken = memory;
        memory += bytes;
        return taken;
    };
    columns = take(row);
    grownTwice = take(row);
    amounts = take(row);
    packedRow = take(2 * row);
    for (std::int32_t i = 0; i < plan.spills; ++i) {
        for (BYTE*& line : rings[i].raw) line = take(row);
        for (BYTE*& line : rings[i].grown) line = take(row);
    }
    if (!plan.isUvSpill) return;
    for (std::int32_t i = 0; i < plan.spills; ++i) {
        rings[i].table = take(kUvTableBytes);
        std::memset(rings[i].table, 0, 256);
    }
}

// How near the pixels of the row are to each entry, or with isSpillAway how far.
void SpillRows::Measure(std::ptrdiff_t y, const BYTE* keyRow) {
    const TraceSum::Span span(measuring);
    const std::int32_t width = picture.size.width;
    for (std::int32_t i = 0; i < plan.spills; ++i) {
        BYTE* const row = rings[i].raw[y % kRing];
        (void)KeyDistance_8u_AC4C1R(keyRow, 0, row, 0, {width, 1}, plan.spill[i].ellipsoid);
        if (plan.isSpillAway) continue;
        for (std::ptrdiff_t x = 0; x < width; ++x) row[x] = static_cast<BYTE>(255 - row[x]);
    }
}

// Row y of a plane with every pixel inside it the largest of its neighbourhood.
void SpillRows::Grow(const std::array<BYTE*, kRing>& from, std::ptrdiff_t y, BYTE* to) {
    const std::ptrdiff_t width = picture.size.width;
    const BYTE* const here = from[y % kRing];
    if (y == 0 || y == picture.size.height - std::ptrdiff_t{1} || width < 3) {
        std::memcpy(to, here, static_cast<std::size_t>(width));
        return;
    }
    const auto largest = Forms().filters.max3;
    largest(from[(y - 1) % kRing], here, from[(y + 1) % kRing], columns, picture.size.width);
    largest(columns, columns + 1, columns + 2, to + 1, picture.size.width - 2);
    to[0] = here[0];
    to[width - 1] = here[width - 1];
}

void SpillRows::Apply(const KeySpill& spill, const Ring& ring, std::ptrdiff_t y, BYTE* packed) {
    const std::int32_t pairs = picture.size.width / 2;
    {
        const TraceSum::Span span(measuring);
        Grow(ring.grown, y, grownTwice);
        (void)HalveAcross_8u_C1R(grownTwice, 0, amounts, 0, {pairs, 1});
    }
    const TraceSum::Span span(correcting);
    if (plan.isUvSpill)
        ApplyUvSpill(spill.uv, packed, amounts, pairs, ring.table);
    else
        (void)SpillMatrix_8u_C4IR(packed, 0, amounts, 0, {pairs, 1}, spill.matrix);
}

HRESULT SpillRows::Correct(std::ptrdiff_t y) {
    const FrameDesc own = RowDescOf(picture);
    const FrameDesc yuy2 = RowDescOf(kFccYUY2, picture.size, picture.size.width * 2);
    BYTE* const row = picture.Row(y);
    BYTE* const packed = isPacked ? row : packedRow;
    if (!isPacked) {
        const HRESULT result = CopyRowsCC(row, packed, own, yuy2);
        if (Failed(result)) return result;
    }
    for (std::int32_t i = 0; i < plan.spills; ++i) Apply(plan.spill[i], rings[i], y, packed);
    return isPacked ? S_OK : CopyRowsCC(packed, row, yuy2, own);
}

HRESULT SpillRows::Take(std::ptrdiff_t y, const BYTE* keyRow) {
    const TraceSum::Span span(all);
    const std::ptrdiff_t height = picture.size.height;
    Measure(y, keyRow);
    // Behind the last row the rows that waited for it follow.
    const std::ptrdiff_t end = y == height - 1 ? y + 2 : y;
    for (std::ptrdiff_t t = y; t <= end; ++t) {
        if (t >= 1 && t <= height) {
            const TraceSum::Span growing(measuring);
            for (std::int32_t i = 0; i < plan.spills; ++i)
                Grow(rings[i].raw, t - 1, rings[i].grown[(t - 1) % kRing]);
        }
        if (t < 2) continue;
        const HRESULT result = Correct(t - 2);
        if (Failed(result)) return result;
    }
    return S_OK;
}

}  // namespace qdvm
