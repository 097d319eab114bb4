#pragma once

// The chroma key of a stream: up to 16 key colours that become transparent, and the removal of the
// light that a coloured backdrop throws onto what stands before it. A mixer answers for
// IQDVideoMixerChromaKey.

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <cstdint>

namespace qdvm {

// In which colour space a key measures how far a pixel is from it.
enum eVM_KeyType : std::int32_t {
    eVMK_None = 0,
    eVMK_Alpha = 1,  // nothing is computed: the picture's own fourth byte rules
    eVMK_RGB = 2,    // channels red, green, blue
    eVMK_HLS = 3,    // channels hue (255 for 360 degrees), lightness, saturation
    // Full-range channels Y, U, V of which blue takes the part of red and red that of blue: U grows
    // with red, V with blue. Pure green is (150, 53, 0), a light one such as a painted wall near
    // (110, 90, 75).
    eVMK_YUV = 4,
};

enum eVM_SpillMode : std::int32_t {
    eVMSM_None = 0,
    eVMSM_Matrix = 1,  // so does every value but 0 and 2
    eVMSM_UV = 2,
};

enum eVM_KeyFlags : std::int32_t {
    eVMKF_Invert = 0x1,     // what is keyed shows, all else becomes transparent
    eVMKF_SpillAway = 0x2,  // spill removal is strong away from the key instead of near it
};

inline constexpr std::int32_t kMaxChromaKeys = 16;

// One key: an ellipsoid in the colour space. Pixels inside it are transparent. Any bits may stand
// in any field. Colours and deltas hold one byte for each channel, the first channel lowest.
struct ChromaKeyEntry {
    std::uint32_t keyColour;  // centre, each channel taken as 1 to 254; the top byte means nothing
    std::uint32_t keyDelta;   // half-axes, a 0 counts as 1; all four bytes 0: the entry is off
    // Width in channel steps of the ring around the ellipsoid in which the plane grows from 0 to
    // 255. Everything above 0 becomes opaque in the end, so the ring decides where the edge falls.
    std::int32_t keySoftness;
    std::int32_t
        keyFloor;  // added to the entry's plane, limited; 255: only its spill removal counts
    std::int32_t spillExtraDelta;  // added to each byte of keyDelta for spill removal, limited
    std::int32_t spillChroma;      // strength of taking the key's colour away
    std::int32_t spillSaturation;  // strength of the change of saturation
    std::int32_t spillLuma;        // strength of the change of luma
    // Not 0: the entry takes part in spill removal even with the three above at 0.
    std::int32_t spillEnable;
};

// For a wall of one colour: eVMK_YUV, keyDelta 0x222246, keySoftness 20, nSmooth 1; and against its
// light on the edges eVMSM_Matrix, spillExtraDelta 12, spillChroma 12, spillSaturation -45, which
// draws them to grey. Much more spillChroma turns them to the opposite colour.
struct ChromaKeySettings {
    std::int32_t keyType;  // eVM_KeyType
    std::int32_t nKeys;    // entries that count, at most kMaxChromaKeys
    ChromaKeyEntry keys[kMaxChromaKeys];
    std::int32_t nSmooth;      // passes of smoothing over the finished plane; each after the first
                               // takes a pixel off the edge; above 255 as 255
    std::int32_t nSpillMode;   // eVM_SpillMode
    std::int32_t bInterlaced;  // set by the mixer: each field is keyed as a picture of its own
    std::int32_t nFlags;       // eVM_KeyFlags
};
static_assert(sizeof(ChromaKeySettings) == 4 * (2 + 9 * kMaxChromaKeys + 4));

// {1AFB737E-2331-40EF-9785-E6A4EB426EC6}
inline constexpr GUID IID_IQDVideoMixerKeySample = {
    0x1AFB737E, 0x2331, 0x40EF, {0x97, 0x85, 0xE6, 0xA4, 0xEB, 0x42, 0x6E, 0xC6}};

// A still picture of a stream with its key: what a dialog works on, apart from the running mixer.
// From any thread.
struct IQDVideoMixerKeySample : IUnknown {
    // Takes a copy of a picture in RGB24; _pBits has FrameBytes of it. The three numbers are kept
    // for whoever asked for the sample. E_POINTER; E_INVALIDARG for another format or no pixels;
    // E_OUTOFMEMORY.
    virtual HRESULT LoadPicture(const PIC_PROPS* _pProps, const BYTE* _pBits, double _dblParam1,
                                LONG _nParam2, LONG _nParam3) = 0;

