#include "platform/picture_file.h"

#include "platform/file.h"
#include "platform/files_at.h"
#include "platform/text.h"
#include "platform/ticks.h"

#include <gdk-pixbuf/gdk-pixbuf.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <new>
#include <string_view>
#include <system_error>

namespace qdvm {
namespace {

struct ObjectDrop {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <class T>
using Object = std::unique_ptr<T, ObjectDrop>;

// Small, so that the clock is looked at often: a few bytes can stand for a whole pass over a large
// picture.
constexpr std::size_t kStepBytes = 1024;

struct Signature {
    std::string_view bytes;
    const char* kind;
};

// Only these: other decoders may follow references to further files.
constexpr std::array<Signature, 6> kSignatures = {{
    {std::string_view("\x89PNG\r\n\x1A\n", 8), "png"},
    {std::string_view("\xFF\xD8\xFF", 3), "jpeg"},
    {std::string_view("GIF8", 4), "gif"},
    {std::string_view("BM", 2), "bmp"},
    {std::string_view("II*\0", 4), "tiff"},
    {std::string_view("MM\0*", 4), "tiff"},
}};

const char* KindOf(std::span<const std::uint8_t> file) {
    const std::string_view text(reinterpret_cast<const char*>(file.data()), file.size());
    for (const Signature& signature : kSignatures)
        if (text.starts_with(signature.bytes)) return signature.kind;
    return nullptr;
}

// Whether the end mark follows the scans of a JPEG file. The decoder takes a file that breaks off
// for one that is grey from there on.
bool HasJpegEnd(std::span<const std::uint8_t> file) {
    const auto isBare = [](std::uint8_t mark) {
        return mark == 0 || mark == 1 || (mark >= 0xD0 && mark <= 0xD8);
    };
    std::size_t at = 0;
    while (at + 1 < file.size()) {
        const std::uint8_t mark = file[at + 1];
        if (file[at] != 0xFF || mark == 0xFF) {
            ++at;  // coded data, or fill
        } else if (isBare(mark)) {
            at += 2;
        } else if (mark == 0xD9) {
            return true;
        } else {
            if (at + 3 >= file.size()) return false;
            at += 2 + (std::size_t{file[at + 2]} << 8 | file[at + 3]);
        }
    }
    return false;
}

// Whether the chunks of a PNG file run on to the one that ends it. The decoder is content with the
// last row, before its check sums.
bool HasPngEnd(std::span<const std::uint8_t> file) {
    constexpr std::size_t kAroundData = 12;  // length, name and check sum
    std::size_t at = 8;
    while (at + kAroundData <= file.size()) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < 4; ++i) length = length << 8 | file[at + i];
        if (std::memcmp(&file[at + 4], "IEND", 4) == 0) return true;
        at += length + kAroundData;
    }
    return false;
}

// Whether the headers of a bitmap file lie in the file. The decoder takes memory for all that its
// header says to be there before the pixels.
bool HasBitmapHeaders(std::span<const std::uint8_t> file) {
    constexpr std::size_t kFileHeader = 14;
    const auto number = [file](std::size_t at) {
        std::uint64_t value = 0;
        for (std::size_t i = 4; i > 0; --i) value = value << 8 | file[at + i - 1];
        return value;
    };
    return file.size() >= kFileHeader + 4 && number(10) <= file.size() &&
           kFileHeader + number(14) <= file.size();
}

bool IsWhole(std::string_view kind, std::span<const std::uint8_t> file) {
    if (kind == "jpeg") return HasJpegEnd(file);
    if (kind == "bmp") return HasBitmapHeaders(file);
    return kind != "png" || HasPngEnd(file);
}

bool IsWithinBounds(std::int64_t width, std::int64_t height) {
    return width > 0 && height > 0 && width <= kMaxPictureSide && height <= kMaxPictureSide &&
           width * height <= kMaxPicturePixels;
}

// The decoder calls this with the size before it takes memory; a size of 0 makes it give up.
void CheckSize(GdkPixbufLoader* loader, int width, int height, gpointer isTooLarge) {
    if (IsWithinBounds(width, height)) return;
    *static_cast<bool*>(isTooLarge) = true;
    gdk_pixbuf_loader_set_size(loader, 0, 0);
}

// Notes how far down the picture has been filled.
void NoteRows(GdkPixbufLoader* /*loader*/, int /*x*/, int y, int /*width*/, int height,
              gpointer rowsSeen) {
    auto* rows = static_cast<std::vector<bool>*>(rowsSeen);
    for (int row = std::max(y, 0); row < y + height; ++row) {
        const auto index = static_cast<std::size_t>(row);
        if (index >= rows->size()) rows->resize(index + 1);
        (*rows)[index] = true;
    }
}

// One run of the library's decoder.
class Decoder {
public:
    explicit Decoder(const char* kind) : loader(gdk_pixbuf_loader_new_with_type(kind, nullptr)) {
        if (!loader) return;
        (void)g_signal_connect(loader.get(), "size-prepared", G_CALLBACK(CheckSize), &isTooLarge);
        (void)g_signal_connect(loader.get(), "area-updated", G_CALLBACK(NoteRows), &rowsSeen);
    }
    ~Decoder() {
        if (loader && !isClosed) (void)gdk_pixbuf_loader_close(loader.get(), nullptr);
    }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    // The first picture, with a reference; null if the file does not hold it whole.
    Object<GdkPixbuf> Run(std::span<const std::uint8_t> file) {
        if (!loader) return nullptr;
        const std::uint32_t start = TickCountMs();
        while (!file.empty()) {
            const std::size_t step = std::min(file.size(), kStepBytes);
            if (!gdk_pixbuf_loader_write(loader.get(), file.data(), step, nullptr) || isTooLarge)
                return nullptr;
            file = file.subspan(step);
            if (Object<GdkPixbuf> first = FirstOfMany()) return first;
            if (TickCountMs() - start > kMaxDecodingMs) return nullptr;
        }
        isClosed = true;
        if (!gdk_pixbuf_loader_close(loader.get(), nullptr) || isTooLarge) return nullptr;
        return Whole();
    }

private:
    // The first frame of an animation, as soon as the second one begins.
    Object<GdkPixbuf> FirstOfMany() {
        GdkPixbufAnimation* const animation = gdk_pixbuf_loader_get_animation(loader.get());
        if (!animation || gdk_pixbuf_animation_is_static_image(animation)) return nullptr;
        return FirstFrame(animation);
    }

