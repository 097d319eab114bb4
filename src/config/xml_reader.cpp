#include "config/xml_reader.h"

#include "config/file_path.h"
#include "config/text_encoding.h"
#include "config/xml_scanner.h"
#include "config/xml_text.h"
#include "platform/file.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace qdvm::XMLParse {
namespace {

std::size_t SkipFullSpace(std::u16string_view text, std::size_t at) {
    while (at < text.size() && IsFullSpace(text[at])) ++at;
    return at;
}

// The value at `at`, which moves behind it.
std::u16string_view TakeValue(std::u16string_view text, std::size_t& at) {
    std::size_t start = at;
    if (text[at] == u'\'' || text[at] == u'"') {
        const std::size_t closing = text.find(text[at], ++start);
        const std::size_t end = std::min(closing, text.size());
        at = closing < text.size() ? closing + 1 : text.size();
        return text.substr(start, end - start);
    }
    while (at < text.size() && !IsFullSpace(text[at])) ++at;
    return text.substr(start, at - start);
}

void ReadPairs(std::u16string_view text, std::vector<AttrPair>& pairs) {
    pairs.clear();
    std::size_t at = 0;
    while ((at = SkipFullSpace(text, at)) < text.size()) {
        const std::size_t start = at;
        while (at < text.size() && text[at] != u'=' && !IsFullSpace(text[at])) ++at;
        const std::u16string_view key = text.substr(start, at - start);
        at = SkipFullSpace(text, at);
        if (at == text.size() || text[at] != u'=') continue;
        at = SkipFullSpace(text, at + 1);
        if (at == text.size()) break;
        pairs.push_back({key, TakeValue(text, at)});
    }
}

// One run over a document, with the open elements from the outermost to the innermost.
class Reader {
public:
    Reader(std::u16string_view document, std::size_t end) : text(document), limit(end) {}

    HRESULT Read(const XMLNodePtr& root) {
        Tag tag;
        if (!TakeFirstTag(tag)) return E_INVALIDARG;
        (void)root->SetName(tag.name);
        if (tag.kind == TagKind::CharacterData) {
            root->AddText(DecodeText(tag.contents));
            return S_OK;
        }
        AddAttributes(root, tag);
        if (tag.kind == TagKind::Opening) open.push_back({root, tag.name});
        while (!open.empty() && position < limit)
            if (!ReadPart()) return E_UNEXPECTED;
        return S_OK;
    }

    std::size_t Position() const { return position; }

private:
    struct Element {
        XMLNodePtr node;
        std::u16string name;
    };

    bool TakeFirstTag(Tag& tag) {
        do {
            std::size_t behind = limit;
            if (!NextTag(text, position, behind, tag)) return false;
            position = behind;
        } while (tag.kind == TagKind::Closing);
        return true;
    }

    void AddAttributes(const XMLNodePtr& node, const Tag& tag) {
        if (tag.contents.empty()) return;
        ReadPairs(tag.contents, pairs);
        node->PutAttrs(pairs, true);
    }

    // The next tag with the text in front of it. False if a node can't be made.
    bool ReadPart() {
        Tag tag;
        std::size_t behind = limit;
        const bool hasTag = NextTag(text, position, behind, tag);
        if (!hasTag && behind != limit) {
            position = behind;
            return true;
        }
        ReadText(hasTag ? tag.start : limit);
        position = behind;
        return !hasTag || ReadTag(tag);
    }

    void ReadText(std::size_t end) {
        const std::u16string_view found = TrimLineSpace(text.substr(position, end - position));
        if (!found.empty()) open.back().node->AddText(DecodeText(found));
    }

    bool ReadTag(const Tag& tag) {
        switch (tag.kind) {
            case TagKind::Closing:
                if (tag.name == open.back().name) open.pop_back();
                return true;
            case TagKind::CharacterData:
                open.back().node->AddText(DecodeText(tag.contents));
                return true;
            case TagKind::Empty:
            case TagKind::Opening:
                break;
        }
        XMLNodePtr child = open.back().node->AppendElement(tag.name);
        if (!child) return false;
        AddAttributes(child, tag);
        if (tag.kind != TagKind::Opening) return true;
        // Too deep, it takes part in the matching of tags only.
        if (open.size() >= kMostNesting) child = open.back().node;
        open.push_back({std::move(child), tag.name});
        return true;
    }

    const std::u16string_view text;
    const std::size_t limit;
    std::size_t position = 0;
    std::vector<Element> open;
    std::vector<AttrPair> pairs;  // of the present tag
};

std::u16string_view UpToZero(std::u16string_view text) { return text.substr(0, text.find(u'\0')); }

// Takes out all spans from an opening mark to its closing mark; one that isn't closed goes on to
// the end.
void Strip(std::u16string& text, std::u16string_view opening, std::u16string_view closing) {
    std::size_t start = text.find(opening);
    if (start == std::u16string::npos) return;
    std::u16string kept;
    std::size_t from = 0;
    while (start != std::u16string::npos) {
        kept.append(text, from, start - from);
        const std::size_t end = text.find(closing, start + opening.size());
        from = end == std::u16string::npos ? text.size() : end + closing.size();
        start = text.find(opening, from);
    }
    kept.append(text, from);
    text = std::move(kept);
}

}  // namespace

HRESULT Parse(const XMLNodePtr& node, std::optional<std::u16string_view> text, std::size_t* end) {
    if (!text) return E_INVALIDARG;
    node->ClearAttrs();
    node->ClearChildren();
    const std::u16string_view document = UpToZero(*text);
    const std::size_t limit = end ? std::min(*end, document.size()) : document.size();
    Reader reader(document.substr(0, limit), limit);
    const HRESULT result = reader.Read(node);
    if (end) *end = reader.Position();
    return result;
}

bool ParseAttributes(const XMLNodePtr& node, std::u16string_view text, AttrMode mode,
                     bool pathKeys) {
    if (text.empty()) return false;
    if (mode == AttrMode::Replace) node->ClearAttrs();
    std::vector<AttrPair> pairs;
    ReadPairs(text, pairs);
    if (pathKeys)
        for (const AttrPair& pair : pairs)
            (void)node->SetAttr(pair.name, ObjectVal(pair.value), true);
    else
        node->PutAttrs(pairs, mode != AttrMode::Keep);
    return !pairs.empty();
}

HRESULT ParseBytes(const XMLNodePtr& node, std::span<const std::uint8_t> bytes) {
    std::u16string text = DecodeBytes(bytes);
    text.resize(UpToZero(text).size());
    Strip(text, u"<!--", u"-->");
    Strip(text, u"<?", u"?>");
    return Parse(node, text);
}

HRESULT ParseFile(const XMLNodePtr& node, std::u16string_view path) {
    std::vector<std::uint8_t> bytes;
    const HRESULT result = ReadFile(path, bytes);
    return Failed(result) ? result : ParseBytes(node, bytes);
}

HRESULT ParseAny(const XMLNodePtr& node, std::optional<std::u16string_view> textOrFile) {
    if (!textOrFile) return E_INVALIDARG;
    if (IsFilePath(*textOrFile) && FileExists(*textOrFile)) return ParseFile(node, *textOrFile);
    if (Succeeded(Parse(node, textOrFile))) return S_OK;
    return ParseAttributes(node, *textOrFile, AttrMode::Update, false) ? 1 : 0;
}

}  // namespace qdvm::XMLParse
