#pragma once

// IQDVideoMixerScene over a mixer: the named scenes, the order of the streams, and the layout that
// waits for the next start.

#include "mixer/mixer_core.h"
#include "platform/iid.h"
#include "platform/lock.h"
#include "scenes/scene.h"
#include "scenes/scene_table.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/scene.h>

namespace qdvm {

QDVM_INTERFACE(IQDVideoMixerScene, IUnknown, IID_IQDVideoMixerScene);

// To be mixed into the object that is the mixer.
//
// sceneLock is a leaf: a scene is taken out of the table under it, and applied without it.
class SceneControl : public IQDVideoMixerScene {
public:
    HRESULT AddCurrentScene(BSTR _bsName, BSTR _bsDesc) override;
    HRESULT SelectScene(BSTR _bsScene) override;
    HRESULT GetSceneCount(LONG* _pnCount) override;
    HRESULT GetSceneInfo(LONG _nIndex, BSTR* _pbsName, BSTR* _pbsDesc) override;
    HRESULT RemoveScene(BSTR _bsName) override;
    HRESULT SelectScene2(BSTR _bsScene, LONG _nMSecToChange) override;
    HRESULT SetStreamOrder(LONG _nStream, LONG _nOrder, BOOL _bRearrangeScene,
                           LONG _nMSecToChange) override;
    HRESULT GetStreamOrder(LONG _nStream, LONG* _pnOrder) override;
    HRESULT GetStreamByOrder(LONG _nOrder, LONG* _pnStream) override;
    HRESULT MakeTransition(LONG _nOrderFrom, LONG _nOrderTo, BSTR _bsTransitionInfo,
                           BOOL _bBothStreams, BOOL _bKeepInput, LONG _nMSecToChange) override;
    HRESULT SetStreamOrder2(LONG _nStream, LONG _nOrder, BOOL _bSwapStreams, BOOL _bRearrangeScene,
                            LONG _nMSecToChange) override;
    HRESULT UpdateScene(BSTR _bsScene) override;
    HRESULT SaveScenes(BSTR _bsSceneName, BSTR* _pbsXMLDesc) override;
    HRESULT LoadScenes(BSTR _bsXMLDescOrFile, LONG _nRemoveOld) override;

    // Brings a loaded layout back, rates kept and all, and keeps it for the next start, when the
    // streams may have the formats that they lack now. With no lock held.
    void RestoreLayout(Scene scene);

    // No layout waits for the next start any more.
    void DropLayout();

protected:
    // Throws std::bad_alloc.
    explicit SceneControl(MixerCore& controlled);
    ~SceneControl() = default;

    // Applies the layout that waits, if one with streams does; whether it did. With neither
    // pinsLock nor mixLock held.
    bool ApplyDeferredScene();

    Scene CaptureCurrent() const;

    CriticalSection sceneLock;
    SceneTable scenes QDVM_GUARDED_BY(sceneLock);
    Scene deferredScene QDVM_GUARDED_BY(sceneLock);  // no entries: none waits

private:
    MixerCore& mixer;
};

}  // namespace qdvm
