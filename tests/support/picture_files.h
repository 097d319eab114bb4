#pragma once

// Picture files made for tests.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace qdvm::test {

using FileBytes = std::vector<std::uint8_t>;

// Red, green, blue, alpha.
using Rgba = std::uint32_t;
constexpr Rgba MakeRgba(int red, int green, int blue, int alpha = 255) {
    return static_cast<Rgba>(red) << 24 | static_cast<Rgba>(green) << 16 |
           static_cast<Rgba>(blue) << 8 | static_cast<Rgba>(alpha);
}

// A file of the kind ("png", "jpeg", "bmp", "tiff") with the pixels that `at` tells, top line 0.
FileBytes MakePictureFile(const char* kind, int width, int height, bool hasAlpha,
                          const std::function<Rgba(int x, int y)>& at);

// A plain bitmap file with rows in the order of memory.
FileBytes MakeBmpFile(std::int32_t width, std::int32_t height, int bitsPerPixel,
                      std::span<const std::uint8_t> rows);

std::u16string WriteBytes(const std::filesystem::path& path, std::span<const std::uint8_t> bytes);

}  // namespace qdvm::test
