// The allocators: states, waiting, and where their memory goes.

#include "graph/sample_allocator.h"
#include "frames/format_table.h"
#include "graph/greedy_buffers.h"
#include "platform/thread.h"
#include "support/graph_fakes.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <limits>
#include <vector>

namespace qdvm::test {
namespace {

using State = AllocatorState;

template <class Allocator>
class SampleAllocatorTest : public ::testing::Test {
protected:
    SampleAllocatorTest() : allocator(MakeObject<Allocator>()) {}
    ~SampleAllocatorTest() override { (void)allocator->Decommit(); }

    HRESULT Size(LONG count, LONG bytes = 64, LONG align = 1, LONG prefix = 0) {
        ALLOCATOR_PROPERTIES request = {count, bytes, align, prefix};
        return allocator->SetProperties(&request, &actual);
    }
    HRESULT TryTake(Ref<IMediaSample>* sample) {
        return allocator->GetBuffer(sample->Put(), nullptr, nullptr, AM_GBF_NOWAIT);
    }
    Ref<IMediaSample> Take() {
        Ref<IMediaSample> sample;
        EXPECT_EQ(TryTake(&sample), S_OK);
        return sample;
    }
    LONG FreeCount() {
        LONG count = -1;
        EXPECT_EQ(allocator->GetFreeCount(&count), S_OK);
        return count;
    }

