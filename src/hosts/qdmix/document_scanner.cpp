#include "hosts/qdmix/document_scanner.h"

#include <algorithm>
#include <array>
#include <utility>

namespace qdvm::qdmix {

namespace {

// Deeper documents are faulty in one way, and a mistake needn't cost memory.
constexpr std::size_t kDeepest = 64;

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
bool EndsName(char c) {
    return IsSpace(c) || c == '>' || c == '/' || c == '=' || c == '<' || c == '"' || c == '\'';
}
char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

constexpr std::array<std::pair<std::string_view, char>, 5> kEntities = {
    {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}}};

class Scanner {
public:
    Scanner(std::string_view theText, const DocumentVisitor& theVisitor,
            std::vector<TextFault>& theFaults)
        : text(theText), visitor(theVisitor), faults(theFaults) {}

    void Run() {
        while (at < text.size()) {
            if (text[at] == '<') {
                ReadTag();
            } else {
                ReadText();
            }
        }
        for (const DocumentElement& open : path) {
            Fault(open.place, "<" + open.name + "> is never closed");
        }
        if (elements == 0) {
            Fault({1, 1}, "there is no element in it");
        }
    }

private:
    void Fault(TextPlace where, std::string what) { faults.push_back({where, std::move(what)}); }

    void Step() {
        const char c = text[at++];
        if (c == '\n') {
            ++place.line;
            place.column = 1;
        } else if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) {
            ++place.column;
        }
    }
    void StepTo(std::size_t end) {
        while (at < end) Step();
    }
    void SkipSpaces() {
        while (at < text.size() && IsSpace(text[at])) Step();
    }
    bool IsAt(std::string_view word) const { return text.substr(at).starts_with(word); }
    std::string ReadName() {
        const std::size_t begin = at;
        while (at < text.size() && !EndsName(text[at])) Step();
        return std::string(text.substr(begin, at - begin));
    }

    void ReadText() {
        bool isTold = false;
        while (at < text.size() && text[at] != '<') {
            if (!IsSpace(text[at]) && !std::exchange(isTold, true)) {
                visitor.onText(place);
            }
            Step();
        }
    }

    void ReadTag() {
        if (IsAt("<!--")) {
            SkipPast("-->", "the comment is never closed");
        } else if (IsAt("<?")) {
            SkipPast("?>", "the declaration is never closed by ?>");
        } else if (IsAt("<!")) {
            SkipPast(">", "the declaration is never closed");
        } else if (IsAt("</")) {
            ReadClosingTag();
        } else {
            ReadOpeningTag();
        }
    }

    void SkipPast(std::string_view end, const char* fault) {
        const TextPlace begin = place;
        const std::size_t found = text.find(end, at + 2);
        if (found == std::string_view::npos) {
            Fault(begin, fault);
        }
        StepTo(found == std::string_view::npos ? text.size() : found + end.size());
    }

    void ReadClosingTag() {
        const TextPlace begin = place;
        StepTo(at + 2);
        const std::string name = ReadName();
        SkipSpaces();
        if (at < text.size() && text[at] == '>') {
            Step();
        } else {
            Fault(place, "'>' is expected at the end of </" + name);
        }
        const auto open = std::find_if(path.rbegin(), path.rend(),
                                       [&](const auto& each) { return each.name == name; });
        if (open == path.rend()) {
            Fault(begin, "</" + name + "> closes nothing" +
                             (path.empty() ? "" : "; <" + path.back().name + "> is open"));
            return;
        }
        while (path.back().name != name) {
            Fault(path.back().place, "<" + path.back().name + "> is not closed before </" + name +
                                         "> in line " + std::to_string(begin.line));
            path.pop_back();
        }
        path.pop_back();
    }

    void ReadOpeningTag() {
        DocumentElement element;
        element.place = place;
        Step();
        element.name = ReadName();
        if (element.name.empty()) {
            Fault(element.place, "the name of an element is expected behind '<'");
        }
        const bool isEmpty = ReadAttributes(element);
        ++elements;
        if (path.empty() && elements > 1) {
            Fault(element.place, "<" + element.name + "> stands outside of the first element");
        }
        visitor.onElement(element, path);
        if (isEmpty) {
            return;
        }
        if (path.size() < kDeepest) {
            path.push_back(std::move(element));
        } else {
            Fault(element.place, "the elements are nested too deeply");
            StepTo(text.size());
        }
    }

