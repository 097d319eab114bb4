#include "hosts/qdmix/cue_player.h"

#include "hosts/gstreamer/colours.h"
#include "platform/counted_string.h"
#include "platform/text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace qdvm::qdmix {

namespace {

constexpr std::int64_t kRounding = 1000;  // nanoseconds, of frame times

CountedString Counted(const std::string& text) { return CountedString(FromUtf8(text)); }

LONG Milliseconds(std::int64_t nanoseconds) { return static_cast<LONG>(nanoseconds / GST_MSECOND); }

RECT RectOf(const Geometry& geometry) {
    return {geometry.at.x, geometry.at.y, geometry.at.x + geometry.size.width,
            geometry.at.y + geometry.size.height};
}

bool HasArea(const RECT& rect) { return rect.right > rect.left && rect.bottom > rect.top; }

void Place(RECT& target, const Geometry& to, Size usual) {
    Geometry place = to;
    if (place.size == Size{}) {
        place.size =
            HasArea(target) ? Size{target.right - target.left, target.bottom - target.top} : usual;
    }
    target = RectOf(place);
}

void SetBorder(VM_MIXING_RECT& rect, const Border& border) {
    // To the mixer a colour without alpha is opaque.
    rect.nBorderWidth = border.colour >> 24 != 0 ? border.width : 0;
    rect.nBorderColor = MixerColour(border.colour);
}

int ProcessOf(int flags, const RectChange& change) {
    const auto set = [&flags](int flag, bool isOn) { flags = isOn ? flags | flag : flags & ~flag; };
    if (change.flip) {
        set(eVMP_FlipHorz, change.flip->isHorizontal);
        set(eVMP_FlipVert, change.flip->isVertical);
    }
    if (change.isOneField) {
        set(eVMP_OneField, *change.isOneField);
    }
    if (change.fit) {
        set(eVMP_AR_LetterBox, *change.fit == Fit::kLetterBox);
        set(eVMP_AR_Crop, *change.fit == Fit::kCrop);
    }
    return flags;
}

}  // namespace

VM_MIXING_RECT ChangedRect(VM_MIXING_RECT rect, const RectChange& change, Size picture) {
    if (change.source) {
        rect.rcSource = RectOf(*change.source);
    }
    if (change.target) {
        Place(rect.rcTarget, *change.target, change.source ? change.source->size : picture);
    }
    rect.dblAlpha = change.alpha.value_or(rect.dblAlpha);
    if (change.border) {
        SetBorder(rect, *change.border);
    }
    rect.eProcess = static_cast<eVM_Process>(ProcessOf(rect.eProcess, change));
    if (change.turn) {
        rect.dblHorzAngle = change.turn->horizontal;
        rect.dblVertAngle = change.turn->vertical;
        rect.dblViewAngle = rect.dblViewAngle == 0 ? kUsualViewAngle : rect.dblViewAngle;
    }
    rect.dblViewAngle = change.viewAngle.value_or(rect.dblViewAngle);
    if (change.eye) {
        rect.dblHorzOffset = change.eye->horizontal;
        rect.dblVertOffset = change.eye->vertical;
    }
    return rect;
}

CuePlayer::CuePlayer(const Plan& thePlan, const std::vector<Cue>& theCues, GstElement* theMixer,
                     const std::vector<GstHandle<GstPad>>& thePads)
    : plan(thePlan), cues(theCues), element(theMixer), pads(thePads) {
    IQDVideoMixer* control = nullptr;
    g_object_get(element, "mixer", &control, nullptr);
    if (control == nullptr || Failed(control->QueryInterface(IID_IQDVideoMixer, mixer.PutVoid())) ||
        Failed(control->QueryInterface(IID_IQDVideoMixerScene, scenes.PutVoid()))) {
        return;
    }
    handler = g_signal_connect(element, "before-frame", G_CALLBACK(OnBeforeFrame), this);
}

CuePlayer::~CuePlayer() {
    if (handler != 0) {
        g_signal_handler_disconnect(element, handler);
    }
}

std::vector<CueDocument> CuePlayer::TakeDocuments() {
    const std::lock_guard lock(mutex);
    return std::exchange(documents, {});
}

std::vector<std::string> CuePlayer::TakeFaults() {
    const std::lock_guard lock(mutex);
    return std::exchange(faults, {});
}

void CuePlayer::OnBeforeFrame(GstElement*, guint64 frameTime, gpointer data) {
    CuePlayer& player = *static_cast<CuePlayer*>(data);
    const std::int64_t now = static_cast<std::int64_t>(frameTime) + kRounding;
    while (player.cuesMade < player.cues.size() && player.cues[player.cuesMade].span.start <= now) {
        player.Make(player.cues[player.cuesMade++]);
    }
}

void CuePlayer::Make(const Cue& cue) {
    const HRESULT result = Perform(cue);
    if (Succeeded(result)) {
        return;
    }
    std::array<char, 16> number{};
    (void)std::snprintf(number.data(), number.size(), "0x%08X", static_cast<unsigned>(result));
    const std::lock_guard lock(mutex);
    faults.push_back("the cue in line " + std::to_string(cue.place.line) + " at " +
                     SecondsText(cue.span.start) + " s: the mixer refuses it (" + number.data() +
                     ")");
}

