#pragma once

// How the mixer sees a media sample: a counted handle over whatever carries the frame. The room
// that knows the sample's real interface supplies one constant table of operations, so that taking
// a frame in costs no allocation.

#include <qdvideomixer/object.h>

#include <cstdint>
#include <utility>

namespace qdvm {

// Results are those of the sample. Times are in 100 ns, lengths and sizes in bytes.
struct MediaFrameMethods {
    void (*hold)(void* sample);
    void (*drop)(void* sample);
    HRESULT (*getPointer)(void* sample, BYTE** data);
    LONG (*getSize)(void* sample);
    LONG (*getActualLength)(void* sample);
    HRESULT (*setActualLength)(void* sample, LONG length);
    // S_OK both times, positive only a start time, negative no times.
    HRESULT (*getTime)(void* sample, std::int64_t* start, std::int64_t* stop);
    HRESULT (*setTime)(void* sample, std::int64_t* start, std::int64_t* stop);
    HRESULT (*getMediaTime)(void* sample, std::int64_t* start, std::int64_t* stop);
    HRESULT (*setMediaTime)(void* sample, std::int64_t* start, std::int64_t* stop);
    bool (*isSyncPoint)(void* sample);
    HRESULT (*setSyncPoint)(void* sample, bool set);
    bool (*isPreroll)(void* sample);
    HRESULT (*setPreroll)(void* sample, bool set);
    bool (*isDiscontinuity)(void* sample);
    HRESULT (*setDiscontinuity)(void* sample, bool set);
};

// Copying holds the sample once more. An empty handle stands for no frame. Thread-safety: as a
// plain value; the sample's own count is atomic.
class MediaFrame {
public:
    MediaFrame() = default;
    // Takes a new hold on the sample.
    MediaFrame(void* held, const MediaFrameMethods* table) : sample(held), methods(table) {
        if (sample) methods->hold(sample);
    }
    MediaFrame(const MediaFrame& other) : MediaFrame(other.sample, other.methods) {}
    MediaFrame(MediaFrame&& other) noexcept
        : sample(std::exchange(other.sample, nullptr)), methods(other.methods) {}
    MediaFrame& operator=(MediaFrame other) noexcept {
        std::swap(sample, other.sample);
        std::swap(methods, other.methods);
        return *this;
    }
    ~MediaFrame() {
        if (sample) methods->drop(sample);
    }

    explicit operator bool() const { return sample != nullptr; }
    void* Sample() const { return sample; }

    HRESULT GetPointer(BYTE** data) const { return methods->getPointer(sample, data); }
    LONG Size() const { return methods->getSize(sample); }
    LONG ActualLength() const { return methods->getActualLength(sample); }
    HRESULT SetActualLength(LONG length) const { return methods->setActualLength(sample, length); }
    HRESULT GetTime(std::int64_t* start, std::int64_t* stop) const {
        return methods->getTime(sample, start, stop);
    }
    // Null times clear them.
    HRESULT SetTime(std::int64_t* start, std::int64_t* stop) const {
        return methods->setTime(sample, start, stop);
    }
    HRESULT GetMediaTime(std::int64_t* start, std::int64_t* stop) const {
        return methods->getMediaTime(sample, start, stop);
    }
    HRESULT SetMediaTime(std::int64_t* start, std::int64_t* stop) const {
        return methods->setMediaTime(sample, start, stop);
    }
    bool IsSyncPoint() const { return methods->isSyncPoint(sample); }
    HRESULT SetSyncPoint(bool set) const { return methods->setSyncPoint(sample, set); }
    bool IsPreroll() const { return methods->isPreroll(sample); }
    HRESULT SetPreroll(bool set) const { return methods->setPreroll(sample, set); }
    bool IsDiscontinuity() const { return methods->isDiscontinuity(sample); }
    HRESULT SetDiscontinuity(bool set) const { return methods->setDiscontinuity(sample, set); }

private:
    void* sample = nullptr;
    const MediaFrameMethods* methods = nullptr;
};

}  // namespace qdvm
