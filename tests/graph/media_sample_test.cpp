// The rules of a sample's properties.

#include "frames/format_table.h"
#include "graph/sample_allocator.h"
#include "support/graph_fakes.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

namespace qdvm::test {
namespace {

constexpr LONG kBytes = 100;

class MediaSampleTest : public ::testing::Test {
protected:
    MediaSampleTest() : allocator(MakeObject<PlainMemoryAllocator>()) {
        ALLOCATOR_PROPERTIES request = {1, kBytes, 1, 0};
        ALLOCATOR_PROPERTIES actual{};
        EXPECT_EQ(allocator->SetProperties(&request, &actual), S_OK);
        EXPECT_EQ(allocator->Commit(), S_OK);
        Take();
    }
    ~MediaSampleTest() override {
        sample.Reset();
        (void)allocator->Decommit();
    }

    void Take() {
        sample.Reset();
        Ref<IMediaSample> plain;
        EXPECT_EQ(allocator->GetBuffer(plain.Put(), nullptr, nullptr, 0), S_OK);
        sample = plain.As<IMediaSample2>();
    }

    HRESULT Set(const AM_SAMPLE2_PROPERTIES& props, DWORD bytes = sizeof(AM_SAMPLE2_PROPERTIES)) {
        return sample->SetProperties(bytes, reinterpret_cast<const BYTE*>(&props));
    }
    AM_SAMPLE2_PROPERTIES Get() {
        AM_SAMPLE2_PROPERTIES props{};
        EXPECT_EQ(sample->GetProperties(sizeof(props), reinterpret_cast<BYTE*>(&props)), S_OK);
        return props;
    }
    AM_SAMPLE2_PROPERTIES Empty() const {
        AM_SAMPLE2_PROPERTIES props{};
        props.cbData = sizeof(props);
        props.cbBuffer = kBytes;
        return props;
    }

    Ref<PlainMemoryAllocator> allocator;
    Ref<IMediaSample2> sample;
};

TEST_F(MediaSampleTest, TimesAreTwoOrOneOrNone) {
    REFERENCE_TIME start = 7;
    REFERENCE_TIME stop = 7;
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_E_SAMPLE_TIME_NOT_SET);
    EXPECT_EQ(sample->GetTime(nullptr, &stop), E_INVALIDARG);
    start = 100;
    EXPECT_EQ(sample->SetTime(&start, nullptr), S_OK);
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_S_NO_STOP_TIME);
    EXPECT_EQ(start, 100);
    EXPECT_EQ(stop, 101);
    stop = 100;
    EXPECT_EQ(sample->SetTime(&start, &stop), S_OK);
    EXPECT_EQ(sample->GetTime(&start, &stop), S_OK);
    EXPECT_EQ(stop, 100);
    stop = 99;
    EXPECT_EQ(sample->SetTime(&start, &stop), E_INVALIDARG);
    EXPECT_EQ(sample->GetTime(&start, &stop), S_OK);
    EXPECT_EQ(stop, 100);
    EXPECT_EQ(sample->SetTime(nullptr, &stop), S_OK);
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_E_SAMPLE_TIME_NOT_SET);
}

TEST_F(MediaSampleTest, MediaTimesNeedBothAndStayPrivate) {
    LONGLONG start = 5;
    LONGLONG stop = 5;
    EXPECT_EQ(sample->GetMediaTime(&start, &stop), VFW_E_MEDIA_TIME_NOT_SET);
    EXPECT_EQ(start, 0);
    start = stop = 5;
    EXPECT_EQ(sample->SetMediaTime(&start, nullptr), E_INVALIDARG);
    EXPECT_EQ(sample->SetMediaTime(&start, &stop), S_OK);
    EXPECT_EQ(sample->GetMediaTime(&start, &stop), S_OK);
    EXPECT_EQ(Get().dwSampleFlags, 0u);
    // What others set leaves them alone.
    EXPECT_EQ(Set(Empty()), S_OK);
    EXPECT_EQ(sample->GetMediaTime(&start, &stop), S_OK);
    EXPECT_EQ(sample->SetMediaTime(nullptr, nullptr), S_OK);
    EXPECT_EQ(sample->GetMediaTime(&start, &stop), VFW_E_MEDIA_TIME_NOT_SET);
}