    static Object<GdkPixbuf> FirstFrame(GdkPixbufAnimation* animation) {
        G_GNUC_BEGIN_IGNORE_DEPRECATIONS
        const GTimeVal begin = {0, 0};
        const Object<GdkPixbufAnimationIter> iter(gdk_pixbuf_animation_get_iter(animation, &begin));
        G_GNUC_END_IGNORE_DEPRECATIONS
        if (!iter || gdk_pixbuf_animation_iter_on_currently_loading_frame(iter.get()))
            return nullptr;
        // The iterator draws into a picture of its own that it goes on using.
        GdkPixbuf* const frame = gdk_pixbuf_animation_iter_get_pixbuf(iter.get());
        return Object<GdkPixbuf>(frame ? gdk_pixbuf_copy(frame) : nullptr);
    }

    Object<GdkPixbuf> Whole() {
        GdkPixbufAnimation* const animation = gdk_pixbuf_loader_get_animation(loader.get());
        if (animation && !gdk_pixbuf_animation_is_static_image(animation))
            return FirstFrame(animation);
        GdkPixbuf* const picture = gdk_pixbuf_loader_get_pixbuf(loader.get());
        if (!picture) return nullptr;
        // Some decoders end without a word when rows are missing.
        const auto height = static_cast<std::size_t>(gdk_pixbuf_get_height(picture));
        const auto rows = std::count(rowsSeen.begin(), rowsSeen.end(), true);
        if (static_cast<std::size_t>(rows) < height) return nullptr;
        return Object<GdkPixbuf>(static_cast<GdkPixbuf*>(g_object_ref(picture)));
    }

