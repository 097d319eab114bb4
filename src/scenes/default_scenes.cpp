#include "scenes/default_scenes.h"

#include "platform/shared_data.h"

#include <array>
#include <cstdint>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace qdvm {
namespace {

// The rect of one position, in an output of kSide x kSide. A target without area is the whole.
struct Place {
    RECT target;
    bool hasBorder = false;
    double viewAngle = 0;
    double horzAngle = 0;
    double vertAngle = 0;
    double vertOffset = 0;
};

struct Layout {
    std::u16string_view name;
    std::u16string_view description;
    std::string_view picture;  // below the shared data; empty: black
    std::span<const Place> places;
};

constexpr std::int32_t kSide = 1000;
constexpr std::int32_t kBorderWidth = 2;
constexpr std::int32_t kOpaqueWhite = -1;
constexpr RECT kWhole = {0, 0, 0, 0};

// clang-format off
constexpr Place kFirst[] = {{kWhole}};
constexpr Place kPip[] = {
    {kWhole},
    {{600, 100, 900, 400}, true},
    {{600, 600, 900, 900}, true},
    {{100, 100, 400, 400}, true},
    {{100, 600, 400, 900}, true},
};
constexpr Place kSideBySide[] = {{{0, 0, 500, 1000}}, {{500, 0, 1000, 1000}}};
constexpr Place kQuad[] = {
    {{0, 0, 500, 500}}, {{500, 0, 1000, 500}}, {{0, 500, 500, 1000}}, {{500, 500, 1000, 1000}},
};
constexpr Place kFirst3D[] = {{{0, 50, 900, 950}, true, 90, 20}};
constexpr Place kSide3D[] = {
    {{-65, 35, 715, 835}, true, 90, -56.9, 0, -0.5},
    {{265, 35, 1065, 835}, true, 90, 57, 0, -0.5},
};
constexpr Place kQuad3D[] = {
    {{10, -10, 560, 490}, true, 90, -30, 0, 0.9},
    {{440, -10, 990, 490}, true, 90, 30, 0, 0.9},
    {{10, 510, 560, 1010}, true, 90, -30, 0, -0.85},
    {{440, 510, 990, 1010}, true, 90, 30, 0, -0.85},
};
constexpr Place kLeft3D[] = {
    {{170, 100, 970, 900}, true, 90, 33},
    {{0, 8, 333, 330}, true, 120, -35, 0, 1.65},
    {{0, 338, 333, 661}, true, 120, -35},
    {{0, 671, 333, 994}, true, 120, -35, 0, -1.65},
};
constexpr Place kPip3D[] = {{kWhole}, {{450, 100, 950, 600}, true, 90, 35, -15, 1}};

constexpr Layout kLayouts[] = {
    {u"FIRST", u"Only first (by order) channel.", "", kFirst},
    {u"PIP", u"Picture In Picture (up to 5 channels)", "", kPip},
    {u"SIDE", u"Side by Side (2 channel)", "", kSideBySide},
    {u"QUAD", u"Quad View (up to 4 channel)", "", kQuad},
    {u"3D FIRST", u"3D Only first (by order) channel.", "backgrounds/dusk.png", kFirst3D},
    {u"3D SIDE", u"3D Side by Side (up to 2 channel)", "backgrounds/waves.png", kSide3D},
    {u"3D QUAD", u"3D Quad View (up to 4 channel)", "backgrounds/aurora.png", kQuad3D},
    {u"3D LEFT", u"3D Left Side Preview (up to 4 channel)", "backgrounds/studio.png", kLeft3D},
    {u"3D PIP", u"3D Picture in Picture (up to 2 channel)", "", kPip3D},
};
// clang-format on

VM_MIXING_RECT RectOf(const Place& place) {
    VM_MIXING_RECT rect{};
    rect.rcTarget = place.target;
    rect.dblAlpha = 1.0;
    if (place.hasBorder) {
        rect.nBorderWidth = kBorderWidth;
        rect.nBorderColor = kOpaqueWhite;
    }
    rect.dblViewAngle = place.viewAngle;
    rect.dblHorzAngle = place.horzAngle;
    rect.dblVertAngle = place.vertAngle;
    rect.dblVertOffset = place.vertOffset;
    return rect;
}

Scene SceneOf(const Layout& layout) {
    Scene scene;
    scene.bInternal = true;
    scene.outputProps.picProps.nWidth = kSide;
    scene.outputProps.picProps.nHeight = kSide;
    scene.description = layout.description;
    if (!layout.picture.empty()) {
        scene.backgroundKind = eVMB_Image;
        scene.backgroundImage = SharedDataPath(layout.picture);
    }
    for (const Place& place : layout.places) {
        SceneInput input;
        input.bEnabled = true;
        input.rects.push_back(RectOf(place));
        scene.inputs.push_back(std::move(input));
    }
    return scene;
}

}  // namespace

void BuildDefaultScenes(SceneTable& scenes) {
    std::size_t added = 0;
    for (const Layout& layout : kLayouts)
        if (scenes.Add(layout.name, SceneOf(layout))) ++added;
    if (added == std::size(kLayouts)) scenes.bDefaultScenesChanged = false;
}

}  // namespace qdvm
