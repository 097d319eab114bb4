#include "mixer/shared_lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace qdvm::test {
namespace {

using Mode = SharedLockGuard::Mode;

TEST(SharedLock, EachKindNestsOnOneThread) {
    SharedLock lock(LockRank::Mix);
    {
        const SharedLockGuard outer(lock, Mode::kShared);
        const SharedLockGuard inner(lock, Mode::kShared);
    }
    const SharedLockGuard outer(lock, Mode::kExclusive);
    const SharedLockGuard inner(lock, Mode::kExclusive);
}

TEST(SharedLock, ReadersShareAndWritersDont) {
    SharedLock lock(LockRank::Mix);
    std::atomic<bool> isWritten{false};
    std::thread writer;
    {
        const SharedLockGuard reader(lock, Mode::kShared);
        std::thread([&] { const SharedLockGuard other(lock, Mode::kShared); }).join();
        writer = std::thread([&] {
            const SharedLockGuard guard(lock, Mode::kExclusive);
            isWritten = true;
        });
        EXPECT_FALSE(isWritten);
    }
    writer.join();
    EXPECT_TRUE(isWritten);
}

TEST(SharedLock, NobodySeesHalfOfAChange) {
    SharedLock lock(LockRank::Mix);
    int first = 0;
    int second = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < 2000; ++n) {
                const SharedLockGuard guard(lock, Mode::kExclusive);
                ++first;
                ++second;
            }
        });
        threads.emplace_back([&] {
            for (int n = 0; n < 2000; ++n) {
                const SharedLockGuard guard(lock, Mode::kShared);
                ASSERT_EQ(first, second);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(first, 4000);
}

}  // namespace
}  // namespace qdvm::test
