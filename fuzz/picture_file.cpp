// Picture files, as a background and as a mask: the reader of plain bitmaps and the decoder behind
// it. The first byte says which form of alpha is asked for.

#include "platform/picture_file.h"
#include "frames/format_table.h"
#include "fuzz_text.h"
#include "mixer/load_image.h"
#include "mixer/rect_mask.h"

#include <filesystem>
#include <fstream>
#include <random>

using namespace qdvm;

namespace {

// Named as a bitmap, so that both readers have their turn.
class PictureFile {
public:
    PictureFile()
        : path(std::filesystem::temp_directory_path() /
               ("fuzz" + std::to_string(std::random_device()()) + ".bmp")) {}
    ~PictureFile() {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
    std::u16string Write(const std::uint8_t* data, std::size_t size) const {
        std::ofstream(path, std::ios::binary | std::ios::trunc)
            .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
        return path.u16string();
    }

private:
    std::filesystem::path path;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const PictureFile file;
    if (size == 0) return 0;
    LoadedImage image;
    const HRESULT result = LoadImage(file.Write(data + 1, size - 1), (data[0] & 1) != 0, &image);
    fuzz::Require(Succeeded(result) || image.pixels.IsEmpty());
    if (Failed(result)) return 0;
    const std::int64_t pixels = std::int64_t{image.props.nWidth} * AbsHeight(image.props);
    fuzz::Require(image.props.fccType == kFccARGB32 && pixels > 0 && pixels <= kMaxPicturePixels &&
                  image.pixels.Used() == FrameBytes(image.props));
    MixBlock rect;
    fuzz::Require(MakeMask(rect, image.props, image.pixels.At(0)) == S_OK &&
                  rect.rectMask.Used() == pixels);
    return 0;
}
