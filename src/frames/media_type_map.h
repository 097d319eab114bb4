#pragma once

// Between media types and the records of pictures and streams.
//
// Media types come from other filters, so nothing in one is trusted: sizes that make no picture and
// blocks that are missing or short give "no" or the told failure. Only a format block shorter than
// its own cbFormat can't be seen.

#include "frames/media_type.h"

#include <qdvideomixer/media_type.h>
#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace qdvm {

inline constexpr std::int64_t kTimeUnitsPerSecond = 10'000'000;

// Index into VideoFormatTable and the picture, or -1 and an untouched record. The type must be
// video in FORMAT_VideoInfo or FORMAT_VideoInfo2 with a whole block, a known subtype and a possible
// size: width of rcTarget (or biWidth if that is 0) within biWidth, aligned as the format needs.
// YUV comes out with a positive height.
int ParseVideoMediaType(const AM_MEDIA_TYPE& type, PIC_PROPS* picture);

// A video type of the given format. rowWidth 0 is the same as width; if they differ rcSource and
// rcTarget tell the visible part. FORMAT_VideoInfo2 carries the aspect 4:3 until the caller sets
// another. bForce accepts sizes and identifiers that ValidatePicture refuses.
// E_INVALIDARG for another format type, a refused picture or one beyond 4 GB, E_OUTOFMEMORY; the
// type is empty after a failure.
HRESULT BuildVideoMediaType(MediaType* type, std::int32_t fccType, const GUID& formatType,
                            std::int32_t width, std::int32_t height, std::int32_t rowWidth,
                            bool bForce);

// A type for a picture in memory. `header` starts with a BITMAPINFOHEADER and holds at least its
// biSize bytes, all of which go into the format block. Uncompressed: 32, 24 or 16 bits a pixel;
// otherwise biCompression is a FourCC. Failures as above.
HRESULT BuildMediaTypeFromBitmapHeader(MediaType* type, const GUID& formatType,
                                       std::span<const BYTE> header);

// The picture of a header stored with a bitmap: 40 bytes, one plane, no palette, a size that
// ValidatePicture accepts. E_INVALIDARG otherwise; on success header->biSizeImage is corrected.
HRESULT PictureOfBitmapHeader(BITMAPINFOHEADER* header, PIC_PROPS* picture);

inline constexpr HRESULT kBadFormatBlock = HResult(0x80040248);

// The twin of a video type in the other format type, or in *formatType if that is given. fccType,
// unless 0, replaces the pixel format. For FORMAT_VideoInfo2, interlaceFlags (unless -1) and the
// aspect (if both are not 0) replace the source's. kBadFormatBlock if the source is not a video
// type with a whole block; otherwise failures as of BuildVideoMediaType, but a FORMAT_VideoInfo2
// type that can't be built anew keeps its header and only loses the fields FORMAT_VideoInfo lacks.
HRESULT ConvertVideoMediaType(MediaType* type, const AM_MEDIA_TYPE& source, const GUID* formatType,
                              std::int32_t fccType, std::int32_t interlaceFlags,
                              std::int32_t aspectX, std::int32_t aspectY);

// 100 ns; 0 if the type doesn't tell or tells a negative time.
std::int64_t AvgTimePerFrameOf(const AM_MEDIA_TYPE& type);

// Frames per second of a frame time and back (100 ns, rounded to nearest); 0 for 0 and below.
double FramesPerSecondOf(std::int64_t frameTime);
std::int64_t FrameTimeOf(double framesPerSecond);

// eVMI_Progressive unless a FORMAT_VideoInfo2 block says otherwise.
eVM_Interlace InterlaceOf(const AM_MEDIA_TYPE& type);

// dwInterlaceFlags of an output that is shown as it comes: 0x85, 0x81, or 0 for eVMI_Progressive
// and eVMI_Auto.
DWORD InterlaceFlagsOf(eVM_Interlace interlace);

struct AspectRatio {
    std::int32_t x;
    std::int32_t y;
};

// Picture aspect of a FORMAT_VideoInfo2 block; 0:0 if the type doesn't tell.
AspectRatio AspectOf(const AM_MEDIA_TYPE& type);

// width : |height| in lowest terms.
AspectRatio AspectOfSize(std::int32_t width, std::int32_t height);

// The signs play no part; 1 if both are 0.
std::int64_t GreatestCommonDivisor(std::int64_t a, std::int64_t b);

}  // namespace qdvm
