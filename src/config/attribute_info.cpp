#include "config/attribute_info.h"

#include <vector>

namespace qdvm::XMLParse {
namespace {

constexpr std::u16string_view kInherit = u"inherit";
constexpr std::u16string_view kSelectFrom = u"select_from";
constexpr std::u16string_view kValues = u"values";

XMLNodePtr ListOf(const XMLNodePtr& node) { return node ? node->Child(kAttributesInfo) : nullptr; }

// A child by name; an empty name is none.
XMLNodePtr Named(const XMLNodePtr& node, std::u16string_view name) {
    return node && !name.empty() ? node->Child(name) : nullptr;
}

XMLNodePtr NearestList(XMLNodePtr node) {
    for (; node; node = node->Parent())
        if (XMLNodePtr list = ListOf(node)) return list;
    return nullptr;
}

// The entry for a kind of element: by its whole name, then by what stands before the first ".".
XMLNodePtr EntryFor(const XMLNodePtr& list, const std::u16string& kind) {
    XMLNodePtr entry = Named(list, kind);
    const std::size_t dot = kind.find(u'.');
    if (!entry && dot != std::u16string::npos) entry = Named(list, kind.substr(0, dot));
    return entry;
}

// Goes along a chain of entries. A chain longer than its list has come round.
class EntryChain {
public:
    EntryChain(XMLNodePtr within, XMLNodePtr first)
        : list(std::move(within)), entry(std::move(first)), left(list ? list->ChildCount() : 0) {}

    const XMLNodePtr& Entry() const { return entry; }