    // To the end of the tag. True for one that closes itself.
    bool ReadAttributes(DocumentElement& element) {
        while (true) {
            SkipSpaces();
            if (at == text.size() || text[at] == '<') {
                Fault(element.place, "the tag <" + element.name + " has no '>'");
                return false;
            }
            if (IsAt("/>")) {
                StepTo(at + 2);
                return true;
            }
            if (text[at] == '>') {
                Step();
                return false;
            }
            const std::size_t before = at;
            ReadAttribute(element);
            if (at == before) {
                Fault(place,
                      std::string("'") + text[at] + "' is not expected in <" + element.name + ">");
                Step();
            }
        }
    }

    void ReadAttribute(DocumentElement& element) {
        DocumentAttribute attribute;
        attribute.place = place;
        attribute.name = ReadName();
        if (attribute.name.empty()) {
            return;
        }
        SkipSpaces();
        if (at == text.size() || text[at] != '=') {
            Fault(attribute.place, "the attribute '" + attribute.name + "' has no value: " +
                                       attribute.name + "=\"...\" is expected");
            return;
        }
        Step();
        SkipSpaces();
        attribute.valuePlace = place;
        if (!ReadValue(attribute)) {
            return;
        }
        if (element.Find(attribute.name) != nullptr) {
            Fault(attribute.place, "the attribute '" + attribute.name + "' is given twice");
        }
        element.attributes.push_back(std::move(attribute));
    }

    bool ReadValue(DocumentAttribute& attribute) {
        const char quote = at < text.size() ? text[at] : ' ';
        if (quote != '"' && quote != '\'') {
            Fault(place, "the value of '" + attribute.name + "' stands in no quotes");
            const std::string bare = ReadName();
            attribute.value = bare;
            return !bare.empty();
        }
        const std::size_t end = text.find(quote, at + 1);
        const std::size_t tag = text.find_first_of("<", at + 1);
        if (end == std::string_view::npos || tag < end) {
            Fault(place, "the quote of the value of '" + attribute.name + "' is never closed");
            StepTo(std::min({text.find('>', at), tag, text.size()}));
            return false;
        }
        Step();
        attribute.valuePlace = place;
        while (at < end) {
            attribute.value += text[at] == '&' ? ReadEntity(end) : std::string(1, text[at]);
            Step();
        }
        Step();
        return true;
    }

    // Stands at "&", and afterwards at the last character.
    std::string ReadEntity(std::size_t limit) {
        const std::size_t end = text.substr(0, limit).find(';', at);
        const std::string_view name =
            end == std::string_view::npos ? std::string_view{} : text.substr(at + 1, end - at - 1);
        for (const auto& [entity, character] : kEntities) {
            if (name == entity) {
                StepTo(end);
                return std::string(1, character);
            }
        }
        if (name.size() > 1 && name[0] == '#') {
            StepTo(end);
            return "?";  // any character but those of numbers and words
        }
        Fault(place, "'&' is written &amp;");
        return "&";
    }

    std::string_view text;
    const DocumentVisitor& visitor;
    std::vector<TextFault>& faults;
    std::size_t at = 0;
    TextPlace place;
    std::vector<DocumentElement> path;
    std::size_t elements = 0;
};

}  // namespace

bool IsSameName(std::string_view one, std::string_view other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](char a, char b) { return Lower(a) == Lower(b); });
}

const DocumentAttribute* DocumentElement::Find(std::string_view attribute) const {
    const auto found = std::find_if(attributes.begin(), attributes.end(), [&](const auto& each) {
        return IsSameName(each.name, attribute);
    });
    return found != attributes.end() ? &*found : nullptr;
}

void WalkDocument(std::string_view text, const DocumentVisitor& visitor,
                  std::vector<TextFault>& faults) {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    if (text.starts_with(kMark)) {
        text.remove_prefix(kMark.size());
    }
    Scanner(text, visitor, faults).Run();
}

}  // namespace qdvm::qdmix