    // A copy in task memory, which the caller owns. E_POINTER; E_UNEXPECTED before LoadPicture;
    // E_OUTOFMEMORY.
    virtual HRESULT GetPicture(PIC_PROPS* _pProps, BYTE** _ppBits) = 0;

    // The three numbers of LoadPicture, 0 before it. Each may be null.
    virtual HRESULT GetParams(double* _pdblParam1, LONG* _pnParam2, LONG* _pnParam3) = 0;

    // E_POINTER.
    virtual HRESULT SetSettings(const ChromaKeySettings* _pSettings) = 0;
    virtual HRESULT GetSettings(ChromaKeySettings* _pSettings) = 0;

    // E_POINTER; E_OUTOFMEMORY. The caller owns what GetLabel gives.
    virtual HRESULT SetLabel(BSTR _bsLabel) = 0;
    virtual HRESULT GetLabel(BSTR* _pbsLabel) = 0;

protected:
    ~IQDVideoMixerKeySample() = default;
};

// {CEABE696-73AD-4362-A6D5-CD11BC0AC1E5}
inline constexpr GUID IID_IQDVideoMixerChromaKey = {
    0xCEABE696, 0x73AD, 0x4362, {0xA6, 0xD5, 0xCD, 0x11, 0xBC, 0x0A, 0xC1, 0xE5}};

// The key of the stream that IQDVideoMixer::SetStreamForChromaKey has selected. A null argument
// gives E_POINTER, a selected number without a stream E_INVALIDARG. From any thread.
struct IQDVideoMixerChromaKey : IUnknown {
    // Seen from the next composed frame on, also if it shows a frame again.
    virtual HRESULT SetChromaKey(const ChromaKeySettings* _pSettings) = 0;
    virtual HRESULT GetChromaKey(ChromaKeySettings* _pSettings) = 0;

    // A new sample with the stream's picture, key and label; the caller owns the reference. While
    // the stream runs this waits for its next frame, up to 50 s; a stop or the stream's end lets it
    // go. _nWidth, _nHeight: pixels of the picture, made even; one of them 0 follows from the
    // stream's aspect ratio, both 0 are the stream's own size. The three numbers go to LoadPicture.
    // E_UNEXPECTED if the stream has no picture yet; E_INVALIDARG also for sizes below 0 or beyond
    // 16384.
    virtual HRESULT MakeKeySample(IUnknown** _ppSample, LONG _nWidth, LONG _nHeight,
                                  double _dblParam1, LONG _nParam2, LONG _nParam3) = 0;
    // The same in the stream's own size, with 0 as first number.
    virtual HRESULT GetKeySample(IUnknown** _ppSample, LONG _nParam2, LONG _nParam3) = 0;
    virtual HRESULT GetKeySampleControl(IQDVideoMixerKeySample** _ppControl, LONG _nParam2,
                                        LONG _nParam3) = 0;

    // Gives the stream the key and the label of a sample. Also the failures of asking the sample;
    // E_NOINTERFACE if it isn't one.
    virtual HRESULT TakeKeySample(IUnknown* _pSample) = 0;

    // A text that travels with the key; the mixer only keeps it. E_OUTOFMEMORY. The caller owns
    // what GetKeyLabel gives.
    virtual HRESULT SetKeyLabel(BSTR _bsLabel) = 0;
    virtual HRESULT GetKeyLabel(BSTR* _pbsLabel) = 0;

protected:
    ~IQDVideoMixerChromaKey() = default;
};

}  // namespace qdvm
