#include "pixels/img_resize.h"

#include "frames/blob_holder.h"
#include "frames/format_table.h"
#include "pixels/img_copy.h"
#include "pixels/primitives/channels.h"
#include "pixels/primitives/convert.h"
#include "pixels/primitives/copy.h"
#include "pixels/primitives/resize.h"

#include <algorithm>
#include <array>
#include <utility>

namespace qdvm {

namespace {

// A picture, or one field of it, in memory. Fields are told by their rows' places rather than by a
// picture of half the height and twice the row width: padded rows have no such description.
template <class Byte>
struct Picture {
    std::array<Byte*, 3> plane{};
    std::array<std::ptrdiff_t, 3> stride{};
    int planes = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t chromaHeight = 0;  // of 4:2:0
    bool bBottomUp = false;
};

template <class Byte>
Picture<Byte> PictureOf(Byte* memory, const PIC_PROPS& props) {
    const PictureLayout layout = PlaneLayout(props, false);
    Picture<Byte> picture;
    picture.planes = layout.planes;
    picture.width = props.nWidth;
    picture.height = AbsHeight(props);
    picture.chromaHeight = picture.height / 2;
    picture.bBottomUp = layout.bBottomUp;
    for (std::size_t i = 0; i < 3; ++i) {
        picture.plane[i] = memory + layout.offset[i];
        picture.stride[i] = layout.stride[i];
    }
    return picture;
}

// How many of the first `rows` rows in memory are rows of a field; field 0 has row 0.
std::int32_t FieldRows(std::int32_t rows, int field) { return (rows + 1 - field) / 2; }

template <class Byte>
Picture<Byte> FieldOf(Picture<Byte> picture, int field) {
    picture.height = FieldRows(picture.height, field);
    picture.chromaHeight = FieldRows(picture.chromaHeight, field);
    for (std::size_t i = 0; i < 3; ++i) {
        picture.plane[i] += field * picture.stride[i];
        picture.stride[i] *= 2;
    }
    return picture;
}

// The rows of a field within a region of a picture, counted in the field.
ImageRect FieldOf(ImageRect region, int field) {
    const std::int32_t end = FieldRows(region.y + region.height, field);
    region.y = FieldRows(region.y, field);
    region.height = end - region.y;
    return region;
}

// A region to read from has a row at least, if there is any.
ImageRect WithARow(ImageRect region, std::int32_t rows) {
    region.height = std::max(region.height, 1);
    region.y = std::max(std::min(region.y, rows - region.height), 0);
    region.height = std::min(region.height, rows - region.y);
    return region;
}

struct Scaling {
    Picture<const BYTE> from;
    Picture<BYTE> to;
    ImageRect source;  // rows counted in memory
    ImageRect dest;
    ImageRect chromaSource;  // of 4:2:0
    ImageRect chromaDest;
    double xFactor;
    double yFactor;
    std::int32_t interpolation;
};

template <class Byte>
ImageRect RegionOf(const Picture<Byte>& picture, const ImgRect& rect) {
    const std::int32_t top = picture.bBottomUp ? picture.height - rect.bottom : rect.top;
    return {rect.left, top, static_cast<std::int32_t>(rect.Width()),
            static_cast<std::int32_t>(rect.Height())};
}

// The chroma rows of 4:2:0 that begin in these rows.
ImageRect ChromaOf(const ImageRect& luma) {
    const std::int32_t top = luma.y / 2;
    return {luma.x / 2, top, luma.width / 2, (luma.y + luma.height) / 2 - top};
}

std::int32_t InterpolationOf(std::int32_t mode, double xFactor, double yFactor) {
    switch (mode) {
        case kResizeNearest:
            return kNearest;
        case kResizeMaskLinear:
            return kLinear;
        case kResizeFinest:
            return xFactor <= 1.0 && yFactor <= 1.0 ? kSuperSampling : kCubic;
        default:
            return mode;
    }
}

std::int32_t ChromaInterpolation(std::int32_t interpolation) {
    return std::min<std::int32_t>(interpolation, kLinear);
}

using ResizePlane = decltype(&Resize_8u_C1R);

ImageStatus ResizeOnePlane(const Scaling& job, ResizePlane resize, int bytes) {
    const ImageRect& to = job.dest;
    return resize(job.from.plane[0], {job.from.width, job.from.height}, job.from.stride[0],
                  job.source, job.to.plane[0] + to.y * job.to.stride[0] + to.x * bytes,
                  job.to.stride[0], {to.width, to.height}, job.xFactor, job.yFactor,
                  job.interpolation);
}

ImageStatus Resize420(const Scaling& job) {
    ImageStatus status = ResizeOnePlane(job, Resize_8u_C1R, 1);
    const ImageSize picture{job.from.width / 2, job.from.chromaHeight};
    const ImageRect& source = job.chromaSource;
    const ImageRect& dest = job.chromaDest;
    if (source.height <= 0 || dest.height <= 0) return status;
    for (std::size_t i = 1; i < 3 && status == kImageOk; ++i)
        status = Resize_8u_C1R(job.from.plane[i], picture, job.from.stride[i], source,
                               job.to.plane[i] + dest.y * job.to.stride[i] + dest.x,
                               job.to.stride[i], {dest.width, dest.height}, job.xFactor,
                               job.yFactor, ChromaInterpolation(job.interpolation));
    return status;
}

// Three planes of 4:2:2 in scratch, as large as the rect.
struct SplitRect {
    std::array<BYTE*, 3> plane;
    std::array<std::ptrdiff_t, 3> stride;

