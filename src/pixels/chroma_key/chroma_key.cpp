#include "pixels/chroma_key/chroma_key.h"

#include "frames/format_table.h"
#include "pixels/chroma_key/key_plan.h"
#include "pixels/chroma_key/key_rows.h"
#include "pixels/chroma_key/smooth_matte.h"
#include "pixels/chroma_key/spill_rows.h"
#include "pixels/primitives/arithmetic.h"
#include "pixels/primitives/fill.h"
#include "pixels/v210_rows.h"
#include "platform/trace.h"

#include <qdvideomixer/graph_results.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace qdvm {

namespace {

constexpr std::size_t kAlignment = 64;

std::size_t Aligned(std::size_t bytes) {
    return (bytes + kAlignment - 1) / kAlignment * kAlignment;
}

// How the working memory is shared out.
struct KeyMemory {
    std::size_t keyRow;  // bytes of each part
    std::size_t spill;
    std::size_t plane;
    std::size_t total;

    KeyMemory(const KeyPlan& plan, ImageSize size) {
        const std::size_t width = static_cast<std::size_t>(size.width);
        keyRow = Aligned(4 * width);
        spill = plan.spills > 0 ? Aligned(SpillRows::BytesFor(plan, size.width)) : 0;
        const bool isSmoothed = plan.smooth > 0 && plan.keys > 0;
        plane = isSmoothed ? Aligned(width) * static_cast<std::size_t>(size.height) : 0;
        total = keyRow + spill + 2 * plane;
    }
};

LumaAt LumaOf(std::int32_t fccType) {
    return fccType == kFccUYVY || fccType == kFccHDYC ? LumaAt::kOdd : LumaAt::kEven;
}

// What the trace calls a stage whose name tells a number.
class NumberedLabel {
public:
    NumberedLabel(const char* name, std::int32_t number, const char* end) {
        if (IsTraceOn())
            (void)std::snprintf(text.data(), text.size(), "%s%d%s", name, static_cast<int>(number),
                                end);
    }
    const char* Get() const { return text.data(); }

private:
    std::array<char, 64> text{};
};

void CutRow(const BYTE* row, Sample* matteRow, ImageSize line, const KeyPlan& plan,
            TraceSum& cutting, TraceSum& distances) {
    const TraceSum::Span whole(cutting);
    (void)Set_8u_C1R(255, matteRow, 0, line);
    const TraceSum::Span inner(distances);
    for (std::int32_t i = 0; i < plan.holes; ++i)
        (void)KeyCut_8u_AC4C1R(row, 0, matteRow, 0, line, plan.hole[i].ellipsoid,
                               plan.hole[i].reach);
}

// The matte of every row, and with spill removal the rows themselves.
HRESULT KeyAllRows(const KeyPicture& picture, std::int32_t keyType, const KeyPlan& plan,
                   Plane matte, BYTE* rowMemory, BYTE* spillMemory) {
    const ImageSize line{picture.size.width, 1};
    std::fill_n(rowMemory, std::size_t{4} * static_cast<std::size_t>(line.width), BYTE{0});
    KeyRowReader reader(picture, keyType, rowMemory);
    SpillRows spill(picture, plan, spillMemory);
    const NumberedLabel label("[MMXGetAlphaCenter_AC4C1 + Min (", plan.keys, " keys)]");
    TraceSum cutting(label.Get());
    TraceSum distances("[SSEGetAlphaCenterEx_AC4C1]");
    for (std::ptrdiff_t y = 0; y < picture.size.height; ++y) {
        const BYTE* row = nullptr;
        HRESULT result = reader.Read(y, &row);
        if (Failed(result)) return result;
        CutRow(row, matte.data + y * matte.stride, line, plan, cutting, distances);
        if (plan.spills > 0) result = spill.Take(y, row);
        if (Failed(result)) return result;
    }
    return S_OK;
}

void Invert(const KeyPicture& picture) {
    for (std::ptrdiff_t y = 0; y < picture.size.height; ++y) {
        BYTE* const row = picture.PlaneRow(y);
        for (std::ptrdiff_t x = 0; x < picture.size.width; ++x)
            row[x] = static_cast<BYTE>(255 - row[x]);
    }
}

void PutIntoFourthBytes(const KeyPicture& picture) {
    for (std::ptrdiff_t y = 0; y < picture.size.height; ++y)
        (void)InsertAlphaRow(picture.Row(y), picture.Row(y), picture.PlaneRow(y),
                             picture.size.width);
}

HRESULT KeyOnePicture(const KeyPicture& picture, const ChromaKeySettings& settings,
                      const KeyPlan& plan, BYTE* memory) {
    const KeyMemory parts(plan, picture.size);
    BYTE* const spillMemory = memory + parts.keyRow;
    BYTE* const planes = spillMemory + parts.spill;
    const std::ptrdiff_t stride =
        static_cast<std::ptrdiff_t>(Aligned(static_cast<std::size_t>(picture.size.width)));
    const Plane plane{picture.plane, picture.planeStride};
    const Plane matte = parts.plane > 0 ? Plane{planes, stride} : plane;
    const TraceTimer timer("[CK_GetAlphaKeyEx3 (Cur)]");
    const HRESULT result = KeyAllRows(picture, settings.keyType, plan, matte, memory, spillMemory);
    if (Failed(result)) return result;
    if (parts.plane > 0) {
        const NumberedLabel label("[Gauss+AND ", plan.smooth, "]");
        const TraceTimer smoothing(label.Get());
        const ImageStatus status =
            SmoothMatte(matte, {planes + parts.plane, stride}, plane, picture.size, plan.smooth);
        if (status != kImageOk) return status;
    }
    if (plan.isInverted) Invert(picture);
    if (picture.fccType == kFccARGB32) PutIntoFourthBytes(picture);
    return S_OK;
}

// The lines of one field of a frame of both.
KeyPicture FieldOf(const KeyPicture& frame, int field) {
    KeyPicture picture = frame;
    picture.frame = frame.Row(field);
    picture.plane = frame.PlaneRow(field);
    picture.rowBytes *= 2;
    picture.planeStride *= 2;
    picture.size.height = (frame.size.height + 1 - field) / 2;
    return picture;
}

HRESULT KeyFields(const KeyPicture& frame, const ChromaKeySettings& settings, const KeyPlan& plan,
                  BYTE* memory) {
    const HRESULT first = KeyOnePicture(FieldOf(frame, 0), settings, plan, memory);
    const KeyPicture second = FieldOf(frame, 1);
    if (second.size.height < 1) return first;
    const HRESULT result = KeyOnePicture(second, settings, plan, memory);
    return Failed(first) ? first : result;
}

// Whether a row of so many pixels fits where rows are rowBytes apart, twice that between fields.
bool IsPossible(const FrameDesc& desc) {
    if (desc.nWidth < 1 || desc.nHeight == 0 || desc.nRowBytes < 1) return false;
    if (desc.nRowBytes > std::numeric_limits<std::int32_t>::max() / 2) return false;
    const int index = FindFormatByFourCC(desc.fccType);
    if (index < 0) return true;  // there will be no route for it
    const VideoFormatEntry& entry = VideoFormatTable[index];
    if (entry.isPlanar) return desc.nRowBytes >= desc.nWidth;
    if (desc.fccType == kFccV210)
        return desc.nRowBytes / kV210GroupBytes >= V210Groups(desc.nWidth);
    return std::int64_t{desc.nRowBytes} * 8 >= std::int64_t{desc.nWidth} * entry.bitsPerPixel;
}

}  // namespace

