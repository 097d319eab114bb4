#pragma once

// A growing stream of bytes in memory.

#include "platform/iid.h"
#include "platform/object_root.h"
#include "platform/ref.h"

#include <qdvideomixer/byte_stream.h>

#include <cstdint>
#include <memory>

namespace qdvm {

QDVM_INTERFACE(ISequentialStream, IUnknown, IID_ISequentialStream);
QDVM_INTERFACE(IStream, ISequentialStream, IID_IStream);
QDVM_INTERFACE(IPersistStream, IPersist, IID_IPersistStream);

// Bytes that are skipped by a position behind the end, and by a larger size, are 0. There are no
// regions to lock. STG_E_MEDIUMFULL where memory doesn't suffice.
//
// Thread-safety: clones share their bytes and can be used by different threads; one stream has one
// position, so each operation is atomic.
class MemoryStream final : public ObjectRoot<IStream> {
public:
    MemoryStream();

    HRESULT Read(void* data, ULONG bytes, ULONG* read) override;
    HRESULT Write(const void* data, ULONG bytes, ULONG* written) override;
    HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) override;
    HRESULT SetSize(ULARGE_INTEGER size) override;
    HRESULT CopyTo(IStream* target, ULARGE_INTEGER bytes, ULARGE_INTEGER* read,
                   ULARGE_INTEGER* written) override;
    HRESULT Commit(DWORD flags) override;
    HRESULT Revert() override;
    HRESULT LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD type) override;
    HRESULT UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD type) override;
    HRESULT Stat(STATSTG* status, DWORD flags) override;
    HRESULT Clone(IStream** clone) override;

private:
    struct Contents;

    ~MemoryStream() override = default;

    std::shared_ptr<Contents> contents;
    std::uint64_t position = 0;  // under the lock of the contents
};

}  // namespace qdvm
