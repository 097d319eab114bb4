#include "graph/media_sample.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace qdvm {
namespace {

// Never shown to others: the published flags have no bit for valid media times.
constexpr DWORD kMediaTimeValid = 0x020;

constexpr DWORD kSettableFlags = 0x1DF;

// Bytes of AM_SAMPLE2_PROPERTIES up to and with a field.
constexpr DWORD kThroughTypeFlags = 8;
constexpr DWORD kThroughSampleFlags = 12;
constexpr DWORD kThroughActual = 16;
constexpr DWORD kThroughStart = 24;
constexpr DWORD kThroughStop = 32;
constexpr DWORD kThroughStreamId = 36;
constexpr DWORD kThroughMediaType = 48;
constexpr DWORD kThroughBuffer = 56;
constexpr DWORD kThroughBufferSize = 60;
constexpr DWORD kWholeRecord = sizeof(AM_SAMPLE2_PROPERTIES);

}  // namespace

HRESULT CMediaSample::GetPointer(BYTE** data) {
    if (!data) return E_POINTER;
    *data = buffer;
    return buffer ? S_OK : E_FAIL;
}

LONG CMediaSample::GetSize() { return size; }

HRESULT CMediaSample::GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) {
    if (!start || !stop) return E_INVALIDARG;
    if ((flags & AM_SAMPLE_STOPVALID) != 0) {
        *start = startTime;
        *stop = stopTime;
        return S_OK;
    }
    if ((flags & AM_SAMPLE_TIMEVALID) == 0) return VFW_E_SAMPLE_TIME_NOT_SET;
    *start = startTime;
    *stop = startTime + 1;
    return VFW_S_NO_STOP_TIME;
}

HRESULT CMediaSample::SetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) {
    if (!start) {
        SetFlag(AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID, false);
        startTime = stopTime = 0;
        return S_OK;
    }
    if (stop && *stop < *start) return E_INVALIDARG;
    SetFlag(AM_SAMPLE_STOPVALID, stop != nullptr);
    stopTime = stop ? *stop : 0;
    SetFlag(AM_SAMPLE_TIMEVALID, true);
    startTime = *start;
    return S_OK;
}

HRESULT CMediaSample::IsSyncPoint() { return FlagResult(AM_SAMPLE_SPLICEPOINT); }

HRESULT CMediaSample::SetSyncPoint(BOOL isSyncPoint) {
    SetFlag(AM_SAMPLE_SPLICEPOINT, isSyncPoint != 0);
    return S_OK;
}

HRESULT CMediaSample::IsPreroll() { return FlagResult(AM_SAMPLE_PREROLL); }

HRESULT CMediaSample::SetPreroll(BOOL isPreroll) {
    SetFlag(AM_SAMPLE_PREROLL, isPreroll != 0);
    return S_OK;
}

LONG CMediaSample::GetActualDataLength() { return actualLength; }

HRESULT CMediaSample::SetActualDataLength(LONG length) {
    if (length > size) return VFW_E_BUFFER_OVERFLOW;
    if (length < 0) return E_INVALIDARG;
    actualLength = length;
    return S_OK;
}

HRESULT CMediaSample::GetMediaType(AM_MEDIA_TYPE** copy) {
    if (!copy) return E_POINTER;
    *copy = nullptr;
    if ((flags & AM_SAMPLE_TYPECHANGED) == 0) return S_FALSE;
    *copy = mediaType.NewCopy();
    return *copy ? S_OK : E_OUTOFMEMORY;
}

HRESULT CMediaSample::SetMediaType(AM_MEDIA_TYPE* type) {
    mediaType.Clear();
    hasType = type != nullptr && Succeeded(mediaType.Assign(type));
    SetFlag(AM_SAMPLE_TYPECHANGED, hasType);
    return hasType || !type ? S_OK : E_OUTOFMEMORY;
}

HRESULT CMediaSample::IsDiscontinuity() { return FlagResult(AM_SAMPLE_DATADISCONTINUITY); }

HRESULT CMediaSample::SetDiscontinuity(BOOL isDiscontinuity) {
    SetFlag(AM_SAMPLE_DATADISCONTINUITY, isDiscontinuity != 0);
    return S_OK;
}

