#include "pixels/copy_frame.h"

#include "frames/format_table.h"
#include "pixels/primitives/channels.h"
#include "pixels/primitives/convert.h"
#include "pixels/primitives/convert_709.h"
#include "pixels/primitives/copy.h"
#include "pixels/v210_rows.h"
#include "platform/guarded_copy.h"
#include "platform/trace.h"

#include <qdvideomixer/graph_results.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace qdvm {

namespace {

constexpr Sample kOpaque = 255;

// Pixels that conversions of several steps take through the stack at a time: whole groups of v210
// and whole pairs.
constexpr std::int32_t kChunkPixels = 160 * kV210GroupPixels;
constexpr std::int32_t kChunkBytes = kChunkPixels * 4;

// One step on one row. What it can't do with so few pixels it leaves undone.
using RowStep = void (*)(const Sample* src, Sample* dst, std::int32_t pixels);

using Region = ImageStatus (*)(const Sample*, std::ptrdiff_t, Sample*, std::ptrdiff_t, ImageSize);
using RegionWithFourth = ImageStatus (*)(const Sample*, std::ptrdiff_t, Sample*, std::ptrdiff_t,
                                         ImageSize, Sample);

template <Region kConvert>
void Step(const Sample* src, Sample* dst, std::int32_t pixels) {
    (void)kConvert(src, 0, dst, 0, {pixels, 1});
}

template <RegionWithFourth kConvert>
void StepOpaque(const Sample* src, Sample* dst, std::int32_t pixels) {
    (void)kConvert(src, 0, dst, 0, {pixels, 1}, kOpaque);
}

void BgrToOpaque(const Sample* src, Sample* dst, std::int32_t pixels) {
    (void)BGRToBGRA(src, 0, dst, 0, {pixels, 1});
    (void)Set_8u_C4CR(kOpaque, dst + 3, 0, {pixels, 1});
}

// The steps from one format to another, one after the other; null behind the last.
struct Steps {
    RowStep steps[3];
};

enum Kind : int { kBgra, kBgr, kUyvy, kHdyc, kYuy2, kV210, kKinds };

int KindOf(std::int32_t fccType) {
    switch (fccType) {
        case kFccRGB32:
        case kFccARGB32:
            return kBgra;
        case kFccRGB24:
            return kBgr;
        case kFccUYVY:
            return kUyvy;
        case kFccHDYC:
            return kHdyc;
        case kFccYUY2:
            return kYuy2;
        case kFccV210:
            return kV210;
        default:
            return kKinds;
    }
}

constexpr RowStep kCopy2 = Step<Copy_16u_C1R>;
constexpr RowStep kSwap = Step<SwapYUYV>;
constexpr RowStep kFrom709 = Step<CbYCr422ToBGR_709CSC_8u_C2C4R>;
constexpr RowStep kTo709 = Step<BGRToCbYCr422_709CSC_8u_C4C2R>;

// clang-format off
constexpr Steps kSteps[kKinds][kKinds] = {
    // from BGRA
    {{{Step<Copy_8u_C4R>}}, {{Step<CopyDropAlpha_8u_C4C3R>}}, {{Step<BGRAToUYVY>}},
     {{kTo709}}, {{Step<BGRAToYUY2>}}, {}},
    // from BGR
    {{{BgrToOpaque}}, {{Step<Copy_8u_C3R>}}, {{Step<BGRToYUY2>, kSwap}},
     {{BgrToOpaque, kTo709}}, {{Step<BGRToYUY2>}}, {}},
    // from UYVY
    {{{StepOpaque<UYVYToBGRA>}}, {{kSwap, Step<YUY2ToBGR>}}, {{kCopy2}},
     {{kCopy2}}, {{kSwap}}, {{UyvyToV210Row}}},
    // from HDYC
    {{{kFrom709}}, {{kFrom709, Step<CopyDropAlpha_8u_C4C3R>}}, {{kCopy2}},
     {{kCopy2}}, {{kSwap}}, {{UyvyToV210Row}}},
    // from YUY2
    {{{StepOpaque<YUY2ToBGRA>}}, {{Step<YUY2ToBGR>}}, {{kSwap}},
     {{kSwap}}, {{kCopy2}}, {{Yuy2ToV210Row}}},
    // from v210
    {{{V210ToUyvyRow, StepOpaque<UYVYToBGRA>}}, {{V210ToUyvyRow, kSwap, Step<YUY2ToBGR>}},
     {{V210ToUyvyRow}}, {{V210ToUyvyRow}}, {{V210ToUyvyRow, kSwap}}, {}},
};
// clang-format on

// Bytes of a row's first pixels, whole groups for v210.
std::int64_t BytesOf(int kind, std::int32_t pixels) {
    switch (kind) {
        case kBgra:
            return std::int64_t{pixels} * 4;
        case kBgr:
            return std::int64_t{pixels} * 3;
        case kV210:
            return std::int64_t{V210Groups(pixels)} * kV210GroupBytes;
        default:
            return std::int64_t{pixels} * 2;
    }
}

// A frame as its first row from the top and the way to the next.
template <class Byte>
struct Rows {
    Byte* top;
    std::ptrdiff_t stride;
};

template <class Byte>
Rows<Byte> RowsOf(Byte* frame, const FrameDesc& desc) {
    const std::ptrdiff_t stride = desc.nRowBytes;
    if (desc.nHeight < 1 || !IsRGBFormat(desc.fccType)) return {frame, stride};
    return {frame + (desc.nHeight - std::ptrdiff_t{1}) * stride, -stride};
}

// Whether rows of so many bytes follow each other without overlap.
bool HasRoom(std::int64_t rowBytes, std::ptrdiff_t stride, std::int32_t rows) {
    return rows == 1 || std::abs(stride) >= rowBytes;
}

void RunSteps(const Steps& run, const Sample* src, Sample* dst, std::int32_t pixels) {
    alignas(64) Sample buffers[2][kChunkBytes];
    for (int i = 0;; ++i) {
        const bool isLast = i == 2 || !run.steps[i + 1];
        Sample* const target = isLast ? dst : buffers[i % 2];
        run.steps[i](src, target, pixels);
        if (isLast) return;
        src = target;
    }
}

void ConvertRow(const Steps& run, int fromKind, int toKind, const Sample* src, Sample* dst,
                std::int32_t pixels) {
    if (!run.steps[1]) {
        run.steps[0](src, dst, pixels);
        return;
    }
    for (std::int32_t x = 0; x < pixels; x += kChunkPixels)
        RunSteps(run, src + BytesOf(fromKind, x), dst + BytesOf(toKind, x),
                 std::min(kChunkPixels, pixels - x));
}

constexpr std::int64_t kV210RowPixels = 48;
constexpr std::int64_t kV210RowBytes = 128;

// Stored rows whole, with what pads them, from memory that need not be readable.
HRESULT CopyV210(Rows<const BYTE> from, Rows<BYTE> to, ImageSize size) {
    const std::int64_t bytes = (size.width + kV210RowPixels - 1) / kV210RowPixels * kV210RowBytes;
    if (!HasRoom(bytes, from.stride, size.height) || !HasRoom(bytes, to.stride, size.height))
        return E_FAIL;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        if (!GuardedCopy(to.top + row * to.stride, from.top + row * from.stride,
                         static_cast<std::size_t>(bytes)))
            return E_FAIL;
    return S_OK;
}

}  // namespace

