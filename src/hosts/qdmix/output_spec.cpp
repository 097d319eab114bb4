#include "hosts/qdmix/output_spec.h"

#include "hosts/qdmix/json.h"

#include "hosts/qdmix/gst_handles.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <string_view>
#include <utility>

namespace qdvm::qdmix {

namespace {

constexpr const char* kVp8 = "vp8enc name=encoder deadline=1 cpu-used=4 threads=2";
constexpr const char* kH264 = "x264enc name=encoder speed-preset=veryfast";
constexpr const char* kOpenH264 = "openh264enc name=encoder";
constexpr const char* kJpeg = "jpegenc name=encoder quality=90";
constexpr const char* kVp9 = "vp9enc name=encoder deadline=1 cpu-used=8 threads=2";

// clang-format off
constexpr std::array kEncodings = {
    Encoding{".webm", "WebM, VP8",             kVp8,      "webmmux",     "target-bitrate", 1, false},
    Encoding{".mkv",  "Matroska, VP8",         kVp8,      "matroskamux", "target-bitrate", 1, false},
    Encoding{".mp4",  "MP4, H.264",            kH264,     "mp4mux",      "bitrate", 1000, false},
    Encoding{".mp4",  "MP4, H.264",            kOpenH264, "mp4mux",      "bitrate", 1, false},
    Encoding{".mp4",  "MP4, VP9",              kVp9,      "mp4mux",      "target-bitrate", 1, false},
    Encoding{".mov",  "QuickTime, H.264",      kH264,     "qtmux",       "bitrate", 1000, false},
    Encoding{".mov",  "QuickTime, JPEG",       kJpeg,     "qtmux",       nullptr, 0, true},
    Encoding{".avi",  "AVI, JPEG",             kJpeg,     "avimux",      nullptr, 0, true},
    Encoding{".y4m",  "YUV4MPEG, no loss",     "y4menc name=encoder", nullptr, nullptr, 0, false},
};

// What the mixer makes itself, colours and what comes from RGB, has the matrix of BT.601, so all of
// the mix has it; HDYC stands for BT.709 by its name.
constexpr std::array kPixelFormats = {
    PixelFormat{"I420",   "I420", "bt601", "YUV 4:2:0, planes Y U V"},
    PixelFormat{"YV12",   "YV12", "bt601", "YUV 4:2:0, planes Y V U"},
    PixelFormat{"YUY2",   "YUY2", "bt601", "YUV 4:2:2, Y U Y V"},
    PixelFormat{"UYVY",   "UYVY", "bt601", "YUV 4:2:2, U Y V Y"},
    PixelFormat{"HDYC",   "UYVY", "bt709", "YUV 4:2:2, U Y V Y, BT.709"},
    PixelFormat{"YVYU",   "YVYU", "bt601", "YUV 4:2:2, Y V Y U"},
    PixelFormat{"RGB24",  "BGR",  nullptr, "RGB, bytes B G R"},
    PixelFormat{"RGB32",  "BGRx", nullptr, "RGB, bytes B G R and one unused"},
    PixelFormat{"ARGB32", "BGRA", nullptr, "RGB with alpha, bytes B G R A"},
};
// clang-format on

// Players take larger pictures than the broadcast ones of old for BT.709.
constexpr int kLastHeightOfBt601 = 576;

std::string EncoderElement(const Encoding& encoding) {
    const std::string_view text = encoding.encoder;
    return std::string(text.substr(0, text.find(' ')));
}

bool IsAvailable(const Encoding& encoding) {
    return IsInstalled(EncoderElement(encoding).c_str()) &&
           (encoding.muxer == nullptr || IsInstalled(encoding.muxer));
}

std::string EndingOf(const std::string& name) {
    std::string ending = std::filesystem::path(name).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return ending;
}

std::string KnownEndings() {
    std::string endings;
    for (const Encoding& encoding : kEncodings) {
        if (endings.find(encoding.ending) == std::string::npos) {
            endings += (endings.empty() ? "" : " ") + std::string(encoding.ending);
        }
    }
    return endings;
}

}  // namespace

std::string OutputSpec::Subject() const { return "output (" + text + ")"; }

std::optional<Failure> ChooseOutput(const std::string& text, OutputSpec& spec) {
    spec = {};
    spec.text = text;
    if (text == "-" || text == "window") {
        spec.kind = text == "-" ? OutputKind::kRaw : OutputKind::kWindow;
        return std::nullopt;
    }
    const std::string ending = EndingOf(text);
    bool isKnown = false;
    for (const Encoding& encoding : kEncodings) {
        if (ending == encoding.ending) {
            isKnown = true;
            if (IsAvailable(encoding)) {
                spec.encoding = &encoding;
                return std::nullopt;
            }
        }
    }
    if (isKnown) {
        return Failure{ExitStatus::kOutput, spec.Subject(), "can't be encoded",
                       "no encoder for " + ending + " is installed"};
    }
    return Failure{ExitStatus::kUsage, spec.Subject(),
                   ending.empty() ? "no ending" : "unknown ending",
                   "give one of " + KnownEndings()};
}

const PixelFormat* FindPixelFormat(const std::string& name) {
    const auto found = std::find_if(kPixelFormats.begin(), kPixelFormats.end(),
                                    [&](const PixelFormat& row) { return name == row.name; });
    return found != kPixelFormats.end() ? &*found : nullptr;
}

std::string CapsText(const PixelFormat& format) {
    const std::string caps = std::string("video/x-raw,format=") + format.gstFormat;
    return format.colorimetry != nullptr ? caps + ",colorimetry=" + format.colorimetry : caps;
}

std::string InputCapsText(const PixelFormat& format, bool isFromRgb) {
    const bool isBt709 =
        format.colorimetry != nullptr && format.colorimetry == std::string_view("bt709");
    // Of RGB the mixer makes BT.601.
    if (isFromRgb && !isBt709) {
        return "video/x-raw,format={BGR,BGRx,BGRA}";
    }
    return std::string("video/x-raw,format={I420,YV12,YUY2,UYVY,YVYU},colorimetry=") +
           (isBt709 ? "bt709" : "bt601");
}

std::string EncoderCapsText(const Encoding& encoding, Size mixSize) {
    if (encoding.isFullRange) {
        return "video/x-raw,format=I420,colorimetry=1:4:0:0";
    }
    return std::string("video/x-raw,colorimetry=") +
           (mixSize.height > kLastHeightOfBt601 ? "bt709" : "bt601");
}

namespace {

std::string FormatListAsJson() {
    std::string out = "{\n  \"formats\": [";
    const char* separator = "\n";
    for (const PixelFormat& format : kPixelFormats) {
        out += std::string(std::exchange(separator, ",\n")) +
               "    {\"name\": " + JsonText(format.name) +
               ", \"description\": " + JsonText(format.help) + "}";
    }
    out += "\n  ],\n  \"endings\": [";
    separator = "\n";
    for (const Encoding& encoding : kEncodings) {
        out += std::string(std::exchange(separator, ",\n")) +
               "    {\"name\": " + JsonText(encoding.ending) +
               ", \"description\": " + JsonText(encoding.title) +
               ", \"encoder\": " + JsonText(EncoderElement(encoding)) +
               ", \"installed\": " + (IsAvailable(encoding) ? "true" : "false") + "}";
    }
    return out + "\n  ]\n}\n";
}

}  // namespace

std::string FormatList(bool isJson) {
    if (isJson) {
        return FormatListAsJson();
    }
    std::string out = "Pixel formats (--format), YUV with the matrix of BT.601 but for HDYC:\n";
    for (const PixelFormat& format : kPixelFormats) {
        std::string name = format.name;
        name.resize(10, ' ');
        out += "  " + name + format.help + "\n";
    }
    out += "File endings (--output):\n";
    for (const Encoding& encoding : kEncodings) {
        std::string ending = encoding.ending;
        ending.resize(10, ' ');
        const std::string note = IsAvailable(encoding) ? "" : " (not installed)";
        out += "  " + ending + encoding.title + ", " + EncoderElement(encoding) + note + "\n";
    }
    return out;
}

}  // namespace qdvm::qdmix