TEST_F(MediaSampleTest, LengthStaysWithinTheBuffer) {
    EXPECT_EQ(sample->GetSize(), kBytes);
    EXPECT_EQ(sample->SetActualDataLength(kBytes + 1), VFW_E_BUFFER_OVERFLOW);
    EXPECT_EQ(sample->SetActualDataLength(kBytes), S_OK);
    EXPECT_LT(sample->SetActualDataLength(-1), 0);
    EXPECT_EQ(sample->GetActualDataLength(), kBytes);
    EXPECT_EQ(sample->GetPointer(nullptr), E_POINTER);
}

TEST_F(MediaSampleTest, FlagsAnswerYesOrNo) {
    EXPECT_EQ(sample->IsSyncPoint(), S_FALSE);
    EXPECT_EQ(sample->SetSyncPoint(5), S_OK);
    EXPECT_EQ(sample->IsSyncPoint(), S_OK);
    EXPECT_EQ(sample->SetPreroll(1), S_OK);
    EXPECT_EQ(sample->SetDiscontinuity(1), S_OK);
    EXPECT_EQ(Get().dwSampleFlags, 7u);
    EXPECT_EQ(sample->SetSyncPoint(0), S_OK);
    EXPECT_EQ(Get().dwSampleFlags, 6u);
}

TEST_F(MediaSampleTest, TypeIsCopiedBothWays) {
    AM_MEDIA_TYPE* given = nullptr;
    EXPECT_EQ(sample->GetMediaType(nullptr), E_POINTER);
    EXPECT_EQ(sample->GetMediaType(&given), S_FALSE);
    EXPECT_EQ(given, nullptr);
    MediaType type = VideoType(kFccYUY2, 64, 32);
    EXPECT_EQ(sample->SetMediaType(type.operator->()), S_OK);
    EXPECT_EQ(sample->GetMediaType(&given), S_OK);
    ASSERT_NE(given, nullptr);
    EXPECT_TRUE(type.Equals(*given));
    EXPECT_NE(given->pbFormat, type->pbFormat);
    DeleteMediaType(given);
    EXPECT_EQ(sample->SetMediaType(nullptr), S_OK);
    EXPECT_EQ(sample->GetMediaType(&given), S_FALSE);
}

TEST_F(MediaSampleTest, RecordIsReadAsAPrefix) {
    BYTE bytes[sizeof(AM_SAMPLE2_PROPERTIES)];
    std::memset(bytes, 0xEE, sizeof(bytes));
    EXPECT_EQ(sample->GetProperties(0, nullptr), S_OK);
    EXPECT_EQ(sample->GetProperties(4, nullptr), E_POINTER);
    EXPECT_EQ(sample->GetProperties(12, bytes), S_OK);
    DWORD told = 0;
    std::memcpy(&told, bytes, sizeof(told));
    EXPECT_EQ(told, 12u);
    EXPECT_EQ(bytes[12], 0xEE);
    const AM_SAMPLE2_PROPERTIES whole = Get();
    EXPECT_EQ(whole.cbData, 64u);
    EXPECT_EQ(whole.cbBuffer, kBytes);
    EXPECT_NE(whole.pbBuffer, nullptr);
}

