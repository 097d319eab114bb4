// Setups out of streams: one that is refused leaves the stream where it was, and loads nothing.

#include "fuzz_text.h"

#include "config/persistence.h"
#include "config/xml_writer.h"

#include <qdvideomixer/create.h>

using namespace qdvm;

namespace {

class Keeper final : public IQPersistImpl {
public:
    HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT GetClassID(CLSID*) override { return E_NOTIMPL; }

    XMLParse::XMLNodePtr loaded;

private:
    HRESULT SaveConfiguration(const XMLParse::XMLNodePtr& root, std::u16string_view) override {
        return loaded->CopyTo(root, true, XMLParse::AttrMode::Replace) < 0 ? E_FAIL : S_OK;
    }
    HRESULT LoadConfiguration(const XMLParse::XMLNodePtr& root, std::u16string_view) override {
        loaded = root;
        return S_OK;
    }
    std::atomic<bool>& DirtyMark() override { return dirty; }

    std::atomic<bool> dirty{false};
};

std::uint64_t Seek(IStream& stream, std::int64_t distance, STREAM_SEEK origin) {
    LARGE_INTEGER move{};
    move.QuadPart = distance;
    ULARGE_INTEGER position{};
    fuzz::Require(stream.Seek(move, origin, &position) == S_OK);
    return position.QuadPart;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Ref<IStream> stream;
    fuzz::Require(CreateByteStream(IID_IStream, stream.PutVoid()) == S_OK);
    if (size == 0) return 0;
    fuzz::Require(stream->Write(data, static_cast<ULONG>(size), nullptr) == S_OK);
    Seek(*stream, 0, STREAM_SEEK_SET);
    Keeper keeper;
    if (Failed(keeper.Load(stream.Get()))) {
        fuzz::Require(!keeper.loaded && Seek(*stream, 0, STREAM_SEEK_CUR) == 0);
        return 0;
    }
    const std::u16string text = XMLParse::ToText(keeper.loaded);
    Seek(*stream, 0, STREAM_SEEK_SET);
    fuzz::Require(keeper.Save(stream.Get(), 1) == S_OK);
    fuzz::Require(Seek(*stream, 0, STREAM_SEEK_CUR) == 4 + 2 * text.size() + 2);
    return 0;
}