    Ref<Allocator> allocator;
    ALLOCATOR_PROPERTIES actual{};
};

using Allocators = ::testing::Types<CGreedMemoryAllocator, PlainMemoryAllocator>;
TYPED_TEST_SUITE(SampleAllocatorTest, Allocators);

TYPED_TEST(SampleAllocatorTest, PropertiesAreBroughtIntoShape) {
    EXPECT_EQ(this->Size(2, 10, 3, 5), S_OK);
    EXPECT_EQ(this->actual.cbAlign, 4);
    EXPECT_EQ(this->actual.cbBuffer, 11);
    EXPECT_EQ(this->Size(2, 10, 0, 0), S_OK);
    EXPECT_EQ(this->actual.cbAlign, 1);
    ALLOCATOR_PROPERTIES read{};
    EXPECT_EQ(this->allocator->GetProperties(&read), S_OK);
    EXPECT_EQ(read.cbBuffer, 10);

    EXPECT_EQ(this->Size(0), VFW_E_SIZENOTSET);
    EXPECT_EQ(this->actual.cBuffers, 0);
    EXPECT_EQ(this->Size(1, 0), VFW_E_SIZENOTSET);
    EXPECT_EQ(this->Size(1, 10, -1), VFW_E_BADALIGN);
    EXPECT_EQ(this->Size(1, 10, 0x40000001), VFW_E_BADALIGN);
    EXPECT_LT(this->Size(1, 10, 1, -5), 0);
    EXPECT_LT(this->Size(1, std::numeric_limits<LONG>::max(), 4096), 0);
    EXPECT_EQ(this->allocator->SetProperties(nullptr, &read), E_POINTER);
    EXPECT_EQ(this->allocator->GetProperties(&read), S_OK);
    EXPECT_EQ(read.cbBuffer, 10);
}

TYPED_TEST(SampleAllocatorTest, RefusesWhatItsStateForbids) {
    Ref<IMediaSample> sample;
    ALLOCATOR_PROPERTIES props{};
    LONG count = 7;
    EXPECT_EQ(this->allocator->Commit(), E_FAIL);
    EXPECT_EQ(this->allocator->Decommit(), E_FAIL);
    EXPECT_EQ(this->TryTake(&sample), VFW_E_BUFFER_NOTSET);
    EXPECT_EQ(this->allocator->GetProperties(&props), VFW_E_BUFFER_NOTSET);
    EXPECT_EQ(this->allocator->GetFreeCount(&count), VFW_E_BUFFER_NOTSET);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(this->Size(0), VFW_E_SIZENOTSET);
    EXPECT_EQ(this->allocator->State(), State::kCreated);

    EXPECT_EQ(this->Size(1), S_OK);
    EXPECT_EQ(this->allocator->State(), State::kSized);
    EXPECT_EQ(this->allocator->Decommit(), S_OK);
    EXPECT_EQ(this->TryTake(&sample), VFW_E_NOT_COMMITTED);
    EXPECT_EQ(this->allocator->GetFreeCount(&count), VFW_E_NOT_COMMITTED);

    EXPECT_EQ(this->allocator->Commit(), S_OK);
    EXPECT_EQ(this->allocator->State(), State::kCommittedIdle);
    EXPECT_EQ(this->allocator->Commit(), S_OK);
    EXPECT_EQ(this->Size(2), VFW_E_ALREADY_COMMITTED);
    sample = this->Take();
    EXPECT_EQ(this->allocator->State(), State::kCommittedBusy);
    EXPECT_EQ(this->allocator->Decommit(), S_OK);
    EXPECT_EQ(this->Size(2), VFW_E_BUFFERS_OUTSTANDING);
    EXPECT_EQ(this->allocator->GetFreeCount(&count), VFW_E_NOT_COMMITTED);
}

TYPED_TEST(SampleAllocatorTest, StatesFollowTheBuffers) {
    ASSERT_EQ(this->Size(2), S_OK);
    ASSERT_EQ(this->allocator->Commit(), S_OK);
    EXPECT_EQ(this->FreeCount(), 2);
    Ref<IMediaSample> first = this->Take();
    EXPECT_EQ(this->FreeCount(), 1);
    Ref<IMediaSample> second = this->Take();
    EXPECT_EQ(this->allocator->State(), State::kCommittedBusy);
    Ref<IMediaSample> third;
    EXPECT_EQ(this->TryTake(&third), VFW_E_TIMEOUT);
    EXPECT_EQ(this->allocator->State(), State::kCommittedWaiting);
    first.Reset();
    EXPECT_EQ(this->allocator->State(), State::kCommittedBusy);
    second.Reset();
    EXPECT_EQ(this->allocator->State(), State::kCommittedIdle);
}

TYPED_TEST(SampleAllocatorTest, ADecommitCanBeCalledOff) {
    ASSERT_EQ(this->Size(2), S_OK);
    ASSERT_EQ(this->allocator->Commit(), S_OK);
    Ref<IMediaSample> first = this->Take();
    BYTE* data = nullptr;
    ASSERT_EQ(first->GetPointer(&data), S_OK);
    data[0] = 42;
    EXPECT_EQ(this->allocator->Decommit(), S_OK);
    EXPECT_EQ(this->allocator->State(), State::kDecommitting);
    EXPECT_EQ(this->allocator->Commit(), S_OK);
    EXPECT_EQ(this->allocator->State(), State::kCommittedBusy);
    Ref<IMediaSample> second = this->Take();
    EXPECT_EQ(this->allocator->Decommit(), S_OK);
    EXPECT_EQ(this->allocator->Commit(), S_OK);
    EXPECT_EQ(this->allocator->State(), State::kCommittedWaiting);
    EXPECT_EQ(this->allocator->Decommit(), S_OK);
    second.Reset();
    EXPECT_EQ(this->allocator->State(), State::kDecommitting);
    EXPECT_EQ(data[0], 42);
    first.Reset();
    EXPECT_EQ(this->allocator->State(), State::kSized);
    EXPECT_EQ(this->allocator->Commit(), S_OK);
    EXPECT_EQ(this->FreeCount(), 2);
}

TYPED_TEST(SampleAllocatorTest, SamplesOutliveTheirOwner) {
    ASSERT_EQ(this->Size(1), S_OK);
    ASSERT_EQ(this->allocator->Commit(), S_OK);
    Ref<IMediaSample> sample = this->Take();
    (void)this->allocator->Decommit();
    this->allocator.Reset();
    BYTE* data = nullptr;
    ASSERT_EQ(sample->GetPointer(&data), S_OK);
    data[63] = 1;
    sample.Reset();
    this->allocator = MakeObject<TypeParam>();
}

TYPED_TEST(SampleAllocatorTest, AlignsAndPrefixesItsBuffers) {
    for (const LONG align : {1, 64, 4096, 1 << 18}) {
        ASSERT_EQ(this->Size(3, 100, align, 20), S_OK);
        ASSERT_EQ(this->allocator->Commit(), S_OK);
        std::vector<Ref<IMediaSample>> samples;
        for (int i = 0; i < 3; ++i) samples.push_back(this->Take());
        for (const Ref<IMediaSample>& sample : samples) {
            BYTE* data = nullptr;
            ASSERT_EQ(sample->GetPointer(&data), S_OK);
            EXPECT_EQ((reinterpret_cast<std::uintptr_t>(data) - 20) % align, 0u);
            std::fill_n(data - 20, 20 + sample->GetSize(), BYTE{1});
        }
        samples.clear();
        EXPECT_EQ(this->allocator->Decommit(), S_OK);
    }
}

TYPED_TEST(SampleAllocatorTest, AReturnedBufferLetsAWaiterGoOn) {
    ASSERT_EQ(this->Size(1), S_OK);
    ASSERT_EQ(this->allocator->Commit(), S_OK);
    Ref<IMediaSample> held = this->Take();
    std::atomic<int> served{0};
    std::array<Thread, 3> threads;
    for (Thread& thread : threads) {
        ASSERT_EQ(thread.Start("waiter", ThreadPriority::Normal,
                               [&] {
                                   Ref<IMediaSample> sample;
                                   if (this->allocator->GetBuffer(sample.Put(), nullptr, nullptr,
                                                                  0) == S_OK)
                                       ++served;
                               }),
                  S_OK);
    }
    while (this->allocator->State() != State::kCommittedWaiting) std::this_thread::yield();
    held.Reset();
    for (Thread& thread : threads) thread.Join();
    EXPECT_EQ(served, 3);
    EXPECT_EQ(this->allocator->State(), State::kCommittedIdle);
}

TYPED_TEST(SampleAllocatorTest, DecommitEndsEveryWait) {
    ASSERT_EQ(this->Size(1), S_OK);
    ASSERT_EQ(this->allocator->Commit(), S_OK);
    const Ref<IMediaSample> held = this->Take();
    std::atomic<int> refused{0};
    std::array<Thread, 2> threads;
    for (Thread& thread : threads) {
        ASSERT_EQ(thread.Start("waiter", ThreadPriority::Normal,
                               [&] {
                                   Ref<IMediaSample> sample;
                                   if (this->allocator->GetBuffer(sample.Put(), nullptr, nullptr,
                                                                  0) == VFW_E_NOT_COMMITTED)
                                       ++refused;
                               }),
                  S_OK);
    }
    while (this->allocator->State() != State::kCommittedWaiting) std::this_thread::yield();
    EXPECT_EQ(this->allocator->Decommit(), S_OK);
    for (Thread& thread : threads) thread.Join();
    EXPECT_EQ(refused, 2);
}

TYPED_TEST(SampleAllocatorTest, TheNextSampleCarriesTheTypeOnce) {
    ASSERT_EQ(this->Size(2), S_OK);
    ASSERT_EQ(this->allocator->Commit(), S_OK);
    const MediaType type = VideoType(kFccYUY2, 64, 32);
    const Ref<IMemAllocatorEx> extended = this->allocator.template As<IMemAllocatorEx>();
    ASSERT_TRUE(extended);
    EXPECT_EQ(extended->SetNextSampleMediaType(&*type), S_OK);
    AM_MEDIA_TYPE* given = nullptr;
    EXPECT_EQ(this->Take()->GetMediaType(&given), S_OK);
    DeleteMediaType(given);
    EXPECT_EQ(this->Take()->GetMediaType(&given), S_FALSE);
}

class CountingNotify final : public ObjectRoot<IMemAllocatorNotifyCallbackTemp> {
public:
    HRESULT NotifyRelease() override {
        ++calls;
        return S_OK;
    }
    std::atomic<int> calls{0};
};

TYPED_TEST(SampleAllocatorTest, TellsTheCallbackOfEachReturn) {
    const Ref<CountingNotify> notify = MakeObject<CountingNotify>();
    ASSERT_EQ(this->Size(2), S_OK);
    ASSERT_EQ(this->allocator->Commit(), S_OK);
    EXPECT_EQ(this->allocator->SetNotify(notify.Get()), S_OK);
    this->Take().Reset();
    EXPECT_EQ(notify->calls, 1);
    Ref<IMediaSample> held = this->Take();
    (void)this->allocator->Decommit();
    held.Reset();
    EXPECT_EQ(notify->calls, 2);
    EXPECT_EQ(this->allocator->SetNotify(nullptr), S_OK);
    (void)this->allocator->Commit();
    this->Take().Reset();
    EXPECT_EQ(notify->calls, 2);
}

TYPED_TEST(SampleAllocatorTest, AnAbsurdSizeFailsAtCommit) {
    ASSERT_EQ(this->Size(std::numeric_limits<LONG>::max(), std::numeric_limits<LONG>::max()), S_OK);
    EXPECT_EQ(this->allocator->Commit(), E_OUTOFMEMORY);
    EXPECT_EQ(this->allocator->State(), State::kSized);
}

// --- where the greedy store keeps its memory ---

ALLOCATOR_PROPERTIES Buffers(LONG count) { return {count, 5000, 1, 0}; }

TEST(GreedyBuffers, CommitGivesMemoryToTwo) {
    CGreedArrayOnVirtualAlloc store;
    for (const LONG count : {1, 2, 4, 100}) {
        ASSERT_EQ(store.Commit(Buffers(count)), S_OK);
        EXPECT_EQ(store.BlockCount(), std::min(count, 2));
        EXPECT_EQ(store.FreeCount(), count);
    }
}

TEST(GreedyBuffers, BlocksFollowTheBuffersThatAreOut) {
    CGreedArrayOnVirtualAlloc store;
    ASSERT_EQ(store.Commit(Buffers(4)), S_OK);
    std::array<BYTE*, 3> out{};
    for (BYTE*& data : out) data = store.Take();
    EXPECT_EQ(store.BlockCount(), 3);
    store.Put(out[1]);
    store.Put(out[0]);
    store.Put(out[2]);
    EXPECT_EQ(store.FreeCount(), 4);
    EXPECT_EQ(store.BlockCount(), 1);
    EXPECT_EQ(store.Take(), out[2]);

    // All four out, and no fifth.
    for (int i = 0; i < 3; ++i) EXPECT_NE(store.Take(), nullptr);
    EXPECT_EQ(store.BlockCount(), 4);
    EXPECT_EQ(store.Take(), nullptr);
}

TEST(GreedyBuffers, OneBufferAfterCommitLeavesOneBlock) {
    CGreedArrayOnVirtualAlloc store;
    ASSERT_EQ(store.Commit(Buffers(4)), S_OK);
    BYTE* const data = store.Take();
    store.Put(data);
    EXPECT_EQ(store.BlockCount(), 1);
    EXPECT_EQ(store.Take(), data);
}

TEST(SlotPool, GrowsByOneAndReuses) {
    SlotPool pool(40);
    ASSERT_TRUE(pool.Make(1));
    void* const first = pool.Take();
    void* const second = pool.Take();
    void* const third = pool.Take();
    EXPECT_EQ(pool.Total(), 3u);
    std::fill_n(static_cast<BYTE*>(second), 40, BYTE{9});
    pool.Put(second);
    EXPECT_EQ(pool.Take(), second);
    EXPECT_EQ(static_cast<BYTE*>(second)[39], 0);
    pool.Put(third);
    pool.Put(first);
    pool.Put(second);
    EXPECT_EQ(pool.Free(), 3u);
    EXPECT_EQ(pool.Total(), 3u);
}

}  // namespace
}  // namespace qdvm::test
