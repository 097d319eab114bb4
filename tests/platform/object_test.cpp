#include "platform/class_table.h"
#include "platform/counted_string.h"
#include "platform/object_root.h"
#include "platform/pages.h"
#include "platform/ref.h"

#include <qdvideomixer/create.h>
#include <qdvideomixer/media_graph.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <thread>
#include <utility>
#include <vector>

namespace qdvm {
namespace {

// An object with two interfaces, one of them an extended one, that tells of its end.
class Sink final : public ObjectRoot<IMemAllocatorCallbackTemp, IQualityControl> {
public:
    explicit Sink(int& endCounter) : ends(endCounter) {}

    HRESULT SetProperties(ALLOCATOR_PROPERTIES*, ALLOCATOR_PROPERTIES*) override { return S_OK; }
    HRESULT GetProperties(ALLOCATOR_PROPERTIES*) override { return S_OK; }
    HRESULT Commit() override { return S_OK; }
    HRESULT Decommit() override { return S_OK; }
    HRESULT GetBuffer(IMediaSample**, REFERENCE_TIME*, REFERENCE_TIME*, DWORD) override {
        return S_OK;
    }
    HRESULT ReleaseBuffer(IMediaSample*) override { return S_OK; }
    HRESULT SetNotify(IMemAllocatorNotifyCallbackTemp*) override { return S_OK; }
    HRESULT GetFreeCount(LONG*) override { return S_OK; }
    HRESULT Notify(IBaseFilter*, Quality) override { return E_NOTIMPL; }
    HRESULT SetSink(IQualityControl*) override { return S_FALSE; }

private:
    ~Sink() override {
        // A reference that comes and goes on the way out must not end the object again.
        const Ref<IQualityControl> self(static_cast<IQualityControl*>(this));
        ++ends;
    }

    int& ends;
};

TEST(ObjectRoot, AnswersForItsInterfacesAndTheirBases) {
    int ends = 0;
    Ref<Sink> sink = MakeObject<Sink>(ends);
    const Ref<IQualityControl> quality =
        sink->AddRef() > 1 ? Ref<IQualityControl>::Adopt(sink.Get()) : nullptr;
    const Ref<IMemAllocator> allocator = quality.As<IMemAllocator>();
    ASSERT_TRUE(allocator);
    EXPECT_TRUE(quality.As<IMemAllocatorCallbackTemp>());
    EXPECT_EQ(allocator.As<IQualityControl>()->SetSink(nullptr), S_FALSE);
    EXPECT_EQ(allocator.As<IUnknown>(), quality.As<IUnknown>());
    EXPECT_TRUE(IsSameObject(allocator.Get(), quality.Get()));

    void* object = &ends;
    EXPECT_EQ(sink->QueryInterface(IID_IPin, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(sink->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    EXPECT_FALSE(quality.As<IPin>());
}

TEST(ObjectRoot, GoesWithItsLastReferenceOnce) {
    int ends = 0;
    {
        Ref<Sink> first = MakeObject<Sink>(ends);
        Ref<IUnknown> second = first.As<IUnknown>();
        Ref<Sink> third = std::move(first);
        EXPECT_FALSE(first);
        Ref<Sink>& itself = third;
        third = itself;
        third.Reset();
        EXPECT_EQ(ends, 0);
        EXPECT_EQ(second->AddRef(), 2u);
        EXPECT_EQ(second->Release(), 1u);
    }
    EXPECT_EQ(ends, 1);
}

TEST(ObjectRoot, CountsReferencesOfManyThreads) {
    int ends = 0;
    Ref<Sink> sink = MakeObject<Sink>(ends);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([copy = sink] {
            for (int n = 0; n < 10000; ++n) {
                const Ref<Sink> another = copy;
            }
        });
    }
    sink.Reset();
    for (std::thread& thread : threads) {
        thread.join();
    }
    threads.clear();
    EXPECT_EQ(ends, 1);
}

TEST(ClassTable, MakesObjectsByClass) {
    void* object = &object;
    EXPECT_EQ(CreateInstance(GUID_NULL, IID_IUnknown, &object), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(CreateInstance(CLSID_FilterGraph, IID_IUnknown, nullptr), E_POINTER);

    Ref<IFilterGraph2> graph;
    EXPECT_EQ(CreateInstance(CLSID_FilterGraph, IID_IFilterGraph2, graph.PutVoid()), S_OK);
    EXPECT_TRUE(graph.As<IMediaControl>());

    const CLSID other = {1, 2, 3, {}};
    EXPECT_EQ(RegisterClass(other, nullptr), E_POINTER);
    EXPECT_EQ(RegisterClass(other, CreateSystemClock), S_OK);
    EXPECT_EQ(RegisterClass(other, CreateSystemClock), S_FALSE);
    Ref<IReferenceClock> clock;
    EXPECT_EQ(CreateInstance(other, IID_IReferenceClock, clock.PutVoid()), S_OK);
    EXPECT_EQ(UnregisterClass(other), S_OK);
    EXPECT_EQ(UnregisterClass(other), S_FALSE);
    EXPECT_EQ(CreateInstance(other, IID_IReferenceClock, clock.PutVoid()), REGDB_E_CLASSNOTREG);
}

TEST(CountedString, KeepsLengthZerosAndEnd) {
    const CountedString text(std::u16string_view(u"a\0b", 3));
    EXPECT_EQ(SysStringLen(text.Get()), 3u);
    EXPECT_EQ(text.Get()[3], u'\0');
    CountedString copy = text;
    EXPECT_NE(copy.Get(), text.Get());
    EXPECT_EQ(copy.View(), text.View());
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_TRUE(ViewOf(nullptr).empty());
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysAllocStringLen(u"", 0xFFFFFFFF), nullptr);
    const CountedString empty(u"");
    EXPECT_NE(empty.Get(), nullptr);

    EXPECT_EQ(CopyOut(u"x", nullptr), E_POINTER);
    EXPECT_EQ(CopyOut(u"xy", copy.Put()), S_OK);
    EXPECT_EQ(copy.View(), u"xy");
}

TEST(Pages, AreZeroedAlignedAndWritable) {
    EXPECT_EQ(AllocatePages(0), nullptr);
    EXPECT_EQ(AllocatePages(SIZE_MAX / 2), nullptr);
    FreePages(nullptr, 0);
    constexpr std::size_t kSize = 10001;
    auto* const block = static_cast<std::uint8_t*>(AllocatePages(kSize));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % PageGranularity(), 0u);
    EXPECT_EQ(block[0] | block[kSize - 1], 0);
    std::memset(block, 0xFF, kSize);
    FreePages(block, kSize);
}

}  // namespace
}  // namespace qdvm
