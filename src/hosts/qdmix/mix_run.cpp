#include "hosts/qdmix/mix_run.h"

#include "hosts/qdmix/branches.h"
#include "hosts/qdmix/mixer_settings.h"
#include "hosts/qdmix/scene_shelf.h"
#include "platform/counted_string.h"
#include "platform/text.h"

#include <qdvideomixer/persist.h>

#include <glib-unix.h>

#include <algorithm>
#include <csignal>
#include <string_view>
#include <utility>

namespace qdvm::qdmix {

namespace {

constexpr guint kTickMs = 500;
// Containers round their length, and sound may outlast the pictures a little.
constexpr std::int64_t kUnnoticed = GST_SECOND;

// What GStreamer says of a fault: its sentence without the part for programmers.
std::string TextOfFault(const GError* error) { return error->message; }

std::string NameOf(GstObject* object) { return TakeText(gst_object_get_name(object)); }

bool IsBelow(GstObject* object, std::string_view branch) {
    GstHandle<GstObject> at(static_cast<GstObject*>(gst_object_ref(object)));
    while (at) {
        if (NameOf(at.get()) == branch) {
            return true;
        }
        at.reset(gst_object_get_parent(at.get()));
    }
    return false;
}

// Another interface of the mixer in the element; null if it has none.
template <class Interface>
Ref<Interface> Control(GstElement* element, const GUID& iid) {
    IQDVideoMixer* control = nullptr;
    g_object_get(element, "mixer", &control, nullptr);
    Ref<Interface> wanted;
    if (control == nullptr || Failed(control->QueryInterface(iid, wanted.PutVoid()))) {
        (void)wanted.Detach();
    }
    return wanted;
}

}  // namespace

MixRun::MixRun(const Plan& thePlan, const Show& theShow, const OutputSpec& theOutput,
               const RunHooks& theHooks)
    : plan(thePlan),
      show(theShow),
      output(theOutput),
      hooks(theHooks),
      pipeline(gst_pipeline_new("mix")),
      loop(g_main_loop_new(nullptr, FALSE)) {
    (void)gst_object_ref_sink(pipeline.get());
}

MixRun::~MixRun() {
    StopWatching();
    Stop();
}

std::optional<Failure> MixRun::Build(const std::filesystem::path& path) {
    mixer = MakeElement("qdvideomixer", "mixer");
    if (mixer == nullptr) {
        return Failure{ExitStatus::kFailed, "", "no mixer", "its element is missing"};
    }
    (void)gst_bin_add(GST_BIN(pipeline.get()), mixer);
    timeline = std::make_unique<Timeline>(plan, mixer);
    for (const PlannedInput& input : plan.inputs) {
        if (auto fault = AddInput(input)) {
            return fault;
        }
    }
    SetUpMixer();
    if (auto fault = LoadDocuments()) {
        return fault;
    }
    player = std::make_unique<CuePlayer>(plan, show.cues, mixer, pads);
    return AddOutput(path);
}

std::optional<Failure> MixRun::AddInput(const PlannedInput& input) {
    GstElement* branch = nullptr;
    if (auto fault = MakeInputBranch(input, plan, branch)) {
        return fault;
    }
    (void)gst_bin_add(GST_BIN(pipeline.get()), branch);
    // Streams are drawn in the order of their pads.
    const std::string name = "sink_" + std::to_string(pads.size());
    GstHandle<GstPad> pad(gst_element_request_pad_simple(mixer, name.c_str()));
    for (std::size_t rect = 0; rect < input.rects.size(); ++rect) {
        SetRect(pad.get(), rect, input.rects[rect].first, input.probed.evenSize);
    }
    SetPolicy(pad.get(), input);
    timeline->WatchInput(pad.get());
    const GstHandle<GstPad> from(gst_element_get_static_pad(branch, "src"));
    pads.push_back(std::move(pad));
    if (gst_pad_link(from.get(), pads.back().get()) != GST_PAD_LINK_OK) {
        return Failure{ExitStatus::kFailed, input.spec.Subject(), "can't be mixed",
                       "the mixer refuses its pictures"};
    }
    return std::nullopt;
}

// They have been read before; what is wrong with them now has come since.
std::optional<Failure> MixRun::LoadDocuments() {
    const Ref<IQPersist> persist = Control<IQPersist>(mixer, IID_IQPersist);
    const Ref<IQDVideoMixerScene> scenes =
        Control<IQDVideoMixerScene>(mixer, IID_IQDVideoMixerScene);
    if (!persist || !scenes) {
        return Failure{ExitStatus::kFailed, "", "no mixer", "out of memory"};
    }
    const auto refused = [](const std::string& file, HRESULT result) {
        return Failure{ExitStatus::kInput, file, "can't be opened", WhyRefused(result)};
    };
    if (!show.setup.empty()) {
        const CountedString file(FromUtf8(show.setup));
        const HRESULT result = persist->PersistLoad(nullptr, file.Get(), nullptr);
        if (Failed(result)) {
            return refused(show.setup, result);
        }
    }
    for (const std::string& name : show.sceneFiles) {
        const HRESULT result = scenes->LoadScenes(CountedString(FromUtf8(name)).Get(), 0);
        if (Failed(result)) {
            return refused(name, result);
        }
    }
    return std::nullopt;
}

std::optional<Failure> MixRun::SaveDocuments(const std::string& scenesFile,
                                             const std::string& setupFile) {
    const auto refused = [](const char* option, const std::string& file, HRESULT result) {
        return Failure{ExitStatus::kOutput, option + file, "can't be written", WhyRefused(result)};
    };
    if (!scenesFile.empty()) {
        CountedString text;
        HRESULT result = Control<IQDVideoMixerScene>(mixer, IID_IQDVideoMixerScene)
                             ->SaveScenes(nullptr, text.Put());
        result = Succeeded(result) ? WriteDocument(scenesFile, text.View()) : result;
        if (Failed(result)) {
            return refused("--save-scenes ", scenesFile, result);
        }
    }
    if (!setupFile.empty()) {
        const HRESULT result =
            Control<IQPersist>(mixer, IID_IQPersist)
                ->PersistSaveToFile(nullptr, CountedString(FromUtf8(setupFile)).Get(), nullptr);
        if (Failed(result)) {
            return refused("--save-config ", setupFile, result);
        }
    }
    return std::nullopt;
}

// What the cues left to be done where no frame waits for it.
void MixRun::PassCues() {
    for (const CueDocument& document : player->TakeDocuments()) {
        if (Failed(WriteDocument(document.file, document.text))) {
            hasMissedCue = true;
            hooks.onInputLost({ExitStatus::kOutput, document.subject,
                               "'" + document.file + "' can't be written", ""});
        }
    }
    for (const std::string& fault : player->TakeFaults()) {
        hasMissedCue = true;
        hooks.onChoice(fault);
    }
}

void MixRun::SetUpMixer() {
    SetBackground(mixer, plan.background);
    for (std::size_t i = 0; i < plan.inputs.size(); ++i) {
        if (plan.inputs[i].options.master) {
            g_object_set(mixer, "master", ("sink_" + std::to_string(i)).c_str(), nullptr);
        }
    }
}

std::optional<Failure> MixRun::AddOutput(const std::filesystem::path& path) {
    GstElement* branch = nullptr;
    if (auto fault = MakeOutputBranch(output, plan, path, branch)) {
        return fault;
    }
    (void)gst_bin_add(GST_BIN(pipeline.get()), branch);
    const std::string text = CapsText(*plan.format) + ",width=" + std::to_string(plan.size.width) +
                             ",height=" + std::to_string(plan.size.height) +
                             ",framerate=" + std::to_string(plan.rate.num) + "/" +
                             std::to_string(plan.rate.den);
    const GstHandle<GstCaps> caps(gst_caps_from_string(text.c_str()));
    const GstHandle<GstPad> from(gst_element_get_static_pad(mixer, "src"));
    timeline->WatchOutput(from.get());
    if (!gst_element_link_filtered(mixer, branch, caps.get())) {
        return Failure{ExitStatus::kOutput, output.Subject(), "can't be mixed",
                       "the mixer refuses " + text};
    }
    return std::nullopt;
}

void MixRun::Watch() {
    const GstHandle<GstBus> bus(gst_element_get_bus(pipeline.get()));
    sources.push_back(gst_bus_add_watch(bus.get(), OnMessage, this));
    sources.push_back(g_unix_signal_add(SIGINT, OnInterrupt, this));
    sources.push_back(g_unix_signal_add(SIGTERM, OnTerminate, this));
    sources.push_back(g_timeout_add(kTickMs, OnTick, this));
}

void MixRun::StopWatching() {
    for (const guint source : std::exchange(sources, {})) {
        (void)g_source_remove(source);
    }
}

void MixRun::Stop() {
    if (timeline) {
        timeline->Release();
    }
    (void)gst_element_set_state(pipeline.get(), GST_STATE_NULL);
}

std::optional<Failure> MixRun::Run() {
    Watch();
    started = std::chrono::steady_clock::now();
    // A refused start also puts its reason on the bus, which the loop reads.
    (void)gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    g_main_loop_run(loop.get());
    PassStills();
    PassCues();
    return failure;
}

MixReport MixRun::Report() const {
    MixReport report;
    report.frames = timeline->Frames();
    report.time = timeline->Time();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - started;
    report.framesPerSecond = static_cast<double>(report.frames) / std::max(taken.count(), 1e-3);
    for (std::size_t i = 0; i < pads.size(); ++i) {
        InputReport input;
        input.name = plan.inputs[i].spec.text;
        gint health = 0;
        guint64 framesIn = 0, framesRepeated = 0, framesDropped = 0;
        g_object_get(pads[i].get(), "health", &health, "frames-in", &framesIn, "frames-repeated",
                     &framesRepeated, "frames-dropped", &framesDropped, nullptr);
        const GParamSpec* spec =
            g_object_class_find_property(G_OBJECT_GET_CLASS(pads[i].get()), "health");
        const GEnumValue* value = g_enum_get_value(G_PARAM_SPEC_ENUM(spec)->enum_class, health);
        input.health = value != nullptr ? value->value_nick : "";
        input.framesIn = framesIn;
        input.framesRepeated = framesRepeated;
        input.framesDropped = framesDropped;
        report.inputs.push_back(std::move(input));
    }
    return report;
}

std::string MixRun::ShortInputs() const {
    std::string lines;
    for (std::size_t i = 0; i < pads.size(); ++i) {
        const PlannedInput& input = plan.inputs[i];
        const std::optional<std::int64_t> end = timeline->EndOf(i);
        if (!input.isEndless && end && *end < input.probed.length - kUnnoticed) {
            lines += "qdmix: " + input.spec.Subject() + ": ended early: at " + SecondsText(*end) +
                     " of " + SecondsText(input.probed.length) + " s; it may be damaged\n";
        }
    }
    return lines;
}

gboolean MixRun::OnTick(gpointer data) {
    MixRun& run = *static_cast<MixRun*>(data);
    run.PassStills();
    run.PassCues();
    run.hooks.onProgress(run.Report());
    return G_SOURCE_CONTINUE;
}

void MixRun::PassStills() {
    for (const GstHandle<GstSample>& still : timeline->TakeStills()) {
        hooks.onStill(still.get());
    }
}

gboolean MixRun::OnInterrupt(gpointer data) {
    static_cast<MixRun*>(data)->TakeSignal(SIGINT);
    return G_SOURCE_CONTINUE;
}

gboolean MixRun::OnTerminate(gpointer data) {
    static_cast<MixRun*>(data)->TakeSignal(SIGTERM);
    return G_SOURCE_CONTINUE;
}

void MixRun::TakeSignal(int number) {
    if (signal != 0) {
        hooks.onQuit();
    }
    signal = number;
    timeline->FinishNow();
}

gboolean MixRun::OnMessage(GstBus*, GstMessage* message, gpointer data) {
    MixRun& run = *static_cast<MixRun*>(data);
    switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_EOS:
            g_main_loop_quit(run.loop.get());
            break;
        case GST_MESSAGE_ERROR:
            run.TakeError(message);
            break;
        case GST_MESSAGE_WARNING:
            run.TakeWarning(message);
            break;
        case GST_MESSAGE_ELEMENT:
            if (gst_message_has_name(message, "qdvideomixer-health")) {
                run.TakeHealth(gst_message_get_structure(message));
            }
            if (gst_message_has_name(message, "qdvideomixer-key")) {
                run.TakeKeyColour(gst_message_get_structure(message));
            }
            break;
        default:
            break;
    }
    return G_SOURCE_CONTINUE;
}