HRESULT CMediaSample::GetMediaTime(LONGLONG* start, LONGLONG* stop) {
    if (!start || !stop) return E_INVALIDARG;
    const bool valid = (flags & kMediaTimeValid) != 0;
    *start = valid ? mediaStart : 0;
    *stop = valid ? mediaStop : 0;
    return valid ? S_OK : VFW_E_MEDIA_TIME_NOT_SET;
}

HRESULT CMediaSample::SetMediaTime(LONGLONG* start, LONGLONG* stop) {
    if (!start) {
        SetFlag(kMediaTimeValid, false);
        mediaStart = mediaStop = 0;
        return S_OK;
    }
    if (!stop || *stop < *start) return E_INVALIDARG;
    SetFlag(kMediaTimeValid, true);
    mediaStart = *start;
    mediaStop = *stop;
    return S_OK;
}

HRESULT CMediaSample::GetProperties(DWORD bytes, BYTE* properties) {
    if (bytes == 0) return S_OK;
    if (!properties) return E_POINTER;
    // Zeroed as a whole, so that the gaps of the record tell nothing of our memory.
    AM_SAMPLE2_PROPERTIES record;
    std::memset(&record, 0, sizeof(record));
    record.cbData = std::min(bytes, kWholeRecord);
    record.dwTypeSpecificFlags = typeSpecificFlags;
    record.dwSampleFlags = flags & ~kMediaTimeValid;
    record.lActual = actualLength;
    record.tStart = startTime;
    record.tStop = stopTime;
    record.dwStreamId = streamId;
    record.pMediaType = (flags & AM_SAMPLE_TYPECHANGED) != 0 ? mediaType.operator->() : nullptr;
    record.pbBuffer = buffer;
    record.cbBuffer = size;
    std::memcpy(properties, &record, record.cbData);
    return S_OK;
}

HRESULT CMediaSample::CheckProperties(DWORD bytes, const AM_SAMPLE2_PROPERTIES& given) const {
    if (bytes >= kThroughSampleFlags) {
        if ((given.dwSampleFlags & ~kSettableFlags) != 0) return E_INVALIDARG;
        const bool wantsStart = (given.dwSampleFlags & AM_SAMPLE_TIMEVALID) != 0;
        if (bytes < kThroughStop && wantsStart && (flags & AM_SAMPLE_STOPVALID) == 0)
            return E_INVALIDARG;
    }
    if (bytes >= kThroughActual && (given.lActual < 0 || given.lActual > size)) return E_INVALIDARG;
    if (bytes >= kThroughBuffer && given.pbBuffer && given.pbBuffer != buffer) return E_INVALIDARG;
    if (bytes >= kThroughBufferSize) {
        if (given.cbBuffer != 0 && given.cbBuffer != size) return E_INVALIDARG;
        if (given.cbBuffer < given.lActual) return E_INVALIDARG;
    }
    return S_OK;
}

HRESULT CMediaSample::SetProperties(DWORD bytes, const BYTE* properties) {
    if (bytes < kThroughTypeFlags) return S_OK;
    if (!properties) return E_POINTER;
    AM_SAMPLE2_PROPERTIES given{};
    std::memcpy(&given.cbData, properties, sizeof(given.cbData));
    const DWORD count = std::min(bytes, given.cbData);
    if (count > kWholeRecord) return E_INVALIDARG;
    std::memcpy(&given, properties, count);
    const HRESULT check = CheckProperties(count, given);
    if (Failed(check)) return check;

    if (count >= kThroughMediaType) {
        const HRESULT copied = mediaType.Assign(given.pMediaType);
        if (Failed(copied)) return copied;
        hasType = given.pMediaType != nullptr;
    }
    if (count >= kThroughTypeFlags) typeSpecificFlags = given.dwTypeSpecificFlags;
    if (count >= kThroughSampleFlags) {
        DWORD forced = flags & kMediaTimeValid;
        DWORD taken = kSettableFlags;
        if (count >= kThroughMediaType || !hasType) {
            // The flag then follows the type, whatever the record says.
            taken &= ~AM_SAMPLE_TYPECHANGED;
            if (hasType) forced |= AM_SAMPLE_TYPECHANGED;
        }
        flags = (given.dwSampleFlags & taken) | forced;
    }
    if (count >= kThroughActual) actualLength = given.lActual;
    if (count >= kThroughStart) startTime = given.tStart;
    if (count >= kThroughStop) stopTime = given.tStop;
    if (count >= kThroughStreamId) streamId = given.dwStreamId;
    return S_OK;
}

}  // namespace qdvm
