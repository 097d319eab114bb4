// Reading and writing a scene document of one mebibyte, against pugixml: from the bytes of a file
// to the tree and back.

#include "bench.h"
#include "config/text_encoding.h"
#include "config/xml_reader.h"
#include "config/xml_writer.h"

#include <pugixml.hpp>

#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace qdvm::bench {
namespace {

using namespace XMLParse;

constexpr std::size_t kDocumentBytes = 1 << 20;
constexpr int kRounds = 4;

std::string Attribute(const char* name, int value) {
    return std::string(" ") + name + "='" + std::to_string(value) + "'";
}

std::string Rect(const char* name, int place) {
    return std::string("\t\t\t\t\t\t\t<") + name + Attribute("left", place % 1280) +
           Attribute("right", place % 1280 + 320) + Attribute("top", place % 720) +
           Attribute("bottom", place % 720 + 180) + "/>\r\n";
}

// Named as in a scene, but for the digit in front, which the peer takes for a fault.
std::string Block(int place) {
    return "\t\t\t\t\t\t<mix-block alpha='0.85'" + Attribute("border-width", 2) +
           Attribute("border-color", -1) + Attribute("process", 0) +
           " view-angle-3D='90.0' horz-angle-3D='-30.0' vert-angle-3D='0.0'"
           " horz-offset-3D='0.0' vert-offset-3D='0.9'>\r\n" +
           Rect("src-rect", place) + Rect("dst-rect", 3 * place) + "\t\t\t\t\t\t</mix-block>\r\n";
}

std::string Scene(int number) {
    std::string text = "\t\t<scene name='Scene " + std::to_string(number) +
                       "' description='Guest &amp; host' internal='false'>\r\n"
                       "\t\t\t<relative-output width='0x00000500' height='720'/>\r\n"
                       "\t\t\t<background color='0xFF000000' type='color'/>\r\n\t\t\t<inputs>\r\n";
    for (int input = 0; input < 4; ++input) {
        text +=
            "\t\t\t\t<input enabled='true' keep-rate='false' ignore-time='false'>\r\n"
            "\t\t\t\t\t<chroma-key/>\r\n\t\t\t\t\t<mix-blocks>\r\n";
        for (int block = 0; block < 4; ++block) text += Block(number * 16 + input * 4 + block);
        text += "\t\t\t\t\t</mix-blocks>\r\n\t\t\t\t</input>\r\n";
    }
    return text + "\t\t\t</inputs>\r\n\t\t</scene>\r\n";
}

std::string Document() {
    std::string text = "<qdvideomixer>\r\n\t<user-scenes>\r\n";
    for (int number = 0; text.size() < kDocumentBytes; ++number) text += Scene(number);
    return text + "\t</user-scenes>\r\n</qdvideomixer>";
}

struct Times {
    std::vector<double> read;
    std::vector<double> write;
};

void Print(const char* what, const std::vector<double>& ours, const std::vector<double>& peers) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < ours.size(); ++i) ratios.push_back(ours[i] / peers[i]);
    const Spread spread = SpreadOf(ratios);
    std::printf("%8s %9.2f %9.2f %8.2f %6.2f to %.2f\n", what, Median(ours), Median(peers),
                spread.middle, spread.low, spread.high);
}

std::vector<double> Sum(const Times& times) {
    std::vector<double> sums;
    for (std::size_t i = 0; i < times.read.size(); ++i)
        sums.push_back(times.read[i] + times.write[i]);
    return sums;
}

// Each tree is read and then written once, so that what a reader leaves for later counts too.
template <class Read, class Write>
void MeasureRounds(Times& times, Read&& read, Write&& write) {
    double reading = 0;
    double writing = 0;
    for (int i = 0; i < kRounds; ++i) {
        reading += Measure(read).cpu;
        writing += Measure(write).cpu;
    }
    times.read.push_back(reading * 1000 / kRounds);
    times.write.push_back(writing * 1000 / kRounds);
}

void MeasureOurs(const std::string& document, Times& times) {
    XMLNodePtr root;
    const auto read = [&] {
        root = CreateNode(u"root");
        (void)ParseBytes(root,
                         {reinterpret_cast<const std::uint8_t*>(document.data()), document.size()});
    };
    MeasureRounds(times, read, [&] { (void)EncodeBytes(ToText(root)); });
}

void MeasurePeer(const std::string& document, Times& times) {
    pugi::xml_document tree;
    const auto read = [&] { (void)tree.load_buffer(document.data(), document.size()); };
    MeasureRounds(times, read, [&] {
        std::ostringstream out;
        tree.save(out);
    });
}

}  // namespace

void ReportXml() {
    const std::string document = Document();
    std::printf("A scene document of %zu bytes, against pugixml\n", document.size());
    std::printf("%8s %9s %9s %8s %6s\n", "", "ms", "pugixml", "ratio", "spread");
    Times ours;
    Times peers;
    for (int i = 0; i < kPairs; ++i) {
        MeasureOurs(document, ours);
        MeasurePeer(document, peers);
    }
    Print("read", ours.read, peers.read);
    Print("write", ours.write, peers.write);
    Print("both", Sum(ours), Sum(peers));
    std::printf("\n");
}

}  // namespace qdvm::bench
