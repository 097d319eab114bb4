#include "pixels/chroma_key/key_rows.h"

#include "frames/format_table.h"
#include "pixels/primitives/colour_space.h"

#include <qdvideomixer/chroma_key.h>

namespace qdvm {

namespace {

bool IsFourBytes(std::int32_t fccType) { return fccType == kFccRGB32 || fccType == kFccARGB32; }

const char* SpaceLabel(std::int32_t keyType) {
    if (keyType == eVMK_RGB) return nullptr;
    return keyType == eVMK_HLS ? "[RGB->HLS]" : "[RGB->YUV]";
}

}  // namespace

FrameDesc RowDescOf(std::int32_t fccType, ImageSize size, std::int32_t rowBytes) {
    FrameDesc desc{};
    desc.fccType = fccType;
    desc.nWidth = size.width;
    desc.nHeight = -1;
    desc.nRowBytes = rowBytes;
    return desc;
}

FrameDesc RowDescOf(const KeyPicture& picture) {
    return RowDescOf(picture.fccType, picture.size, picture.rowBytes);
}

KeyRowReader::KeyRowReader(const KeyPicture& source, std::int32_t type, BYTE* rowBuffer)
    : picture(source),
      keyType(type),
      buffer(rowBuffer),
      from(RowDescOf(source)),
      to(RowDescOf(kFccRGB32, source.size, source.size.width * 4)),
      toRgb32(IsRGBFormat(source.fccType) ? "[RGB24->RGB32]" : "[YUV->RGB32]"),
      byMatrix(CopyFrameLabel(source.fccType, kFccRGB32)),
      toSpace(SpaceLabel(type)) {}

HRESULT KeyRowReader::Read(std::ptrdiff_t y, const BYTE** row) {
    const BYTE* colours = picture.Row(y);
    if (!IsFourBytes(picture.fccType)) {
        const TraceSum::Span whole(toRgb32);
        const TraceSum::Span inner(byMatrix);
        const HRESULT result = CopyRowsCC(colours, buffer, from, to);
        if (Failed(result)) return result;
        colours = buffer;
    }
    const TraceSum::Span span(toSpace);
    const ImageSize size{picture.size.width, 1};
    if (keyType == eVMK_HLS) (void)BGRAToHLS(colours, 0, buffer, 0, size);
    if (keyType == eVMK_YUV) (void)RGBToYUV(colours, 0, buffer, 0, size);
    *row = keyType == eVMK_RGB ? colours : buffer;
    return S_OK;
}

}  // namespace qdvm