    SplitRect(BYTE* memory, std::int32_t width, std::int32_t height) {
        const std::ptrdiff_t luma = std::ptrdiff_t{width} * height;
        plane = {memory, memory + luma, memory + luma + luma / 2};
        stride = {width, width / 2, width / 2};
    }
};

// Which of the two chroma planes is Cb plays no part as long as both go back where they came from.
ImageStatus Resize422(const Scaling& job, bool isLumaFirst, BYTE* scratch) {
    const ImageSize source{job.source.width, job.source.height};
    const ImageSize dest{job.dest.width, job.dest.height};
    const auto bytesOf = [](ImageSize size) {
        return std::ptrdiff_t{size.width} * size.height * 2;
    };
    const BYTE* const packed =
        job.from.plane[0] + job.source.y * job.from.stride[0] + job.source.x * 2;
    BYTE* const target = job.to.plane[0] + job.dest.y * job.to.stride[0] + job.dest.x * 2;
    if (job.interpolation == kLinear) {
        const ImageStatus done = ResizeLinearPacked(
            packed, job.from.stride[0], source, target, job.to.stride[0], dest, job.xFactor,
            job.yFactor, isLumaFirst ? PackedOrder::kLumaFirst : PackedOrder::kLumaSecond);
        if (done != kImageNotSupported) return done;
    }
    const SplitRect from(scratch, source.width, source.height);
    const SplitRect to(scratch + bytesOf(source), dest.width, dest.height);
    ImageStatus status = (isLumaFirst ? SplitYUY2 : SplitUYVY)(
        packed, job.from.stride[0], from.plane.data(), from.stride.data(), source);
    for (std::size_t i = 0; i < 3 && status == kImageOk; ++i) {
        const std::int32_t shift = i == 0 ? 0 : 1;
        const ImageSize part{source.width >> shift, source.height};
        status = Resize_8u_C1R(from.plane[i], part, from.stride[i], {0, 0, part.width, part.height},
                               to.plane[i], to.stride[i], {dest.width >> shift, dest.height},
                               job.xFactor, job.yFactor,
                               i == 0 ? job.interpolation : ChromaInterpolation(job.interpolation));
    }
    if (status != kImageOk) return status;
    const std::array<const BYTE*, 3> planes{to.plane[0], to.plane[1], to.plane[2]};
    status = PackYUY2(planes.data(), to.stride.data(), target, job.to.stride[0], dest);
    if (status == kImageOk && !isLumaFirst)
        status = SwapYUYV(target, job.to.stride[0], target, job.to.stride[0], dest);
    return status;
}

using MirrorPlane = decltype(&MirrorInPlace_8u_C1);

// RGB goes from memory row to memory row and is turned over afterwards where the two run unlike.
ImageStatus ResizeRGB(const Scaling& job, ResizePlane resize, MirrorPlane mirror, int bytes) {
    const ImageStatus status = ResizeOnePlane(job, resize, bytes);
    if (status != kImageOk || job.from.bBottomUp == job.to.bBottomUp) return status;
    return mirror(job.to.plane[0] + job.dest.y * job.to.stride[0] + job.dest.x * bytes,
                  job.to.stride[0], {job.dest.width, job.dest.height}, kMirrorRows);
}

ImageStatus ResizeAs(std::int32_t fccType, const Scaling& job, BYTE* scratch) {
    switch (fccType) {
        case kFccRGB8:
            return ResizeOnePlane(job, Resize_8u_C1R, 1);
        case kFccRGB24:
            return ResizeRGB(job, Resize_8u_C3R, MirrorInPlace_8u_C3, 3);
        case kFccRGB32:
        case kFccARGB32:
            return ResizeRGB(job, Resize_8u_C4R, MirrorInPlace_8u_C4, 4);
        case kFccI420:
        case kFccYV12:
            return Resize420(job);
        case kFccYUY2:
        case kFccYVYU:
            return Resize422(job, true, scratch);
        case kFccUYVY:
        case kFccHDYC:
            return Resize422(job, false, scratch);
        default:
            return kImageOk;
    }
}

bool IsPacked422(std::int32_t fccType) {
    return fccType == kFccYUY2 || fccType == kFccYVYU || fccType == kFccUYVY || fccType == kFccHDYC;
}

HRESULT CheckPictures(const BYTE* src, const BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D) {
    if (!src || !dst || !S || !D) return E_INVALIDARG;
    if (S->fccType != D->fccType || !FormatInfo(*S) || !FormatInfo(*D)) return E_INVALIDARG;
    return S_OK;
}

std::uint32_t ScratchBytes(const PIC_PROPS& S, const PIC_PROPS& D, std::uint64_t bytesPerPixel) {
    const auto rows = static_cast<std::uint64_t>(std::max(AbsHeight(S), AbsHeight(D)));
    const std::int64_t widest =
        std::max({S.nWidth, S.nRowWidth, D.nWidth, D.nRowWidth, std::int32_t{0}});
    const std::uint64_t row =
        ((static_cast<std::uint64_t>(widest) + 7) & ~std::uint64_t{7}) * bytesPerPixel;
    if (rows > 0 && row > kNoFrameBytes / rows) return kNoFrameBytes;
    return static_cast<std::uint32_t>(rows * row);
}

// The caller's scratch, or memory of its own where the format needs it and there is none.
class Scratch {
public:
    HRESULT Take(BYTE* given, const PIC_PROPS& S, const PIC_PROPS& D) {
        memory = given;
        if (given || !IsPacked422(S.fccType)) return S_OK;
        const HRESULT result = own.Resize(ResizeScratchBytes(S, D), true, 0);
        if (Failed(result)) return result;
        memory = own.At(0);
        return S_OK;
    }
    BYTE* Memory() const { return memory; }

private:
    CBLOBHolder<CHeapAlloc> own;
    BYTE* memory = nullptr;
};

Scaling ScalingOf(const Picture<const BYTE>& from, const Picture<BYTE>& to, const ImgRect& source,
                  const ImgRect& dest, std::int32_t mode) {
    Scaling job{from, to, RegionOf(from, source), RegionOf(to, dest), {}, {}, 0, 0, 0};
    job.chromaSource = WithARow(ChromaOf(job.source), from.chromaHeight);
    job.chromaDest = ChromaOf(job.dest);
    job.xFactor = static_cast<double>(dest.Width()) / static_cast<double>(source.Width());
    job.yFactor = static_cast<double>(dest.Height()) / static_cast<double>(source.Height());
    job.interpolation = InterpolationOf(mode, job.xFactor, job.yFactor);
    return job;
}

// What reads one field only of the job's source.
Scaling FromField(Scaling job, int field) {
    job.from = FieldOf(job.from, field);
    job.source = WithARow(FieldOf(job.source, field), job.from.height);
    job.chromaSource = WithARow(FieldOf(job.chromaSource, field), job.from.chromaHeight);
    return job;
}

// What writes one field only of the job's target.
Scaling IntoField(Scaling job, int field) {
    job.to = FieldOf(job.to, field);
    job.dest = FieldOf(job.dest, field);
    job.chromaDest = FieldOf(job.chromaDest, field);
    return job;
}

// Whether field 0 in memory holds the odd lines of the picture.
template <class Byte>
bool StartsOdd(const Picture<Byte>& picture) {
    return picture.bBottomUp && picture.height % 2 == 0;
}

bool IsEqualSize(const Scaling& job) {
    return job.xFactor == 1.0 && job.yFactor == 1.0 && job.source.height == job.dest.height &&
           (job.to.planes == 1 || job.chromaSource.height == job.chromaDest.height);
}

// Fields of equal size: row by row, turned over where the two run unlike.
void CopyField(const Scaling& job, std::int32_t fccType) {
    const bool turns = job.from.bBottomUp != job.to.bBottomUp;
    const int bytes = job.to.planes == 3 ? 1 : BitsPerPixel(fccType) / 8;
    for (int i = 0; i < job.to.planes; ++i) {
        const auto p = static_cast<std::size_t>(i);
        const ImageRect& from = i == 0 ? job.source : job.chromaSource;
        const ImageRect& to = i == 0 ? job.dest : job.chromaDest;
        const std::int32_t rows = to.height;
        const BYTE* first = job.from.plane[p] + from.y * job.from.stride[p] + from.x * bytes;
        std::ptrdiff_t stride = job.from.stride[p];
        if (turns) {
            first += stride * (rows - 1);
            stride = -stride;
        }
        if (rows <= 0 || to.width <= 0) continue;
        (void)CopyRows(first, stride, job.to.plane[p] + to.y * job.to.stride[p] + to.x * bytes,
                       job.to.stride[p], {to.width, rows}, static_cast<std::size_t>(bytes));
    }
}

// Nothing, with 0, where none of the rect's rows is of the field.
HRESULT ResizeField(const Scaling& job, std::int32_t fccType, BYTE* scratch) {
    if (job.source.width <= 0 || job.source.height <= 0 || job.dest.width <= 0) return E_INVALIDARG;
    if (job.dest.height <= 0) return S_OK;
    if (IsEqualSize(job)) {
        CopyField(job, fccType);
    } else {
        (void)ResizeAs(fccType, job, scratch);
    }
    return S_OK;
}

}  // namespace

std::uint32_t ResizeScratchBytes(const PIC_PROPS& S, const PIC_PROPS& D) {
    return ScratchBytes(S, D, 8);
}

std::uint32_t ResizeScratchBytes16(const PIC_PROPS& S, const PIC_PROPS& D) {
    return ScratchBytes(S, D, 16);
}

HRESULT Img_Resize(const BYTE* src, BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D,
                   const ImgRect* s, const ImgRect* d, std::int32_t mode, BYTE* scratch) {
    if (const HRESULT checked = CheckPictures(src, dst, S, D); Failed(checked)) return checked;
    ImgRect source{};
    ImgRect dest{};
    const HRESULT clipped = Img_ClipRects(*S, *D, s, d, true, &source, &dest);
    if (clipped != S_OK) return clipped;
    if (source.IsEmpty() || dest.IsEmpty()) return S_FALSE;
    if (source.Width() == dest.Width() && source.Height() == dest.Height())
        return Img_CopyRect(src, dst, S, D, s, d);
    Scratch memory;
    if (const HRESULT taken = memory.Take(scratch, *S, *D); Failed(taken)) return taken;
    const Scaling job = ScalingOf(PictureOf(src, *S), PictureOf(dst, *D), source, dest, mode);
    (void)ResizeAs(S->fccType, job, memory.Memory());
    return S_OK;
}

HRESULT Img_ResizeFields(const BYTE* src, BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D,
                         const ImgRect* s, const ImgRect* d, std::int32_t mode, BYTE* scratch) {
    if (const HRESULT checked = CheckPictures(src, dst, S, D); Failed(checked)) return checked;
    ImgRect source{};
    ImgRect dest{};
    const HRESULT clipped = Img_ClipRects(*S, *D, s, d, true, &source, &dest);
    if (clipped != S_OK) return clipped;
    Scratch memory;
    if (const HRESULT taken = memory.Take(scratch, *S, *D); Failed(taken)) return taken;
    const Scaling frame = ScalingOf(PictureOf(src, *S), PictureOf(dst, *D), source, dest, mode);
    // The lines of a field are other rows in a picture that begins at the other end.
    const int swap = StartsOdd(frame.from) != StartsOdd(frame.to) ? 1 : 0;
    HRESULT results[2] = {};
    for (int field = 0; field < 2; ++field)
        results[field] = ResizeField(IntoField(FromField(frame, field), field ^ swap), S->fccType,
                                     memory.Memory());
    return Failed(results[0]) ? results[0] : results[1];
}

HRESULT Img_ResizeOneField(const BYTE* src, BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D,
                           const ImgRect* s, const ImgRect* d, int field, std::int32_t mode,
                           BYTE* scratch) {
    if (const HRESULT checked = CheckPictures(src, dst, S, D); Failed(checked)) return checked;
    ImgRect source{};
    ImgRect dest{};
    const HRESULT clipped = Img_ClipRects(*S, *D, s, d, true, &source, &dest);
    if (clipped != S_OK) return clipped;
    Scratch memory;
    if (const HRESULT taken = memory.Take(scratch, *S, *D); Failed(taken)) return taken;
    Scaling frame = ScalingOf(PictureOf(src, *S), PictureOf(dst, *D), source, dest, mode);
    frame.yFactor *= 2.0;
    frame.interpolation = InterpolationOf(mode, frame.xFactor, frame.yFactor);
    return ResizeField(FromField(frame, field), S->fccType, memory.Memory());
}

}  // namespace qdvm
