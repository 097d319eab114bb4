#pragma once

// Makes the cues of a show while the mix runs, each between two frames.

#include "hosts/qdmix/gst_handles.h"
#include "hosts/qdmix/plan.h"
#include "hosts/qdmix/script.h"
#include "platform/ref.h"

#include <qdvideomixer/scene.h>
#include <qdvideomixer/video_mixer.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace qdvm::qdmix {

// A document that a cue has made, to be written where no frame waits for it.
struct CueDocument {
    std::string file;
    std::u16string text;
    std::string subject;  // the cue
};

// Made and destroyed while the pipeline is stopped.
class CuePlayer {
public:
    // Follows the mixer from now on. The pads belong to the inputs in their order; all outlive the
    // player. The names of scene documents have been looked at.
    CuePlayer(const Plan& thePlan, const std::vector<Cue>& theCues, GstElement* theMixer,
              const std::vector<GstHandle<GstPad>>& thePads);
    ~CuePlayer();
    CuePlayer(const CuePlayer&) = delete;
    CuePlayer& operator=(const CuePlayer&) = delete;

    // What came since the last call. Any thread.
    std::vector<CueDocument> TakeDocuments();
    std::vector<std::string> TakeFaults();

private:
    static void OnBeforeFrame(GstElement* mixer, guint64 frameTime, gpointer player);
    void Make(const Cue& cue);
    HRESULT Perform(const Cue& cue);
    HRESULT SelectScene(const Cue& cue);
    HRESULT SetBackground(const Cue& cue);
    HRESULT MoveRect(const Cue& cue);
    HRESULT SetOrder(const Cue& cue);
    HRESULT SetKey(const Cue& cue);
    HRESULT SaveScenes(const Cue& cue);
    GstPad* PadOf(const Cue& cue) const;
    LONG StreamOf(const Cue& cue) const;
    LONG RectTime(const Cue& cue) const;

    const Plan& plan;
    const std::vector<Cue>& cues;
    GstElement* element;
    const std::vector<GstHandle<GstPad>>& pads;
    Ref<IQDVideoMixer> mixer;
    Ref<IQDVideoMixerScene> scenes;
    gulong handler = 0;
    std::size_t cuesMade = 0;  // the thread that composes only

    std::mutex mutex;
    std::vector<CueDocument> documents;  // guarded by mutex
    std::vector<std::string> faults;     // guarded by mutex
};

// A rect as a change leaves it. `picture` is what there is of the stream, and the size of a rect
// that has none yet.
VM_MIXING_RECT ChangedRect(VM_MIXING_RECT rect, const RectChange& change, Size picture);

}  // namespace qdvm::qdmix
