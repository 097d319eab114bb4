#pragma once

// IQDVideoMixer: the control interface of the mixer.
//
// Every operation can be called from any thread in any state. A change is seen whole by the next
// composed frame and never by half of one; setters wait at most for the frame in progress.
// Stream numbers are the numbers of the input pins from 0 and never move while a pin lives; the
// last one is always a free, unconnected stream. Rect numbers run from 0 within a stream; removing
// one moves the later ones down.
//
// Results: S_OK; S_FALSE for "nothing had to be done" or "no"; E_POINTER for a missing out pointer;
// E_INVALIDARG for a number out of range; others where told. Strings handed out belong to the
// caller (SysFreeString). Times to change are milliseconds and are turned into a whole number of
// frames at the call; less than one frame means at once.

#include <qdvideomixer/mixing_rect.h>
#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <cstdint>

namespace qdvm {

// What a lost stream shows.
enum eVM_LostShow : std::int32_t {
    eVMLS_Hide = 0,
    eVMLS_Last = 1,
    eVMLS_Black = 2,
    eVMLS_White = 3,
    eVMLS_Bars = 4,
    eVMLS_Prepared = 5,
};

// What lies under all streams.
enum eVM_Background : std::int32_t {
    eVMB_None = 0,    // nothing; black if no stream draws anything
    eVMB_Color = 1,   // a colour, 0xAABBGGRR
    eVMB_Image = 2,   // a picture, stretched to the output
    eVMB_Stream = 3,  // nothing, not even black: the streams are all there is
};

// {6A5D0C52-8E1B-4C0D-9B52-3D4FA3A0E7A1}
inline constexpr GUID IID_IQDVideoMixer = {
    0x6A5D0C52, 0x8E1B, 0x4C0D, {0x9B, 0x52, 0x3D, 0x4F, 0xA3, 0xA0, 0xE7, 0xA1}};

// {1F0B7C0E-5D5C-4E0A-8D0B-6C2C0E7B9A10}
inline constexpr GUID CLSID_QDVideoMixer = {
    0x1F0B7C0E, 0x5D5C, 0x4E0A, {0x8D, 0x0B, 0x6C, 0x2C, 0x0E, 0x7B, 0x9A, 0x10}};

struct IQDVideoMixer : IUnknown {
    // SetBackground2 at once.
    virtual HRESULT SetBackground(eVM_Background _eBackGround, LONG _nColor, BSTR _bsFileName) = 0;

    // Asks for an output format. Any field may be 0: follow the inputs. Null follows them in all.
    // Needs the stopped state: otherwise S_FALSE if the given fields agree with the present
    // output, VFW_E_NOT_STOPPED if one differs. The layout is scaled to the new size.
    virtual HRESULT SetOutputProps(const VM_VIDEO_PROPS* _pProps) = 0;

    // _bGivenProps: what SetOutputProps stored; otherwise the present output.
    virtual HRESULT GetOutputProps(BOOL _bGivenProps, VM_VIDEO_PROPS* _pProps) = 0;

    // Number of streams without the free one at the end.
    virtual HRESULT GetStreamCount(LONG* _pnCount) = 0;

    // VFW_E_NOT_CONNECTED for an unconnected stream.
    virtual HRESULT GetInputProps(LONG _nStreamNo, VM_VIDEO_PROPS* _pProps) = 0;

    // Rects that are fading out under a timed removal are counted.
    virtual HRESULT GetInputRectCount(LONG _nStreamNo, LONG* _pnCount) = 0;

    virtual HRESULT SetInputRect(LONG _nStreamNo, LONG* _pnRectNo,
                                 const VM_MIXING_RECT* _pVMRect) = 0;

    // During a change: where it will end.
    virtual HRESULT GetInputRect(LONG _nStreamNo, LONG _nRectNo, VM_MIXING_RECT* _pVMRect) = 0;
    virtual HRESULT RemoveInputRect(LONG _nStreamNo, LONG _nRectNo) = 0;

    // A negative stream number means every stream.
    virtual HRESULT RemoveAllRects(LONG _nStreamNo) = 0;

    // S_FALSE if this is the last shown stream, which stays on.
    virtual HRESULT EnableStream(LONG _nStreamNo, BOOL _bEnable) = 0;
    virtual HRESULT IsStreamEnabled(LONG _nStreamNo, BOOL* _pbEnabled) = 0;

    // Frames are taken as they come, whatever their time stamps.
    virtual HRESULT IgnoreTime(LONG _nStreamNo, BOOL _bIgnore) = 0;
    virtual HRESULT IsIgnoreTime(LONG _nStreamNo, BOOL* _pbIgnore) = 0;

    // The delivering thread is held until 20 ms before a frame's time.
    virtual HRESULT KeepStreamRate(LONG _nStreamNo, BOOL _bKeep) = 0;
    virtual HRESULT IsKeepStreamRate(LONG _nStreamNo, BOOL* _pbKeeped) = 0;

