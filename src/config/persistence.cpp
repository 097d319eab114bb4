#include "config/persistence.h"

#include "config/file_path.h"
#include "config/xml_reader.h"
#include "config/xml_writer.h"
#include "platform/counted_string.h"
#include "platform/file.h"
#include "platform/no_throw.h"

#include <cstdint>
#include <vector>

namespace qdvm {
namespace {

using namespace XMLParse;

constexpr std::u16string_view kSavedRoot = u"m_config";
constexpr std::u16string_view kLoadedRoot = u"qd-root";

constexpr std::uint32_t kMostStreamBytes = 0x100000;
constexpr std::uint32_t kTerminatorBytes = 2;

XMLNodePtr ReadParameters(BSTR text) {
    XMLNodePtr node = CreateNode(u"param");
    (void)ParseAttributes(node, ViewOf(text), AttrMode::Update, false);
    return node;
}

std::uint64_t TextBytes(std::u16string_view text) { return 2 * std::uint64_t{text.size()}; }

// All of the bytes or a failure.
HRESULT ReadAll(IStream& stream, std::uint8_t* bytes, ULONG count) {
    while (count > 0) {
        ULONG taken = 0;
        const HRESULT result = stream.Read(bytes, count, &taken);
        if (Failed(result)) return result;
        if (taken == 0 || taken > count) return E_FAIL;
        bytes += taken;
        count -= taken;
    }
    return S_OK;
}

HRESULT WriteAll(IStream& stream, const std::vector<std::uint8_t>& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const auto count = static_cast<ULONG>(bytes.size() - done);
        ULONG taken = 0;
        const HRESULT result = stream.Write(bytes.data() + done, count, &taken);
        if (Failed(result)) return result;
        if (taken == 0 || taken > count) return E_FAIL;
        done += taken;
    }
    return S_OK;
}

void AppendNumber(std::vector<std::uint8_t>& bytes, std::uint32_t value, int width) {
    for (int i = 0; i < width; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

std::vector<std::uint8_t> StreamForm(std::u16string_view text) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(text.size() * 2 + 6);
    AppendNumber(bytes, static_cast<std::uint32_t>(TextBytes(text) + kTerminatorBytes), 4);
    for (const char16_t unit : text) AppendNumber(bytes, unit, 2);
    AppendNumber(bytes, 0, 2);
    return bytes;
}

HRESULT ReadStreamForm(IStream& stream, std::u16string* text) {
    std::uint8_t head[4] = {};
    HRESULT result = ReadAll(stream, head, sizeof(head));
    if (Failed(result)) return result;
    const std::uint32_t length = std::uint32_t{head[0]} | std::uint32_t{head[1]} << 8 |
                                 std::uint32_t{head[2]} << 16 | std::uint32_t{head[3]} << 24;
    if (length == 0) return S_OK;
    if (length > kMostStreamBytes) return E_ACCESSDENIED;
    if (length % 2 != 0) return E_FAIL;
    std::vector<std::uint8_t> bytes(length);
    result = ReadAll(stream, bytes.data(), length);
    if (Failed(result)) return E_FAIL;
    for (std::size_t i = 0; i < bytes.size(); i += 2)
        text->push_back(static_cast<char16_t>(bytes[i] | bytes[i + 1] << 8));
    if (text->back() != 0) return E_FAIL;
    text->pop_back();
    return S_OK;
}

HRESULT SeekTo(IStream& stream, std::int64_t move, DWORD origin, std::uint64_t* position) {
    LARGE_INTEGER distance{};
    distance.QuadPart = move;
    ULARGE_INTEGER reached{};
    const HRESULT result = stream.Seek(distance, origin, &reached);
    if (position) *position = reached.QuadPart;
    return result;
}

}  // namespace

HRESULT IQPersistImpl::SaveText(std::u16string_view place, std::u16string* text) {
    const XMLNodePtr root = CreateNode(kSavedRoot);
    const HRESULT result = SaveConfiguration(root, place);
    if (Succeeded(result)) *text = ToText(root);
    return result;
}

HRESULT IQPersistImpl::PersistSaveToFile(BSTR /*_bsObject*/, BSTR _bsFileName, BSTR _bsSaveParam) {
    const std::u16string_view name = ViewOf(_bsFileName);
    if (name.empty()) return E_INVALIDARG;
    return NoThrow([&] {
        const bool isUnicode = ReadParameters(_bsSaveParam)->GetBool(u"unicode");
        const XMLNodePtr root = CreateNode(kSavedRoot);
        const HRESULT result = SaveConfiguration(root, AbsoluteFileName(name));
        return Failed(result) ? result : SaveFile(root, name, isUnicode);
    });
}

HRESULT IQPersistImpl::PersistSaveToString(BSTR /*_bsObject*/, BSTR* _pbsXMLDesc,
                                           BSTR _bsSaveParam) {
    if (!_pbsXMLDesc) return E_POINTER;
    *_pbsXMLDesc = nullptr;
    return NoThrow([&] {
        std::u16string text;
        const HRESULT result = SaveText(ReadParameters(_bsSaveParam)->GetString(u"path"), &text);
        return Failed(result) ? result : CopyOut(text, _pbsXMLDesc);
    });
}

HRESULT IQPersistImpl::PersistLoad(BSTR /*_bsObject*/, BSTR _bsXMLDescOrFile, BSTR _bsLoadParam) {
    const std::u16string_view text = ViewOf(_bsXMLDescOrFile);
    if (text.empty()) return E_INVALIDARG;
    return NoThrow([&] {
        const XMLNodePtr root = CreateNode(kLoadedRoot);
        const bool isFile = FileExists(text);
        const HRESULT result = isFile ? ParseFile(root, text) : Parse(root, text);
        if (Failed(result)) return result;
        // What has just been loaded is no change that waits to be saved.
        const bool wasDirty = DirtyMark();
        const HRESULT loaded =
            LoadConfiguration(root, isFile ? AbsoluteFileName(text)
                                           : ReadParameters(_bsLoadParam)->GetString(u"path"));
        DirtyMark() = wasDirty;
        return loaded;
    });
}

HRESULT IQPersistImpl::IsDirty() { return DirtyMark() ? S_OK : S_FALSE; }

HRESULT IQPersistImpl::Load(IStream* stream) {
    if (!stream) return E_POINTER;
    return NoThrow([&] {
        std::uint64_t start = 0;
        HRESULT result = SeekTo(*stream, 0, STREAM_SEEK_CUR, &start);
        if (Failed(result)) return result;
        std::u16string text;
        result = ReadStreamForm(*stream, &text);
        if (Succeeded(result)) result = PersistLoad(nullptr, CountedString(text).Get(), nullptr);
        if (Failed(result))
            (void)SeekTo(*stream, static_cast<std::int64_t>(start), STREAM_SEEK_SET, nullptr);
        return result;
    });
}

HRESULT IQPersistImpl::Save(IStream* stream, BOOL clearDirty) {
    if (!stream) return E_POINTER;
    return NoThrow([&] {
        std::u16string text;
        HRESULT result = SaveText({}, &text);
        if (Failed(result)) return result;
        // Before the writing, so that a change from here on counts as one that isn't saved.
        const bool wasDirty = clearDirty && DirtyMark().exchange(false);
        result = WriteAll(*stream, StreamForm(text));
        if (Failed(result) && wasDirty) DirtyMark() = true;
        return result;
    });
}

HRESULT IQPersistImpl::GetSizeMax(ULARGE_INTEGER* bytes) {
    if (!bytes) return E_POINTER;
    bytes->QuadPart = 0;
    return NoThrow([&] {
        constexpr std::uint64_t kBeside = 16;
        std::u16string text;
        const HRESULT result = SaveText({}, &text);
        if (Succeeded(result)) bytes->QuadPart = TextBytes(text) + kBeside;
        return result;
    });
}

}  // namespace qdvm
