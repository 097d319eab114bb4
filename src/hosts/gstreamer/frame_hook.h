#pragma once

// The host's foot between two frames of the filter.

#include "platform/object_root.h"

#include <qdvideomixer/frame_listener.h>

#include <cstdint>

namespace qdvm {

QDVM_INTERFACE(IQDVideoMixerFrameListener, IUnknown, IID_IQDVideoMixerFrameListener);

// Who acts between two frames. Called on the thread that composes.
class FrameWatcher {
public:
    virtual void BeforeFrame(std::uint64_t frame) = 0;

protected:
    ~FrameWatcher() = default;
};

// The watcher outlives the filter's last frame.
class FrameHook final : public ObjectRoot<IQDVideoMixerFrameListener> {
public:
    explicit FrameHook(FrameWatcher* owner) : watcher(owner) {}

    void BeforeFrame(std::uint64_t frame) override { watcher->BeforeFrame(frame); }

private:
    ~FrameHook() override = default;

    FrameWatcher* const watcher;
};

}  // namespace qdvm
