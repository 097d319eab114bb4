#include "platform/thread.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace qdvm {

void SetCurrentThreadName(const std::string& name) {
    constexpr std::size_t kLongestName = 15;
    (void)pthread_setname_np(pthread_self(), name.substr(0, kLongestName).c_str());
}

void RaiseCurrentThreadPriority() {
    // A nice value belongs to one thread here. A user without the right to go below 0 keeps the
    // normal priority.
    constexpr int kRaisedNice = -5;
    const auto id = static_cast<id_t>(syscall(SYS_gettid));
    (void)setpriority(PRIO_PROCESS, id, kRaisedNice);
}

}  // namespace qdvm
