#pragma once

// One mix from start to end.

#include "hosts/qdmix/cue_player.h"
#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/gst_handles.h"
#include "hosts/qdmix/output_spec.h"
#include "hosts/qdmix/plan.h"
#include "hosts/qdmix/progress.h"
#include "hosts/qdmix/show.h"
#include "hosts/qdmix/timeline.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qdvm::qdmix {

struct RunHooks {
    std::function<void(const MixReport&)> onProgress;  // twice a second
    std::function<void(const std::string&)> onNote;    // something worth knowing, one line
    std::function<void(const std::string&)> onChoice;  // what the mix chose for itself, one line
    std::function<void(GstSample*)> onStill;           // the frames of the captures in their order
    std::function<void(const Failure&)> onInputLost;   // the mix goes on without this input
    std::function<void()> onQuit;                      // a second signal; doesn't return
};

// Built, run and destroyed on one thread, which owns the main loop of the process.
class MixRun {
public:
    // All must live as long as the run. `path` is where a file goes.
    MixRun(const Plan& thePlan, const Show& theShow, const OutputSpec& theOutput,
           const RunHooks& theHooks);
    ~MixRun();
    MixRun(const MixRun&) = delete;
    MixRun& operator=(const MixRun&) = delete;

    std::optional<Failure> Build(const std::filesystem::path& path);

    // Mixes to the end, to the first failure, or until a signal asked for the end.
    std::optional<Failure> Run();

    // The signal that ended the mix early, or 0.
    int Signal() const { return signal; }

    bool HasLostInput() const { return hasLostInput; }
    bool HasMissedCue() const { return hasMissedCue; }

    // After the run: the scenes and the whole setup as documents. An empty name: none.
    std::optional<Failure> SaveDocuments(const std::string& scenesFile,
                                         const std::string& setupFile);

    MixReport Report() const;

    // Lines about files that gave less than they promise.
    std::string ShortInputs() const;

private:
    std::optional<Failure> AddInput(const PlannedInput& input);
    std::optional<Failure> AddOutput(const std::filesystem::path& path);
    void SetUpMixer();
    std::optional<Failure> LoadDocuments();
    void PassCues();

    void Watch();
    void StopWatching();
    void Stop();

    static gboolean OnMessage(GstBus* bus, GstMessage* message, gpointer run);
    static gboolean OnTick(gpointer run);
    static gboolean OnInterrupt(gpointer run);
    static gboolean OnTerminate(gpointer run);
    void TakeSignal(int number);
    void TakeError(GstMessage* message);
    void TakeWarning(GstMessage* message);
    void TakeHealth(const GstStructure* health);
    void TakeKeyColour(const GstStructure* key);
    void PassStills();

    // Ends the mix with the first failure.
    void Fail(Failure found);

    // The input that belongs to the mixer's pad of this name, or null.
    const PlannedInput* InputOfPad(const gchar* name) const;
    // The input that an element belongs to, or null.
    const PlannedInput* InputOf(GstObject* object) const;
    bool IsInOutput(GstObject* object) const;

    const Plan& plan;
    const Show& show;
    const OutputSpec& output;
    const RunHooks& hooks;
    GstHandle<GstElement> pipeline;
    GstElement* mixer = nullptr;  // belongs to the pipeline
    std::vector<GstHandle<GstPad>> pads;
    std::unique_ptr<Timeline> timeline;
    std::unique_ptr<CuePlayer> player;
    GstHandle<GMainLoop> loop;
    std::vector<guint> sources;  // of the main loop
    std::chrono::steady_clock::time_point started;
    std::optional<Failure> failure;
    int signal = 0;
    bool hasLostInput = false;
    bool hasMissedCue = false;
};

}  // namespace qdvm::qdmix