    Object<GdkPixbufLoader> loader;
    bool isTooLarge = false;
    bool isClosed = false;
    std::vector<bool> rowsSeen;
};

BYTE TimesAlpha(BYTE value, BYTE alpha) {
    const unsigned product = static_cast<unsigned>(value) * alpha + 128;
    return static_cast<BYTE>((product + (product >> 8)) >> 8);
}

void StorePixel(const guchar* from, bool hasAlpha, AlphaForm form, BYTE* to) {
    const BYTE alpha = hasAlpha ? from[3] : BYTE{255};
    const bool scaled = form == AlphaForm::kPremultiplied;
    to[0] = scaled ? TimesAlpha(from[2], alpha) : from[2];
    to[1] = scaled ? TimesAlpha(from[1], alpha) : from[1];
    to[2] = scaled ? TimesAlpha(from[0], alpha) : from[0];
    to[3] = alpha;
}

HRESULT TakeOver(const GdkPixbuf* decoded, AlphaForm form, DecodedPicture* picture) {
    const int width = gdk_pixbuf_get_width(decoded);
    const int height = gdk_pixbuf_get_height(decoded);
    const int channels = gdk_pixbuf_get_n_channels(decoded);
    // Once more: what a decoder announces and what it delivers are two things.
    if (!IsWithinBounds(width, height) || channels < 3 ||
        gdk_pixbuf_get_bits_per_sample(decoded) != 8)
        return E_FAIL;
    const std::size_t stride = static_cast<std::size_t>(width) * 4;
    picture->pixels.reset(static_cast<BYTE*>(CoTaskMemAlloc(stride * height)));
    if (!picture->pixels) return E_OUTOFMEMORY;
    picture->width = width;
    picture->height = height;
    const guchar* row = gdk_pixbuf_read_pixels(decoded);
    const bool hasAlpha = gdk_pixbuf_get_has_alpha(decoded) != FALSE;
    for (int y = height - 1; y >= 0; --y, row += gdk_pixbuf_get_rowstride(decoded)) {
        BYTE* const out = picture->pixels.get() + stride * y;
        for (int x = 0; x < width; ++x)
            StorePixel(row + std::ptrdiff_t{x} * channels, hasAlpha, form, out + 4 * x);
    }
    return S_OK;
}

struct BytesDrop {
    void operator()(gchar* block) const { g_free(block); }
};

}  // namespace

HRESULT ReadPictureFile(std::u16string_view name, std::vector<std::uint8_t>& contents) {
    contents.clear();
    std::error_code error;
    if (!std::filesystem::exists(ToUtf8(name), error))
        return HResultFromWin32(ERROR_FILE_NOT_FOUND);
    std::uint64_t bytes = 0;
    // A pipe could be waited for without end, and a device read without one.
    if (!RegularFileSizeAt(ToUtf8(name), &bytes) || bytes > kMaxPictureFileBytes) return E_FAIL;
    return ReadFile(name, contents);
}

HRESULT DecodePicture(std::span<const std::uint8_t> file, AlphaForm form, DecodedPicture* picture) {
    *picture = {};
    const char* const kind = KindOf(file);
    if (!kind || !IsWhole(kind, file)) return E_FAIL;
    try {
        Decoder decoder(kind);
        const Object<GdkPixbuf> decoded = decoder.Run(file);
        return decoded ? TakeOver(decoded.get(), form, picture) : E_FAIL;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT EncodePng(const PictureRows& picture, std::vector<std::uint8_t>* file) {
    file->clear();
    const int channels = picture.bitsPerPixel / 8;
    if (!picture.topRow || !IsWithinBounds(picture.width, picture.height) ||
        (picture.bitsPerPixel != 24 && picture.bitsPerPixel != 32))
        return E_INVALIDARG;
    const Object<GdkPixbuf> pixels(
        gdk_pixbuf_new(GDK_COLORSPACE_RGB, channels == 4, 8, picture.width, picture.height));
    if (!pixels) return E_OUTOFMEMORY;
    const BYTE* from = picture.topRow;
    guchar* to = gdk_pixbuf_get_pixels(pixels.get());
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            const BYTE* const source = from + std::ptrdiff_t{x} * channels;
            guchar* const target = to + std::ptrdiff_t{x} * channels;
            target[0] = source[2];
            target[1] = source[1];
            target[2] = source[0];
            if (channels == 4) target[3] = source[3];
        }
        from += picture.stride;
        to += gdk_pixbuf_get_rowstride(pixels.get());
    }
    gchar* buffer = nullptr;
    gsize bytes = 0;
    if (!gdk_pixbuf_save_to_bufferv(pixels.get(), &buffer, &bytes, "png", nullptr, nullptr,
                                    nullptr))
        return E_FAIL;
    const std::unique_ptr<gchar, BytesDrop> owner(buffer);
    try {
        file->assign(buffer, buffer + bytes);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

}  // namespace qdvm
