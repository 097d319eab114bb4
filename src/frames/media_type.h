#pragma once

// The media type as an owned value.

#include <qdvideomixer/media_type.h>
#include <qdvideomixer/object.h>

#include <cstddef>
#include <cstdint>

namespace qdvm {

// Whether two subtypes name the same format: equal, or both of the FourCC form with printable
// characters that differ only in the case of letters.
bool SameSubtype(const GUID& a, const GUID& b);

// Gives back what a media type owns (format block and object) and empties it. Null is allowed.
void FreeMediaTypeContents(AM_MEDIA_TYPE* type);

// The same, and then the record itself, which is task memory.
void DeleteMediaType(AM_MEDIA_TYPE* type);

// Owns the format block (task memory) and one reference of pUnk. Copies are deep. A copy for which
// memory is short comes out empty: callers for whom that matters use Assign, which tells.
// A block size without a block, and a block without a size, count as no block.
class MediaType {
public:
    MediaType() = default;
    explicit MediaType(const AM_MEDIA_TYPE& other) { (void)Assign(&other); }
    MediaType(const MediaType& other) { (void)Assign(&other.type); }
    MediaType(MediaType&& other) noexcept;
    MediaType& operator=(const MediaType& other);
    MediaType& operator=(MediaType&& other) noexcept;
    ~MediaType() { Clear(); }

    // A deep copy of a record that stays the caller's; null empties. E_OUTOFMEMORY leaves this
    // type as it was.
    HRESULT Assign(const AM_MEDIA_TYPE* source);

    // The empty type: no major type, no block.
    void Clear();

    // A deep copy into a caller's record, whose old contents are not looked at. E_POINTER,
    // E_OUTOFMEMORY; the record is empty after a failure.
    HRESULT CopyTo(AM_MEDIA_TYPE* target) const;

    // A deep copy in a record of task memory (DeleteMediaType), or null when memory is short.
    AM_MEDIA_TYPE* NewCopy() const;

    // A new block of zeros in place of the old one. E_OUTOFMEMORY leaves no block.
    HRESULT ResizeFormat(std::uint32_t bytes);

    bool HasMajorType() const { return type.majortype != GUID_NULL; }

    // The format block as the record that formattype names; null if it is another one or too short.
    VIDEOINFOHEADER* VideoInfo();
    const VIDEOINFOHEADER* VideoInfo() const;
    VIDEOINFOHEADER2* VideoInfo2();
    const VIDEOINFOHEADER2* VideoInfo2() const;

    // The picture's header in whichever of the two it is.
    BITMAPINFOHEADER* BitmapHeader();
    const BITMAPINFOHEADER* BitmapHeader() const;

    // The record, for reading and for changing its plain fields. pbFormat, cbFormat and pUnk belong
    // to this object.
    const AM_MEDIA_TYPE& Get() const { return type; }
    const AM_MEDIA_TYPE& operator*() const { return type; }
    const AM_MEDIA_TYPE* operator->() const { return &type; }
    AM_MEDIA_TYPE* operator->() { return &type; }

    // Major type, subtype (SameSubtype), format type and the bytes of the format block.
    friend bool operator==(const MediaType& a, const MediaType& b) { return a.Equals(b.type); }
    bool Equals(const AM_MEDIA_TYPE& other) const;

private:
    AM_MEDIA_TYPE type{};
};

}  // namespace qdvm
