#include "support/primitive_cases.h"

#include "pixels/primitives/arithmetic.h"
#include "pixels/primitives/blend.h"
#include "pixels/primitives/channels.h"
#include "pixels/primitives/colour_space.h"
#include "pixels/primitives/convert.h"
#include "pixels/primitives/convert_709.h"
#include "pixels/primitives/copy.h"
#include "pixels/primitives/fill.h"
#include "pixels/primitives/filters.h"
#include "pixels/primitives/key.h"
#include "pixels/primitives/resize.h"
#include "pixels/primitives/warp.h"

#include <algorithm>
#include <cmath>

namespace qdvm::test {

namespace {

template <class Result, class... Arguments>
auto Nothing(Result (*)(Arguments...)) {
    return +[](Arguments...) -> Result { return Result(); };
}

// NOLINTNEXTLINE: only a macro can name a member and spell its name.
#define SLOT(member)                                                        \
    Slot {                                                                  \
#member, [](RowForms* forms) { forms->member = Nothing(forms->member); }, \
         [](const RowForms& a, const RowForms& b) { return a.member == b.member; } \
    }

using Views = std::vector<View>;

std::function<Extent(ImageSize)> Pixels(int bytes) {
    return [bytes](ImageSize s) { return Extent{std::ptrdiff_t{s.width} * bytes, s.height}; };
}

// Pixel pairs, and lines in groups.
std::function<Extent(ImageSize)> Pairs(int bytesOfPair, int lines = 1, int linesOfGroup = 1) {
    return [=](ImageSize s) {
        return Extent{std::ptrdiff_t{s.width / 2} * bytesOfPair, s.height / linesOfGroup * lines};
    };
}

std::function<Extent(ImageSize)> Channel() {
    return [](ImageSize s) { return Extent{4 * (std::ptrdiff_t{s.width} - 1) + 1, s.height}; };
}

Operand Read(std::function<Extent(ImageSize)> extent) { return {Role::kRead, std::move(extent)}; }
Operand Write(std::function<Extent(ImageSize)> extent) { return {Role::kWrite, std::move(extent)}; }
Operand Change(std::function<Extent(ImageSize)> extent) {
    return {Role::kReadWrite, std::move(extent)};
}

using TwoSided = ImageStatus (*)(const Sample*, std::ptrdiff_t, Sample*, std::ptrdiff_t, ImageSize);

std::function<ImageStatus(const Views&, ImageSize)> Call(TwoSided primitive) {
    return [primitive](const Views& v, ImageSize size) {
        return primitive(v[0].data, v[0].stride, v[1].data, v[1].stride, size);
    };
}

using FromPlanes = ImageStatus (*)(ConstPlanes, PlaneStrides, Sample*, std::ptrdiff_t, ImageSize);

std::function<ImageStatus(const Views&, ImageSize)> Call(FromPlanes primitive) {
    return [primitive](const Views& v, ImageSize size) {
        const Sample* planes[3] = {v[0].data, v[1].data, v[2].data};
        const std::ptrdiff_t strides[3] = {v[0].stride, v[1].stride, v[2].stride};
        return primitive(planes, strides, v[3].data, v[3].stride, size);
    };
}

using ToPlanes = ImageStatus (*)(const Sample*, std::ptrdiff_t, Planes, PlaneStrides, ImageSize);

std::function<ImageStatus(const Views&, ImageSize)> Call(ToPlanes primitive) {
    return [primitive](const Views& v, ImageSize size) {
        Sample* planes[3] = {v[1].data, v[2].data, v[3].data};
        const std::ptrdiff_t strides[3] = {v[1].stride, v[2].stride, v[3].stride};
        return primitive(v[0].data, v[0].stride, planes, strides, size);
    };
}

void AddCopies(std::vector<PrimitiveCase>* cases) {
    cases->push_back({"Copy_8u_C1R", {Read(Pixels(1)), Write(Pixels(1))}, Call(Copy_8u_C1R), {}});
    cases->push_back({"Copy_8u_C3R", {Read(Pixels(3)), Write(Pixels(3))}, Call(Copy_8u_C3R), {}});
    cases->push_back({"Copy_8u_C4R", {Read(Pixels(4)), Write(Pixels(4))}, Call(Copy_8u_C4R), {}});
    cases->push_back({"Copy_16u_C1R", {Read(Pixels(2)), Write(Pixels(2))}, Call(Copy_16u_C1R), {}});
    cases->push_back({"Copy_8u_C4C1R",
                      {Read(Channel()), Write(Pixels(1))},
                      Call(Copy_8u_C4C1R),
                      {SLOT(channels.extract4)}});
    cases->push_back({"CopyDropAlpha_8u_C4C3R",
                      {Read(Pixels(4)), Write(Pixels(3))},
                      Call(CopyDropAlpha_8u_C4C3R),
                      {SLOT(channels.dropFourth)}});
    cases->push_back({"BGRToBGRA",
                      {Read(Pixels(3)), Change(Pixels(4))},
                      Call(BGRToBGRA),
                      {SLOT(channels.addFourth)}});
}

void AddFills(std::vector<PrimitiveCase>* cases) {
    cases->push_back({"Set_8u_C1R",
                      {Write(Pixels(1))},
                      [](const Views& v, ImageSize size) {
                          return Set_8u_C1R(77, v[0].data, v[0].stride, size);
                      },
                      {}});
    cases->push_back({"Set_8u_C4CR",
                      {Change(Channel())},
                      [](const Views& v, ImageSize size) {
                          return Set_8u_C4CR(201, v[0].data, v[0].stride, size);
                      },
                      {SLOT(channels.set4)}});
    cases->push_back({"FillRows of 3",
                      {Write(Pixels(3))},
                      [](const Views& v, ImageSize size) {
                          const Sample group[3] = {1, 128, 254};
                          return FillRows(group, 3, v[0].data, v[0].stride, size);
                      },
                      {}});
    cases->push_back({"SetPattern32",
                      {Write([](ImageSize s) {
                          return Extent{std::ptrdiff_t{s.width} * 4, 1};
                      })},
                      [](const Views& v, ImageSize size) {
                          return SetPattern32(0x01fe80a5u, v[0].data, size.width);
                      },
                      {}});
    cases->push_back({"SetPattern64",
                      {Write([](ImageSize s) {
                          return Extent{std::ptrdiff_t{s.width} * 8, 1};
                      })},
                      [](const Views& v, ImageSize size) {
                          return SetPattern64(0x0123456789abcdefu, v[0].data, size.width);
                      },
                      {}});
    cases->push_back({"BlendFillRows of 4",
                      {Change(Pixels(4))},
                      [](const Views& v, ImageSize size) {
                          const Sample group[4] = {0, 90, 200, 255};
                          return BlendFillRows(group, 4, 131, v[0].data, v[0].stride, size);
                      },
                      {SLOT(blends.blendPattern)}});
}

void AddOrders(std::vector<PrimitiveCase>* cases) {
    cases->push_back({"ChannelOrder_8u_C4",
                      {Change(Pixels(4))},
                      [](const Views& v, ImageSize size) {
                          const std::uint8_t order[4] = {2, 1, 0, 3};
                          return ChannelOrder_8u_C4(v[0].data, v[0].stride, size, order);
                      },
                      {SLOT(channels.order4)}});
    using Mirror =
        ImageStatus (*)(const Sample*, std::ptrdiff_t, Sample*, std::ptrdiff_t, ImageSize, int);
    using InPlace = ImageStatus (*)(Sample*, std::ptrdiff_t, ImageSize, int);
    struct Kind {
        const char* name;
        int bytes;
        Mirror mirror;
        InPlace inPlace;
        Slot slot;
    };
    const Kind kinds[] = {
        {"8u_C1", 1, Mirror_8u_C1, MirrorInPlace_8u_C1, SLOT(channels.mirror1)},
        {"16u_C1", 2, Mirror_16u_C1, MirrorInPlace_16u_C1, SLOT(channels.mirror2)},
        {"8u_C3", 3, Mirror_8u_C3, MirrorInPlace_8u_C3, SLOT(channels.mirror3)},
        {"8u_C4", 4, Mirror_8u_C4, MirrorInPlace_8u_C4, SLOT(channels.mirror4)},
    };
    using namespace std::string_literals;
    const auto lumaFirst = PackedOrder::kLumaFirst;
    const auto lumaSecond = PackedOrder::kLumaSecond;
    const auto addPacked = [&](const std::string& name, PackedOrder order, int axis, Slot slot) {
        const std::vector<Slot> slots =
            axis == kMirrorRows ? std::vector<Slot>{} : std::vector<Slot>{slot};
        cases->push_back({"Mirror" + name,
                          {Read(Pairs(4)), Write(Pairs(4))},
                          [=](const Views& v, ImageSize size) {
                              return MirrorPacked(v[0].data, v[0].stride, v[1].data, v[1].stride,
                                                  size, axis, order);
                          },
                          slots,
                          {2, 1}});
        cases->push_back({"MirrorInPlace" + name,
                          {Change(Pairs(4))},
                          [=](const Views& v, ImageSize size) {
                              return MirrorPackedInPlace(v[0].data, v[0].stride, size, axis, order);
                          },
                          slots,
                          {2, 1}});
    };
    const char* const axes[] = {" rows", " columns", " both"};
    for (int axis = 0; axis < 3; ++axis) {
        addPacked(" YUY2"s + axes[axis], lumaFirst, axis, SLOT(channels.mirrorPairs[kLumaFirst]));
        addPacked(" UYVY"s + axes[axis], lumaSecond, axis, SLOT(channels.mirrorPairs[kLumaSecond]));
    }
    for (const Kind& kind : kinds)
        for (int axis = 0; axis < 3; ++axis) {
            const std::vector<Slot> slots =
                axis == kMirrorRows ? std::vector<Slot>{} : std::vector<Slot>{kind.slot};
            cases->push_back({std::string("Mirror_") + kind.name + axes[axis],
                              {Read(Pixels(kind.bytes)), Write(Pixels(kind.bytes))},
                              [axis, mirror = kind.mirror](const Views& v, ImageSize size) {
                                  return mirror(v[0].data, v[0].stride, v[1].data, v[1].stride,
                                                size, axis);
                              },
                              slots});
            cases->push_back({std::string("MirrorInPlace_") + kind.name + axes[axis],
                              {Change(Pixels(kind.bytes))},
                              [axis, mirror = kind.inPlace](const Views& v, ImageSize size) {
                                  return mirror(v[0].data, v[0].stride, size, axis);
                              },
                              slots});
        }
}

void AddPacked(std::vector<PrimitiveCase>* cases) {
    const ImageSize pair{2, 1};
    const ImageSize block{2, 2};
    const auto add = [&](const char* name, std::vector<Operand> operands, auto primitive,
                         std::vector<Slot> slots, ImageSize smallest) {
        cases->push_back({name, std::move(operands), Call(primitive), std::move(slots), smallest});
    };
    const std::vector<Operand> packedToPacked{Read(Pairs(4)), Write(Pairs(4))};
    add("SwapYUYV", packedToPacked, SwapYUYV, {SLOT(channels.order4)}, pair);
    cases->back().mayRunInPlace = true;
    add("YUY2ToYVYU", packedToPacked, YUY2ToYVYU, {SLOT(channels.order4)}, pair);
    cases->back().mayRunInPlace = true;
    const std::vector<Operand> split422{Read(Pairs(4)), Write(Pairs(2)), Write(Pairs(1)),
                                        Write(Pairs(1))};
    add("SplitYUY2", split422, SplitYUY2, {SLOT(packed.split[kLumaFirst])}, pair);
    add("SplitUYVY", split422, SplitUYVY, {SLOT(packed.split[kLumaSecond])}, pair);
    add("PackYUY2", {Read(Pairs(2)), Read(Pairs(1)), Read(Pairs(1)), Write(Pairs(4))}, PackYUY2,
        {SLOT(packed.pack[kLumaFirst])}, pair);
    const std::vector<Operand> from420{Read(Pairs(2, 2, 2)), Read(Pairs(1, 1, 2)),
                                       Read(Pairs(1, 1, 2)), Write(Pairs(4, 2, 2))};
    add("I420ToYUYV", from420, I420ToYUYV, {SLOT(packed.pack[kLumaFirst])}, block);
    add("I420ToUYVY", from420, I420ToUYVY, {SLOT(packed.pack[kLumaSecond])}, block);
    const std::vector<Operand> to420{Read(Pairs(4, 2, 2)), Write(Pairs(2, 2, 2)),
                                     Write(Pairs(1, 1, 2)), Write(Pairs(1, 1, 2))};
    const std::vector<Slot> lumaFirst{SLOT(packed.split[kLumaFirst]),
                                      SLOT(packed.luma[kLumaFirst])};
    add("YUY2ToI420", to420, YUY2ToI420, lumaFirst, block);
    add("YVYUToI420", to420, YVYUToI420, lumaFirst, block);
    add("UYVYToI420", to420, UYVYToI420,
        {SLOT(packed.split[kLumaSecond]), SLOT(packed.luma[kLumaSecond])}, block);
}

void AddColour(std::vector<PrimitiveCase>* cases) {
    const ImageSize pair{2, 1};
    const ImageSize block{2, 2};
    const auto add = [&](const char* name, std::vector<Operand> operands, auto call, Slot slot,
                         ImageSize smallest) {
        cases->push_back({name, std::move(operands), std::move(call), {slot}, smallest});
    };
    const auto packed = [](int bytes) {
        return std::vector<Operand>{Read(Pairs(4)), Write(Pairs(2 * bytes))};
    };
    using WithFourth =
        ImageStatus (*)(const Sample*, std::ptrdiff_t, Sample*, std::ptrdiff_t, ImageSize, Sample);
    const auto opaque = [](WithFourth primitive) {
        return [primitive](const Views& v, ImageSize size) {
            return primitive(v[0].data, v[0].stride, v[1].data, v[1].stride, size, 255);
        };
    };
    add("YUY2ToBGRA", packed(4), opaque(YUY2ToBGRA), SLOT(colour.packedToBgra[kLumaFirst]), pair);
    add("UYVYToBGRA", packed(4), opaque(UYVYToBGRA), SLOT(colour.packedToBgra[kLumaSecond]), pair);
    add("YUY2ToBGR", packed(3), Call(YUY2ToBGR), SLOT(colour.packedToBgr), pair);
    add("YUY2ToRGB565", packed(2), Call(YUY2ToRGB565), SLOT(colour.packedToRgb565), pair);
    add("YUY2ToRGB555", packed(2), Call(YUY2ToRGB555), SLOT(colour.packedToRgb555), pair);
    const auto planes = [](int bytes) {
        return std::vector<Operand>{Read(Pairs(2, 2, 2)), Read(Pairs(1, 1, 2)),
                                    Read(Pairs(1, 1, 2)), Write(Pairs(2 * bytes, 2, 2))};
    };
    add(
        "I420ToBGRA", planes(4),
        [](const Views& v, ImageSize size) {
            const Sample* sources[3] = {v[0].data, v[1].data, v[2].data};
            const std::ptrdiff_t strides[3] = {v[0].stride, v[1].stride, v[2].stride};
            return I420ToBGRA(sources, strides, v[3].data, v[3].stride, size, 255);
        },
        SLOT(colour.planesToBgra), block);
    add("I420ToBGR", planes(3), Call(I420ToBGR), SLOT(colour.planesToBgr), block);
    add("I420ToRGB565", planes(2), Call(I420ToRGB565), SLOT(colour.planesToRgb565), block);
    add("I420ToRGB555", planes(2), Call(I420ToRGB555), SLOT(colour.planesToRgb555), block);
    const auto toPacked = [](int bytes) {
        return std::vector<Operand>{Read(Pairs(2 * bytes)), Write(Pairs(4))};
    };
    add("BGRAToYUY2", toPacked(4), Call(BGRAToYUY2), SLOT(colour.bgraToPacked[kLumaFirst]), pair);
    add("BGRAToUYVY", toPacked(4), Call(BGRAToUYVY), SLOT(colour.bgraToPacked[kLumaSecond]), pair);
    add("CbYCr422ToBGR_709CSC_8u_C2C4R", std::vector<Operand>{Read(Pairs(4)), Write(Pairs(8))},
        Call(CbYCr422ToBGR_709CSC_8u_C2C4R), SLOT(colour709.packedToBgra), pair);
    add("BGRToCbYCr422_709CSC_8u_C4C2R", toPacked(4), Call(BGRToCbYCr422_709CSC_8u_C4C2R),
        SLOT(colour709.bgraToPacked), pair);
    add("BGRToYUY2", toPacked(3), Call(BGRToYUY2), SLOT(colour.bgrToPacked), pair);
    const auto toPlanes = [](int bytes) {
        return std::vector<Operand>{Read(Pairs(2 * bytes, 2, 2)), Write(Pairs(2, 2, 2)),
                                    Write(Pairs(1, 1, 2)), Write(Pairs(1, 1, 2))};
    };
    add("BGRAToI420", toPlanes(4), Call(BGRAToI420), SLOT(colour.bgraToPlanes), block);
    add("BGRToI420", toPlanes(3), Call(BGRToI420), SLOT(colour.bgrToPlanes), block);
    const std::vector<Operand> fourToFour{Read(Pixels(4)), Write(Pixels(4))};
    cases->push_back(
        {"BGRAToHLS", fourToFour, Call(BGRAToHLS), {SLOT(keySpaces.bgraToHls)}, {1, 1}, true});
    cases->push_back({"HLSToBGRA", fourToFour, Call(HLSToBGRA), {}, {1, 1}, true});
    cases->push_back(
        {"RGBToYUV", fourToFour, Call(RGBToYUV), {SLOT(keySpaces.rgbToYuv)}, {1, 1}, true});
    cases->push_back({"YUVToRGB", fourToFour, Call(YUVToRGB), {}, {1, 1}, true});
}

void AddKeys(std::vector<PrimitiveCase>* cases) {
    struct Kind {
        const char* name;
        Sample delta[3];
        std::int32_t softness;
    };
    const Kind kinds[] = {{" of a wide ellipsoid", {70, 40, 90}, 60},
                          {" of one channel", {1, 255, 255}, 1000},
                          {" of a point", {0, 0, 0}, 0}};
    const Sample centre[3] = {40, 200, 255};
    for (const Kind& kind : kinds) {
        const KeyEllipsoid ellipsoid = MakeKeyEllipsoid(centre, kind.delta, kind.softness);
        cases->push_back({std::string("KeyDistance") + kind.name,
                          {Read(Pixels(4)), Write(Pixels(1))},
                          [ellipsoid](const Views& v, ImageSize s) {
                              return KeyDistance_8u_AC4C1R(v[0].data, v[0].stride, v[1].data,
                                                           v[1].stride, s, ellipsoid);
                          },
                          {SLOT(keys.distance)}});
    }
    const Sample middle[3] = {128, 128, 128};
    const KeyEllipsoid cut = MakeKeyEllipsoid(middle, kinds[0].delta, 30);
    cases->push_back({"KeyCut",
                      {Read(Pixels(4)), Change(Pixels(1))},
                      [cut](const Views& v, ImageSize s) {
                          return KeyCut_8u_AC4C1R(v[0].data, v[0].stride, v[1].data, v[1].stride, s,
                                                  cut, KeyReach(cut, 0));
                      },
                      {SLOT(keys.cut)}});
    cases->push_back({"HalveAcross",
                      {Read(Pixels(2)), Write(Pixels(1))},
                      [](const Views& v, ImageSize s) {
                          return HalveAcross_8u_C1R(v[0].data, v[0].stride, v[1].data, v[1].stride,
                                                    s);
                      },
                      {SLOT(keys.halve)}});
    const SpillMatrix matrices[] = {
        {{-25, 100, -25, 100}, {145, -74, 145, -94}, {-10, 60, -10, 60}, {0, 128, 0, 128}},
        {{32767, -32768, 200, -300}, {-112, 112, 235, 16}, {-32768, 32767, 400, 4}, {128, 0, 0, 9}},
    };
    for (const SpillMatrix& matrix : matrices)
        cases->push_back({&matrix == matrices ? "SpillMatrix" : "SpillMatrix at its limits",
                          {Change(Pixels(4)), Read(Pixels(1))},
                          [matrix](const Views& v, ImageSize s) {
                              return SpillMatrix_8u_C4IR(v[0].data, v[0].stride, v[1].data,
                                                         v[1].stride, s, matrix);
                          },
                          {SLOT(keys.spillMatrix)}});
    const SpillSteps steps[] = {
        {{0, 255, 0, 128},
         {1, -1, 1, 1},
         {256, 131, 256, 255},
         {-128, 90, -128, 7},
         {0, 40, 0, -9},
         true},
        {{255, 0, 128, 255},
         {-1, 1, -1, 1},
         {256, 0, 1, 256},
         {512, -512, -1, 1},
         {256, -256, 0, 1},
         true},
        {{0, 0, 0, 0},
         {1, 1, 1, 1},
         {100, 256, 255, 256},
         {-90, -128, -150, -128},
         {300, 256, 0, 32767},
         false},
    };
    for (const SpillSteps& step : steps)
        cases->push_back({std::string("SpillSteps ") + std::to_string(&step - steps),
                          {Change(Pixels(4))},
                          [step](const Views& v, ImageSize s) {
                              return SpillSteps_8u_C4IR(v[0].data, v[0].stride, s, step);
                          },
                          {SLOT(keys.spillSteps)}});
}

void AddFilters(std::vector<PrimitiveCase>* cases) {
    const auto add = [&](const char* name, std::vector<Operand> operands, auto call, Slot slot) {
        cases->push_back({name, std::move(operands), std::move(call), {slot}});
    };
    const Operand framed{Role::kRead, Pixels(1), 1};
    const Operand changed{Role::kReadWrite, Pixels(1), 1};
    add(
        "Box3x3", {framed, Write(Pixels(1))},
        [](const Views& v, ImageSize size) {
            return Box3x3(v[0].data, v[0].stride, v[1].data, v[1].stride, size, kMask3x3);
        },
        SLOT(filters.box3));
    add(
        "Gauss3x3", {framed, Write(Pixels(1))},
        [](const Views& v, ImageSize size) {
            return Gauss3x3(v[0].data, v[0].stride, v[1].data, v[1].stride, size, kMask3x3);
        },
        SLOT(filters.gauss3));
    add(
        "Erode3x3", {changed},
        [](const Views& v, ImageSize size) { return Erode3x3(v[0].data, v[0].stride, size); },
        SLOT(filters.min3));
    add(
        "Dilate3x3", {changed},
        [](const Views& v, ImageSize size) { return Dilate3x3(v[0].data, v[0].stride, size); },
        SLOT(filters.max3));
    add(
        "ThresholdGT_8u_C1IR", {Change(Pixels(1))},
        [](const Views& v, ImageSize size) {
            return ThresholdGT_8u_C1IR(v[0].data, v[0].stride, size, 100, 7);
        },
        SLOT(filters.thresholdGreater));
    add(
        "ThresholdLT_8u_C1IR", {Change(Pixels(1))},
        [](const Views& v, ImageSize size) {
            return ThresholdLT_8u_C1IR(v[0].data, v[0].stride, size, 100, 7);
        },
        SLOT(filters.thresholdLess));
}

void AddArithmetic(std::vector<PrimitiveCase>* cases) {
    const auto row = [](ImageSize s) { return Extent{s.width, 1}; };
    const auto row4 = [](ImageSize s) { return Extent{std::ptrdiff_t{s.width} * 4, 1}; };
    const auto add = [&](const char* name, std::vector<Operand> operands, auto call, Slot slot,
                         bool mayRunInPlace = false) {
        cases->push_back(
            {name, std::move(operands), std::move(call), {slot}, {1, 1}, mayRunInPlace});
    };
    add(
        "Mul8Rows", {Read(row), Change(row)},
        [](const Views& v, ImageSize s) { return Mul8Rows(v[0].data, v[1].data, s.width, 8); },
        SLOT(blends.mul8));
    add(
        "MulC8Rows", {Change(row)},
        [](const Views& v, ImageSize s) { return MulC8Rows(141, v[0].data, s.width, 8); },
        SLOT(blends.mulC8));
    add(
        "AddC_8u_C1IR", {Change(Pixels(1))},
        [](const Views& v, ImageSize s) { return AddC_8u_C1IR(90, v[0].data, v[0].stride, s, 0); },
        SLOT(blends.addC));
    add(
        "AlphaComp_8u_AC4R", {Read(Pixels(4)), Read(Pixels(4)), Write(Pixels(4))},
        [](const Views& v, ImageSize s) {
            return AlphaComp_8u_AC4R(v[0].data, v[0].stride, v[1].data, v[1].stride, v[2].data,
                                     v[2].stride, s, kAlphaOver);
        },
        SLOT(blends.alphaOver), true);
    add(
        "UnpremultiplyRow", {Read(row4), Write(row4)},
        [](const Views& v, ImageSize s) { return UnpremultiplyRow(v[1].data, v[0].data, s.width); },
        SLOT(blends.unpremultiply), true);
    add(
        "InsertAlphaRow", {Read(row4), Read(row), Write(row4)},
        [](const Views& v, ImageSize s) {
            return InsertAlphaRow(v[2].data, v[0].data, v[1].data, s.width);
        },
        SLOT(blends.insertFourth), true);
}

void AddBlends(std::vector<PrimitiveCase>* cases) {
    const ImageSize pair{2, 1};
    const auto add = [&](const std::string& name, std::vector<Operand> operands, auto call,
                         Slot slot, ImageSize smallest = {1, 1}) {
        cases->push_back({name, std::move(operands), std::move(call), {slot}, smallest});
    };
    for (const int weight : {1, 77, 128, 255, 256}) {
        const std::string suffix = " by " + std::to_string(weight);
        add(
            "MixConst" + suffix, {Read(Pixels(1)), Change(Pixels(1))},
            [weight](const Views& v, ImageSize s) {
                return MixConst(v[0].data, v[0].stride, v[1].data, v[1].stride, s, weight,
                                256 - weight);
            },
            SLOT(blends.mixConst));
        add(
            "MixConstChroma" + suffix, {Read(Pixels(1)), Change(Pixels(1))},
            [weight](const Views& v, ImageSize s) {
                return MixConstChroma(v[0].data, v[0].stride, v[1].data, v[1].stride, s, weight,
                                      256 - weight);
            },
            SLOT(blends.mixConstChroma));
        const int a2 = (weight >> 1) + (weight & 1);
        const auto packed = [a2](PackedOrder order) {
            return [a2, order](const Views& v, ImageSize s) {
                return MixConstPacked(v[0].data, v[0].stride, v[1].data, v[1].stride, s, order, a2,
                                      128 - a2);
            };
        };
        add("MixConstPacked luma first" + suffix, {Read(Pairs(4)), Change(Pairs(4))},
            packed(PackedOrder::kLumaFirst), SLOT(blends.mixConstPacked[kLumaFirst]), pair);
        add("MixConstPacked luma second" + suffix, {Read(Pairs(4)), Change(Pairs(4))},
            packed(PackedOrder::kLumaSecond), SLOT(blends.mixConstPacked[kLumaSecond]), pair);
    }
    for (const int opacity : {256, 255, 128})
        add(
            "Composite by " + std::to_string(opacity), {Read(Pixels(4)), Change(Pixels(4))},
            [opacity](const Views& v, ImageSize s) {
                return Composite(v[0].data, v[0].stride, v[1].data, v[1].stride, s, opacity);
            },
            SLOT(blends.composite));
    const auto mixPlane = [](int bytes) {
        return [bytes](const Views& v, ImageSize s) {
            return MixPlane(v[0].data, v[0].stride, v[1].data, v[1].stride, v[2].data, v[2].stride,
                            s, bytes);
        };
    };
    const auto through = [](int bytes) {
        return std::vector<Operand>{Read(Pixels(bytes)), Read(Pixels(1)), Change(Pixels(bytes))};
    };
    add("MixPlane of 1", through(1), mixPlane(1), SLOT(blends.mixPlane1));
    add("MixPlane of 3", through(3), mixPlane(3), SLOT(blends.mixPlane3));
    add("MixPlane of 4", through(4), mixPlane(4), SLOT(blends.mixPlane4));
    add(
        "MixPlaneHalf", {Read(Pixels(1)), Read(Pixels(2)), Change(Pixels(1))},
        [](const Views& v, ImageSize s) {
            return MixPlaneHalf(v[0].data, v[0].stride, v[1].data, v[1].stride, v[2].data,
                                v[2].stride, s);
        },
        SLOT(blends.mixPlaneHalf));
    const auto packed = [](PackedOrder order) {
        return [order](const Views& v, ImageSize s) {
            return MixPlanePacked(v[0].data, v[0].stride, v[1].data, v[1].stride, v[2].data,
                                  v[2].stride, s, order);
        };
    };
    add("MixPlanePacked luma first", {Read(Pairs(4)), Read(Pairs(2)), Change(Pairs(4))},
        packed(PackedOrder::kLumaFirst), SLOT(blends.mixPlanePacked[kLumaFirst]), pair);
    add("MixPlanePacked luma second", {Read(Pairs(4)), Read(Pairs(2)), Change(Pairs(4))},
        packed(PackedOrder::kLumaSecond), SLOT(blends.mixPlanePacked[kLumaSecond]), pair);
}

// A size on one axis scaled to the source of a resampling, at least 1.
std::int32_t Scaled(std::int32_t target, double perTarget) {
    return std::max(1, static_cast<std::int32_t>(std::lround(target * perTarget)));
}

void AddResizes(std::vector<PrimitiveCase>* cases) {
    using Resize = ImageStatus (*)(const Sample*, ImageSize, std::ptrdiff_t, ImageRect, Sample*,
                                   std::ptrdiff_t, ImageSize, double, double, std::int32_t);
    struct Kind {
        const char* name;
        int bytes;
        Resize resize;
        Slot across;
        Slot cubicAcross;
        Slot halve;
        Slot twice;
    };
    const Kind kinds[] = {
        {"Resize_8u_C1R", 1, Resize_8u_C1R, SLOT(resize.linearAcross[0]),
         SLOT(resize.cubicAcross[0]), SLOT(resize.halve[0]), SLOT(resize.twice[0])},
        {"Resize_8u_C3R", 3, Resize_8u_C3R, SLOT(resize.linearAcross[1]),
         SLOT(resize.cubicAcross[1]), SLOT(resize.halve[1]), SLOT(resize.twice[1])},
        {"Resize_8u_C4R", 4, Resize_8u_C4R, SLOT(resize.linearAcross[2]),
         SLOT(resize.cubicAcross[2]), SLOT(resize.halve[2]), SLOT(resize.twice[2])},
    };
    struct Mode {
        const char* name;
        std::int32_t interpolation;
        double sourcePerTarget;
    };
    const Mode modes[] = {
        {" nearest to 2/3", kNearest, 1.5},
        {" linear to 1/2", kLinear, 2.0},
        {" linear to 2/3", kLinear, 1.5},
        {" linear to 2", kLinear, 0.5},
        {" linear to 3/2", kLinear, 2.0 / 3},
        {" linear to 1/5", kLinear, 5.0},
        {" cubic to 2", kCubic, 0.5},
        {" cubic to 2/3", kCubic, 1.5},
        {" super-sampling to 2/5", kSuperSampling, 2.5},
    };
    for (const Kind& kind : kinds)
        for (const Mode& mode : modes) {
            std::vector<Slot> slots;
            if (mode.interpolation == kCubic) slots = {kind.cubicAcross, SLOT(resize.cubicDown)};
            if (mode.interpolation == kLinear) slots = {kind.across, SLOT(resize.linearDown)};
            if (mode.interpolation == kLinear && mode.sourcePerTarget == 2.0) slots = {kind.halve};
            if (mode.interpolation == kLinear && mode.sourcePerTarget == 0.5)
                slots = {kind.across, SLOT(resize.linearDown), kind.twice};
            const auto sourceSize = [perTarget = mode.sourcePerTarget](ImageSize s) {
                return ImageSize{Scaled(s.width, perTarget), Scaled(s.height, perTarget)};
            };
            const auto source = [sourceSize, bytes = kind.bytes](ImageSize s) {
                return Pixels(bytes)(sourceSize(s));
            };
            cases->push_back(
                {std::string(kind.name) + mode.name,
                 {Read(source), Write(Pixels(kind.bytes))},
                 [sourceSize, mode, resize = kind.resize](const Views& v, ImageSize s) {
                     const ImageSize from = sourceSize(s);
                     return resize(v[0].data, from, v[0].stride, {0, 0, from.width, from.height},
                                   v[1].data, v[1].stride, s,
                                   static_cast<double>(s.width) / from.width,
                                   static_cast<double>(s.height) / from.height, mode.interpolation);
                 },
                 slots});
        }
}

// Targets of pairs from sources of pairs.
void AddPackedResizes(std::vector<PrimitiveCase>* cases) {
    struct Mode {
        const char* name;
        int sourcePairs;  // for so many of the target
        int targetPairs;
        int sourceRows;
        int targetRows;
        std::vector<Slot> slots[kLumaPlaces];
    };
    const auto through = [](auto... more) {
        return std::vector<Slot>{SLOT(resize.linearAcross[0]), SLOT(resize.linearDown), more...};
    };
    const Mode modes[] = {
        {" to 1/2",
         2,
         1,
         2,
         1,
         {{SLOT(resize.halvePacked[kLumaFirst])}, {SLOT(resize.halvePacked[kLumaSecond])}}},
        {" to 2/3",
         3,
         2,
         3,
         2,
         {through(SLOT(packed.split[kLumaFirst]), SLOT(packed.pack[kLumaFirst])),
          through(SLOT(packed.split[kLumaSecond]), SLOT(packed.pack[kLumaSecond]))}},
        {" to 5/4 and 1/7", 4, 5, 7, 1, {through(), through()}},
        {" to 1/9", 9, 1, 9, 1, {through(), through()}},
        {" to 2",
         1,
         2,
         1,
         2,
         {{SLOT(resize.twice[0]), SLOT(packed.split[kLumaFirst])}, {SLOT(resize.twice[0])}}},
        {" to half the height",
         1,
         1,
         2,
         1,
         {{SLOT(resize.linearBetween)}, {SLOT(resize.linearBetween)}}},
        {" to 5/3 of the height",
         1,
         1,
         3,
         5,
         {{SLOT(resize.linearBetween)}, {SLOT(resize.linearBetween)}}},
    };
    for (const Mode& mode : modes)
        for (const int place : {kLumaFirst, kLumaSecond}) {
            const auto targetSize = [mode](ImageSize s) {
                return ImageSize{s.width / 2 / mode.targetPairs * mode.targetPairs * 2,
                                 s.height * mode.targetRows};
            };
            const auto sourceSize = [mode, targetSize](ImageSize s) {
                return ImageSize{targetSize(s).width / mode.targetPairs * mode.sourcePairs,
                                 s.height * mode.sourceRows};
            };
            const auto packed = [](auto size) {
                return [size](ImageSize s) { return Pixels(2)(size(s)); };
            };
            cases->push_back(
                {std::string("ResizeLinearPacked ") + (place == 0 ? "YUY2" : "UYVY") + mode.name,
                 {Read(packed(sourceSize)), Write(packed(targetSize))},
                 [=](const Views& v, ImageSize s) {
                     const ImageSize from = sourceSize(s);
                     const ImageSize to = targetSize(s);
                     return ResizeLinearPacked(v[0].data, v[0].stride, from, v[1].data, v[1].stride,
                                               to, static_cast<double>(to.width) / from.width,
                                               static_cast<double>(to.height) / from.height,
                                               static_cast<PackedOrder>(place));
                 },
                 mode.slots[place],
                 {2 * mode.targetPairs, 1}});
        }
}

void AddWarps(std::vector<PrimitiveCase>* cases) {
    using Warp =
        ImageStatus (*)(const Sample*, ImageSize, std::ptrdiff_t, ImageRect, Sample*,
                        std::ptrdiff_t, ImageRect, const PerspectiveCoeffs&, std::uint32_t);
    struct Kind {
        const char* name;
        int bytes;
        Warp warp;
        Slot nearest;
        Slot linear;
        Slot cubic;
    };
    const Kind kinds[] = {
        {"WarpPerspective_8u_C1R", 1, WarpPerspective_8u_C1R, SLOT(warp.nearest[0]),
         SLOT(warp.linear[0]), SLOT(warp.cubic[0])},
        {"WarpPerspective_8u_C3R", 3, WarpPerspective_8u_C3R, SLOT(warp.nearest[1]),
         SLOT(warp.linear[1]), SLOT(warp.cubic[1])},
        {"WarpPerspective_8u_C4R", 4, WarpPerspective_8u_C4R, SLOT(warp.nearest[2]),
         SLOT(warp.linear[2]), SLOT(warp.cubic[2])},
    };
    struct Mode {
        const char* name;
        std::uint32_t interpolation;
    };
    const Mode modes[] = {{" nearest", kNearest},
                          {" linear", kLinear},
                          {" linear smooth", kLinear | kSmoothEdge},
                          {" cubic smooth", kCubic | kSmoothEdge}};
    for (const Kind& kind : kinds)
        for (const Mode& mode : modes) {
            const std::uint32_t base = mode.interpolation & ~kSmoothEdge;
            const Slot slot = base == kNearest  ? kind.nearest
                              : base == kLinear ? kind.linear
                                                : kind.cubic;
            cases->push_back({std::string(kind.name) + mode.name,
                              {Read(Pixels(kind.bytes)), Change(Pixels(kind.bytes))},
                              [mode, warp = kind.warp](const Views& v, ImageSize s) {
                                  const double w = s.width;
                                  const double h = s.height;
                                  // A turned picture whose left side is nearer, with corners in and
                                  // out of view.
                                  const QuadPoint quad[4] = {{-0.13 * w, -0.21 * h},
                                                             {0.88 * w, 0.11 * h},
                                                             {0.97 * w, 0.83 * h},
                                                             {0.06 * w, 1.17 * h}};
                                  const ImageRect whole{0, 0, s.width, s.height};
                                  PerspectiveCoeffs coeffs{};
                                  const ImageStatus status =
                                      GetPerspectiveTransform(whole, quad, &coeffs);
                                  if (status != kImageOk) return status;
                                  return warp(v[0].data, s, v[0].stride, whole, v[1].data,
                                              v[1].stride, whole, coeffs, mode.interpolation);
                              },
                              {slot}});
        }
}

std::vector<PrimitiveCase> MakeCases() {
    std::vector<PrimitiveCase> cases;
    AddCopies(&cases);
    AddFills(&cases);
    AddOrders(&cases);
    AddPacked(&cases);
    AddColour(&cases);
    AddKeys(&cases);
    AddFilters(&cases);
    AddArithmetic(&cases);
    AddBlends(&cases);
    AddResizes(&cases);
    AddPackedResizes(&cases);
    AddWarps(&cases);
    return cases;
}

}  // namespace

const std::vector<PrimitiveCase>& PrimitiveCases() {
    static const std::vector<PrimitiveCase> cases = MakeCases();
    return cases;
}

}  // namespace qdvm::test
