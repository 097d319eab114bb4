#include "hosts/qdmix/progress.h"

#include "hosts/qdmix/json.h"

#include "hosts/qdmix/values.h"

#include <array>
#include <cstdio>

namespace qdvm::qdmix {

namespace {

std::string OneDecimal(double number) {
    std::array<char, 32> text{};
    (void)std::snprintf(text.data(), text.size(), "%.1f", number);
    return text.data();
}

std::string LostInputs(const MixReport& report) {
    std::string lost;
    for (std::size_t i = 0; i < report.inputs.size(); ++i) {
        if (report.inputs[i].health == "lost") {
            lost += (lost.empty() ? " lost: " : ", ") + std::to_string(i + 1);
        }
    }
    return lost;
}

}  // namespace

std::string ProgressLine(const MixReport& report, std::size_t columns) {
    std::string line = "frame " + std::to_string(report.frames) + "  " + SecondsText(report.time) +
                       " s  " + OneDecimal(report.framesPerSecond) + " frames/s ";
    line += LostInputs(report);
    for (std::size_t i = 0; i < report.inputs.size(); ++i) {
        const InputReport& input = report.inputs[i];
        line += "  " + std::to_string(i + 1) + ": " + std::to_string(input.framesRepeated) +
                " repeated " + std::to_string(input.framesDropped) + " dropped";
    }
    if (line.size() > columns) {
        line.resize(columns);
    }
    return line;
}

std::string ProgressJson(const MixReport& report, const char* event) {
    std::string out = std::string("{\"event\": \"") + event +
                      "\", \"frames\": " + std::to_string(report.frames) +
                      ", \"time\": " + SecondsText(report.time) +
                      ", \"fps\": " + OneDecimal(report.framesPerSecond) + ", \"inputs\": [";
    for (std::size_t i = 0; i < report.inputs.size(); ++i) {
        const InputReport& input = report.inputs[i];
        out += (i == 0 ? "" : ", ") + std::string("{\"input\": ") + std::to_string(i + 1) +
               ", \"name\": " + JsonText(input.name) + ", \"health\": " + JsonText(input.health) +
               ", \"in\": " + std::to_string(input.framesIn) +
               ", \"repeated\": " + std::to_string(input.framesRepeated) +
               ", \"dropped\": " + std::to_string(input.framesDropped) + "}";
    }
    return out + "]}";
}

std::string SummaryLine(const MixReport& report, const std::string& output) {
    std::string line = "qdmix: " + output + ": " + std::to_string(report.frames) + " frames, " +
                       SecondsText(report.time) + " s, made at " +
                       OneDecimal(report.framesPerSecond) + " frames/s";
    for (std::size_t i = 0; i < report.inputs.size(); ++i) {
        const InputReport& input = report.inputs[i];
        line += "; input " + std::to_string(i + 1) + ": " + std::to_string(input.framesIn) +
                " in, " + std::to_string(input.framesRepeated) + " repeated, " +
                std::to_string(input.framesDropped) + " dropped";
    }
    return line;
}

}  // namespace qdvm::qdmix
