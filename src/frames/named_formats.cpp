#include "frames/named_formats.h"

namespace qdvm {

namespace {

constexpr NamedVideoFormat Row(const char* name, std::int32_t width, std::int32_t height,
                               eVM_Interlace interlace, std::int32_t aspectX, std::int32_t aspectY,
                               double framesPerSecond) {
    return {name, {{0, width, height, width}, interlace, aspectX, aspectY, framesPerSecond, 0}};
}

constexpr eVM_Interlace kProgressive = eVMI_Progressive;
constexpr eVM_Interlace kField1 = eVMI_Field1First;
constexpr eVM_Interlace kField2 = eVMI_Field2First;

}  // namespace

// clang-format off
constexpr std::array<NamedVideoFormat, kNamedVideoFormatCount> NamedVideoFormats = {{
    Row("720x576@25.0 4:3 PAL",              720,  576, kField1,      4, 3, 25.0),
    Row("720x576@25.0 16:9 PAL+",            720,  576, kField1,      16, 9, 25.0),
    Row("720x486@29.97 4:3 NTSC (Analog)",   720,  486, kField2,      4, 3, 29.97),
    Row("720x480@29.97 4:3 NTSC (Digital)",  720,  480, kField2,      4, 3, 29.97),
    Row("1280x720@25.0 16:9 HD720 50i",      1280, 720, kField1,      16, 9, 25.0),
    Row("1280x720@29.97 16:9 HD720 60i",     1280, 720, kField2,      16, 9, 29.97),
    Row("1280x720@50.0 16:9 HD720 50p",      1280, 720, kProgressive, 16, 9, 50.0),
    Row("1280x720@59.94 16:9 HD720 60p",     1280, 720, kProgressive, 16, 9, 59.94),
    Row("1440x1080@25.0 16:9 HDV PAL",       1440, 1080, kField2,     16, 9, 25.0),
    Row("1440x1080@29.97 16:9 HDV NTSC",     1440, 1080, kField2,     16, 9, 29.97),
    Row("1920x1080@25.0 16:9 HD1080 50i",    1920, 1080, kField2,     16, 9, 25.0),
    Row("1920x1080@29.97 16:9 HD1080 60i",   1920, 1080, kField2,     16, 9, 29.97),
    Row("800x600@25.0 4:3 SVGA",             800,  600, kProgressive, 4, 3, 25.0),
    Row("800x600@30.0 4:3 SVGA",             800,  600, kProgressive, 4, 3, 30.0),
    Row("640x480@25.0 4:3 VGA",              640,  480, kProgressive, 4, 3, 25.0),
    Row("640x480@30.0 4:3 VGA",              640,  480, kProgressive, 4, 3, 30.0),
    Row("352x288@25.0 4:3 CIF",              352,  288, kProgressive, 4, 3, 25.0),
    Row("352x288@30.0 4:3 CIF",              352,  288, kProgressive, 4, 3, 30.0),
    Row("320x240@25.0 4:3 QVGA",             320,  240, kProgressive, 4, 3, 25.0),
    Row("320x240@30.0 4:3 QVGA",             320,  240, kProgressive, 4, 3, 30.0),
}};
// clang-format on

}  // namespace qdvm
