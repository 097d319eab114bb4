#pragma once

// Byte streams, and objects that keep themselves in one: the platform's published interfaces, in
// the global namespace as published. A mixer answers for IPersistStream; whoever hosts it brings
// the stream, or takes one in memory from CreateByteStream (create.h).

#include <qdvideomixer/object.h>

#include <cstdint>

union LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    } u;
    LONGLONG QuadPart;
};

union ULARGE_INTEGER {
    struct {
        DWORD LowPart;
        DWORD HighPart;
    } u;
    ULONGLONG QuadPart;
};

// 100 ns since the start of the year 1601.
struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

enum STGTY : std::int32_t { STGTY_STORAGE = 1, STGTY_STREAM = 2 };
enum STATFLAG : std::int32_t { STATFLAG_DEFAULT = 0, STATFLAG_NONAME = 1 };
enum STREAM_SEEK : std::int32_t { STREAM_SEEK_SET = 0, STREAM_SEEK_CUR = 1, STREAM_SEEK_END = 2 };

struct STATSTG {
    LPOLESTR pwcsName;  // task memory, the receiver's; null without a name
    DWORD type;         // STGTY
    ULARGE_INTEGER cbSize;
    FILETIME mtime;
    FILETIME ctime;
    FILETIME atime;
    DWORD grfMode;
    DWORD grfLocksSupported;
    CLSID clsid;
    DWORD grfStateBits;
    DWORD reserved;
};

inline constexpr HRESULT STG_E_INVALIDFUNCTION = HResult(0x80030001);
inline constexpr HRESULT STG_E_INVALIDPOINTER = HResult(0x80030009);
inline constexpr HRESULT STG_E_MEDIUMFULL = HResult(0x80030070);

inline constexpr IID IID_ISequentialStream = {
    0x0C733A30, 0x2A1C, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};
inline constexpr IID IID_IStream = {
    0x0000000C, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr IID IID_IPersistStream = {
    0x00000109, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

struct ISequentialStream : IUnknown {
    // Fewer bytes than asked for are no failure: what is left at the end. `read`, `written` may be
    // null.
    virtual HRESULT Read(void* data, ULONG bytes, ULONG* read) = 0;
    virtual HRESULT Write(const void* data, ULONG bytes, ULONG* written) = 0;

protected:
    ~ISequentialStream() = default;
};

struct IStream : ISequentialStream {
    // `origin`: STREAM_SEEK. A position behind the end is allowed, one before the start isn't.
    // `position` may be null.
    virtual HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) = 0;
    virtual HRESULT SetSize(ULARGE_INTEGER size) = 0;

    // From this stream's position to that of the target. `read`, `written` may be null.
    virtual HRESULT CopyTo(IStream* target, ULARGE_INTEGER bytes, ULARGE_INTEGER* read,
                           ULARGE_INTEGER* written) = 0;
    virtual HRESULT Commit(DWORD flags) = 0;
    virtual HRESULT Revert() = 0;
    virtual HRESULT LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD type) = 0;
    virtual HRESULT UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD type) = 0;
    virtual HRESULT Stat(STATSTG* status, DWORD flags) = 0;

    // A stream over the same bytes with a position of its own.
    virtual HRESULT Clone(IStream** clone) = 0;

protected:
    ~IStream() = default;
};

struct IPersistStream : IPersist {
    // S_OK if there is something to save, else S_FALSE.
    virtual HRESULT IsDirty() = 0;
    virtual HRESULT Load(IStream* stream) = 0;
    virtual HRESULT Save(IStream* stream, BOOL clearDirty) = 0;

    // The most bytes that Save would write now.
    virtual HRESULT GetSizeMax(ULARGE_INTEGER* bytes) = 0;

protected:
    ~IPersistStream() = default;
};
