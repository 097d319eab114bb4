#include "platform/guarded_copy.h"

#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace qdvm {

namespace {

// Copies within this process by the system, which reports a fault instead of raising it. The number
// of bytes done, or -1.
ssize_t CopyBySystem(void* dst, const void* src, std::size_t bytes) {
    const iovec to{dst, bytes};
    const iovec from{const_cast<void*>(src), bytes};
    return process_vm_readv(getpid(), &to, 1, &from, 1, 0);
}

}  // namespace

bool GuardedCopy(void* dst, const void* src, std::size_t bytes) {
    auto* to = static_cast<unsigned char*>(dst);
    auto* from = static_cast<const unsigned char*>(src);
    while (bytes != 0) {
        const ssize_t done = CopyBySystem(to, from, bytes);
        if (done < 0 && (errno == ENOSYS || errno == EPERM)) {
            // Systems that forbid the call altogether leave only the unguarded way.
            std::memcpy(to, from, bytes);
            return true;
        }
        if (done <= 0) return false;
        to += done;
        from += done;
        bytes -= static_cast<std::size_t>(done);
    }
    return true;
}

}  // namespace qdvm
