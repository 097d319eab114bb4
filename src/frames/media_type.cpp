#include "frames/media_type.h"

#include <cstring>
#include <utility>

namespace qdvm {

namespace {

// A deep copy of *source over *target, whose contents are not looked at. Only whole copies are
// handed out.
HRESULT CopyMediaType(AM_MEDIA_TYPE* target, const AM_MEDIA_TYPE& source) {
    AM_MEDIA_TYPE copy = source;
    copy.cbFormat = 0;
    copy.pbFormat = nullptr;
    if (source.pbFormat && source.cbFormat != 0) {
        copy.pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(source.cbFormat));
        if (!copy.pbFormat) return E_OUTOFMEMORY;
        copy.cbFormat = source.cbFormat;
        std::memcpy(copy.pbFormat, source.pbFormat, source.cbFormat);
    }
    if (copy.pUnk) copy.pUnk->AddRef();
    *target = copy;
    return S_OK;
}

bool IsFourCCSubtype(const GUID& subtype) { return subtype == FourCCSubtype(subtype.Data1); }

// Upper case where it is a letter; 0 if it can't be printed.
int FoldedCharacter(std::uint32_t code, int index) {
    const int character = static_cast<int>((code >> (8 * index)) & 0xFF);
    if (character < 0x20 || character > 0x7E) return 0;
    return character >= 'a' && character <= 'z' ? character - 'a' + 'A' : character;
}

bool SameFourCC(std::uint32_t a, std::uint32_t b) {
    for (int i = 0; i < 4; ++i) {
        const int folded = FoldedCharacter(a, i);
        if (folded == 0 || folded != FoldedCharacter(b, i)) return false;
    }
    return true;
}

// The block of *type as a Header if its format type says so and it is whole.
template <class Header>
Header* BlockAs(const AM_MEDIA_TYPE& type, const GUID& formatType) {
    if (type.formattype != formatType || !type.pbFormat || type.cbFormat < sizeof(Header))
        return nullptr;
    return reinterpret_cast<Header*>(type.pbFormat);
}

}  // namespace

bool SameSubtype(const GUID& a, const GUID& b) {
    if (a == b) return true;
    return IsFourCCSubtype(a) && IsFourCCSubtype(b) && SameFourCC(a.Data1, b.Data1);
}

void FreeMediaTypeContents(AM_MEDIA_TYPE* type) {
    if (!type) return;
    CoTaskMemFree(type->pbFormat);
    if (type->pUnk) type->pUnk->Release();
    *type = {};
}

void DeleteMediaType(AM_MEDIA_TYPE* type) {
    FreeMediaTypeContents(type);
    CoTaskMemFree(type);
}

MediaType::MediaType(MediaType&& other) noexcept : type(std::exchange(other.type, {})) {}

MediaType& MediaType::operator=(const MediaType& other) {
    if (this != &other && Failed(Assign(&other.type))) Clear();
    return *this;
}

MediaType& MediaType::operator=(MediaType&& other) noexcept {
    if (this != &other) {
        Clear();
        type = std::exchange(other.type, {});
    }
    return *this;
}

HRESULT MediaType::Assign(const AM_MEDIA_TYPE* source) {
    if (source == &type) return S_OK;
    AM_MEDIA_TYPE copy{};
    if (source) {
        const HRESULT result = CopyMediaType(&copy, *source);
        if (Failed(result)) return result;
    }
    Clear();
    type = copy;
    return S_OK;
}

void MediaType::Clear() { FreeMediaTypeContents(&type); }

HRESULT MediaType::CopyTo(AM_MEDIA_TYPE* target) const {
    if (!target) return E_POINTER;
    *target = {};
    return CopyMediaType(target, type);
}

AM_MEDIA_TYPE* MediaType::NewCopy() const {
    auto* copy = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
    if (copy && Failed(CopyTo(copy))) {
        CoTaskMemFree(copy);
        return nullptr;
    }
    return copy;
}

HRESULT MediaType::ResizeFormat(std::uint32_t bytes) {
    CoTaskMemFree(std::exchange(type.pbFormat, nullptr));
    type.cbFormat = 0;
    if (bytes == 0) return S_OK;
    type.pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(bytes));
    if (!type.pbFormat) return E_OUTOFMEMORY;
    type.cbFormat = bytes;
    std::memset(type.pbFormat, 0, bytes);
    return S_OK;
}

VIDEOINFOHEADER* MediaType::VideoInfo() { return BlockAs<VIDEOINFOHEADER>(type, FORMAT_VideoInfo); }

const VIDEOINFOHEADER* MediaType::VideoInfo() const {
    return BlockAs<VIDEOINFOHEADER>(type, FORMAT_VideoInfo);
}

VIDEOINFOHEADER2* MediaType::VideoInfo2() {
    return BlockAs<VIDEOINFOHEADER2>(type, FORMAT_VideoInfo2);
}

const VIDEOINFOHEADER2* MediaType::VideoInfo2() const {
    return BlockAs<VIDEOINFOHEADER2>(type, FORMAT_VideoInfo2);
}

BITMAPINFOHEADER* MediaType::BitmapHeader() {
    if (VIDEOINFOHEADER* info = VideoInfo()) return &info->bmiHeader;
    if (VIDEOINFOHEADER2* info = VideoInfo2()) return &info->bmiHeader;
    return nullptr;
}

const BITMAPINFOHEADER* MediaType::BitmapHeader() const {
    return const_cast<MediaType*>(this)->BitmapHeader();
}

bool MediaType::Equals(const AM_MEDIA_TYPE& other) const {
    if (type.majortype != other.majortype || !SameSubtype(type.subtype, other.subtype) ||
        type.formattype != other.formattype)
        return false;
    const std::uint32_t otherBytes = other.pbFormat ? other.cbFormat : 0;
    return type.cbFormat == otherBytes &&
           (otherBytes == 0 || std::memcmp(type.pbFormat, other.pbFormat, otherBytes) == 0);
}

}  // namespace qdvm
