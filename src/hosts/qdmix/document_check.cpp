#include "hosts/qdmix/document_check.h"

#include "hosts/qdmix/document_scanner.h"
#include "hosts/qdmix/values.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace qdvm::qdmix {

namespace {

enum class ValueKind {
    kText,
    kName,       // not empty
    kFlag,       // true or false
    kInteger,    // decimal or 0x...
    kSize,       // the same, from 0
    kNumber,     // with a fraction
    kOpacity,    // a number from 0 to 1
    kWholePart,  // a number, of which the whole part counts
    kBackground,
    kInterlace,
    kNumbers,  // several with anything between them
};

struct AttributeRule {
    std::string_view name;
    ValueKind kind;
    bool isRequired = false;
};

struct ElementRule {
    std::string_view name;
    std::string_view parent;  // an element may stand in different ones, by different rules
    std::vector<AttributeRule> attributes;
};

constexpr std::string_view kRoot = "";  // the parent of the outermost element

const std::vector<AttributeRule>& PictureRules() {
    static const std::vector<AttributeRule> kRules = {
        {"width", ValueKind::kSize},          {"height", ValueKind::kInteger},
        {"colorspace", ValueKind::kName},     {"interlace", ValueKind::kInterlace},
        {"aspect-ratio-x", ValueKind::kSize}, {"aspect-ratio-y", ValueKind::kSize},
        {"frame-rate", ValueKind::kNumber},
    };
    return kRules;
}

const std::vector<AttributeRule>& EdgeRules() {
    static const std::vector<AttributeRule> kRules = {
        {"left", ValueKind::kWholePart},
        {"right", ValueKind::kWholePart},
        {"top", ValueKind::kWholePart},
        {"bottom", ValueKind::kWholePart},
    };
    return kRules;
}

const std::vector<AttributeRule>& BackgroundRules() {
    static const std::vector<AttributeRule> kRules = {
        {"color", ValueKind::kInteger},
        {"type", ValueKind::kBackground},
        {"image-path", ValueKind::kText},
    };
    return kRules;
}

const std::vector<AttributeRule>& BlockRules() {
    static const std::vector<AttributeRule> kRules = {
        {"alpha", ValueKind::kOpacity},         {"border-width", ValueKind::kInteger},
        {"border-color", ValueKind::kInteger},  {"process", ValueKind::kInteger},
        {"3D-view-angle", ValueKind::kNumber},  {"3D-horz-angle", ValueKind::kNumber},
        {"3D-vert-angle", ValueKind::kNumber},  {"3D-horz-offset", ValueKind::kNumber},
        {"3D-vert-offset", ValueKind::kNumber},
    };
    return kRules;
}

// The outermost element of a setup may bear any name; "m_config" is what is written.
const std::vector<ElementRule>& Rules() {
    static const std::vector<AttributeRule> kScene = {{"name", ValueKind::kName, true},
                                                      {"description", ValueKind::kText},
                                                      {"internal", ValueKind::kFlag}};
    static const std::vector<AttributeRule> kPresent = {{"name", ValueKind::kText},
                                                        {"description", ValueKind::kText},
                                                        {"internal", ValueKind::kFlag}};
    static const std::vector<ElementRule> kRules = {
        {"qdvideomixer", kRoot, {}},
        {"m_config",
         kRoot,
         {{"default-scenes", ValueKind::kFlag}, {"master-stream", ValueKind::kInteger}}},
        {"user-scenes", kRoot, {}},
        {"scene", kRoot, kScene},
        {"user-scenes", "qdvideomixer", {}},
        {"user-scenes", "m_config", {}},
        {"background", "m_config", BackgroundRules()},
        {"output-props", "m_config", PictureRules()},
        {"pins", "m_config", {{"number", ValueKind::kInteger}, {"order", ValueKind::kNumbers}}},
        {"current-scene", "m_config", kPresent},
        {"scene", "user-scenes", kScene},
        {"scene", "qdvideomixer", kScene},
        {"relative-output", "scene", PictureRules()},
        {"background", "scene", BackgroundRules()},
        {"inputs", "scene", {}},
        {"input",
         "inputs",
         {{"enabled", ValueKind::kFlag, true},
          {"keep-rate", ValueKind::kFlag},
          {"ignore-time", ValueKind::kFlag}}},
        {"input", "input", PictureRules()},
        {"chroma-key", "input", {}},
        {"mix-blocks", "input", {}},
        {"mix-block", "mix-blocks", BlockRules()},
        {"src-rect", "mix-block", EdgeRules()},
        {"dst-rect", "mix-block", EdgeRules()},
    };
    return kRules;
}

bool IsOneOf(std::string_view value, std::initializer_list<std::string_view> words) {
    return std::any_of(words.begin(), words.end(),
                       [&](std::string_view word) { return IsSameName(word, value); });
}

bool IsInteger(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    text.remove_prefix(isNegative ? 1 : 0);
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(isHex ? 2 : 0);
    const std::string_view digits = isHex ? "0123456789abcdefABCDEF" : "0123456789";
    return !text.empty() && text.size() <= (isHex ? 8U : 10U) &&
           text.find_first_not_of(digits) == std::string_view::npos;
}

// What a value should have been, or nothing if it is.
std::string Expected(ValueKind kind, std::string_view value) {
    switch (kind) {
        case ValueKind::kText:
            return "";
        case ValueKind::kName:
            return value.empty() ? "a text that isn't empty" : "";
        case ValueKind::kFlag:
            return IsOneOf(value, {"true", "false", "yes", "no", "on", "off", "y", "n", "1", "0"})
                       ? ""
                       : "true or false";
        case ValueKind::kInteger:
            return IsInteger(value) ? "" : "a whole number such as 12 or 0x0C";
        case ValueKind::kSize:
            return IsInteger(value) && value[0] != '-' ? "" : "a whole number from 0";
        case ValueKind::kNumber:
        case ValueKind::kWholePart:
            return ParseNumber(value) ? "" : "a number such as 12.5";
        case ValueKind::kOpacity: {
            const auto number = ParseNumber(value);
            return number && *number >= 0 && *number <= 1 ? "" : "a number from 0 to 1";
        }
        case ValueKind::kBackground:
            return IsOneOf(value, {"color", "image", "none"}) ? "" : "color, image or none";
        case ValueKind::kInterlace:
            return IsOneOf(value, {"progressive", "top", "bottom", "auto"})
                       ? ""
                       : "progressive, top, bottom or auto";
        case ValueKind::kNumbers:
            return value.find_first_not_of("0123456789,; -") == std::string_view::npos
                       ? ""
                       : "numbers with commas between them";
    }
    return "";
}

class Checker {
public:
    std::vector<TextFault> Run(std::string_view text) {
        const DocumentVisitor visitor = {
            [this](const auto& element, const auto& path) { Check(element, path); },
            [this](TextPlace place) {
                Fault(place, "nothing reads text between tags; values stand in attributes");
            }};
        WalkDocument(text, visitor, faults);
        if (otherRoot && !isOtherRootOfUse) {
            TellUnknown(*otherRoot, kRoot);
        }
        return std::move(faults);
    }

private:
    void Fault(TextPlace place, std::string what) { faults.push_back({place, std::move(what)}); }

