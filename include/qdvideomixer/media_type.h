#pragma once

// The published records that describe the format of a stream. Layouts are exact: these records are
// read and written by other filters.

#include <qdvideomixer/object.h>

#include <cstddef>
#include <cstdint>

// Edges of a rectangle in pixels; right and bottom lie outside.
struct RECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
};
static_assert(sizeof(RECT) == 16);

struct SIZE {
    LONG cx;
    LONG cy;
};
static_assert(sizeof(SIZE) == 8);

// The format of a stream. Ownership: the record owns pbFormat (task memory, cbFormat bytes) and one
// reference on pUnk. A record passed in is borrowed, so whoever keeps it makes a deep copy. A
// record handed out by pointer is itself task memory.
struct AM_MEDIA_TYPE {
    GUID majortype;
    GUID subtype;
    BOOL bFixedSizeSamples;
    BOOL bTemporalCompression;
    ULONG lSampleSize;  // bytes of one sample, 0 if they vary
    GUID formattype;    // tells what pbFormat points at
    IUnknown* pUnk;     // not used, null
    ULONG cbFormat;     // bytes
    BYTE* pbFormat;
};
static_assert(sizeof(void*) != 8 ||
              (sizeof(AM_MEDIA_TYPE) == 88 && offsetof(AM_MEDIA_TYPE, formattype) == 44 &&
               offsetof(AM_MEDIA_TYPE, pUnk) == 64 && offsetof(AM_MEDIA_TYPE, pbFormat) == 80));

// The shape of a picture in memory. A positive height of an RGB picture means bottom row first.
struct BITMAPINFOHEADER {
    DWORD biSize;  // bytes of this record: 40
    LONG biWidth;  // pixels from row to row
    LONG biHeight;
    WORD biPlanes;  // 1
    WORD biBitCount;
    DWORD biCompression;  // BI_RGB, BI_BITFIELDS or a four-character code
    DWORD biSizeImage;    // bytes
    LONG biXPelsPerMeter;
    LONG biYPelsPerMeter;
    DWORD biClrUsed;
    DWORD biClrImportant;
};
static_assert(sizeof(BITMAPINFOHEADER) == 40);

inline constexpr DWORD BI_RGB = 0;
inline constexpr DWORD BI_RLE8 = 1;
inline constexpr DWORD BI_RLE4 = 2;
inline constexpr DWORD BI_BITFIELDS = 3;

// The format block of FORMAT_VideoInfo.
struct VIDEOINFOHEADER {
    RECT rcSource;
    RECT rcTarget;
    DWORD dwBitRate;
    DWORD dwBitErrorRate;
    REFERENCE_TIME AvgTimePerFrame;  // 100 ns, 0 if not told
    BITMAPINFOHEADER bmiHeader;
};
static_assert(sizeof(VIDEOINFOHEADER) == 88);
static_assert(offsetof(VIDEOINFOHEADER, AvgTimePerFrame) == 40);
static_assert(offsetof(VIDEOINFOHEADER, bmiHeader) == 48);

// The format block of FORMAT_VideoInfo2: the same, with field order and aspect.
struct VIDEOINFOHEADER2 {
    RECT rcSource;
    RECT rcTarget;
    DWORD dwBitRate;
    DWORD dwBitErrorRate;
    REFERENCE_TIME AvgTimePerFrame;  // 100 ns, 0 if not told
    DWORD dwInterlaceFlags;          // AMINTERLACE_...
    DWORD dwCopyProtectFlags;
    DWORD dwPictAspectRatioX;  // of the whole picture, not of a pixel
    DWORD dwPictAspectRatioY;
    DWORD dwControlFlags;
    DWORD dwReserved2;
    BITMAPINFOHEADER bmiHeader;
};
static_assert(sizeof(VIDEOINFOHEADER2) == 112);
static_assert(offsetof(VIDEOINFOHEADER2, dwInterlaceFlags) == 48);
static_assert(offsetof(VIDEOINFOHEADER2, bmiHeader) == 72);

inline constexpr DWORD AMINTERLACE_IsInterlaced = 0x00000001;
inline constexpr DWORD AMINTERLACE_1FieldPerSample = 0x00000002;
inline constexpr DWORD AMINTERLACE_Field1First = 0x00000004;
inline constexpr DWORD AMINTERLACE_FieldPatternMask = 0x00000030;
inline constexpr DWORD AMINTERLACE_FieldPatField1Only = 0x00000000;
inline constexpr DWORD AMINTERLACE_FieldPatField2Only = 0x00000010;
inline constexpr DWORD AMINTERLACE_FieldPatBothRegular = 0x00000020;
inline constexpr DWORD AMINTERLACE_FieldPatBothIrregular = 0x00000030;
inline constexpr DWORD AMINTERLACE_DisplayModeMask = 0x000000C0;
inline constexpr DWORD AMINTERLACE_DisplayModeBobOnly = 0x00000000;
inline constexpr DWORD AMINTERLACE_DisplayModeWeaveOnly = 0x00000040;
inline constexpr DWORD AMINTERLACE_DisplayModeBobOrWeave = 0x00000080;

// The identifier of a subtype that is named by a four-character code (first character in the low
// byte) or by another 32-bit number.
constexpr GUID FourCCSubtype(std::uint32_t code) {
    return {code, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
}

inline constexpr GUID MEDIATYPE_Video = FourCCSubtype(0x73646976);  // "vids"
inline constexpr GUID MEDIATYPE_Audio = FourCCSubtype(0x73647561);  // "auds"

inline constexpr GUID FORMAT_None = {
    0x0F6417D6, 0xC318, 0x11D0, {0xA4, 0x3F, 0x00, 0xA0, 0xC9, 0x22, 0x31, 0x96}};
inline constexpr GUID FORMAT_VideoInfo = {
    0x05589F80, 0xC356, 0x11CE, {0xBF, 0x01, 0x00, 0xAA, 0x00, 0x55, 0x59, 0x5A}};
inline constexpr GUID FORMAT_VideoInfo2 = {
    0xF72A76A0, 0xEB0A, 0x11D0, {0xAC, 0xE4, 0x00, 0x00, 0xC0, 0xCC, 0x16, 0xBA}};