TEST_F(MediaSampleTest, RecordIsRefusedWhole) {
    const auto refuses = [this](auto change, DWORD bytes = sizeof(AM_SAMPLE2_PROPERTIES)) {
        AM_SAMPLE2_PROPERTIES props = Empty();
        props.dwTypeSpecificFlags = 99;
        change(props);
        return Set(props, bytes) == E_INVALIDARG && Get().dwTypeSpecificFlags == 0;
    };
    BYTE other = 0;
    EXPECT_TRUE(refuses([](auto& p) { p.dwSampleFlags = 0x20; }));
    EXPECT_TRUE(refuses([](auto& p) { p.dwSampleFlags = 0x200; }));
    EXPECT_TRUE(refuses([](auto& p) { p.dwSampleFlags = AM_SAMPLE_TIMEVALID; }, 24));
    EXPECT_TRUE(refuses([&](auto& p) { p.pbBuffer = &other; }));
    EXPECT_TRUE(refuses([](auto& p) { p.cbBuffer = kBytes - 1; }));
    EXPECT_TRUE(refuses([](auto& p) { p.lActual = kBytes + 1; }));
    // Also where the record ends before the buffer's size.
    EXPECT_TRUE(refuses([](auto& p) { p.lActual = kBytes + 1; }, 16));
    EXPECT_TRUE(refuses([](auto& p) { p.lActual = -1; }));
    EXPECT_TRUE(refuses([](auto& p) { p.cbData = 65; }, 65));
    EXPECT_EQ(sample->SetProperties(8, nullptr), E_POINTER);
    EXPECT_EQ(sample->SetProperties(7, nullptr), S_OK);
}

TEST_F(MediaSampleTest, RecordSetsWhatItReaches) {
    MediaType type = VideoType(kFccYUY2, 64, 32);
    AM_SAMPLE2_PROPERTIES props = Empty();
    props.dwTypeSpecificFlags = 3;
    props.dwSampleFlags = AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID;
    props.lActual = 50;
    props.tStart = 10;
    props.tStop = 20;
    props.dwStreamId = 4;
    props.pMediaType = type.operator->();
    EXPECT_EQ(Set(props), S_OK);
    AM_SAMPLE2_PROPERTIES read = Get();
    EXPECT_EQ(read.dwSampleFlags,
              AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID | AM_SAMPLE_TYPECHANGED);
    EXPECT_EQ(read.tStop, 20);
    EXPECT_EQ(read.dwStreamId, 4u);
    EXPECT_NE(read.pMediaType, type.operator->());

    // A short record leaves the rest; the type's flag is kept only as far as there is a type.
    props.cbData = 16;
    props.lActual = 60;
    props.tStart = 1000;
    props.dwSampleFlags = AM_SAMPLE_STOPVALID | AM_SAMPLE_TYPECHANGED;
    EXPECT_EQ(Set(props), S_OK);
    read = Get();
    EXPECT_EQ(read.lActual, 60);
    EXPECT_EQ(read.tStart, 10);
    EXPECT_NE(read.pMediaType, nullptr);

    props = Empty();
    EXPECT_EQ(Set(props), S_OK);
    EXPECT_EQ(Get().pMediaType, nullptr);
    props.cbData = 12;
    props.dwSampleFlags = AM_SAMPLE_TYPECHANGED;
    EXPECT_EQ(Set(props), S_OK);
    EXPECT_EQ(Get().dwSampleFlags & AM_SAMPLE_TYPECHANGED, 0u);
}

TEST_F(MediaSampleTest, NothingSurvivesInTheSlot) {
    REFERENCE_TIME time = 5;
    MediaType type = VideoType(kFccYUY2, 64, 32);
    (void)sample->SetTime(&time, &time);
    (void)sample->SetMediaTime(&time, &time);
    (void)sample->SetSyncPoint(1);
    (void)sample->SetMediaType(type.operator->());
    (void)sample->SetActualDataLength(10);
    const IMediaSample2* const before = sample.Get();
    Take();
    EXPECT_EQ(sample.Get(), before);
    const AM_SAMPLE2_PROPERTIES props = Get();
    EXPECT_EQ(props.dwSampleFlags, 0u);
    EXPECT_EQ(props.tStart, 0);
    EXPECT_EQ(props.lActual, 0);
    EXPECT_EQ(props.pMediaType, nullptr);
    EXPECT_EQ(sample->GetMediaTime(&time, &time), VFW_E_MEDIA_TIME_NOT_SET);
}

}  // namespace
}  // namespace qdvm::test
