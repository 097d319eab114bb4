// The session's scenes, and the order in which streams are drawn.

#include "hosts/gstreamer/log.h"
#include "hosts/gstreamer/session.h"
#include "platform/counted_string.h"
#include "platform/text.h"

#include <algorithm>
#include <utility>

namespace qdvm {

// What users have set so far reaches the mixer now, so that it isn't laid over what comes next.
void Session::FlushChanges() {
    const std::scoped_lock layout(layoutMutex);
    {
        const Lock lock(mutex);
        if (!CanShow() || !anyChange) return;
        anyChange = false;
        lastDue = openChanges > 0 ? lastBefore : lastChange;
    }
    ApplyChanges(NextFrame());
}

// From here on rects are where the scene put them; a property that is set places its rect anew.
void Session::LeaveRects() {
    const Lock lock(mutex);
    for (const auto& stream : streams)
        for (StreamRect& rect : stream->rects)
            if (rect.change.kind == Change::Kind::kNone) rect.isLeft = true;
}

bool Session::HasScene(const std::string& name) const {
    const std::vector<std::string> names = SceneNames();
    return std::ranges::find(names, name) != names.end();
}

bool Session::SelectScene(const std::string& name, guint timeMs) {
    if (!HasScene(name)) return false;
    {
        const Lock lock(mutex);
        if (!CanShow()) {
            waitingScene = {name, timeMs};
            anyChange = true;
            return true;
        }
    }
    FlushChanges();
    return SelectNow(name, timeMs);
}

// No lock is held: the scene's picture is decoded on this thread while frames go on.
bool Session::SelectNow(const std::string& name, guint timeMs) {
    const CountedString scene(FromUtf8(name));
    if (Failed(scenes->SelectScene2(scene.Get(), static_cast<LONG>(timeMs)))) return false;
    LeaveRects();
    return true;
}

// With the first frame, when the streams have joined. Needs layoutMutex.
void Session::SelectWaitingScene() {
    std::optional<std::pair<std::string, guint>> waiting;
    {
        const Lock lock(mutex);
        waiting = std::exchange(waitingScene, std::nullopt);
    }
    if (waiting) (void)SelectNow(waiting->first, waiting->second);
}

bool Session::AddScene(const std::string& name, const std::string& description) {
    FlushChanges();
    const CountedString sceneName(FromUtf8(name));
    const CountedString text(FromUtf8(description));
    return !name.empty() && Succeeded(scenes->AddCurrentScene(sceneName.Get(), text.Get()));
}

bool Session::UpdateScene(const std::string& name) {
    FlushChanges();
    const CountedString sceneName(FromUtf8(name));
    return Succeeded(scenes->UpdateScene(sceneName.Get()));
}

bool Session::RemoveScene(const std::string& name) {
    const CountedString sceneName(FromUtf8(name));
    return Succeeded(scenes->RemoveScene(sceneName.Get()));
}

std::optional<std::string> Session::SaveScenes(const std::string& name) const {
    const CountedString sceneName(FromUtf8(name));
    CountedString document;
    if (Failed(scenes->SaveScenes(sceneName.Get(), document.Put()))) return std::nullopt;
    return ToUtf8(document.View());
}

bool Session::LoadScenes(const std::string& document, int removeOld) {
    const bool isName = document.find('<') == std::string::npos;
    if (isName && !g_file_test(document.c_str(), G_FILE_TEST_EXISTS)) {
        GST_WARNING_OBJECT(element, "there is no file \"%s\" with scenes", document.c_str());
        return false;
    }
    const CountedString text(FromUtf8(document));
    const HRESULT result = scenes->LoadScenes(text.Get(), removeOld);
    if (Failed(result))
        GST_WARNING_OBJECT(element, "no scenes can be read, result 0x%08x",
                           static_cast<unsigned>(result));
    return Succeeded(result);
}

std::vector<std::string> Session::SceneNames() const {
    std::vector<std::string> names;
    for (LONG i = 0;; ++i) {
        CountedString name;
        if (Failed(scenes->GetSceneInfo(i, name.Put(), nullptr))) return names;
        names.push_back(ToUtf8(name.View()));
    }
}

bool Session::MoveStream(const PadStream& stream, int position, bool swaps, bool rearranges,
                         guint timeMs) {
    const int number = StreamNumberOf(stream);
    if (number < 0) return false;
    FlushChanges();
    if (Failed(scenes->SetStreamOrder2(number, position, swaps, rearranges,
                                       static_cast<LONG>(timeMs))))
        return false;
    if (rearranges) LeaveRects();
    return true;
}

int Session::PositionOf(const PadStream& stream) const {
    LONG position = -1;
    const int number = StreamNumberOf(stream);
    if (number >= 0) (void)scenes->GetStreamOrder(number, &position);
    return position;
}

}  // namespace qdvm
