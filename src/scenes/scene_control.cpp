#include "scenes/scene_control.h"

#include "config/xml_writer.h"
#include "platform/counted_string.h"
#include "platform/letter_case.h"
#include "platform/no_throw.h"
#include "scenes/default_scenes.h"
#include "scenes/scene_document.h"
#include "scenes/stream_order.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace qdvm {
namespace {

using Mode = SharedLockGuard::Mode;

}  // namespace

SceneControl::SceneControl(MixerCore& controlled)
    : sceneLock(LockRank::Leaf, controlled.LockOwner()), mixer(controlled) {
    BuildDefaultScenes(scenes);
}

Scene SceneControl::CaptureCurrent() const {
    Scene scene;
    SharedLockGuard pins(mixer.pinsLock, Mode::kShared);
    SharedLockGuard layout(mixer.mixLock, Mode::kShared);
    CaptureScene(mixer, &scene);
    return scene;
}

HRESULT SceneControl::AddCurrentScene(BSTR _bsName, BSTR _bsDesc) {
    const std::u16string_view name = ViewOf(_bsName);
    if (name.empty()) return E_INVALIDARG;
    return NoThrow([&] {
        {
            ScopedLock guard(sceneLock);
            if (scenes.Find(name)) return E_INVALIDARG;
        }
        Scene scene = CaptureCurrent();
        scene.description = ViewOf(_bsDesc);
        // The name may have come into being meanwhile.
        ScopedLock guard(sceneLock);
        if (!scenes.Add(name, std::move(scene))) return E_INVALIDARG;
        mixer.dirty = true;
        return S_OK;
    });
}

HRESULT SceneControl::UpdateScene(BSTR _bsScene) {
    return NoThrow([&] {
        Scene scene = CaptureCurrent();
        ScopedLock guard(sceneLock);
        if (!scenes.Replace(ViewOf(_bsScene), std::move(scene))) return E_INVALIDARG;
        mixer.dirty = true;
        return S_OK;
    });
}

HRESULT SceneControl::RemoveScene(BSTR _bsName) {
    ScopedLock guard(sceneLock);
    if (!scenes.Remove(ViewOf(_bsName))) return E_INVALIDARG;
    mixer.dirty = true;
    return S_OK;
}

HRESULT SceneControl::GetSceneCount(LONG* _pnCount) {
    if (!_pnCount) return E_POINTER;
    ScopedLock guard(sceneLock);
    *_pnCount = static_cast<LONG>(scenes.Entries().size());
    return S_OK;
}

HRESULT SceneControl::GetSceneInfo(LONG _nIndex, BSTR* _pbsName, BSTR* _pbsDesc) {
    if (_pbsName) *_pbsName = nullptr;
    if (_pbsDesc) *_pbsDesc = nullptr;
    ScopedLock guard(sceneLock);
    if (_nIndex < 0 || static_cast<std::size_t>(_nIndex) >= scenes.Entries().size())
        return E_INVALIDARG;
    const SceneTable::Entry& entry = scenes.Entries()[static_cast<std::size_t>(_nIndex)];
    CountedString name;
    if (_pbsName) {
        const HRESULT result = CopyOut(entry.name, name.Put());
        if (Failed(result)) return result;
    }
    if (_pbsDesc) {
        const HRESULT result = CopyOut(entry.scene->description, _pbsDesc);
        if (Failed(result)) return result;
    }
    if (_pbsName) *_pbsName = name.Detach();
    return S_OK;
}

HRESULT SceneControl::SelectScene(BSTR _bsScene) { return SelectScene2(_bsScene, 0); }

HRESULT SceneControl::SelectScene2(BSTR _bsScene, LONG _nMSecToChange) {
    return NoThrow([&] {
        SceneTable::ScenePtr scene;
        {
            ScopedLock guard(sceneLock);
            scene = scenes.Find(ViewOf(_bsScene));
        }
        if (!scene) return E_INVALIDARG;
        RunScene(mixer, *scene, _nMSecToChange, false);
        mixer.dirty = true;
        return S_OK;
    });
}

HRESULT SceneControl::SetStreamOrder(LONG _nStream, LONG _nOrder, BOOL _bRearrangeScene,
                                     LONG _nMSecToChange) {
    return SetStreamOrder2(_nStream, _nOrder, 0, _bRearrangeScene, _nMSecToChange);
}

