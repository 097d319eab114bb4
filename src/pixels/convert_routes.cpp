#include "pixels/convert_routes.h"

#include "frames/format_table.h"
#include "pixels/primitives/channels.h"
#include "pixels/primitives/convert.h"
#include "pixels/primitives/copy.h"
#include "pixels/primitives/forms.h"

#include <algorithm>

namespace qdvm {

namespace {

constexpr Sample kOpaque = 255;

// Pixels of a row that a conversion of two steps takes through the stack at a time. Even.
constexpr std::int32_t kChunkPixels = 1024;

const BYTE* Row(const ConvertJob& job, std::ptrdiff_t line) {
    return job.from.plane[0] + line * job.from.stride[0];
}

BYTE* DestRow(const ConvertJob& job, std::ptrdiff_t line) {
    return job.to.plane[0] + line * job.to.stride[0];
}

// --- one step, both sides interleaved ---

using Interleaved = ImageStatus (*)(const Sample*, std::ptrdiff_t, Sample*, std::ptrdiff_t,
                                    ImageSize);
using InterleavedWithFourth = ImageStatus (*)(const Sample*, std::ptrdiff_t, Sample*,
                                              std::ptrdiff_t, ImageSize, Sample);

template <Interleaved kConvert>
ImageStatus Direct(const ConvertJob& job) {
    return kConvert(job.from.plane[0], job.from.stride[0], job.to.plane[0], job.to.stride[0],
                    job.size);
}

template <InterleavedWithFourth kConvert>
ImageStatus DirectOpaque(const ConvertJob& job) {
    return kConvert(job.from.plane[0], job.from.stride[0], job.to.plane[0], job.to.stride[0],
                    job.size, kOpaque);
}

ImageStatus SetFourth(const ConvertJob& job, std::ptrdiff_t line) {
    return Set_8u_C4CR(kOpaque, DestRow(job, line) + 3, job.to.stride[0], {job.size.width, 1});
}

// Row by row, so that the fourth bytes are set while the row is in the cache.
template <Interleaved kConvert>
ImageStatus ToBgra(const ConvertJob& job) {
    if (!job.setsFourth) return Direct<kConvert>(job);
    ImageStatus status = kImageOk;
    for (std::int32_t line = 0; line < job.size.height && status == kImageOk; ++line) {
        status = kConvert(Row(job, line), job.from.stride[0], DestRow(job, line), job.to.stride[0],
                          {job.size.width, 1});
        if (status == kImageOk) status = SetFourth(job, line);
    }
    return status;
}

ImageStatus Nothing(const ConvertJob&) { return kImageOk; }

// --- two steps ---

ImageStatus BgrToChromaFirst(const ConvertJob& job) {
    ImageStatus status = kImageOk;
    for (std::int32_t line = 0; line < job.size.height && status == kImageOk; ++line) {
        BYTE* const dest = DestRow(job, line);
        status = BGRToYUY2(Row(job, line), job.from.stride[0], dest, job.to.stride[0],
                           {job.size.width, 1});
        if (status == kImageOk)
            status = SwapYUYV(dest, job.to.stride[0], dest, job.to.stride[0], {job.size.width, 1});
    }
    return status;
}

ImageStatus ChromaFirstToBgr(const ConvertJob& job) {
    alignas(64) BYTE lumaFirst[kChunkPixels * 2];
    ImageStatus status = kImageOk;
    for (std::int32_t line = 0; line < job.size.height; ++line)
        for (std::int32_t x = 0; x < job.size.width && status == kImageOk; x += kChunkPixels) {
            const ImageSize chunk{std::min(kChunkPixels, job.size.width - x), 1};
            status = SwapYUYV(Row(job, line) + std::ptrdiff_t{x} * 2, sizeof(lumaFirst), lumaFirst,
                              sizeof(lumaFirst), chunk);
            if (status == kImageOk)
                status =
                    YUY2ToBGR(lumaFirst, sizeof(lumaFirst),
                              DestRow(job, line) + std::ptrdiff_t{x} * 3, job.to.stride[0], chunk);
        }
    return status;
}

// --- from 4:2:0 ---

// The chroma row of a line of the rect, in rows from the one of the first line.
std::ptrdiff_t ChromaRowOf(const ConvertSide<const BYTE>& side, std::int32_t line) {
    const std::int32_t row = std::min((side.top + line) / 2, side.chromaRows - 1);
    return std::ptrdiff_t{row} - side.top / 2;
}

// operation(y, u, v, target row, pairs)
template <class Operation>
ImageStatus From420(const ConvertJob& job, Operation operation) {
    const ConvertSide<const BYTE>& from = job.from;
    if (from.chromaRows == 0) return kImageSizeError;
    for (std::int32_t line = 0; line < job.size.height; ++line) {
        const std::ptrdiff_t chroma = ChromaRowOf(from, line);
        operation(Row(job, line), from.plane[1] + chroma * from.stride[1],
                  from.plane[2] + chroma * from.stride[2], DestRow(job, line), job.size.width / 2);
    }
    return kImageOk;
}

ImageStatus PlanarToBgra(const ConvertJob& job) {
    return From420(job, [convert = Forms().colour.planesToBgra](
                            const BYTE* y, const BYTE* u, const BYTE* v, BYTE* to,
                            std::int32_t pairs) { convert(y, u, v, to, pairs, kOpaque); });
}

ImageStatus PlanarToBgr(const ConvertJob& job) { return From420(job, Forms().colour.planesToBgr); }

ImageStatus PlanarToRgb565(const ConvertJob& job) {
    return From420(job, Forms().colour.planesToRgb565);
}

ImageStatus PlanarToRgb555(const ConvertJob& job) {
    return From420(job, Forms().colour.planesToRgb555);
}

ImageStatus PlanarToLumaFirst(const ConvertJob& job) {
    return From420(job, Forms().packed.pack[kLumaFirst]);
}

ImageStatus PlanarToChromaFirst(const ConvertJob& job) {
    return From420(job, Forms().packed.pack[kLumaSecond]);
}

ImageStatus PlanarToYvyu(const ConvertJob& job) {
    return From420(job, [pack = Forms().packed.pack[kLumaFirst]](
                            const BYTE* y, const BYTE* u, const BYTE* v, BYTE* to,
                            std::int32_t pairs) { pack(y, v, u, to, pairs); });
}

// Chroma rows from the one of the first line to the one of the last, as far as both pictures go.
std::int32_t SharedChromaRows(const ConvertJob& job) {
    const auto rows = [&job](const auto& side) {
        return std::min((side.top + job.size.height + 1) / 2, side.chromaRows) - side.top / 2;
    };
    return std::min(rows(job.from), rows(job.to));
}

ImageStatus PlanarToPlanar(const ConvertJob& job) {
    const auto copy = [&job](int plane, ImageSize size) {
        return Copy_8u_C1R(job.from.plane[plane], job.from.stride[plane], job.to.plane[plane],
                           job.to.stride[plane], size);
    };
    ImageStatus status = copy(0, job.size);
    const ImageSize chroma{job.size.width / 2, SharedChromaRows(job)};
    if (chroma.height <= 0) return status;
    for (int plane = 1; plane < 3 && status == kImageOk; ++plane) status = copy(plane, chroma);
    return status;
}

// --- to 4:2:0 ---

// Where a line, or two lines of one pair, go. A line that shares its chroma row with none in the
// rect stands for both, so that upper and lower can be the same.
struct LinePair {
    const BYTE* upper;
    const BYTE* lower;
    BYTE* upperLuma;
    BYTE* lowerLuma;
    BYTE* u;
    BYTE* v;
};

// Chroma of a line whose row the planes lack goes here, in chunks of a row.
struct NoRow {
    BYTE u[kChunkPixels / 2];
    BYTE v[kChunkPixels / 2];
};

// operation(LinePair, pairs) for the part of a row that begins at a pixel.
template <class Operation>
void LastOddLine(LinePair lines, int pixelBytes, std::int32_t width, Operation operation) {
    NoRow none;
    lines.u = none.u;
    lines.v = none.v;
    for (std::int32_t x = 0; x < width; x += kChunkPixels) {
        operation(lines, std::min(kChunkPixels, width - x) / 2);
        lines.upper += std::ptrdiff_t{kChunkPixels} * pixelBytes;
        lines.lower = lines.upper;
        lines.upperLuma += kChunkPixels;
        lines.lowerLuma = lines.upperLuma;
    }
}

template <class Operation>
ImageStatus To420(const ConvertJob& job, int pixelBytes, Operation operation) {
    const ConvertSide<BYTE>& to = job.to;
    if (to.chromaRows == 0) return kImageSizeError;
    for (std::int32_t line = 0; line < job.size.height;) {
        const std::int32_t y = to.top + line;
        const bool isPair = y % 2 == 0 && line + 1 < job.size.height;
        const std::int32_t lower = isPair ? line + 1 : line;
        const std::ptrdiff_t chroma = std::ptrdiff_t{y / 2} - to.top / 2;
        const LinePair lines{Row(job, line),
                             Row(job, lower),
                             DestRow(job, line),
                             DestRow(job, lower),
                             to.plane[1] + chroma * to.stride[1],
                             to.plane[2] + chroma * to.stride[2]};
        if (y / 2 < to.chromaRows)
            operation(lines, job.size.width / 2);
        else
            LastOddLine(lines, pixelBytes, job.size.width, operation);
        line = lower + 1;
    }
    return kImageOk;
}

ImageStatus BgraToPlanar(const ConvertJob& job) {
    return To420(
        job, 4, [convert = Forms().colour.bgraToPlanes](const LinePair& lines, std::int32_t pairs) {
            convert(lines.upper, lines.lower, lines.upperLuma, lines.lowerLuma, lines.u, lines.v,
                    pairs);
        });
}

ImageStatus BgrToPlanar(const ConvertJob& job) {
    return To420(job, 3,
                 [convert = Forms().colour.bgrToPlanes](const LinePair& lines, std::int32_t pairs) {
                     convert(lines.upper, lines.lower, lines.upperLuma, lines.lowerLuma, lines.u,
                             lines.v, pairs);
                 });
}

template <LumaPlace kPlace, bool kCrFirst>
ImageStatus PackedToPlanar(const ConvertJob& job) {
    const PackedRows& forms = Forms().packed;
    return To420(job, 2,
                 [split = forms.split[kPlace], luma = forms.luma[kPlace]](const LinePair& lines,
                                                                          std::int32_t pairs) {
                     split(lines.upper, lines.upperLuma, kCrFirst ? lines.v : lines.u,
                           kCrFirst ? lines.u : lines.v, pairs);
                     if (lines.lower != lines.upper) luma(lines.lower, lines.lowerLuma, pairs);
                 });
}

// --- the table ---

enum Kind : int { kBgra, kBgr, kRgb565, kRgb555, kYuy2, kUyvy, kYvyu, kPlanar, kKinds };

int KindOf(std::int32_t fccType) {
    switch (fccType) {
        case kFccRGB32:
        case kFccARGB32:
            return kBgra;
        case kFccRGB24:
            return kBgr;
        case kFccRGB565:
            return kRgb565;
        case kFccRGB555:
            return kRgb555;
        case kFccYUY2:
            return kYuy2;
        case kFccUYVY:
        case kFccHDYC:
            return kUyvy;
        case kFccYVYU:
            return kYvyu;
        case kFccI420:
        case kFccYV12:
            return kPlanar;
        default:
            return kKinds;
    }
}

constexpr ConvertRoute kCopy16 = Direct<Copy_16u_C1R>;

// clang-format off
constexpr ConvertRoute kRoutes[kKinds][kKinds] = {
    // from BGRA
    {ToBgra<Copy_8u_C4R>, Direct<CopyDropAlpha_8u_C4C3R>, Nothing, Nothing,
     Direct<BGRAToYUY2>, Direct<BGRAToUYVY>, nullptr, BgraToPlanar},
    // from BGR
    {ToBgra<BGRToBGRA>, Direct<Copy_8u_C3R>, Nothing, Nothing,
     Direct<BGRToYUY2>, BgrToChromaFirst, nullptr, BgrToPlanar},
    // from RGB565
    {nullptr, nullptr, kCopy16, nullptr, nullptr, nullptr, nullptr, nullptr},
    // from RGB555
    {nullptr, nullptr, nullptr, kCopy16, nullptr, nullptr, nullptr, nullptr},
    // from YUY2
    {DirectOpaque<YUY2ToBGRA>, Direct<YUY2ToBGR>, Direct<YUY2ToRGB565>, Direct<YUY2ToRGB555>,
     kCopy16, Direct<SwapYUYV>, Direct<YUY2ToYVYU>, PackedToPlanar<kLumaFirst, false>},
    // from UYVY and HDYC
    {DirectOpaque<UYVYToBGRA>, ChromaFirstToBgr, Nothing, Nothing,
     Direct<SwapYUYV>, kCopy16, nullptr, PackedToPlanar<kLumaSecond, false>},
    // from YVYU
    {nullptr, nullptr, Nothing, Nothing,
     nullptr, nullptr, kCopy16, PackedToPlanar<kLumaFirst, true>},
    // from I420 and YV12
    {PlanarToBgra, PlanarToBgr, PlanarToRgb565, PlanarToRgb555,
     PlanarToLumaFirst, PlanarToChromaFirst, PlanarToYvyu, PlanarToPlanar},
};
// clang-format on

}  // namespace

ConvertRoute FindConvertRoute(std::int32_t fromFcc, std::int32_t toFcc) {
    const int from = KindOf(fromFcc);
    const int to = KindOf(toFcc);
    return from == kKinds || to == kKinds ? nullptr : kRoutes[from][to];
}

}  // namespace qdvm
