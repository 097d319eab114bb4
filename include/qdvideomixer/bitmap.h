#pragma once

// Bitmaps by handle: what CaptureBitmap gives and what SetRectMaskHandle takes.
//
// A handle is a number above 0 that stands for a picture in memory, valid in this process until
// DeleteBitmap. All operations can be called from any thread.

#include <qdvideomixer/object.h>

#include <cstdint>

namespace qdvm {

struct VM_BITMAP {
    std::int32_t nWidth;         // pixels
    std::int32_t nHeight;        // lines; positive: bottom line first, negative: top line first
    std::int32_t nBitsPerPixel;  // 8 grey; 16; 24 blue, green, red; 32 and alpha
    // Bytes from one row to the next are nWidth * nBitsPerPixel / 8, rounded up to a multiple of 4.
};

// Copies the rows, in the order that nHeight tells, into a new bitmap. E_INVALIDARG: no size, or
// another depth. E_POINTER, E_OUTOFMEMORY.
HRESULT CreateBitmap(const VM_BITMAP* _pBitmap, const BYTE* _pRows, LONG* _plHandle);

// E_HANDLE where no bitmap has the handle; so for the two below.
HRESULT GetBitmapInfo(LONG _lHandle, VM_BITMAP* _pBitmap);

// Copies all rows to memory of _nBytes; E_INVALIDARG if that is less than they have.
HRESULT ReadBitmap(LONG _lHandle, BYTE* _pRows, DWORD _nBytes);

HRESULT DeleteBitmap(LONG _lHandle);

}  // namespace qdvm
