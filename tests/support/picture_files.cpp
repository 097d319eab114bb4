#include "support/picture_files.h"

#include <gdk-pixbuf/gdk-pixbuf.h>

#include <fstream>
#include <stdexcept>

namespace qdvm::test {

FileBytes MakePictureFile(const char* kind, int width, int height, bool hasAlpha,
                          const std::function<Rgba(int x, int y)>& at) {
    GdkPixbuf* const picture = gdk_pixbuf_new(GDK_COLORSPACE_RGB, hasAlpha, 8, width, height);
    const int channels = gdk_pixbuf_get_n_channels(picture);
    for (int y = 0; y < height; ++y) {
        guchar* pixel = gdk_pixbuf_get_pixels(picture) + y * gdk_pixbuf_get_rowstride(picture);
        for (int x = 0; x < width; ++x, pixel += channels)
            for (int i = 0; i < channels; ++i)
                pixel[i] = static_cast<guchar>(at(x, y) >> (24 - 8 * i));
    }
    gchar* buffer = nullptr;
    gsize size = 0;
    const gboolean saved =
        gdk_pixbuf_save_to_bufferv(picture, &buffer, &size, kind, nullptr, nullptr, nullptr);
    g_object_unref(picture);
    if (!saved) throw std::runtime_error(std::string("no encoder for ") + kind);
    FileBytes bytes(buffer, buffer + size);
    g_free(buffer);
    return bytes;
}

FileBytes MakeBmpFile(std::int32_t width, std::int32_t height, int bitsPerPixel,
                      std::span<const std::uint8_t> rows) {
    FileBytes bytes = {'B', 'M'};
    const auto put = [&](std::uint32_t value, int count) {
        for (int i = 0; i < count; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
    };
    constexpr std::uint32_t kHeaders = 54;
    put(kHeaders + static_cast<std::uint32_t>(rows.size()), 4);
    put(0, 4);
    put(kHeaders, 4);
    put(40, 4);
    put(static_cast<std::uint32_t>(width), 4);
    put(static_cast<std::uint32_t>(height), 4);
    put(1, 2);
    put(static_cast<std::uint32_t>(bitsPerPixel), 2);
    put(0, 4);
    put(static_cast<std::uint32_t>(rows.size()), 4);
    put(0, 4);
    put(0, 4);
    put(0, 4);
    put(0, 4);
    bytes.insert(bytes.end(), rows.begin(), rows.end());
    return bytes;
}

std::u16string WriteBytes(const std::filesystem::path& path, std::span<const std::uint8_t> bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    (void)out.write(reinterpret_cast<const char*>(bytes.data()),
                    static_cast<std::streamsize>(bytes.size()));
    if (!out.good()) throw std::runtime_error("can't write " + path.string());
    return path.u16string();
}

}  // namespace qdvm::test