HRESULT SceneControl::SetStreamOrder2(LONG _nStream, LONG _nOrder, BOOL _bSwapStreams,
                                      BOOL _bRearrangeScene, LONG _nMSecToChange) {
    return NoThrow([&] {
        SharedLockGuard pins(mixer.pinsLock, Mode::kShared);
        SharedLockGuard layout(mixer.mixLock, Mode::kExclusive);
        const InputStream* stream = mixer.FindStream(_nStream);
        if (!stream || !stream->IsConnected()) return E_INVALIDARG;
        Scene scene;
        if (_bRearrangeScene) CaptureScene(mixer, &scene);
        MoveStream(mixer.order, static_cast<std::int32_t>(mixer.inputs.size()), _nStream, _nOrder,
                   _bSwapStreams != 0);
        // The background is what it was; setting it anew would end a fade that runs.
        if (_bRearrangeScene) ApplyStreams(mixer, scene, _nMSecToChange, false);
        mixer.dirty = true;
        return S_OK;
    });
}

HRESULT SceneControl::GetStreamOrder(LONG _nStream, LONG* _pnOrder) {
    if (!_pnOrder) return E_POINTER;
    SharedLockGuard pins(mixer.pinsLock, Mode::kShared);
    SharedLockGuard layout(mixer.mixLock, Mode::kShared);
    if (!mixer.FindStream(_nStream)) return E_INVALIDARG;
    *_pnOrder = PositionOf(mixer.order, _nStream);
    return S_OK;
}

HRESULT SceneControl::GetStreamByOrder(LONG _nOrder, LONG* _pnStream) {
    if (!_pnStream) return E_POINTER;
    SharedLockGuard pins(mixer.pinsLock, Mode::kShared);
    SharedLockGuard layout(mixer.mixLock, Mode::kShared);
    if (_nOrder < 0 || static_cast<std::size_t>(_nOrder) >= mixer.order.size()) return E_INVALIDARG;
    *_pnStream = mixer.order[static_cast<std::size_t>(_nOrder)];
    return S_OK;
}

HRESULT SceneControl::MakeTransition(LONG, LONG, BSTR, BOOL, BOOL, LONG) { return E_NOTIMPL; }

HRESULT SceneControl::SaveScenes(BSTR _bsSceneName, BSTR* _pbsXMLDesc) {
    if (!_pbsXMLDesc) return E_POINTER;
    *_pbsXMLDesc = nullptr;
    const std::u16string_view name = ViewOf(_bsSceneName);
    return NoThrow([&] {
        SceneTable present;
        {
            ScopedLock guard(sceneLock);
            present = scenes;
        }
        const SceneDocument document;
        for (const SceneTable::Entry& entry : present.Entries()) {
            const bool isAsked =
                name.empty() ? !entry.scene->bInternal : EqualsIgnoringCase(entry.name, name);
            if (isAsked) AddSceneElement(document.scenes, entry.name, *entry.scene);
        }
        return CopyOut(XMLParse::ToText(document.root), _pbsXMLDesc);
    });
}

HRESULT SceneControl::LoadScenes(BSTR _bsXMLDescOrFile, LONG _nRemoveOld) {
    if (!_bsXMLDescOrFile) return E_INVALIDARG;
    return NoThrow([&] {
        std::vector<NamedScene> loaded;
        const HRESULT result = ReadSceneDocument(ViewOf(_bsXMLDescOrFile), &loaded);
        if (Failed(result)) return result;
        ScopedLock guard(sceneLock);
        SceneTable table = scenes;
        if (_nRemoveOld != 0) table.RemoveAll();
        if (_nRemoveOld != 0 && _nRemoveOld < 2) BuildDefaultScenes(table);
        table.Merge(std::move(loaded), _nRemoveOld >= 0);
        std::swap(scenes, table);
        mixer.dirty = true;
        return S_OK;
    });
}

void SceneControl::RestoreLayout(Scene scene) {
    RunScene(mixer, scene, 0, true);
    ScopedLock guard(sceneLock);
    deferredScene = std::move(scene);
}

void SceneControl::DropLayout() {
    ScopedLock guard(sceneLock);
    deferredScene = {};
}

bool SceneControl::ApplyDeferredScene() {
    Scene scene;
    {
        ScopedLock guard(sceneLock);
        std::swap(scene, deferredScene);
    }
    if (scene.inputs.empty()) return false;
    RunScene(mixer, scene, 0, true);
    return true;
}

}  // namespace qdvm