HRESULT CuePlayer::Perform(const Cue& cue) {
    switch (cue.verb) {
        case CueVerb::kScene:
            return SelectScene(cue);
        case CueVerb::kBackground:
            return SetBackground(cue);
        case CueVerb::kMove:
            return MoveRect(cue);
        case CueVerb::kOrder:
            return SetOrder(cue);
        case CueVerb::kKey:
            return SetKey(cue);
        case CueVerb::kShow:
            return mixer->EnableStream(StreamOf(cue), 1);
        case CueVerb::kHide:
            return mixer->EnableStream(StreamOf(cue), 0);
        case CueVerb::kAddScene:
            return scenes->AddCurrentScene(Counted(cue.scene).Get(),
                                           Counted(cue.description).Get());
        case CueVerb::kUpdateScene:
            return scenes->UpdateScene(Counted(cue.scene).Get());
        case CueVerb::kRemoveScene:
            return scenes->RemoveScene(Counted(cue.scene).Get());
        case CueVerb::kSaveScenes:
            return SaveScenes(cue);
        case CueVerb::kLoadScenes:
            return scenes->LoadScenes(Counted(cue.file).Get(), 0);
        case CueVerb::kCapture:
        case CueVerb::kEnd:
            // Parts of the plan.
            return S_OK;
    }
    return E_NOTIMPL;
}

GstPad* CuePlayer::PadOf(const Cue& cue) const {
    const auto index = static_cast<std::size_t>(cue.input - 1);
    return index < pads.size() ? pads[index].get() : nullptr;
}

LONG CuePlayer::StreamOf(const Cue& cue) const {
    gint number = -1;
    if (GstPad* pad = PadOf(cue)) {
        g_object_get(pad, "stream-number", &number, nullptr);
    }
    return number;
}

// The mixer counts the frames of a rect's change by its fastest input, and takes one step for each
// frame of the mix.
LONG CuePlayer::RectTime(const Cue& cue) const {
    return Milliseconds(
        static_cast<std::int64_t>(static_cast<double>(cue.span.take) * plan.rate.PerSecond() /
                                  plan.FastestRate().PerSecond()));
}

// A scene of a document has no keys. Here a key belongs to its input and stays on.
HRESULT CuePlayer::SelectScene(const Cue& cue) {
    gboolean isDone = FALSE;
    g_signal_emit_by_name(element, "select-scene", cue.scene.c_str(),
                          static_cast<guint>(RectTime(cue)), &isDone);
    for (const GstHandle<GstPad>& pad : pads) {
        gchar* key = nullptr;
        g_object_get(pad.get(), "key", &key, nullptr);
        const std::string text = TakeText(key);
        if (!text.empty() && text != "none") {
            g_object_set(pad.get(), "key", text.c_str(), nullptr);
        }
    }
    return isDone != FALSE ? S_OK : E_INVALIDARG;
}

HRESULT CuePlayer::SetBackground(const Cue& cue) {
    const Background& to = cue.background;
    const eVM_Background kind = to.colour            ? eVMB_Color
                                : to.picture.empty() ? eVMB_None
                                                     : eVMB_Image;
    return mixer->SetBackground2(kind, MixerColour(to.colour.value_or(0)),
                                 Counted(to.picture).Get(), Milliseconds(cue.span.take));
}

HRESULT CuePlayer::MoveRect(const Cue& cue) {
    const LONG stream = StreamOf(cue);
    LONG count = 0;
    HRESULT result = mixer->GetInputRectCount(stream, &count);
    if (Failed(result)) {
        return result;
    }
    VM_MIXING_RECT rect{};
    rect.dblAlpha = 1;
    LONG number = cue.rect <= count ? cue.rect - 1 : -1;
    if (number >= 0) {
        result = mixer->GetInputRect(stream, number, &rect);
        if (Failed(result)) {
            return result;
        }
    }
    const PlannedInput& input = plan.inputs[static_cast<std::size_t>(cue.input - 1)];
    rect = ChangedRect(rect, cue.change, input.probed.evenSize);
    result = mixer->SetInputRect2(stream, &number, &rect, RectTime(cue));
    if (Succeeded(result) && cue.change.mask) {
        result = mixer->SetRectMask(stream, number, Counted(*cue.change.mask).Get());
    }
    return result;
}

// On top is past the last input, below the mixer's free place.
HRESULT CuePlayer::SetOrder(const Cue& cue) {
    const int inputs = static_cast<int>(pads.size());
    const int position = cue.position > 0 ? std::min(cue.position, inputs) : inputs;
    gboolean isDone = FALSE;
    g_signal_emit_by_name(element, "move-stream", PadOf(cue), position - 1, gboolean{cue.swaps},
                          gboolean{cue.rearranges}, static_cast<guint>(RectTime(cue)), &isDone);
    return isDone != FALSE ? S_OK : E_INVALIDARG;
}

HRESULT CuePlayer::SetKey(const Cue& cue) {
    g_object_set(PadOf(cue), "key", cue.key.c_str(), nullptr);
    return S_OK;
}

HRESULT CuePlayer::SaveScenes(const Cue& cue) {
    CountedString text;
    const HRESULT result = scenes->SaveScenes(Counted(cue.scene).Get(), text.Put());
    if (Succeeded(result)) {
        const std::lock_guard lock(mutex);
        documents.push_back({cue.file, std::u16string(text.View()),
                             "the cue in line " + std::to_string(cue.place.line)});
    }
    return result;
}

}  // namespace qdvm::qdmix
