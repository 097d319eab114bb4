#include "config/xml_writer.h"

#include "config/text_encoding.h"
#include "config/xml_text.h"
#include "platform/file.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace qdvm::XMLParse {
namespace {

constexpr std::u16string_view kLineEnd = u"\r\n";

void AppendQuoted(std::u16string& out, std::u16string_view value) {
    if (value.find(u'\'') == std::u16string_view::npos) {
        out.push_back(u'\'');
        out.append(value);
        out.push_back(u'\'');
        return;
    }
    out.push_back(u'"');
    const std::size_t start = out.size();
    out.append(value);
    std::replace(out.begin() + static_cast<std::ptrdiff_t>(start), out.end(), u'"', u'\'');
    out.push_back(u'"');
}

void AppendAttributes(std::u16string& out, XMLNodeImpl& node) {
    node.VisitAttributes([&](std::u16string_view name, std::u16string_view value) {
        out.push_back(u' ');
        out.append(name);
        out.push_back(u'=');
        AppendQuoted(out, value);
    });
}

class Writer {
public:
    std::u16string Write(const XMLNodePtr& root) {
        if (root->IsText()) return {};
        Begin(root);
        while (!open.empty()) Continue();
        return std::move(out);
    }

private:
    // An element whose children are being written, each on a line of its own.
    struct Element {
        std::u16string name;
        std::vector<XMLNodePtr> children;
        std::size_t next = 0;
    };

    void Indent(std::size_t depth) {
        constexpr std::size_t kMostTabs = 64;
        out.append(std::min(depth, kMostTabs), u'\t');
    }

    void Close(std::u16string_view name) {
        out.append(u"</");
        out.append(name);
        out.push_back(u'>');
    }

    // Writes an element whole, or opens it if it has element children. Its depth is the number of
    // open elements.
    void Begin(const XMLNodePtr& node) {
        std::u16string name = node->Name();
        Indent(open.size());
        out.push_back(u'<');
        out.append(name);
        AppendAttributes(out, *node);
        std::vector<XMLNodePtr> children = node->Children();
        if (children.empty()) {
            out.append(u"/>");
            return;
        }
        out.push_back(u'>');
        const auto isText = [](const XMLNodePtr& child) { return child->IsText(); };
        if (std::all_of(children.begin(), children.end(), isText)) {
            AppendEscaped(out, children.front()->Text());
            Close(name);
            return;
        }
        open.push_back({std::move(name), std::move(children)});
    }

    void Continue() {
        Element& element = open.back();
        out.append(kLineEnd);
        if (element.next == element.children.size()) {
            Indent(open.size() - 1);
            Close(element.name);
            open.pop_back();
            return;
        }
        const XMLNodePtr child = element.children[element.next++];
        if (child->IsText()) {
            Indent(open.size());
            AppendEscaped(out, child->Text());
        } else {
            Begin(child);
        }
    }

    std::u16string out;
    std::vector<Element> open;
};

}  // namespace

std::u16string ToText(const XMLNodePtr& node) { return Writer().Write(node); }

std::u16string AttributesText(const XMLNodePtr& node) {
    std::u16string text;
    AppendAttributes(text, *node);
    return text;
}

HRESULT SaveFile(const XMLNodePtr& node, std::u16string_view path, bool unicode) {
    const std::u16string text = ToText(node);
    if (path.empty()) return S_OK;
    const HRESULT result = WriteFile(path, unicode ? EncodeWide(text) : EncodeBytes(text));
    return Succeeded(result) && text.empty() ? E_UNEXPECTED : result;
}

}  // namespace qdvm::XMLParse
