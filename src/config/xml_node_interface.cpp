// A node's operations in interface form.

#include "config/attribute_info.h"
#include "config/xml_node.h"
#include "config/xml_reader.h"
#include "config/xml_writer.h"
#include "platform/counted_string.h"
#include "platform/no_throw.h"

#include <limits>
#include <utility>

namespace qdvm::XMLParse {
namespace {

// Hands a text out to whom it may be of no interest.
HRESULT CopyOutIfAsked(std::u16string_view text, BSTR* out) {
    return out != nullptr ? CopyOut(text, out) : S_OK;
}

LONG ToCount(std::size_t size) {
    constexpr std::size_t kMost = std::numeric_limits<LONG>::max();
    return static_cast<LONG>(size < kMost ? size : kMost);
}

// Negative indices lie outside of everything.
std::size_t ToIndex(LONG index) {
    return index < 0 ? std::numeric_limits<std::size_t>::max() : static_cast<std::size_t>(index);
}

AttrMode ToMode(LONG mode) {
    if (mode == 2) return AttrMode::Replace;
    return mode == 0 ? AttrMode::Keep : AttrMode::Update;
}

// The reference, if wanted; the node as one of its interfaces.
template <class Interface>
void GiveNode(const XMLNodePtr& node, Interface** out) {
    if (out == nullptr) return;
    *out = node.Get();
    if (*out != nullptr) (void)(*out)->AddRef();
}

// An optional text: S_FALSE and null without one.
HRESULT GiveInfo(const std::optional<std::u16string>& text, BSTR* out) {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return text ? CopyOut(*text, out) : S_FALSE;
}

std::optional<std::u16string_view> TextOf(BSTR text) {
    if (text == nullptr) return std::nullopt;
    return ViewOf(text);
}

template <class T, class Out, class Read>
HRESULT ReadOut(Out* out, Read&& read) {
    if (out == nullptr) return E_POINTER;
    *out = {};
    return NoThrow([&] {
        bool found = false;
        const T value = read(&found);
        if (!found) return kNotFound;
        *out = static_cast<Out>(value);
        return S_OK;
    });
}

// For a node of another implementation the ancestor can't be found, and the path starts at the
// root.
const XMLNodeImpl* NodeBehind(IQNode* node) { return dynamic_cast<CoXMLNode*>(node); }

}  // namespace

HRESULT CoXMLNode::GetCount(LONG* count) {
    const std::size_t size = AttrCount();
    if (count != nullptr) *count = ToCount(size);
    return size > 0 ? S_OK : S_FALSE;
}

HRESULT CoXMLNode::GetByIndex(LONG index, BSTR* name, BSTR* value) {
    if (name != nullptr) *name = nullptr;
    if (value != nullptr) *value = nullptr;
    return NoThrow([&] {
        const auto attribute = AttrAt(ToIndex(index));
        if (!attribute) return kBadIndex;
        const HRESULT result = CopyOutIfAsked(attribute->name, name);
        return Failed(result) ? result : CopyOutIfAsked(attribute->text, value);
    });
}

HRESULT CoXMLNode::Remove(BSTR path) {
    return NoThrow([&] { return RemoveAttr(ViewOf(path)) ? S_OK : kNotFound; });
}

HRESULT CoXMLNode::RemoveAll() {
    ClearAttrs();
    return S_OK;
}

HRESULT CoXMLNode::SetString(BSTR path, BSTR value) {
    return NoThrow([&] {
        return SetAttr(ViewOf(path), ObjectVal(ViewOf(value)), true) ? S_OK : E_INVALIDARG;
    });
}

HRESULT CoXMLNode::SetBool(BSTR path, BOOL value) {
    return NoThrow(
        [&] { return SetAttr(ViewOf(path), ObjectVal(value != 0), true) ? S_OK : E_INVALIDARG; });
}

HRESULT CoXMLNode::SetInt(BSTR path, LONG value) {
    return NoThrow(
        [&] { return SetAttr(ViewOf(path), ObjectVal(value), true) ? S_OK : E_INVALIDARG; });
}

HRESULT CoXMLNode::SetDouble(BSTR path, double value) {
    return NoThrow(
        [&] { return SetAttr(ViewOf(path), ObjectVal(value), true) ? S_OK : E_INVALIDARG; });
}

HRESULT CoXMLNode::GetWithDefault(BSTR path, BOOL* found, BSTR* value) {
    if (found != nullptr) *found = 0;
    if (value != nullptr) *value = nullptr;
    return NoThrow([&] {
        bool isThere = false;
        const std::u16string text = XMLNodeImpl::GetString(ViewOf(path), {}, &isThere);
        if (found != nullptr) *found = isThere;
        if (isThere) return CopyOutIfAsked(text, value);
        const auto missing = InfoText(XMLNodePtr(this), ViewOf(path), eQIT_Default);
        const HRESULT result = missing ? CopyOutIfAsked(*missing, value) : S_OK;
        return Failed(result) ? result : S_FALSE;
    });
}

HRESULT CoXMLNode::GetString(BSTR path, BSTR* value) {
    if (value == nullptr) return E_POINTER;
    *value = nullptr;
    return NoThrow([&] {
        bool found = false;
        const std::u16string text = XMLNodeImpl::GetString(ViewOf(path), {}, &found);
        return found ? CopyOut(text, value) : kNotFound;
    });
}

HRESULT CoXMLNode::GetInt(BSTR path, LONG* value) {
    return ReadOut<std::int32_t>(
        value, [&](bool* found) { return XMLNodeImpl::GetInt(ViewOf(path), 0, found); });
}

HRESULT CoXMLNode::GetBool(BSTR path, BOOL* value) {
    return ReadOut<bool>(
        value, [&](bool* found) { return XMLNodeImpl::GetBool(ViewOf(path), false, found); });
}

HRESULT CoXMLNode::GetDouble(BSTR path, double* value) {
    return ReadOut<double>(
        value, [&](bool* found) { return XMLNodeImpl::GetDouble(ViewOf(path), 0, found); });
}

HRESULT CoXMLNode::SetFromText(BSTR text, LONG mode) {
    if (text == nullptr) return E_INVALIDARG;
    return NoThrow([&] {
        return ParseAttributes(XMLNodePtr(this), ViewOf(text), ToMode(mode), true) ? 1 : 0;
    });
}

HRESULT CoXMLNode::GetAsText(BSTR* text) {
    if (text == nullptr) return E_POINTER;
    *text = nullptr;
    return NoThrow([&] { return CopyOut(AttributesText(XMLNodePtr(this)), text); });
}

HRESULT CoXMLNode::GetAsNode(IQAttributes** node) {
    if (node == nullptr) return E_POINTER;
    *node = nullptr;
    return NoThrow([&] {
        const XMLNodePtr copy = CreateNode(u"m_attributes");
        (void)CopyAttrsTo(copy, AttrMode::Update);
        GiveNode(copy, node);
        return S_OK;
    });
}

HRESULT CoXMLNode::CopyFrom(IQAttributes* source, LONG mode) {
    if (source == nullptr) return E_INVALIDARG;
    if (static_cast<IQAttributes*>(this) == source) return S_OK;
    return NoThrow([&] {
        if (ToMode(mode) == AttrMode::Replace) ClearAttrs();
        LONG count = 0;
        (void)source->GetCount(&count);
        for (LONG i = 0; i < count; ++i) {
            CountedString name;
            CountedString value;
            if (Failed(source->GetByIndex(i, name.Put(), value.Put()))) break;
            (void)PutAttr(name.View(), ObjectVal(value.View()), ToMode(mode) != AttrMode::Keep);
        }
        return S_OK;
    });
}

HRESULT CoXMLNode::InfoCount(LONG* count) {
    if (count == nullptr) return E_POINTER;
    *count = 0;
    return NoThrow([&] {
        std::size_t found = 0;
        (void)InfoList(XMLNodePtr(this), &found);
        *count = ToCount(found);
        return found > 0 ? S_OK : S_FALSE;
    });
}

HRESULT CoXMLNode::InfoName(LONG index, BSTR* name) {
    if (index < 0) return E_INVALIDARG;
    if (name == nullptr) return E_POINTER;
    *name = nullptr;
    return NoThrow([&] {
        std::u16string found;
        const HRESULT result = NameOfInfo(XMLNodePtr(this), index, found);
        return Failed(result) ? result : CopyOut(found, name);
    });
}

HRESULT CoXMLNode::InfoGet(BSTR name, eQInfoType type, BSTR* info) {
    const bool isAnswered = type >= eQIT_Help && type <= eQIT_Max;
    if (ViewOf(name).empty() || !isAnswered) return E_INVALIDARG;
    return NoThrow([&] { return GiveInfo(InfoText(XMLNodePtr(this), ViewOf(name), type), info); });
}

HRESULT CoXMLNode::OptionInfoGet(BSTR name, BSTR option, BSTR infoName, BSTR* info) {
    if (ViewOf(name).empty() || ViewOf(option).empty()) return E_INVALIDARG;
    return NoThrow([&] {
        return GiveInfo(
            OptionText(XMLNodePtr(this), ViewOf(name), ViewOf(option), ViewOf(infoName)), info);
    });
}

HRESULT CoXMLNode::GetName(BSTR* name) {
    return NoThrow([&] { return CopyOut(Name(), name); });
}

HRESULT CoXMLNode::SetName(BSTR name) {
    return NoThrow([&] { return XMLNodeImpl::SetName(ViewOf(name)) ? S_OK : E_INVALIDARG; });
}

HRESULT CoXMLNode::GetValue(BSTR* value) {
    return NoThrow([&] { return CopyOut(Value(), value); });
}

HRESULT CoXMLNode::SetValue(BSTR value) {
    return NoThrow([&] {
        XMLNodeImpl::SetValue(ViewOf(value));
        return S_OK;
    });
}

HRESULT CoXMLNode::GetPath(BSTR* path, IQNode* ancestor) {
    return NoThrow([&] { return CopyOut(Path(NodeBehind(ancestor)), path); });
}

HRESULT CoXMLNode::GetParent(IQNode** above) {
    if (above == nullptr) return E_POINTER;
    GiveNode(Parent(), above);
    return *above != nullptr ? S_OK : S_FALSE;
}

HRESULT CoXMLNode::Remove() {
    return NoThrow([&] {
        const XMLNodePtr above = Parent();
        if (!above) return S_FALSE;
        const XMLNodePtr self(this);
        XMLNodeImpl::Clear(false);
        return above->RemoveChildNode(*this) ? S_OK : S_FALSE;
    });
}

HRESULT CoXMLNode::ChildCount(LONG* count) {
    if (count == nullptr) return E_POINTER;
    *count = ToCount(XMLNodeImpl::ChildCount());
    return S_OK;
}

HRESULT CoXMLNode::ChildByIndex(LONG index, BSTR* name, IQNode** child) {
    if (name != nullptr) *name = nullptr;
    if (child != nullptr) *child = nullptr;
    return NoThrow([&] {
        const XMLNodePtr found = ChildAt(ToIndex(index));
        if (!found) return kBadIndex;
        const HRESULT result = CopyOutIfAsked(found->Name(), name);
        if (Succeeded(result)) GiveNode(found, child);
        return result;
    });
}

HRESULT CoXMLNode::AddChild(BSTR path, BSTR value, IQNode** child) {
    if (child != nullptr) *child = nullptr;
    if (ViewOf(path).empty()) return E_INVALIDARG;
    return NoThrow([&] {
        const XMLNodePtr added = XMLNodeImpl::AddChild(ViewOf(path), ViewOf(value));
        GiveNode(added, child);
        return added ? S_OK : E_FAIL;
    });
}

HRESULT CoXMLNode::ChildByPath(BSTR path, BOOL create, IQNode** child) {
    if (child != nullptr) *child = nullptr;
    if (ViewOf(path).empty()) return E_INVALIDARG;
    return NoThrow([&] {
        const XMLNodePtr found = Child(ViewOf(path), create != 0);
        GiveNode(found, child);
        return found ? S_OK : kNotFound;
    });
}

HRESULT CoXMLNode::RemoveChild(BSTR path) {
    if (ViewOf(path).empty()) return E_INVALIDARG;
    return NoThrow([&] { return XMLNodeImpl::RemoveChild(ViewOf(path)) ? S_OK : S_FALSE; });
}

HRESULT CoXMLNode::Clear(BOOL clearAttributes) {
    ClearChildren();
    if (clearAttributes != 0) ClearAttrs();
    return S_OK;
}

HRESULT CoXMLNode::Parse(BSTR text, BOOL takeName) {
    return NoThrow([&] {
        const std::u16string formerName = Name();
        const HRESULT result = XMLParse::Parse(XMLNodePtr(this), TextOf(text));
        if (Succeeded(result) && takeName == 0) (void)XMLNodeImpl::SetName(formerName);
        return result;
    });
}

HRESULT CoXMLNode::ToText(BSTR* text) {
    return NoThrow([&] { return CopyOut(XMLParse::ToText(XMLNodePtr(this)), text); });
}

HRESULT CoXMLNode::Clone(IQNode** clone) {
    if (clone == nullptr) return E_POINTER;
    *clone = nullptr;
    return NoThrow([&] {
        const XMLNodePtr copy = CreateNode(u"clone");
        (void)CopyTo(copy, true, AttrMode::Replace);
        GiveNode(copy, clone);
        return S_OK;
    });
}

HRESULT CoXMLNode::Reserved() { return E_NOTIMPL; }

HRESULT CoXMLNode::AttrHelp(BSTR infoName, BSTR* info) {
    return NoThrow([&] { return GiveInfo(ElementHelp(XMLNodePtr(this), ViewOf(infoName)), info); });
}

}  // namespace qdvm::XMLParse
