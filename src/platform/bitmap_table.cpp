#include "platform/bitmap_table.h"

#include <cstring>
#include <limits>
#include <map>
#include <mutex>
#include <new>
#include <utility>

namespace qdvm {
namespace {

struct BitmapTable {
    std::mutex mutex;
    std::map<LONG, std::shared_ptr<const Bitmap>> bitmaps;
    LONG lastHandle = 0;
};

BitmapTable& Table() {
    static BitmapTable table;
    return table;
}

// A handle is not given out again before all others have been. Needs the table's mutex.
LONG NextHandle(BitmapTable& table) {
    do {
        table.lastHandle =
            table.lastHandle == std::numeric_limits<LONG>::max() ? 1 : table.lastHandle + 1;
    } while (table.bitmaps.contains(table.lastHandle));
    return table.lastHandle;
}

}  // namespace

std::shared_ptr<const Bitmap> FindBitmap(LONG handle) {
    BitmapTable& table = Table();
    const std::lock_guard guard(table.mutex);
    const auto found = table.bitmaps.find(handle);
    return found == table.bitmaps.end() ? nullptr : found->second;
}

HRESULT AddBitmap(std::shared_ptr<const Bitmap> bitmap, LONG* handle) {
    BitmapTable& table = Table();
    const std::lock_guard guard(table.mutex);
    try {
        const LONG next = NextHandle(table);
        table.bitmaps.emplace(next, std::move(bitmap));
        *handle = next;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

std::uint32_t BitmapBytes(const VM_BITMAP& info) {
    const std::int32_t bits = info.nBitsPerPixel;
    const std::int64_t lines = info.nHeight < 0 ? -std::int64_t{info.nHeight} : info.nHeight;
    if (info.nWidth <= 0 || lines == 0 || (bits != 8 && bits != 16 && bits != 24 && bits != 32))
        return 0;
    const std::int64_t row = (std::int64_t{info.nWidth} * (bits / 8) + 3) & ~std::int64_t{3};
    if (lines > std::numeric_limits<std::int32_t>::max() / row) return 0;
    return static_cast<std::uint32_t>(row * lines);
}

HRESULT CreateBitmap(const VM_BITMAP* _pBitmap, const BYTE* _pRows, LONG* _plHandle) {
    if (!_pBitmap || !_pRows || !_plHandle) return E_POINTER;
    *_plHandle = 0;
    const std::uint32_t bytes = BitmapBytes(*_pBitmap);
    if (bytes == 0) return E_INVALIDARG;
    try {
        auto bitmap = std::make_shared<Bitmap>();
        bitmap->info = *_pBitmap;
        bitmap->rows.assign(_pRows, _pRows + bytes);
        return AddBitmap(std::move(bitmap), _plHandle);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT GetBitmapInfo(LONG _lHandle, VM_BITMAP* _pBitmap) {
    if (!_pBitmap) return E_POINTER;
    const std::shared_ptr<const Bitmap> bitmap = FindBitmap(_lHandle);
    *_pBitmap = bitmap ? bitmap->info : VM_BITMAP{};
    return bitmap ? S_OK : E_HANDLE;
}

HRESULT ReadBitmap(LONG _lHandle, BYTE* _pRows, DWORD _nBytes) {
    if (!_pRows) return E_POINTER;
    const std::shared_ptr<const Bitmap> bitmap = FindBitmap(_lHandle);
    if (!bitmap) return E_HANDLE;
    if (_nBytes < bitmap->rows.size()) return E_INVALIDARG;
    std::memcpy(_pRows, bitmap->rows.data(), bitmap->rows.size());
    return S_OK;
}

HRESULT DeleteBitmap(LONG _lHandle) {
    BitmapTable& table = Table();
    std::shared_ptr<const Bitmap> gone;  // freed with the table unlocked
    const std::lock_guard guard(table.mutex);
    const auto found = table.bitmaps.find(_lHandle);
    if (found == table.bitmaps.end()) return E_HANDLE;
    gone = std::move(found->second);
    (void)table.bitmaps.erase(found);
    return S_OK;
}

}  // namespace qdvm
