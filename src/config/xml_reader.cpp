#include "config/xml_reader.h"

#include "config/file_path.h"
#include "config/text_encoding.h"
#include "config/xml_scanner.h"
#include "config/xml_text.h"
#include "platform/file.h"
#include "platform/text.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace qdvm::XMLParse {
namespace {

// One run over a document. Elements are made outside of the tree, and what is in one is given to it
// when it ends.
class Reader {
public:
    explicit Reader(std::u16string_view document) : text(document) {}

    HRESULT Read(const XMLNodePtr& root) {
        if (!TakeFirstTag()) return E_INVALIDARG;
        (void)root->SetName(tag.name);
        if (tag.kind == TagKind::CharacterData) {
            root->AddText(DecodeText(tag.contents));
            return S_OK;
        }
        root->PutAttrs(tag.pairs, true);
        if (tag.kind == TagKind::Opening) Open(*root);
        while (!open.empty() && position < text.size()) ReadPart();
        while (!open.empty()) Close();
        return isWhole ? S_OK : E_UNEXPECTED;
    }

    std::size_t Position() const { return position; }

private:
    struct Element {
        XMLNodeImpl* node;       // what takes its contents
        std::size_t firstChild;  // in `made`
        std::size_t nameStart;   // in `names`
    };

    bool TakeFirstTag() {
        do {
            std::size_t behind = text.size();
            if (!NextTag(text, position, behind, tag)) return false;
            position = behind;
        } while (tag.kind == TagKind::Closing);
        return true;
    }

    // The next tag with the text in front of it.
    void ReadPart() {
        std::size_t behind = text.size();
        const bool hasTag = NextTag(text, position, behind, tag);
        const bool isSkipped = !hasTag && behind != text.size();
        if (!isSkipped) ReadText(hasTag ? tag.start : text.size());
        position = behind;
        if (hasTag) ReadTag();
    }

    void ReadText(std::size_t end) {
        const std::u16string_view found = TrimLineSpace(text.substr(position, end - position));
        if (!found.empty()) pendingText += DecodeText(found);
    }

    void ReadTag() {
        switch (tag.kind) {
            case TagKind::Closing:
                if (tag.name == InnermostName()) Close();
                break;
            case TagKind::CharacterData:
                pendingText += DecodeText(tag.contents);
                break;
            case TagKind::Empty:
            case TagKind::Opening:
                ReadElement();
                break;
        }
    }

    void ReadElement() {
        EndText();
        made.push_back(CoXMLNode::Make(tag.name, false, tag.contents, tag.pairs));
        if (tag.kind == TagKind::Opening) Open(*made.back());
    }

    // One that is too deep takes part in the matching of tags only.
    void Open(XMLNodeImpl& node) {
        const bool isTooDeep = open.size() >= kMostNesting;
        open.push_back({isTooDeep ? nullptr : &node, made.size(), names.size()});
        names += tag.name;
    }

    std::u16string_view InnermostName() const {
        return std::u16string_view(names).substr(open.back().nameStart);
    }

    void Close() {
        const Element& element = open.back();
        if (element.node != nullptr) {
            EndText();
            const auto children = std::span(made).subspan(element.firstChild);
            isWhole = element.node->AppendNew(children) && isWhole;
            made.resize(element.firstChild);
        }
        names.resize(element.nameStart);
        open.pop_back();
    }

    void EndText() {
        if (pendingText.empty()) return;
        made.push_back(CoXMLNode::Make(pendingText, true));
        pendingText.clear();
    }

    const std::u16string_view text;
    std::size_t position = 0;
    bool isWhole = true;
    std::vector<Element> open;     // from the outermost to the innermost
    std::vector<XMLNodePtr> made;  // the contents so far of all that are open
    std::u16string names;          // of all that are open
    std::u16string pendingText;    // of the innermost, behind all that is made
    Tag tag;
};

std::u16string_view UpToZero(std::u16string_view text) {
    return text.substr(0, FindUnit(text, u'\0'));
}

// The next opening mark, found by its second character: of all in a document that is a rare one.
std::size_t FindMark(std::u16string_view text, std::u16string_view mark, std::size_t from) {
    std::size_t second = FindUnit(text, mark[1], from + 1);
    while (second != std::u16string_view::npos && text.substr(second - 1, mark.size()) != mark)
        second = FindUnit(text, mark[1], second + 1);
    return second != std::u16string_view::npos ? second - 1 : second;
}

// Takes out all spans from an opening mark to its closing mark; one that isn't closed goes on to
// the end.
void Strip(std::u16string& text, std::u16string_view opening, std::u16string_view closing) {
    std::size_t start = FindMark(text, opening, 0);
    if (start == std::u16string::npos) return;
    std::u16string kept;
    std::size_t from = 0;
    while (start != std::u16string::npos) {
        kept.append(text, from, start - from);
        const std::size_t end = text.find(closing, start + opening.size());
        from = end == std::u16string::npos ? text.size() : end + closing.size();
        start = FindMark(text, opening, from);
    }
    kept.append(text, from);
    text = std::move(kept);
}

HRESULT ParseDocument(const XMLNodePtr& node, std::u16string_view document, std::size_t* end) {
    node->ClearAttrs();
    node->ClearChildren();
    Reader reader(document);
    const HRESULT result = reader.Read(node);
    if (end) *end = reader.Position();
    return result;
}

}  // namespace

HRESULT Parse(const XMLNodePtr& node, std::optional<std::u16string_view> text, std::size_t* end) {
    if (!text) return E_INVALIDARG;
    const std::u16string_view document = UpToZero(*text);
    return ParseDocument(node, document.substr(0, end ? *end : document.size()), end);
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
    return ParseDocument(node, text, nullptr);
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
