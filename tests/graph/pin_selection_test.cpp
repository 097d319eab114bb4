// Picking pins of other filters, and the way up a chain to a frame time.

#include "graph/pin_selection.h"
#include "frames/format_table.h"
#include "graph/ds_enum.h"
#include "support/graph_fakes.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace qdvm::test {
namespace {

// A filter with any pins, whose walk can be disturbed.
class ManyPins final : public ObjectRoot<IBaseFilter> {
public:
    HRESULT GetClassID(CLSID*) override { return E_NOTIMPL; }
    HRESULT Stop() override { return S_OK; }
    HRESULT Pause() override { return S_OK; }
    HRESULT Run(REFERENCE_TIME) override { return S_OK; }
    HRESULT GetState(DWORD, FILTER_STATE*) override { return E_NOTIMPL; }
    HRESULT SetSyncSource(IReferenceClock*) override { return S_OK; }
    HRESULT GetSyncSource(IReferenceClock**) override { return E_NOTIMPL; }
    HRESULT EnumPins(IEnumPins** out) override { return CComDSEnum<Walk>::Make(Walk{this}, out); }
    HRESULT FindPin(LPCOLESTR, IPin**) override { return E_NOTIMPL; }
    HRESULT QueryFilterInfo(FILTER_INFO*) override { return E_NOTIMPL; }
    HRESULT JoinFilterGraph(IFilterGraph*, LPCOLESTR) override { return S_OK; }
    HRESULT QueryVendorInfo(LPOLESTR*) override { return E_NOTIMPL; }

    void Add(Ref<FakePin> pin) {
        pin->filter = this;
        pins.push_back(std::move(pin));
    }

    std::vector<Ref<FakePin>> pins;
    int disturbances = 0;

private:
    struct Walk {
        using Interface = IEnumPins;
        using Item = IPin;

        HRESULT Get(ULONG index, IPin** pin) const {
            if (owner->disturbances > 0) {
                --owner->disturbances;
                return VFW_E_ENUM_OUT_OF_SYNC;
            }
            if (index >= owner->pins.size()) return S_FALSE;
            Ref<IPin>(owner->pins[index]).CopyTo(pin);
            return S_OK;
        }
        static void GiveBack(IPin* pin) { (void)pin->Release(); }

        ManyPins* owner;
    };
};

void Join(FakePin& output, FakePin& input, const MediaType& type) {
    output.peer = static_cast<IPin*>(&input);
    input.peer = static_cast<IPin*>(&output);
    output.type = input.type = type;
}

void Part(FakePin& pin) { pin.peer.Reset(); }

TEST(PinSelection, TakesPinsByDirectionAndConnection) {
    const Ref<ManyPins> filter = MakeObject<ManyPins>();
    CPinSelStd free(PINDIR_INPUT, false);
    EXPECT_EQ(free.Select(nullptr), E_INVALIDARG);
    EXPECT_EQ(free.Select(filter.Get()), S_FALSE);
    const Ref<FakeSink> input = MakeObject<FakeSink>();
    const Ref<FakeSink> joined = MakeObject<FakeSink>();
    const Ref<FakeSource> output = MakeObject<FakeSource>();
    const Ref<FakeSource> upstream = MakeObject<FakeSource>();
    for (const Ref<FakePin>& pin :
         {Ref<FakePin>(input), Ref<FakePin>(joined), Ref<FakePin>(output)})
        filter->Add(pin);
    Join(*upstream, *joined, VideoType(kFccYUY2, 64, 32));

    EXPECT_EQ(free.Select(filter.Get()), S_OK);
    ASSERT_EQ(free.pins.size(), 1u);
    EXPECT_TRUE(free.pins[0] == static_cast<IPin*>(input.Get()));
    CPinSelStd connected(PINDIR_INPUT, true);
    EXPECT_EQ(connected.Select(filter.Get()), S_OK);
    EXPECT_TRUE(connected.pins.at(0) == static_cast<IPin*>(joined.Get()));
    EXPECT_EQ(connected.Select(upstream.Get()), E_INVALIDARG);
    EXPECT_TRUE(connected.pins.empty());
    // A peer that doesn't know the pin.
    upstream->peer = static_cast<IPin*>(input.Get());
    EXPECT_EQ(connected.Select(filter.Get()), E_FAIL);
    Part(*upstream);
    Part(*joined);
}

TEST(PinSelection, StartsOverWhenPinsChange) {
    const Ref<ManyPins> filter = MakeObject<ManyPins>();
    filter->Add(Ref<FakePin>(MakeObject<FakeSink>()));
    CPinSelection all;
    filter->disturbances = 15;
    EXPECT_EQ(all.Select(filter.Get()), S_OK);
    EXPECT_EQ(all.pins.size(), 1u);
    filter->disturbances = 16;
    EXPECT_EQ(all.Select(filter.Get()), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_TRUE(all.pins.empty());
}

TEST(UpstreamFrameTime, WalksUpUntilAFilterTells) {
    const Ref<ManyPins> decoder = MakeObject<ManyPins>();
    const Ref<FakeSource> source = MakeObject<FakeSource>();
    const Ref<FakeSink> spare = MakeObject<FakeSink>();
    const Ref<FakeSink> decoderIn = MakeObject<FakeSink>();
    const Ref<FakeSource> decoderOut = MakeObject<FakeSource>();
    const Ref<FakeSink> last = MakeObject<FakeSink>();
    decoder->Add(Ref<FakePin>(spare));
    decoder->Add(Ref<FakePin>(decoderIn));
    decoder->Add(Ref<FakePin>(decoderOut));
    Join(*decoderOut, *last, VideoType(kFccYUY2, 64, 32, 0));
    EXPECT_EQ(UpstreamFrameTime(decoderOut.Get()), 0);
    Join(*source, *decoderIn, VideoType(kFccYUY2, 64, 32, 333667));
    EXPECT_EQ(UpstreamFrameTime(decoderOut.Get()), 333667);
    EXPECT_EQ(UpstreamFrameTime(nullptr), 0);

    // A circle of filters that all keep silent comes to an end.
    Join(*decoderOut, *decoderIn, VideoType(kFccYUY2, 64, 32, 0));
    EXPECT_EQ(UpstreamFrameTime(decoderOut.Get()), 0);
    for (FakePin* pin :
         {static_cast<FakePin*>(source.Get()), static_cast<FakePin*>(decoderIn.Get()),
          static_cast<FakePin*>(decoderOut.Get()), static_cast<FakePin*>(last.Get())})
        Part(*pin);
}

}  // namespace
}  // namespace qdvm::test
