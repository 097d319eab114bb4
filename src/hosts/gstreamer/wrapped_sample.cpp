#include "hosts/gstreamer/wrapped_sample.h"

#include <limits>
#include <utility>

namespace qdvm {

SamplePool::~SamplePool() {
    for (WrappedSample* sample : idle) delete sample;
}

Ref<WrappedSample> SamplePool::Take() {
    Ref<WrappedSample> sample;
    {
        ScopedLock guard(lock);
        if (!idle.empty()) {
            sample = Ref<WrappedSample>::Adopt(idle.back());
            idle.pop_back();
        }
    }
    if (sample)
        sample->RestartReferences();
    else
        sample = MakeObject<WrappedSample>();
    if (sample) sample->pool = shared_from_this();
    return sample;
}

void SamplePool::GiveBack(WrappedSample* sample) {
    ScopedLock guard(lock);
    idle.push_back(sample);
}

bool WrappedSample::Wrap(GstBuffer* wrapped, gsize offset, gsize lengthInUse) {
    Unwrap();
    if (!wrapped) return true;
    if (!gst_buffer_map(wrapped, &map, GST_MAP_READ)) return false;
    if (offset > map.size || lengthInUse > map.size - offset ||
        map.size - offset > static_cast<gsize>(std::numeric_limits<LONG>::max())) {
        gst_buffer_unmap(wrapped, &map);
        return false;
    }
    buffer = gst_buffer_ref(wrapped);
    data = map.data + offset;
    size = static_cast<LONG>(map.size - offset);
    length = static_cast<LONG>(lengthInUse);
    return true;
}

void WrappedSample::Unwrap() {
    if (buffer) {
        gst_buffer_unmap(buffer, &map);
        gst_buffer_unref(std::exchange(buffer, nullptr));
    }
    data = nullptr;
    size = length = 0;
    times = mediaTimes = {};
    if (std::exchange(hasType, false)) type.Clear();
    isSyncPoint = true;
    isPreroll = isDiscontinuity = false;
}

void WrappedSample::OnLastRelease() {
    Unwrap();
    // The pool may go with this reference, and the sample with it.
    if (const std::shared_ptr<SamplePool> home = std::exchange(pool, nullptr))
        home->GiveBack(this);
    else
        delete this;
}

HRESULT WrappedSample::GetPointer(BYTE** out) {
    if (!out) return E_POINTER;
    *out = data;
    return data ? S_OK : E_FAIL;
}

HRESULT WrappedSample::GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) {
    if (!start || !stop) return E_INVALIDARG;
    if (!times.hasStart) return VFW_E_SAMPLE_TIME_NOT_SET;
    *start = times.start;
    *stop = times.hasStop ? times.stop : times.start + 1;
    return times.hasStop ? S_OK : VFW_S_NO_STOP_TIME;
}

HRESULT WrappedSample::SetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) {
    if (start && stop && *stop < *start) return E_INVALIDARG;
    times = {};
    if (!start) return S_OK;
    times = {*start, stop ? *stop : 0, true, stop != nullptr};
    return S_OK;
}

HRESULT WrappedSample::SetSyncPoint(BOOL set) {
    isSyncPoint = set != 0;
    return S_OK;
}

HRESULT WrappedSample::SetPreroll(BOOL set) {
    isPreroll = set != 0;
    return S_OK;
}

HRESULT WrappedSample::SetDiscontinuity(BOOL set) {
    isDiscontinuity = set != 0;
    return S_OK;
}

HRESULT WrappedSample::SetActualDataLength(LONG newLength) {
    if (newLength < 0) return E_INVALIDARG;
    if (newLength > size) return VFW_E_BUFFER_OVERFLOW;
    length = newLength;
    return S_OK;
}

HRESULT WrappedSample::GetMediaType(AM_MEDIA_TYPE** out) {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (!hasType) return S_FALSE;
    *out = type.NewCopy();
    return *out ? S_OK : E_OUTOFMEMORY;
}

HRESULT WrappedSample::SetMediaType(AM_MEDIA_TYPE* newType) {
    hasType = false;
    type.Clear();
    if (!newType) return S_OK;
    const HRESULT result = type.Assign(newType);
    hasType = Succeeded(result);
    return result;
}

HRESULT WrappedSample::GetMediaTime(LONGLONG* start, LONGLONG* stop) {
    if (!start || !stop) return E_INVALIDARG;
    *start = mediaTimes.start;
    *stop = mediaTimes.stop;
    return mediaTimes.hasStart ? S_OK : VFW_E_MEDIA_TIME_NOT_SET;
}

HRESULT WrappedSample::SetMediaTime(LONGLONG* start, LONGLONG* stop) {
    if (!start) {
        mediaTimes = {};
        return S_OK;
    }
    if (!stop || *stop < *start) return E_INVALIDARG;
    mediaTimes = {*start, *stop, true, true};
    return S_OK;
}

}  // namespace qdvm
