// The property interface under a document of a client, descriptions included.

#include "fuzz_text.h"

#include "config/properties.h"
#include "platform/counted_string.h"

using namespace qdvm;

namespace {

class Owner final : public IQPropsImpl {
public:
    HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
};

void ReadEverything(Owner& props, BSTR node) {
    LONG count = 0;
    (void)props.PropsGetCount(node, &count);
    for (LONG i = 0; i < count && i < 20; ++i) {
        CountedString name;
        CountedString value;
        BOOL isNode = 0;
        if (Failed(props.PropsGetByIndex(node, i, name.Put(), value.Put(), &isNode))) continue;
        CountedString text;
        (void)props.PropsGet(name.Get(), text.Put());
        for (int type = eQIT_Help; type <= eQIT_Max; ++type)
            (void)props.PropsInfoGet(name.Get(), static_cast<eQInfoType>(type), text.Put());
        LONG option = 0;
        (void)props.PropsOptionGet(name.Get(), &option, text.Put(), nullptr);
        (void)props.PropsOptionGetByIndex(name.Get(), 0, text.Put(), value.Put());
        (void)props.PropsOptionSetByIndex(name.Get(), 1);
    }
}

}  // namespace

// The first line is a name to set, the rest the value.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::u16string text = fuzz::NarrowText(data, size);
    const std::size_t line = text.find(u'\n');
    const CountedString name(std::u16string_view(text).substr(0, line));
    const CountedString value(line != std::u16string::npos
                                  ? std::u16string_view(text).substr(line + 1)
                                  : std::u16string_view());
    Owner props;
    (void)props.PropsSet(nullptr, value.Get());
    ReadEverything(props, nullptr);
    (void)props.PropsSet(name.Get(), value.Get());
    ReadEverything(props, name.Get());
    (void)props.PropsRemove(name.Get());
    CountedString whole;
    fuzz::Require(props.PropsGet(nullptr, whole.Put()) == S_OK);
    return 0;
}
