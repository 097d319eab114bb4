#pragma once

// IQDVideoMixerScene: layouts with names, and the order in which streams are drawn. A mixer answers
// for it beside IQDVideoMixer.
//
// A scene holds the background and, for each position of the order, whether something is shown
// there, with which rects and which key. It knows positions and not stream numbers: position 0 is
// drawn first, at the bottom. Selecting a scene drives the mixer to it by changes of rects and
// background; it leaves no mark, so no scene is the current one. Rects are scaled from the formats
// that the scene was made for to the present ones.
//
// Names compare exactly, case counts. A mixer begins with nine built-in scenes. Masks, loops, the
// rules for lost streams and the master stream are no part of a scene.
//
// Every operation can be called from any thread in any state. A change is seen whole by the next
// composed frame; the output goes on while pictures and documents are read. Results: S_OK;
// E_POINTER for a missing out pointer; E_INVALIDARG for a name or number that isn't there;
// E_OUTOFMEMORY; others where told. Strings handed out belong to the caller (SysFreeString).
// _nMSecToChange: milliseconds that the change takes, 0 at once.

#include <qdvideomixer/object.h>

namespace qdvm {

// {C9F42E6B-7A15-4D38-8E0C-25B1D3967A4F}
inline constexpr GUID IID_IQDVideoMixerScene = {
    0xC9F42E6B, 0x7A15, 0x4D38, {0x8E, 0x0C, 0x25, 0xB1, 0xD3, 0x96, 0x7A, 0x4F}};

struct IQDVideoMixerScene : IUnknown {
    // The present layout under a new name: rects that change are taken where they will end.
    // E_INVALIDARG if the name is taken or empty. The description may be null.
    virtual HRESULT AddCurrentScene(BSTR _bsName, BSTR _bsDesc) = 0;

    // SelectScene2 at once.
    virtual HRESULT SelectScene(BSTR _bsScene) = 0;

    // Scenes stand in the order in which they were added.
    virtual HRESULT GetSceneCount(LONG* _pnCount) = 0;
    // Each out may be null.
    virtual HRESULT GetSceneInfo(LONG _nIndex, BSTR* _pbsName, BSTR* _pbsDesc) = 0;
    virtual HRESULT RemoveScene(BSTR _bsName) = 0;

    // Rects that exist move to their new place, new ones fade in, surplus ones fade out. A stream
    // that the scene doesn't show counts as disabled at once and is gone when its last rect has
    // faded; one beyond the scene's positions loses its rects and stays enabled. A picture that
    // can't be loaded leaves the background as it is, and all else happens. Afterwards the key
    // control acts on the last stream for which the scene had something.
    virtual HRESULT SelectScene2(BSTR _bsScene, LONG _nMSecToChange) = 0;

    // SetStreamOrder2 without swapping.
    virtual HRESULT SetStreamOrder(LONG _nStream, LONG _nOrder, BOOL _bRearrangeScene,
                                   LONG _nMSecToChange) = 0;
    // -1 if the stream has no position.
    virtual HRESULT GetStreamOrder(LONG _nStream, LONG* _pnOrder) = 0;
    virtual HRESULT GetStreamByOrder(LONG _nOrder, LONG* _pnStream) = 0;

    // An effect between the streams at two positions. E_NOTIMPL: no service of effects is there.
    virtual HRESULT MakeTransition(LONG _nOrderFrom, LONG _nOrderTo, BSTR _bsTransitionInfo,
                                   BOOL _bBothStreams, BOOL _bKeepInput, LONG _nMSecToChange) = 0;

    // Moves a connected stream to a position, a negative one meaning 0; the free stream stays last
    // unless it is swapped with.
    // _bSwapStreams: the stream that stands there takes its old position, otherwise those between
    // close up. _bRearrangeScene: the layout stays where it is and the streams change places in it,
    // rects, keys and all, over _nMSecToChange; otherwise only the order of drawing changes.
    // E_INVALIDARG also for a stream that isn't connected.
    virtual HRESULT SetStreamOrder2(LONG _nStream, LONG _nOrder, BOOL _bSwapStreams,
                                    BOOL _bRearrangeScene, LONG _nMSecToChange) = 0;

    // Replaces a scene by the present layout. Only the name stays: the description becomes empty,
    // and a built-in scene the user's.
    virtual HRESULT UpdateScene(BSTR _bsScene) = 0;

    // A document with the scene of that name, in any case of letters, or with all scenes that are
    // not built in if the name is null or empty. An unknown name gives a document without scenes.
    virtual HRESULT SaveScenes(BSTR _bsSceneName, BSTR* _pbsXMLDesc) = 0;

    // Adds the scenes of a document, given as text or as the name of a file. _nRemoveOld: 0 keeps
    // the scenes that are there, but for those that are loaded under the same name; 1 replaces all
    // of them by the built-in and the loaded ones, 2 by the loaded ones alone; -1 is like 1, but
    // built-in scenes win over loaded ones of the same name. Also the failures of reading a file
    // (0x80070002, 0x80070005, E_FAIL); the scenes then stay as they were. A name of no file counts
    // as a text without scenes.
    virtual HRESULT LoadScenes(BSTR _bsXMLDescOrFile, LONG _nRemoveOld) = 0;

protected:
    ~IQDVideoMixerScene() = default;
};

}  // namespace qdvm