    void Next() {
        if (left-- <= 1)
            entry = nullptr;
        else
            entry = Named(list, entry->GetString(kInherit));
    }

private:
    XMLNodePtr list;
    XMLNodePtr entry;
    std::size_t left;
};

EntryChain ChainFor(const XMLNodePtr& node) {
    const XMLNodePtr list = NearestList(node);
    return {list, list ? EntryFor(list, node->Name()) : nullptr};
}

bool GoesOnWithParent(const XMLNodePtr& list) { return !list || list->GetBool(kInherit, true); }

std::size_t AddNames(const XMLNodePtr& list, InfoNames* names) {
    const std::vector<XMLNodePtr> infos = list->Elements();
    for (const XMLNodePtr& info : infos) {
        if (names == nullptr) break;
        const std::u16string name = info->Name();
        (void)names->FindOrAppend(name, [&] { return InfoName{name, true}; });
    }
    return infos.size();
}

// Adds up the entries of a chain; the entry in which the index falls, the last one for an index
// beyond all.
XMLNodePtr SelectEntry(EntryChain chain, std::size_t& count, std::size_t* index, InfoNames* names) {
    XMLNodePtr selected = chain.Entry();
    bool isSelected = index == nullptr;
    for (; chain.Entry(); chain.Next()) {
        const XMLNodePtr entry = chain.Entry();
        const std::size_t passed = isSelected || entry == selected ? 0 : selected->ChildCount();
        count += AddNames(entry, names);
        if (isSelected) continue;
        *index -= passed;
        selected = entry;
        isSelected = *index < entry->ChildCount();
    }
    return selected;
}

const char16_t* AttributeOf(eQInfoType type) {
    switch (type) {
        case eQIT_Type:
            return u"type";
        case eQIT_Default:
            return u"default";
        case eQIT_Values:
            return u"values";
        case eQIT_Min:
            return u"min";
        case eQIT_Max:
            return u"max";
        case eQIT_Help:
        case eQIT_Node:
            break;
    }
    return u"";
}

std::optional<std::u16string> NoneIfEmpty(std::u16string text) {
    if (text.empty()) return std::nullopt;
    return text;
}

std::optional<std::u16string> AttributeText(const XMLNodePtr& node, std::u16string_view name) {
    bool found = false;
    std::u16string text = node->GetString(name, {}, &found);
    if (!found) return std::nullopt;
    return text;
}

std::optional<std::u16string> OtherValues(XMLNodePtr info, const XMLNodePtr& list) {
    std::u16string text;
    const std::u16string other = info->GetString(kSelectFrom);
    if (!other.empty() && info->ChildCount() == 0) {
        info = Named(list, other);
        if (info) text = info->GetString(kValues);
    }
    if (text.empty() && info)
        for (const XMLNodePtr& option : info->Elements()) text += option->Name() + u"|";
    return NoneIfEmpty(std::move(text));
}

}  // namespace

XMLNodePtr FindInfo(const XMLNodePtr& node, std::u16string_view name, XMLNodePtr* list) {
    const auto give = [list](const XMLNodePtr& from, const XMLNodePtr& info) {
        if (list) *list = from;
        return info;
    };
    XMLNodePtr own = ListOf(node);
    if (XMLNodePtr info = Named(own, name)) return give(own, info);
    const XMLNodePtr parent = node->Parent();
    if (parent && GoesOnWithParent(own)) {
        own = ListOf(parent);
        if (XMLNodePtr info = Named(own, name)) return give(own, info);
    }
    for (EntryChain chain = ChainFor(node); chain.Entry(); chain.Next())
        if (XMLNodePtr info = Named(chain.Entry(), name)) return give(chain.Entry(), info);
    return give(own, nullptr);
}

XMLNodePtr FindOption(const XMLNodePtr& node, std::u16string_view name,
                      std::u16string_view option) {
    XMLNodePtr list;
    const XMLNodePtr info = name.empty() ? nullptr : FindInfo(node, name, &list);
    if (!info) return nullptr;
    XMLNodePtr found = Named(info, option);
    if (!found) found = Named(Named(list, info->GetString(kSelectFrom)), option);
    return found;
}

XMLNodePtr InfoList(const XMLNodePtr& node, std::size_t* count, std::size_t* index,
                    InfoNames* names) {
    std::size_t total = 0;
    XMLNodePtr selected = ListOf(node);
    const bool goesOn = GoesOnWithParent(selected);
    if (selected) total += AddNames(selected, names);
    if (const XMLNodePtr above = goesOn ? ListOf(node->Parent()) : nullptr) {
        const std::size_t aboveCount = AddNames(above, names);
        total += aboveCount;
        if (!selected || (index && *index < aboveCount))
            selected = above;
        else if (index)
            *index -= aboveCount;
    }
    if (!selected) selected = SelectEntry(ChainFor(node), total, index, names);
    if (names && selected)
        for (const XMLAttribute& attribute : node->Attributes())
            (void)names->FindOrAppend(attribute.name.View(), [&] {
                return InfoName{std::u16string(attribute.name.View()), false};
            });
    if (count) *count = total;
    return selected;
}

HRESULT NameOfInfo(const XMLNodePtr& node, LONG index, std::u16string& name) {
    if (index < 0) return E_INVALIDARG;
    auto place = static_cast<std::size_t>(index);
    const XMLNodePtr list = InfoList(node, nullptr, &place);
    if (!list) return kBadIndex;
    const XMLNodePtr info = list->ChildAt(place);
    if (!info) return place == list->ChildCount() ? kNotFound : kBadIndex;
    name = info->Name();
    return S_OK;
}

std::optional<std::u16string> InfoText(const XMLNodePtr& node, std::u16string_view name,
                                       eQInfoType type) {
    XMLNodePtr list;
    const XMLNodePtr info = FindInfo(node, name, &list);
    if (!info) return std::nullopt;
    if (type == eQIT_Help) return NoneIfEmpty(info->Value());
    std::optional<std::u16string> text = AttributeText(info, AttributeOf(type));
    if (type == eQIT_Values && (!text || text->empty())) text = OtherValues(info, list);
    return text;
}

std::optional<std::u16string> OptionText(const XMLNodePtr& node, std::u16string_view name,
                                         std::u16string_view option, std::u16string_view infoName) {
    const XMLNodePtr found = FindOption(node, name, option);
    if (!found) return std::nullopt;
    return infoName.empty() ? found->Value() : found->GetString(infoName);
}

std::optional<std::u16string> ElementHelp(const XMLNodePtr& node, std::u16string_view infoName) {
    const XMLNodePtr list = NearestList(node);
    EntryChain chain(list, Named(list, node->Name()));
    if (!chain.Entry()) return std::nullopt;
    if (infoName.empty()) return chain.Entry()->Value();
    for (; chain.Entry(); chain.Next())
        if (auto text = AttributeText(chain.Entry(), infoName)) return text;
    return std::nullopt;
}

}  // namespace qdvm::XMLParse