    // A picture that scales with the rect and multiplies its opacity: the brighter, the more is
    // seen. _bsFile: a picture file, or "Rect", "Rounded Rect", "Circle" in any case of letters;
    // null or empty takes the mask and its name away. The result of the file if it can't be read
    // (0x80070002, E_FAIL, E_OUTOFMEMORY); the rect then stays as it is.
    virtual HRESULT SetRectMask(LONG _nStream, LONG _nRect, BSTR _bsFile) = 0;

    // The same with a bitmap (bitmap.h) of 24 or 32 bits and a name for it. The bitmap is copied
    // and stays the caller's. E_POINTER for handle 0, E_HANDLE, E_INVALIDARG for another depth.
    virtual HRESULT SetRectMaskHandle(LONG _nStream, LONG _nRect, LONG _lHandle,
                                      BSTR _bsMaskName) = 0;

    // *_pnRectNo: the rect to change; null, negative or past the end adds one and gives its number.
    // A null record stands for the whole picture on the whole output, opaque.
    virtual HRESULT SetInputRect2(LONG _nStreamNo, LONG* _pnRectNo, const VM_MIXING_RECT* _pVMRect,
                                  LONG _nMSecToChange) = 0;

    // The rect fades out and keeps its number until it is gone. A negative number means all rects
    // of the stream, at once.
    virtual HRESULT RemoveInputRect2(LONG _nStreamNo, LONG _nRectNo, LONG _nMSecToChange) = 0;
    virtual HRESULT GetRectMask(LONG _nStream, LONG _nRect, BSTR* _pbsFile) = 0;

    // Every out pointer may be null.
    virtual HRESULT GetBackground(eVM_Background* _peBackGround, LONG* _pnColor,
                                  BSTR* _pbsFileName) = 0;

    // _nColor counts for eVMB_Color, _bsFileName for eVMB_Image: a picture file, which is stretched
    // to the output. E_INVALIDARG without a name, the file's result if it can't be read
    // (0x80070002, E_FAIL, E_OUTOFMEMORY); the background then stays as it is. Fades from a colour
    // or picture to a colour or picture.
    virtual HRESULT SetBackground2(eVM_Background _eBackGround, LONG _nColor, BSTR _bsFileName,
                                   LONG _nMSecToChange) = 0;

    // _bStopAllForEOS: the output ends once this stream and all of lower number have ended.
    virtual HRESULT LoopStream(LONG _nStreamNo, BOOL _bLoop, BOOL _bStopAllForEOS) = 0;
    virtual HRESULT IsStreamLooped(LONG _nStreamNo, BOOL* _pbLooped, BOOL* _pbStopAllForEOS) = 0;

    // The last output frame as a bitmap of 24 bits (bitmap.h), which the caller deletes.
    // _bOnlyOneField: of interlaced frames only the field of the top line, at full height.
    // VFW_E_WRONG_STATE before the first frame.
    virtual HRESULT CaptureBitmap(LONG* _phBitmap, BOOL _bOnlyOneField) = 0;

    // Lost from now until the stream's next frame.
    virtual HRESULT SetStreamLost(LONG _nStreamNo, eVM_LostShow _eLostShow) = 0;
    virtual HRESULT IsStreamLost(LONG _nStreamNo, BOOL* _pbLost, eVM_LostShow* _peLostShow) = 0;

    // How many of its own frames a stream may miss before it counts as lost: 0 never, negative
    // leaves the number. A negative stream number means every stream.
    virtual HRESULT SetStreamMaxWait(LONG _nStreamNo, LONG _nMaxWaitFrames,
                                     eVM_LostShow _eLostShow) = 0;
    virtual HRESULT GetStreamMaxWait(LONG _nStreamNo, LONG* _pnMaxWaitFrames,
                                     eVM_LostShow* _peLostShow) = 0;

    // The stream that the chroma-key control acts on; not checked.
    virtual HRESULT SetStreamForChromaKey(LONG _nStreamNo) = 0;
    virtual HRESULT GetStreamForChromaKey(LONG* _pnStreamNo) = 0;

    // Drops the stream's held frame; a number out of range means every stream.
    virtual HRESULT FlushBuffers(LONG _nStream) = 0;
    virtual HRESULT SetInputRectGL(LONG _nStreamNo, LONG* _pnRectNo,
                                   const VM_MIXING_RECT_GL* _pVMRect, LONG _nMSecToChange) = 0;
    virtual HRESULT GetInputRectGL(LONG _nStreamNo, LONG _nRectNo, VM_MIXING_RECT_GL* _pVMRect) = 0;

    // The stream whose frames drive the output, negative for none. S_FALSE if it is so already,
    // VFW_E_NOT_STOPPED, VFW_E_NOT_CONNECTED.
    virtual HRESULT SetMasterStream(LONG _nStreamNo) = 0;
    virtual HRESULT GetMasterStream(LONG* _pnStreamNo) = 0;

protected:
    ~IQDVideoMixer() = default;
};

}  // namespace qdvm
