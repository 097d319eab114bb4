#pragma once

// Where the mix goes and how it is encoded.

#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/values.h"

#include <optional>
#include <string>

namespace qdvm::qdmix {

enum class OutputKind { kFile, kRaw, kWindow };

// One way to write a file of an ending.
struct Encoding {
    const char* ending;           // with the dot, small letters
    const char* title;            // for the user
    const char* encoder;          // element and settings as for gst-launch; its name is "encoder"
    const char* muxer;            // null: the encoder writes files
    const char* bitrateProperty;  // of the encoder; null: it has none
    int bitrateUnit;              // bits in a second for 1
    bool isFullRange;             // the encoder's pictures have the range of JPEG
};

struct OutputSpec {
    OutputKind kind = OutputKind::kFile;
    std::string text;
    const Encoding* encoding = nullptr;  // files only; lives for ever

    // "output (mix.webm)".
    std::string Subject() const;
};

// Finds the encoding by the ending, the first that is installed.
std::optional<Failure> ChooseOutput(const std::string& text, OutputSpec& spec);

// How the mix looks to GStreamer.
struct PixelFormat {
    const char* name;         // as on the command line
    const char* gstFormat;    // as in raw caps
    const char* colorimetry;  // null: RGB
    const char* help;
};

// Null for an unknown name.
const PixelFormat* FindPixelFormat(const std::string& name);

// Caps of the mix: its format, and for YUV its one colour matrix.
std::string CapsText(const PixelFormat& format);

// Caps of pictures that come into a mix of this format from RGB or from YUV: what the mixer works
// in without a change of colours. In one caps, RGB would get the matrix that is meant for YUV.
std::string InputCapsText(const PixelFormat& format, bool isFromRgb);

// Caps of what the encoder of a file is given.
std::string EncoderCapsText(const Encoding& encoding, Size mixSize);

// Pixel formats and endings, as lines for the user or as JSON.
std::string FormatList(bool isJson);

}  // namespace qdvm::qdmix
