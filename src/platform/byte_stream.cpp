#include "platform/byte_stream.h"

#include "platform/lock.h"

#include <qdvideomixer/create.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <limits>
#include <vector>

namespace qdvm {
namespace {

void Tell(ULONG count, ULONG* out) {
    if (out) *out = count;
}

void Tell(std::uint64_t count, ULARGE_INTEGER* out) {
    if (out) out->QuadPart = count;
}

}  // namespace

struct MemoryStream::Contents {
    CriticalSection lock{LockRank::Leaf, this};
    std::vector<std::uint8_t> bytes QDVM_GUARDED_BY(lock);

    // False, and nothing has changed, if memory is short.
    bool Resize(std::uint64_t size) QDVM_REQUIRES(lock) {
        if (size > std::numeric_limits<std::size_t>::max() / 2) return false;
        try {
            bytes.resize(static_cast<std::size_t>(size));
        } catch (const std::exception&) {
            return false;
        }
        return true;
    }
};

HRESULT CreateByteStream(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    const Ref<MemoryStream> stream = MakeObject<MemoryStream>();
    return stream ? stream->QueryInterface(iid, object) : E_OUTOFMEMORY;
}

MemoryStream::MemoryStream() : contents(std::make_shared<Contents>()) {}

HRESULT MemoryStream::Read(void* data, ULONG bytes, ULONG* read) {
    Tell(0, read);
    if (!data) return STG_E_INVALIDPOINTER;
    ScopedLock guard(contents->lock);
    const std::uint64_t size = contents->bytes.size();
    const auto taken =
        static_cast<ULONG>(std::min<std::uint64_t>(bytes, size - std::min(position, size)));
    if (taken > 0) std::memcpy(data, contents->bytes.data() + position, taken);
    position += taken;
    Tell(taken, read);
    return S_OK;
}

HRESULT MemoryStream::Write(const void* data, ULONG bytes, ULONG* written) {
    Tell(0, written);
    if (!data) return STG_E_INVALIDPOINTER;
    if (bytes == 0) return S_OK;
    ScopedLock guard(contents->lock);
    const std::uint64_t end = position + bytes;
    if (end > contents->bytes.size() && !contents->Resize(end)) return STG_E_MEDIUMFULL;
    std::memcpy(contents->bytes.data() + position, data, bytes);
    position = end;
    Tell(bytes, written);
    return S_OK;
}

HRESULT MemoryStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) {
    ScopedLock guard(contents->lock);
    std::uint64_t base = 0;
    if (origin == STREAM_SEEK_CUR)
        base = position;
    else if (origin == STREAM_SEEK_END)
        base = contents->bytes.size();
    else if (origin != STREAM_SEEK_SET)
        return STG_E_INVALIDFUNCTION;
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
    const bool isBack = move.QuadPart < 0;
    const std::uint64_t distance = isBack ? 0 - static_cast<std::uint64_t>(move.QuadPart)
                                          : static_cast<std::uint64_t>(move.QuadPart);
    if (isBack ? distance > base : distance > kMost - base) return STG_E_INVALIDFUNCTION;
    position = isBack ? base - distance : base + distance;
    Tell(position, newPosition);
    return S_OK;
}

HRESULT MemoryStream::SetSize(ULARGE_INTEGER size) {
    ScopedLock guard(contents->lock);
    return contents->Resize(size.QuadPart) ? S_OK : STG_E_MEDIUMFULL;
}

HRESULT MemoryStream::CopyTo(IStream* target, ULARGE_INTEGER bytes, ULARGE_INTEGER* read,
                             ULARGE_INTEGER* written) {
    if (!target) return STG_E_INVALIDPOINTER;
    std::uint64_t totalRead = 0;
    std::uint64_t totalWritten = 0;
    HRESULT result = S_OK;
    // Piece by piece, with no lock held into the other stream.
    std::array<std::uint8_t, 4096> piece;
    while (Succeeded(result) && totalRead < bytes.QuadPart) {
        const std::uint64_t left = bytes.QuadPart - totalRead;
        ULONG taken = 0;
        result = Read(piece.data(), static_cast<ULONG>(std::min<std::uint64_t>(left, piece.size())),
                      &taken);
        if (Failed(result) || taken == 0) break;
        totalRead += taken;
        ULONG given = 0;
        result = target->Write(piece.data(), taken, &given);
        totalWritten += given;
    }
    Tell(totalRead, read);
    Tell(totalWritten, written);
    return result;
}

HRESULT MemoryStream::Commit(DWORD /*flags*/) { return S_OK; }

HRESULT MemoryStream::Revert() { return S_OK; }

HRESULT MemoryStream::LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) {
    return STG_E_INVALIDFUNCTION;
}

HRESULT MemoryStream::UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) {
    return STG_E_INVALIDFUNCTION;
}

HRESULT MemoryStream::Stat(STATSTG* status, DWORD /*flags*/) {
    if (!status) return STG_E_INVALIDPOINTER;
    *status = {};
    status->type = STGTY_STREAM;
    ScopedLock guard(contents->lock);
    status->cbSize.QuadPart = contents->bytes.size();
    return S_OK;
}

HRESULT MemoryStream::Clone(IStream** clone) {
    if (!clone) return STG_E_INVALIDPOINTER;
    *clone = nullptr;
    Ref<MemoryStream> made = MakeObject<MemoryStream>();
    if (!made) return E_OUTOFMEMORY;
    made->contents = contents;
    ScopedLock guard(contents->lock);
    made->position = position;
    *clone = made.Detach();
    return S_OK;
}

}  // namespace qdvm