void MixRun::TakeError(GstMessage* message) {
    GError* fault = nullptr;
    gchar* detail = nullptr;
    gst_message_parse_error(message, &fault, &detail);
    const GstHandle<GError> error(fault);
    const std::string forProgrammers = TakeText(detail);
    hooks.onNote(NameOf(GST_MESSAGE_SRC(message)) + ": " + forProgrammers);
    Failure found{ExitStatus::kFailed, "", "failed", TextOfFault(error.get())};
    if (const PlannedInput* input = InputOf(GST_MESSAGE_SRC(message))) {
        found.subject = input->spec.Subject();
        if (input->spec.IsLive()) {
            // A camera that goes away doesn't end the show of the others.
            hasLostInput = true;
            hooks.onInputLost(found);
            return;
        }
    } else if (IsInOutput(GST_MESSAGE_SRC(message))) {
        found.status = ExitStatus::kOutput;
        found.subject = output.Subject();
    }
    Fail(std::move(found));
}

void MixRun::Fail(Failure found) {
    if (!failure) {
        failure = std::move(found);
    }
    g_main_loop_quit(loop.get());
}

void MixRun::TakeWarning(GstMessage* message) {
    GError* fault = nullptr;
    gst_message_parse_warning(message, &fault, nullptr);
    const GstHandle<GError> error(fault);
    hooks.onNote(NameOf(GST_MESSAGE_SRC(message)) + ": " + TextOfFault(error.get()));
    // The mixer itself reads the pictures of backgrounds and masks, and would go on without.
    const bool isPicture =
        GST_MESSAGE_SRC(message) == GST_OBJECT(mixer) &&
        g_error_matches(error.get(), GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_OPEN_READ) != FALSE;
    if (isPicture) {
        Fail({ExitStatus::kInput, "", "a picture can't be used", TextOfFault(error.get())});
    }
}

