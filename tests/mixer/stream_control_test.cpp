#include "support/fake_filter.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace qdvm::test {
namespace {

TEST(StreamControl, NumbersOutOfRangeAreRefused) {
    FakeFilter filter(2);
    for (const LONG number : {-1, 3, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(filter.EnableStream(number, 1), E_INVALIDARG);
        EXPECT_EQ(filter.IsStreamEnabled(number, nullptr), E_INVALIDARG);
        EXPECT_EQ(filter.IgnoreTime(number, 1), E_INVALIDARG);
        EXPECT_EQ(filter.IsIgnoreTime(number, nullptr), E_INVALIDARG);
        EXPECT_EQ(filter.KeepStreamRate(number, 1), E_INVALIDARG);
        EXPECT_EQ(filter.IsKeepStreamRate(number, nullptr), E_INVALIDARG);
        EXPECT_EQ(filter.LoopStream(number, 1, 1), E_INVALIDARG);
        EXPECT_EQ(filter.IsStreamLooped(number, nullptr, nullptr), E_INVALIDARG);
        EXPECT_EQ(filter.SetStreamLost(number, eVMLS_Last), E_INVALIDARG);
        EXPECT_EQ(filter.IsStreamLost(number, nullptr, nullptr), E_INVALIDARG);
        EXPECT_EQ(filter.GetStreamMaxWait(number, nullptr, nullptr), E_INVALIDARG);
        EXPECT_EQ(filter.SetStreamMaxWait(number, 1, eVMLS_Last), number < 0 ? S_OK : E_INVALIDARG);
        EXPECT_EQ(filter.FlushBuffers(number), S_OK);
        EXPECT_EQ(filter.SendFrame(static_cast<std::size_t>(number), MakeFrame(1)), E_UNEXPECTED);
    }
    EXPECT_FALSE(filter.dirty);
    // The free stream is a stream.
    EXPECT_EQ(filter.EnableStream(2, 1), S_OK);
    EXPECT_TRUE(filter.dirty);
}

TEST(StreamControl, TheLastShownStreamStaysOn) {
    FakeFilter filter(2);
    EXPECT_EQ(filter.EnableStream(1, 0), S_OK);
    filter.dirty = false;
    EXPECT_EQ(filter.EnableStream(0, 0), S_FALSE);
    EXPECT_EQ(filter.IsStreamEnabled(0, nullptr), S_OK);
    EXPECT_FALSE(filter.dirty);
    // One that fades out, or has no connection, does not count.
    filter.In(1).enabled = filter.In(1).hidePending = true;
    EXPECT_EQ(filter.EnableStream(2, 1), S_OK);
    EXPECT_EQ(filter.EnableStream(0, 0), S_FALSE);
    EXPECT_EQ(filter.EnableStream(1, 1), S_OK);
    EXPECT_FALSE(filter.In(1).hidePending);
    EXPECT_EQ(filter.EnableStream(0, 0), S_OK);
}

TEST(StreamControl, SettingsAreToldBack) {
    FakeFilter filter;
    BOOL answer = 0;
    BOOL stopsAll = 0;
    // The defaults.
    EXPECT_EQ(filter.IsStreamLooped(0, &answer, &stopsAll), S_OK);
    EXPECT_EQ(stopsAll, 0);
    EXPECT_EQ(filter.IsIgnoreTime(0, &answer), S_FALSE);
    EXPECT_EQ(filter.IsKeepStreamRate(0, &answer), S_FALSE);
    LONG wait = 0;
    eVM_LostShow show{};
    EXPECT_EQ(filter.GetStreamMaxWait(0, &wait, &show), S_OK);
    EXPECT_EQ(wait, 8);
    EXPECT_EQ(show, eVMLS_Last);

    EXPECT_EQ(filter.LoopStream(0, 0, 5), S_OK);
    EXPECT_EQ(filter.IsStreamLooped(0, &answer, &stopsAll), S_FALSE);
    EXPECT_EQ(answer, 0);
    EXPECT_EQ(stopsAll, 1);
    EXPECT_EQ(filter.SetStreamMaxWait(0, 3, eVMLS_Black), S_OK);
    EXPECT_EQ(filter.SetStreamMaxWait(0, -1, eVMLS_White), S_OK);
    EXPECT_EQ(filter.GetStreamMaxWait(0, &wait, &show), S_OK);
    EXPECT_EQ(wait, 3);
    EXPECT_EQ(show, eVMLS_White);
    EXPECT_EQ(filter.IsStreamLost(0, &answer, nullptr), S_FALSE);
    EXPECT_EQ(filter.SetStreamForChromaKey(77), S_OK);
    EXPECT_EQ(filter.GetStreamForChromaKey(&wait), S_OK);
    EXPECT_EQ(wait, 77);
}

TEST(StreamControl, TheMasterChangesOnlyWhenStopped) {
    FakeFilter filter(2);
    LONG master = 0;
    EXPECT_EQ(filter.GetMasterStream(&master), S_FALSE);
    EXPECT_EQ(master, -1);
    EXPECT_EQ(filter.SetMasterStream(-1), S_FALSE);
    EXPECT_EQ(filter.SetMasterStream(2), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(filter.SetMasterStream(99), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(filter.rebuilds, 0);
    EXPECT_EQ(filter.SetMasterStream(1), S_OK);
    EXPECT_EQ(filter.rebuilds, 1);
    EXPECT_EQ(filter.GetMasterStream(&master), S_OK);
    EXPECT_EQ(master, 1);
    ASSERT_EQ(filter.Pause(), S_OK);
    EXPECT_EQ(filter.SetMasterStream(1), S_FALSE);
    EXPECT_EQ(filter.SetMasterStream(0), VFW_E_NOT_STOPPED);
}

TEST(StreamControl, TheOutputPeriodFollowsMasterRequestAndFastestStream) {
    FakeFilter filter(0);
    EXPECT_EQ(filter.ComputeOutputFrameTime(-1), 0);
    FakeFilter::Connect(filter.In(0), kPicture, 400000);
    FakeFilter::Connect(filter.AddInput(), kPicture, 200000);
    FakeFilter::Connect(filter.AddInput(), kPicture, 166667);
    (void)filter.AddInput();
    EXPECT_EQ(filter.ComputeOutputFrameTime(-1), 166667);
    EXPECT_EQ(filter.ComputeOutputFrameTime(2), 200000);
    filter.givenOutputProps.dblStreamFPS = 29.97;
    EXPECT_EQ(filter.ComputeOutputFrameTime(-1), 333667);
    ASSERT_EQ(filter.SetMasterStream(0), S_OK);
    EXPECT_EQ(filter.outputFrameTime, 400000);
    filter.givenOutputProps.dblStreamFPS = 0;
    ASSERT_EQ(filter.SetMasterStream(-1), S_OK);
    FakeFilter::Connect(filter.In(1), kPicture, 0);
    EXPECT_EQ(filter.ComputeOutputFrameTime(-1), 0);
}

TEST(StreamControl, MasksWantARect) {
    FakeFilter filter;
    BSTR name = nullptr;
    EXPECT_EQ(filter.GetRectMask(0, 0, nullptr), E_POINTER);
    EXPECT_EQ(filter.GetRectMask(0, 1, &name), E_INVALIDARG);
    EXPECT_EQ(filter.SetRectMask(0, 1, nullptr), E_INVALIDARG);
    EXPECT_EQ(filter.SetRectMaskHandle(9, 0, 1, nullptr), E_INVALIDARG);
    EXPECT_EQ(filter.SetRectMaskHandle(0, 0, 0, nullptr), E_POINTER);
    EXPECT_EQ(filter.SetRectMask(0, 0, nullptr), S_OK);
    ASSERT_EQ(filter.GetRectMask(0, 0, &name), S_OK);
    EXPECT_EQ(SysStringLen(name), 0u);
    SysFreeString(name);
}

}  // namespace
}  // namespace qdvm::test