bool CanBeKeyed(std::int32_t fccType) {
    constexpr std::array kFormats = {kFccRGB32, kFccARGB32, kFccRGB24, kFccYUY2,
                                     kFccUYVY,  kFccHDYC,   kFccV210};
    return std::find(kFormats.begin(), kFormats.end(), fccType) != kFormats.end();
}

std::int32_t KeyPlaneStride(const FrameDesc& desc) {
    const int index = FindFormatByFourCC(desc.fccType);
    if (index < 0) return 0;
    const VideoFormatEntry& entry = VideoFormatTable[index];
    if (entry.isPlanar) return desc.nRowBytes;
    // Rows are padded to whole words, so a padded row can look a pixel wider than it is.
    if (RowBytes(entry, desc.nWidth) == desc.nRowBytes) return desc.nWidth;
    return static_cast<std::int32_t>(std::int64_t{desc.nRowBytes} * 8 / entry.bitsPerPixel);
}

HRESULT CK_GetAlphaKeyEx3(BYTE* frame, BYTE* plane, const FrameDesc* desc,
                          const ChromaKeySettings* settings, CBLOBHolder<CVirtualAlloc>* working) {
    if (!frame || !plane || !desc || !settings) return E_POINTER;
    const std::int32_t stride = KeyPlaneStride(*desc);
    return KeyIntoPlane(frame, plane, stride, *desc, *settings, working);
}

HRESULT KeyIntoPlane(BYTE* frame, BYTE* plane, std::ptrdiff_t planeStride, const FrameDesc& desc,
                     const ChromaKeySettings& settings, CBLOBHolder<CVirtualAlloc>* working) {
    if (settings.keyType < eVMK_RGB || settings.keyType > eVMK_YUV) return S_FALSE;
    if (!IsPossible(desc)) return E_INVALIDARG;
    if (FindFormatByFourCC(desc.fccType) < 0) return VFW_E_INVALIDSUBTYPE;
    if (std::abs(planeStride) < desc.nWidth) return E_INVALIDARG;

    const KeyPicture picture{frame, desc.fccType, desc.nRowBytes,
                             plane, planeStride,  {desc.nWidth, AbsHeight(desc.nHeight)}};
    const KeyPlan plan = MakeKeyPlan(settings, LumaOf(desc.fccType));
    if (plan.keys == 0) (void)Set_8u_C1R(255, plane, planeStride, picture.size);
    if (plan.keys == 0 && plan.spills == 0) return S_FALSE;

    CBLOBHolder<CVirtualAlloc> own;
    CBLOBHolder<CVirtualAlloc>& block = working ? *working : own;
    const std::size_t bytes = KeyMemory(plan, picture.size).total;
    if (bytes > std::numeric_limits<std::uint32_t>::max() - 4096) return E_OUTOFMEMORY;
    const HRESULT result = block.Resize(static_cast<std::uint32_t>(bytes));
    if (Failed(result)) return result;
    BYTE* const memory = block.At(0);
    if (settings.bInterlaced != 0) return KeyFields(picture, settings, plan, memory);
    return KeyOnePicture(picture, settings, plan, memory);
}

HRESULT KeyDistance(BYTE* out, const BYTE* picture, std::uint32_t colour, std::uint32_t delta,
                    std::int32_t softness, std::int32_t w, std::int32_t h, std::int32_t r) {
    if (!out || !picture) return E_POINTER;
    if (w < 1 || h < 1 || r < w) return E_INVALIDARG;
    const std::int32_t columns =
        static_cast<std::int32_t>(std::min<std::int64_t>((std::int64_t{w} + 3) / 4 * 4, r));
    const KeyEllipsoid ellipsoid = EllipsoidOf(colour, delta, softness);
    return KeyDistance_8u_AC4C1R(picture, std::ptrdiff_t{r} * 4, out, r, {columns, h}, ellipsoid);
}

}  // namespace qdvm