FrameDesc MakeFrameDesc(const PIC_PROPS& props) {
    FrameDesc desc{};
    desc.fccType = props.fccType;
    desc.nWidth = props.nWidth;
    desc.nHeight = props.nHeight;
    const int index = FindFormatByFourCC(props.fccType);
    const std::int64_t rowBytes =
        index < 0 ? 0 : RowBytes(VideoFormatTable[index], RowWidth(props));
    // What no frame is as wide as has no rows.
    if (rowBytes <= std::numeric_limits<std::int32_t>::max())
        desc.nRowBytes = static_cast<std::int32_t>(rowBytes);
    return desc;
}

const char* CopyFrameLabel(std::int32_t fromType, std::int32_t toType) {
    const int fromKind = KindOf(fromType);
    const int toKind = KindOf(toType);
    if (fromKind == kHdyc && toKind <= kBgr) return "CbYCr422ToBGR_709CSC_8u_C2C4R(ASM)";
    if (fromKind <= kBgr && toKind == kHdyc) return "BGRToCbYCr422_709CSC_8u_C4C2R(ASM)";
    return nullptr;
}

HRESULT CopyFrameCC(const BYTE* src, BYTE* dst, const FrameDesc* srcDesc,
                    const FrameDesc* dstDesc) {
    if (!src || !dst || !srcDesc || !dstDesc) return E_POINTER;
    const TraceTimer timer(CopyFrameLabel(srcDesc->fccType, dstDesc->fccType));
    return CopyRowsCC(src, dst, *srcDesc, *dstDesc);
}

HRESULT CopyRowsCC(const BYTE* src, BYTE* dst, const FrameDesc& srcDesc, const FrameDesc& dstDesc) {
    if (srcDesc.nRowBytes == 0 || dstDesc.nRowBytes == 0) return E_UNEXPECTED;
    const int fromKind = KindOf(srcDesc.fccType);
    const int toKind = KindOf(dstDesc.fccType);
    if (fromKind == kKinds || toKind == kKinds) return VFW_E_INVALIDSUBTYPE;
    ImageSize size{std::min(srcDesc.nWidth, dstDesc.nWidth),
                   std::min(AbsHeight(srcDesc.nHeight), AbsHeight(dstDesc.nHeight))};
    if (size.width < 1 || size.height < 1) return E_FAIL;
    const Rows<const BYTE> from = RowsOf(src, srcDesc);
    const Rows<BYTE> to = RowsOf(dst, dstDesc);
    if (fromKind == kV210 && toKind == kV210) return CopyV210(from, to, size);

    const Steps& run = kSteps[fromKind][toKind];
    if (!run.steps[0]) return E_FAIL;
    const bool inPairs = fromKind > kBgr || toKind > kBgr;
    if (inPairs) size.width &= ~1;
    if (size.width == 0) return E_FAIL;
    if (!HasRoom(BytesOf(fromKind, size.width), from.stride, size.height) ||
        !HasRoom(BytesOf(toKind, size.width), to.stride, size.height))
        return E_FAIL;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        ConvertRow(run, fromKind, toKind, from.top + row * from.stride, to.top + row * to.stride,
                   size.width);
    return S_OK;
}

}  // namespace qdvm