    void Check(const DocumentElement& element, const std::vector<DocumentElement>& path) {
        if (IsBelowUnknown(path)) {
            return;
        }
        for (const std::string_view parent : ParentsOf(path)) {
            const ElementRule* const rule = FindRule(element, parent);
            if (rule != nullptr) {
                isOtherRootOfUse = isOtherRootOfUse || path.size() == 1;
                CheckAttributes(element, *rule);
                CheckMeaning(element, parent);
                return;
            }
        }
        if (path.empty() && !otherRoot) {
            otherRoot = element;
            return;
        }
        TellUnknown(element, ParentsOf(path).front());
        unknown.insert(element.place);
    }

    // Names are compared as they stand.
    static const ElementRule* FindRule(const DocumentElement& element, std::string_view parent) {
        for (const ElementRule& rule : Rules()) {
            if (rule.parent == parent && rule.name == element.name) {
                return &rule;
            }
        }
        return nullptr;
    }

    // The outermost element may bear any name: what stands in it tells what it is.
    std::vector<std::string_view> ParentsOf(const std::vector<DocumentElement>& path) const {
        if (path.size() == 1 && otherRoot) {
            return {"user-scenes", "qdvideomixer", "m_config"};
        }
        return {ParentOf(path)};
    }

    bool IsBelowUnknown(const std::vector<DocumentElement>& path) const {
        return std::any_of(path.begin(), path.end(), [&](const DocumentElement& each) {
            return unknown.contains(each.place);
        });
    }

    static std::string_view ParentOf(const std::vector<DocumentElement>& path) {
        if (path.empty()) {
            return kRoot;
        }
        // The layout of a setup is written like any scene.
        return path.back().name == "current-scene" ? "scene" : std::string_view(path.back().name);
    }

