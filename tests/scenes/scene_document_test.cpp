#include "scenes/scene_document.h"

#include "config/xml_writer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm::test {
namespace {

using namespace XMLParse;

std::vector<NamedScene> Read(std::u16string_view text) {
    std::vector<NamedScene> scenes;
    EXPECT_EQ(ReadSceneDocument(text, &scenes), S_OK);
    return scenes;
}

std::vector<std::u16string> NamesIn(std::u16string_view text) {
    std::vector<std::u16string> names;
    for (const NamedScene& entry : Read(text)) names.push_back(entry.name);
    return names;
}

using Names = std::vector<std::u16string>;

Scene ExampleScene() {
    Scene scene;
    scene.bInternal = true;
    scene.description = u"two";
    scene.outputProps.picProps = {0x32595559, 720, 576, 0};
    scene.outputProps.eInterlace = eVMI_Field1First;
    scene.outputProps.nAspectX = 16;
    scene.outputProps.nAspectY = 9;
    scene.outputProps.dblStreamFPS = 25;
    scene.backgroundKind = eVMB_Image;
    scene.backgroundColor = static_cast<std::int32_t>(0xFF102030);
    scene.backgroundImage = u"/media/bars.png";
    SceneInput input{};
    input.bEnabled = true;
    input.bIgnoreTime = true;
    input.inputProps.picProps = {static_cast<std::int32_t>(0xE436EB7E), 320, -240, 0};
    VM_MIXING_RECT rect{};
    rect.rcSource = {0, 2, 320, 240};
    rect.rcTarget = {-10, 0, 360, 288};
    rect.dblAlpha = 0.85;
    rect.nBorderWidth = 4;
    rect.nBorderColor = -1;
    rect.dblViewAngle = 90;
    rect.dblVertAngle = -30.5;
    rect.eProcess = eVMP_FlipHorz;
    input.rects.push_back(rect);
    scene.inputs = {input, SceneInput{}};
    return scene;
}

TEST(SceneDocumentTest, IsWrittenInItsOrderAndForms) {
    SceneDocument document;
    AddSceneElement(document.scenes, u"A", ExampleScene());
    EXPECT_EQ(
        ToText(document.root),
        u"<qdvideomixer>\r\n\t<user-scenes>\r\n"
        u"\t\t<scene name='A' description='two' internal='true'>\r\n"
        u"\t\t\t<relative-output width='0x000002D0' height='576' colorspace='YUY2' "
        u"interlace='top' aspect-ratio-x='16' aspect-ratio-y='9' frame-rate='25.0'/>\r\n"
        u"\t\t\t<background color='0xFF102030' type='image' image-path='/media/bars.png'/>\r\n"
        u"\t\t\t<inputs>\r\n"
        u"\t\t\t\t<input enabled='true' keep-rate='false' ignore-time='true'>\r\n"
        u"\t\t\t\t\t<input width='0x00000140' height='-240' colorspace='RGB32' "
        u"interlace='auto' frame-rate='0.0'/>\r\n"
        u"\t\t\t\t\t<chroma-key/>\r\n"
        u"\t\t\t\t\t<mix-blocks>\r\n"
        u"\t\t\t\t\t\t<mix-block alpha='0.85' border-width='4' border-color='-1' process='2' "
        u"3D-view-angle='90.0' 3D-horz-angle='0.0' 3D-vert-angle='-30.5' 3D-horz-offset='0.0' "
        u"3D-vert-offset='0.0'>\r\n"
        u"\t\t\t\t\t\t\t<src-rect left='0.00' right='320.00' top='2.00' bottom='240.00'/>\r\n"
        u"\t\t\t\t\t\t\t<dst-rect left='-10.00' right='360.00' top='0.00' bottom='288.00'/>\r\n"
        u"\t\t\t\t\t\t</mix-block>\r\n"
        u"\t\t\t\t\t</mix-blocks>\r\n"
        u"\t\t\t\t</input>\r\n"
        u"\t\t\t\t<input enabled='false' keep-rate='false' ignore-time='false'>\r\n"
        u"\t\t\t\t\t<input width='0x00000000' height='0' interlace='auto' "
        u"frame-rate='0.0'/>\r\n"
        u"\t\t\t\t\t<chroma-key/>\r\n"
        u"\t\t\t\t</input>\r\n"
        u"\t\t\t</inputs>\r\n"
        u"\t\t</scene>\r\n\t</user-scenes>\r\n</qdvideomixer>");
    EXPECT_EQ(ToText(SceneDocument().root),
              u"<qdvideomixer>\r\n\t<user-scenes/>\r\n</qdvideomixer>");
}

// What a person writes: any case, any order, decimal widths, and much left out.
TEST(SceneDocumentTest, HandwrittenScenesAreTakenAsMeant) {
    const std::vector<NamedScene> scenes = Read(
        u"<?xml version='1.0'?><!-- show --><QDVideoMixer><User-Scenes>"
        u"<Scene NAME=Hall><RELATIVE-OUTPUT Width=720 height=576 Interlace=BOTTOM colorspace=nv12/>"
        u"<Background Type='Color' color=0x00FF0000/>"
        u"<Inputs><note/><Input Enabled=yes><Input width=\"1280px\" height=720/>"
        u"<Mix-Blocks><Mix-Block Alpha='50%' 3D-View-Angle=60 border-color=0xFFFFFFFF>"
        u"<dst-rect left='100.75' right='0x200' bottom=20></mix-block>"
        u"</mix-blocks></input></inputs></scene></user-scenes>");
    ASSERT_EQ(scenes.size(), 1u);
    EXPECT_EQ(scenes[0].name, u"Hall");
    const Scene& scene = scenes[0].scene;
    EXPECT_FALSE(scene.bInternal);
    EXPECT_EQ(scene.outputProps.picProps.nWidth, 720);
    EXPECT_EQ(scene.outputProps.eInterlace, eVMI_Field2First);
    EXPECT_EQ(scene.outputProps.picProps.fccType, 0x3231564E);
    EXPECT_EQ(scene.backgroundKind, eVMB_Color);
    EXPECT_EQ(scene.backgroundColor, 0xFF0000);
    ASSERT_EQ(scene.inputs.size(), 1u);
    EXPECT_TRUE(scene.inputs[0].bEnabled);
    EXPECT_EQ(scene.inputs[0].inputProps.picProps.nWidth, 1280);
    ASSERT_EQ(scene.inputs[0].rects.size(), 1u);
    const VM_MIXING_RECT& rect = scene.inputs[0].rects[0];
    EXPECT_EQ(rect.dblAlpha, 0.5);
    EXPECT_EQ(rect.dblViewAngle, 60);
    EXPECT_EQ(rect.nBorderColor, -1);
    EXPECT_EQ(rect.rcTarget.left, 100);
    EXPECT_EQ(rect.rcTarget.right, 0x200);
    EXPECT_EQ(rect.rcTarget.top, 0);
    EXPECT_EQ(rect.rcSource.right, 0);
}

TEST(SceneDocumentTest, WhatIsMissingIsNothing) {
    const std::vector<NamedScene> scenes = Read(
        u"<scene name=a/>"
        u"<scene name='behind the top element is not looked at'/>");
    ASSERT_EQ(scenes.size(), 1u);
    EXPECT_EQ(scenes[0].scene.backgroundKind, eVMB_Color);
    EXPECT_EQ(scenes[0].scene.backgroundColor, 0);
    EXPECT_TRUE(scenes[0].scene.inputs.empty());
    const std::vector<NamedScene> odd = Read(
        u"<x><scene name=b><background type=stream/><relative-output interlace=often/>"
        u"<inputs><input/><mix-blocks/></inputs></scene></x>");
    ASSERT_EQ(odd.size(), 1u);
    EXPECT_EQ(odd[0].scene.backgroundKind, eVMB_None);
    EXPECT_EQ(odd[0].scene.outputProps.eInterlace, eVMI_Auto);
    ASSERT_EQ(odd[0].scene.inputs.size(), 1u);
    EXPECT_FALSE(odd[0].scene.inputs[0].bEnabled);
}

TEST(SceneDocumentTest, EveryTopElementWithScenesWill) {
    EXPECT_EQ(NamesIn(u"<a><user-scenes><scene name=x/><SCENE name=y/></user-scenes></a>"),
              (Names{u"x", u"y"}));
    EXPECT_EQ(NamesIn(u"<user-scenes><other name=o/><scene name=x/></user-scenes>"), Names{u"x"});
    EXPECT_EQ(NamesIn(u"<anything><scene name=x/></anything>"), Names{u"x"});
    EXPECT_EQ(NamesIn(u"<scene name='it&#39;s'/>"), Names{u"it&#39;s"});
    EXPECT_EQ(NamesIn(u"<a/>"), Names{});
    EXPECT_EQ(NamesIn(u"no document"), Names{});
    std::vector<NamedScene> scenes;
    EXPECT_EQ(ReadSceneDocument(std::nullopt, &scenes), E_INVALIDARG);
}

TEST(SceneDocumentTest, ScenesWithoutANameGetOneThatTheyKeep) {
    const std::u16string_view text =
        u"<a><scene/><scene name='Scene 2'/><scene name=''/><scene/></a>";
    EXPECT_EQ(NamesIn(text), (Names{u"Scene 1", u"Scene 2", u"Scene 3", u"Scene 4"}));
    EXPECT_EQ(NamesIn(u"<a><scene name='Scene 2'/><scene/><scene/></a>"),
              (Names{u"Scene 2", u"Scene 3", u"Scene 4"}));
    EXPECT_EQ(NamesIn(u"<scene/>"), Names{u"Scene 1"});
}

}  // namespace
}  // namespace qdvm::test
