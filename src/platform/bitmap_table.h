#pragma once

// The bitmaps that handles stand for.

#include <qdvideomixer/bitmap.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace qdvm {

// Never changes once it has a handle.
struct Bitmap {
    VM_BITMAP info{};
    std::vector<BYTE> rows;
};

// Null where no bitmap has the handle. What is found lives on when the handle goes.
std::shared_ptr<const Bitmap> FindBitmap(LONG handle);

// E_OUTOFMEMORY when the table can't grow.
HRESULT AddBitmap(std::shared_ptr<const Bitmap> bitmap, LONG* handle);

// Bytes of a bitmap's rows; 0 if no bitmap can be of this kind.
std::uint32_t BitmapBytes(const VM_BITMAP& info);

}  // namespace qdvm