    void TellUnknown(const DocumentElement& element, std::string_view parent) {
        std::vector<std::string_view> names;
        for (const ElementRule& rule : Rules()) {
            if (rule.parent == parent) {
                names.push_back(rule.name);
            }
        }
        const std::string where = parent == kRoot ? "is nothing that a document can be"
                                                  : "is not read in <" + std::string(parent) + ">";
        const std::string guess = Guess(element.name, names);
        const std::string known =
            names.empty() ? "; nothing is" : "; there can be " + Choice(names);
        Fault(element.place, "<" + element.name + "> " + where + (guess.empty() ? known : guess));
    }

    void CheckAttributes(const DocumentElement& element, const ElementRule& rule) {
        for (const DocumentAttribute& attribute : element.attributes) {
            const auto known = std::find_if(
                rule.attributes.begin(), rule.attributes.end(),
                [&](const auto& each) { return IsSameName(each.name, attribute.name); });
            if (known == rule.attributes.end()) {
                TellUnknown(attribute, rule);
                continue;
            }
            if (const std::string expected = Expected(known->kind, attribute.value);
                !expected.empty()) {
                Fault(attribute.valuePlace, attribute.name + "=\"" + attribute.value +
                                                "\": " + expected + " is expected");
            }
        }
        for (const AttributeRule& each : rule.attributes) {
            if (each.isRequired && element.Find(each.name) == nullptr) {
                Fault(element.place, "<" + element.name + "> has no " + std::string(each.name) +
                                         (each.name == "enabled" ? ": it counts as switched off"
                                                                 : ": nobody can select it"));
            }
        }
    }

    void TellUnknown(const DocumentAttribute& attribute, const ElementRule& rule) {
        std::vector<std::string_view> names;
        for (const AttributeRule& each : rule.attributes) {
            names.push_back(each.name);
        }
        const std::string guess = Guess(attribute.name, names);
        const std::string known =
            names.empty() ? "; nothing is" : "; there can be " + Choice(names);
        Fault(attribute.place, "the attribute '" + attribute.name + "' is not read in <" +
                                   std::string(rule.name) + ">" + (guess.empty() ? known : guess));
    }

    void CheckMeaning(const DocumentElement& element, std::string_view parent) {
        if (element.name == "scene") {
            CheckSceneName(element);
        } else if (element.name == "background") {
            const DocumentAttribute* type = element.Find("type");
            const DocumentAttribute* path = element.Find("image-path");
            if (type != nullptr && IsSameName(type->value, "image") &&
                (path == nullptr || path->value.empty())) {
                Fault(element.place, "the background is an image, but image-path names none");
            }
        } else if (element.name == "mix-block") {
            if (element.Find("alpha") == nullptr) {
                Fault(element.place, "<mix-block> has no alpha: it can't be seen");
            }
        } else if (parent == "mix-block") {
            CheckEdges(element, "left", "right");
            CheckEdges(element, "top", "bottom");
        }
    }

    void CheckSceneName(const DocumentElement& element) {
        const DocumentAttribute* name = element.Find("name");
        if (name == nullptr || name->value.empty()) {
            return;
        }
        const auto [first, isNew] = sceneLines.emplace(name->value, name->place.line);
        if (!isNew) {
            Fault(name->valuePlace, "there is a scene '" + name->value + "' in line " +
                                        std::to_string(first->second) + " already");
        }
    }

    // Without an area a rect stands for the whole picture, which is told by leaving it out.
    void CheckEdges(const DocumentElement& element, std::string_view low, std::string_view high) {
        const auto number = [&](std::string_view name) {
            const DocumentAttribute* attribute = element.Find(name);
            return attribute != nullptr ? ParseNumber(attribute->value) : std::optional(0.0);
        };
        const std::optional<double> from = number(low);
        const std::optional<double> to = number(high);
        if (from && to && *from >= *to && (*from != 0 || *to != 0)) {
            Fault(element.place, "<" + element.name + "> has no area: its " + std::string(high) +
                                     " is not beyond its " + std::string(low));
        }
    }

    std::vector<TextFault> faults;
    std::set<TextPlace> unknown;               // elements that no rule knows
    std::optional<DocumentElement> otherRoot;  // the outermost one, if its name is none of ours
    bool isOtherRootOfUse = false;             // it has something that is read
    std::map<std::string, int> sceneLines;     // by name
};

}  // namespace

std::vector<TextFault> CheckDocument(std::string_view text) { return Checker().Run(text); }

}  // namespace qdvm::qdmix
