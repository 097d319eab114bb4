// Cue sheets and documents as people write them: what is read, and what is told about mistakes.

#include "hosts/qdmix/script.h"
#include "hosts/qdmix/document_check.h"

#include <gtest/gtest.h>

#include <string>

namespace qdvm::qdmix {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

// The faults of a cue sheet for two inputs, with a file "more.xml" that has the scene "Extra".
std::string Faults(const std::string& text) {
    const Script script = ParseScript(text);
    std::vector<TextFault> faults = script.faults;
    ScriptSetting setting;
    setting.inputs = 2;
    setting.scenes = {"PIP", "3D SIDE"};
    setting.duration = 60 * kSecond;
    setting.scenesOf = [](const std::string& file, std::string& why) {
        why = file == "more.xml" ? "" : "no such file";
        return std::vector<std::string>{"Extra"};
    };
    for (const TextFault& fault : CheckScript(script, setting)) {
        faults.push_back(fault);
    }
    return LinesOf("f", faults);
}

TEST(CueSheets, EveryCueIsRead) {
    const Script script = ParseScript(
        "\xEF\xBB\xBF# a comment\n"
        "0 scene \"3D SIDE\" over 1.5 # and one more\r\n"
        "1:02.5 background #204060 over 2\n"
        "\n"
        "+0.5 move 2 rect 3 to 320x240+10+-20 alpha=0.5 'mask=a b.png' over 1\n"
        "70 order 1 to top swap rearrange over 1\n"
        "70 order 2 to 1\n"
        "71 key 2 green,softness=2\n"
        "72 show 1\n72 hide 2\n"
        "73 capture 'my still.png'\n"
        "74 add scene Mine \"what it's for\"\n"
        "74 update scene Mine\n74 remove scene Mine\n"
        "75 save scenes all.xml\n75 save scene PIP to one.xml\n75 load scenes more.xml\n"
        "1:00:00 end");
    EXPECT_EQ(LinesOf("f", script.faults), "");
    ASSERT_EQ(script.cues.size(), 16U);
    EXPECT_EQ(script.cues[0].scene, "3D SIDE");
    EXPECT_EQ(script.cues[0].span, (Span{0, kSecond * 3 / 2}));
    EXPECT_EQ(script.cues[1].background.colour, 0xFF204060);
    EXPECT_EQ(script.cues[1].span, (Span{kSecond * 125 / 2, 2 * kSecond}));
    const Cue& move = script.cues[2];
    EXPECT_EQ(move.span, (Span{63 * kSecond, kSecond}));
    EXPECT_EQ(move.input, 2);
    EXPECT_EQ(move.rect, 3);
    EXPECT_EQ(
        move.change,
        (RectChange{.target = Geometry{{320, 240}, {10, -20}}, .alpha = 0.5, .mask = "a b.png"}));
    EXPECT_TRUE(script.cues[3].position == 0 && script.cues[3].swaps && script.cues[3].rearranges);
    EXPECT_TRUE(script.cues[4].position == 1 && !script.cues[4].swaps);
    EXPECT_EQ(script.cues[8].file, "my still.png");
    EXPECT_EQ(script.cues[9].description, "what it's for");
    EXPECT_EQ(script.cues[13].scene + ">" + script.cues[13].file, "PIP>one.xml");
    EXPECT_EQ(script.cues[15].span.start, 3600 * kSecond);
}

TEST(CueSheets, EveryMistakeIsToldWithItsPlace) {
    EXPECT_EQ(Faults("0 secne PIP"),
              "f:1:3: 'secne' is nothing that a cue can do; did you mean 'scene'?\n");
    const std::string faults = Faults(
        "x scene PIP\n1 scene \"PIP\n2 scene PIP over\n  2 move 1 alhpa=2\n2 move 1 over 2\n"
        "2 order 1 top\n2 order 1 to 2 over 1\n2 key 1 grenn\n2 capture still.jpg\n"
        "2 add scene '\xC3\xA4\xC3\xB6' text more\n1 scene PIP\n3 end\n4 scene PIP\n");
    for (const char* expected :
         {"f:1:1: a cue begins with a time such as 12, 7.5, 1:30 or +2, not with 'x'",
          "f:2:9: the quote \" is never closed",
          "f:3:17: the line ends where how long it takes, in seconds is expected",
          "f:4:12: 'alhpa' can't be moved", "f:5:10: what moves is missing",
          "f:6:11: 'to' is expected, not 'top'", "f:7:16: only an order that says rearrange",
          "f:8:9: ", "f:9:11: the name of a still ends in .png",
          // Columns are characters, not bytes.
          "f:10:23: nothing is expected after this cue, but there is 'more'",
          "f:11:1: cues stand in the order of their time, and the one before comes at 2.00 s",
          "f:13:1: nothing happens after the end"}) {
        EXPECT_NE(faults.find(expected), std::string::npos) << expected << " in\n" << faults;
    }
}

TEST(CueSheets, InputsAndScenesAreThereWhenTheirTimeComes) {
    EXPECT_EQ(Faults("0 add scene New\n1 scene New\n2 remove scene New\n3 load scenes more.xml\n"
                     "4 scene Extra\n5 move 2 0,0\n"),
              "");
    EXPECT_EQ(Faults("0 scene New\n1 add scene New\n2 add scene PIP\n3 remove scene New\n"
                     "4 scene New\n5 scene pip\n6 load scenes none.xml\n7 show 3\n61 show 1\n"),
              "f:1:9: there is no scene 'New' at this time\n"
              "f:3:13: there is a scene 'PIP' already; update scene replaces it\n"
              "f:5:9: there is no scene 'New' at this time\n"
              "f:6:9: there is no scene 'pip' at this time; did you mean 'PIP'?\n"
              "f:7:15: 'none.xml' can't be loaded: no such file\n"
              "f:8:8: there is no input 3: there are 2\n"
              "f:9:1: it never happens: the mix ends at 60.00 s\n");
}

std::string DocumentFaults(const std::string& text) { return LinesOf("f", CheckDocument(text)); }

TEST(DocumentCheck, GoodDocumentsPass) {
    EXPECT_EQ(DocumentFaults("<?xml version=\"1.0\"?>\n<!-- <mine> -->\n<qdvideomixer><user-scenes>"
                             "<scene name='A &amp; B' internal=\"false\">"
                             "<relative-output width='0x000002D0' height='-576' interlace='Top'/>"
                             "<background color='0x00FF0000' type='color'/><inputs>"
                             "<input enabled='true'><input width='720' height='576'/><chroma-key/>"
                             "<mix-blocks><mix-block alpha='0.5' 3d-view-angle='40.0'>"
                             "<src-rect/><dst-rect left='0' right='100.00' top='-5' bottom='7'/>"
                             "</mix-block></mix-blocks></input></inputs></scene>"
                             "</user-scenes></qdvideomixer>\n"),
              "");
    EXPECT_EQ(
        DocumentFaults("<m_config default-scenes='true' master-stream='-1'>"
                       "<pins number='3' order='2, 0, 1'/>"
                       "<current-scene internal='false'><inputs/></current-scene></m_config>"),
        "");
    // The outermost element may bear any name, and what is on may be told in other words.
    EXPECT_EQ(DocumentFaults("<show><scene name='A'><inputs><input enabled='yes'/></inputs></scene>"
                             "</show>"),
              "");
    EXPECT_EQ(DocumentFaults("<mine><pins number='2' order='1, 0'/></mine>"), "");
    EXPECT_EQ(DocumentFaults("<mine><user-scenes><scene name='A'/></user-scenes></mine>"), "");
}

TEST(DocumentCheck, BrokenDocumentsAreExplained) {
    // Tags.
    EXPECT_EQ(DocumentFaults("<user-scenes>\n  <scene name='A'>\n    <inputs>\n  </scene>\n"),
              "f:1:1: <user-scenes> is never closed\n"
              "f:3:5: <inputs> is not closed before </scene> in line 4\n");
    EXPECT_EQ(DocumentFaults("<scene name='A'></inputs></scene>\n<scene name='B'/>text"),
              "f:1:17: </inputs> closes nothing; <scene> is open\n"
              "f:2:1: <scene> stands outside of the first element\n"
              "f:2:18: nothing reads text between tags; values stand in attributes\n");
    // Names.
    EXPECT_EQ(DocumentFaults("<scene nmae='A'>\n <backgruond/><mix-block/>\n</scene>"),
              "f:1:1: <scene> has no name: nobody can select it\n"
              "f:1:8: the attribute 'nmae' is not read in <scene>; did you mean 'name'?\n"
              "f:2:2: <backgruond> is not read in <scene>; did you mean 'background'?\n"
              "f:2:15: <mix-block> is not read in <scene>; there can be relative-output, "
              "background or inputs\n");
    EXPECT_EQ(DocumentFaults("<user-scenes><scene name='A'/>\n<scene name='A'/></user-scenes>"),
              "f:2:14: there is a scene 'A' in line 1 already\n");
    EXPECT_EQ(DocumentFaults("<secne name='A'/>"),
              "f:1:1: <secne> is nothing that a document can be; did you mean 'scene'?\n");
    // Values.
    const std::string block =
        "<user-scenes><scene name='A'>\n<background type='image'/><inputs><input "
        "enabled='maybe'><mix-blocks>\n<mix-block border-width='4px' process='1 6'>"
        "<dst-rect left='10' right='5'/></mix-block>\n"
        "<mix-block alpha='50%'/></mix-blocks></input></inputs></scene></user-scenes>";
    EXPECT_EQ(DocumentFaults(block),
              "f:2:1: the background is an image, but image-path names none\n"
              "f:2:51: enabled=\"maybe\": true or false is expected\n"
              "f:3:1: <mix-block> has no alpha: it can't be seen\n"
              "f:3:26: border-width=\"4px\": a whole number such as 12 or 0x0C is expected\n"
              "f:3:40: process=\"1 6\": a whole number such as 12 or 0x0C is expected\n"
              "f:3:45: <dst-rect> has no area: its right is not beyond its left\n"
              "f:4:19: alpha=\"50%\": a number from 0 to 1 is expected\n");
    // Attributes.
    EXPECT_EQ(DocumentFaults("<scene name=A description='B & C' internal\nname='D'/>"),
              "f:1:13: the value of 'name' stands in no quotes\n"
              "f:1:30: '&' is written &amp;\n"
              "f:1:35: the attribute 'internal' has no value: internal=\"...\" is expected\n"
              "f:2:1: the attribute 'name' is given twice\n");
    EXPECT_EQ(DocumentFaults("<scene name='A>\n<inputs/>\n</scene>"),
              "f:1:1: <scene> has no name: nobody can select it\n"
              "f:1:13: the quote of the value of 'name' is never closed\n");
    EXPECT_EQ(DocumentFaults("no document"),
              "f:1:1: nothing reads text between tags; values stand in attributes\n"
              "f:1:1: there is no element in it\n");
}

}  // namespace
}  // namespace qdvm::qdmix
