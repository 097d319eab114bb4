#include "config/rw_synchro.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace qdvm::test {
namespace {

// What another thread gets at once.
bool OthersRead(CRWSynchroLiteBase& lock) {
    bool isTaken = false;
    std::thread([&] {
        isTaken = lock.LockRead(false);
        if (isTaken) lock.UnlockRead();
    }).join();
    return isTaken;
}

bool OthersWrite(CRWSynchroLiteBase& lock) {
    bool isTaken = false;
    std::thread([&] {
        isTaken = lock.LockWrite(false);
        if (isTaken) lock.UnlockWrite();
    }).join();
    return isTaken;
}

TEST(RwSynchro, ReadersShareAndWritersNest) {
    CRWSynchroLiteRW lock;
    {
        SynchroGuard outer(lock, SynchroGuard::Access::Read);
        SynchroGuard inner(lock, SynchroGuard::Access::Read);
        EXPECT_TRUE(OthersRead(lock));
        EXPECT_FALSE(OthersWrite(lock));
    }
    {
        SynchroGuard outer(lock, SynchroGuard::Access::Write);
        {
            SynchroGuard inner(lock, SynchroGuard::Access::Write);
            SynchroGuard read(lock, SynchroGuard::Access::Read);
        }
        EXPECT_FALSE(OthersRead(lock));
        EXPECT_FALSE(OthersWrite(lock));
    }
    EXPECT_TRUE(OthersRead(lock));
    EXPECT_TRUE(OthersWrite(lock));
}

TEST(RwSynchro, ThePlainLockIsOneForBoth) {
    CRWSynchroLiteCS lock;
    {
        SynchroGuard outer(lock, SynchroGuard::Access::Read);
        SynchroGuard inner(lock, SynchroGuard::Access::Write);
        EXPECT_FALSE(OthersRead(lock));
    }
    EXPECT_TRUE(OthersWrite(lock));
    SynchroGuard none(nullptr, SynchroGuard::Access::Write);
}

TEST(RwSynchro, NoWriteIsLostAndNoneIsSeenHalf) {
    CRWSynchroLiteRW lock;
    int first = 0;
    int second = 0;
    bool isTorn = false;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                {
                    SynchroGuard guard(lock, SynchroGuard::Access::Write);
                    ++first;
                    ++second;
                }
                bool isEqual = true;
                {
                    SynchroGuard guard(lock, SynchroGuard::Access::Read);
                    isEqual = first == second;
                }
                if (!isEqual) {
                    SynchroGuard guard(lock, SynchroGuard::Access::Write);
                    isTorn = true;
                }
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(first, 2000);
    EXPECT_FALSE(isTorn);
}

}  // namespace
}  // namespace qdvm::test