void MixRun::TakeHealth(const GstStructure* health) {
    const gchar* now = gst_structure_get_string(health, "health");
    const PlannedInput* input = InputOfPad(gst_structure_get_string(health, "pad"));
    if (input != nullptr && now != nullptr) {
        hooks.onNote(input->spec.Subject() + ": " + now);
    }
}

void MixRun::TakeKeyColour(const GstStructure* key) {
    const gchar* text = gst_structure_get_string(key, "text");
    const PlannedInput* input = InputOfPad(gst_structure_get_string(key, "pad"));
    if (input == nullptr || text == nullptr) {
        return;
    }
    gboolean isFound = FALSE;
    (void)gst_structure_get_boolean(key, "found", &isFound);
    if (isFound != FALSE) {
        hooks.onChoice(input->spec.Subject() + ": " + text);
    } else {
        Fail({ExitStatus::kInput, input->spec.Subject(), "--key auto finds no colour", text});
    }
}

const PlannedInput* MixRun::InputOfPad(const gchar* name) const {
    for (std::size_t i = 0; i < pads.size(); ++i) {
        if (name != nullptr && name == TakeText(gst_pad_get_name(pads[i].get()))) {
            return &plan.inputs[i];
        }
    }
    return nullptr;
}

const PlannedInput* MixRun::InputOf(GstObject* object) const {
    for (const PlannedInput& input : plan.inputs) {
        if (IsBelow(object, "input-" + std::to_string(input.spec.number))) {
            return &input;
        }
    }
    return nullptr;
}

bool MixRun::IsInOutput(GstObject* object) const { return IsBelow(object, "output"); }

}  // namespace qdvm::qdmix
