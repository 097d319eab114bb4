#include "config/properties.h"

#include "config/module_facts.h"
#include "config/xml_reader.h"
#include "config/xml_writer.h"
#include "platform/counted_string.h"
#include "platform/letter_case.h"
#include "platform/no_throw.h"

#include <algorithm>
#include <string>
#include <vector>

namespace qdvm {
namespace {

using namespace XMLParse;
using Access = SynchroGuard::Access;

constexpr HRESULT kPropertyNotFound = HResultFromWin32(ERROR_FILE_NOT_FOUND);

HRESULT CopyOutIfAsked(std::u16string_view text, BSTR* out) {
    return out != nullptr ? CopyOut(text, out) : S_OK;
}

void ClearOut(BSTR* out) {
    if (out != nullptr) *out = nullptr;
}

std::optional<std::u16string> AttributeText(const XMLNodePtr& node, std::u16string_view path) {
    bool found = false;
    std::u16string text = node->GetString(path, {}, &found);
    if (!found) return std::nullopt;
    return text;
}

// Whether a text has the character outside of quotes.
bool HasUnquoted(std::u16string_view text, char16_t wanted) {
    char16_t quote = 0;
    for (const char16_t unit : text) {
        if (quote != 0) {
            if (unit == quote) quote = 0;
        } else if (unit == u'\'' || unit == u'"') {
            quote = unit;
        } else if (unit == wanted) {
            return true;
        }
    }
    return false;
}

std::vector<std::u16string> SplitValues(std::u16string_view values) {
    const bool hasBars = values.find(u'|') != std::u16string_view::npos;
    const std::u16string_view separators = hasBars ? u"|" : u" \r\n\t;,";
    std::vector<std::u16string> options;
    std::size_t start = values.find_first_not_of(separators);
    while (start != std::u16string_view::npos) {
        const std::size_t end = values.find_first_of(separators, start);
        options.emplace_back(values.substr(start, end - start));
        start = values.find_first_not_of(separators, end);
    }
    return options;
}

std::vector<std::u16string> OptionsOf(const XMLNodePtr& root, BSTR name) {
    if (ViewOf(name).empty()) return {};
    return SplitValues(InfoText(root, ViewOf(name), eQIT_Values).value_or(u""));
}

// An option and its help, each if asked for.
HRESULT GiveOption(const XMLNodePtr& root, BSTR name, std::u16string_view option, BSTR* value,
                   BSTR* help) {
    const HRESULT result = CopyOutIfAsked(option, value);
    if (Failed(result) || help == nullptr) return result;
    const auto text = OptionText(root, ViewOf(name), option, {});
    return text ? CopyOut(*text, help) : S_OK;
}

bool IsOption(const std::vector<std::u16string>& options, LONG index) {
    return index >= 0 && static_cast<std::size_t>(index) < options.size();
}

}  // namespace

IQPropsImpl::IQPropsImpl() : root(CreateNode(u"q-props")) {}

HRESULT IQPropsImpl::PropsSet(BSTR _bsPropName, BSTR _bsPropValue) {
    return NoThrow([&] {
        SynchroGuard guard(lock, Access::Write);
        if (!ViewOf(_bsPropName).empty())
            return SetNamed(ViewOf(_bsPropName), ViewOf(_bsPropValue));
        return _bsPropValue != nullptr ? SetWhole(ViewOf(_bsPropValue)) : E_INVALIDARG;
    });
}

HRESULT IQPropsImpl::SetNamed(std::u16string_view name, std::u16string_view value) {
    if (const XMLNodePtr node = root->Child(name)) {
        node->SetValue(value);
        return S_OK;
    }
    if (!root->SetAttr(name, ObjectVal(value), true)) return E_INVALIDARG;
    // A property that gets properties below it becomes a node and keeps its value as the text.
    for (std::size_t end = name.find(u"::"); end != std::u16string_view::npos;
         end = name.find(u"::", end + 2)) {
        const std::u16string_view above = name.substr(0, end);
        if (const auto former = AttributeText(root, above)) {
            root->Child(above)->SetValue(*former);
            (void)root->RemoveAttr(above);
        }
    }
    return S_OK;
}

HRESULT IQPropsImpl::SetWhole(std::u16string_view value) {
    if (value.empty()) {
        root->Clear(false);
        return S_OK;
    }
    if (!HasUnquoted(value, u'=')) {
        root->SetValue(value);
        return S_OK;
    }
    if (HasUnquoted(value, u'<')) return Parse(root, value);
    return ParseAttributes(root, value, AttrMode::Update, true) ? S_OK : E_FAIL;
}

HRESULT IQPropsImpl::PropsGet(BSTR _bsPropName, BSTR* _pbsPropValue) {
    if (_pbsPropValue == nullptr) return E_POINTER;
    *_pbsPropValue = nullptr;
    return NoThrow([&] {
        SynchroGuard guard(lock, Access::Read);
        const auto found = Find(ViewOf(_bsPropName));
        return found ? CopyOut(*found, _pbsPropValue) : S_FALSE;
    });
}

std::optional<std::u16string> IQPropsImpl::Find(std::u16string_view name) const {
    if (name.empty()) return ToText(root);
    if (const auto fact = FindModuleFact(name)) return fact;
    if (const auto text = AttributeText(root, name)) return text;
    const XMLNodePtr node = root->Child(name);
    if (!node) return std::nullopt;
    const std::u16string text = node->Value();
    return text.empty() ? AttributesText(node) : text;
}

HRESULT IQPropsImpl::PropsGetCount(BSTR _bsNodeName, LONG* _pnCount) {
    if (_pnCount == nullptr) return E_POINTER;
    *_pnCount = 0;
    return NoThrow([&] {
        SynchroGuard guard(lock, Access::Write);
        const XMLNodePtr node = root->Child(ViewOf(_bsNodeName));
        if (!node) return E_INVALIDARG;
        infoNames.Clear();
        const bool isDescribed = InfoList(node, nullptr, nullptr, &infoNames) != nullptr;
        const std::size_t own = isDescribed ? infoNames.Size() : node->AttrCount();
        *_pnCount = static_cast<LONG>(own + node->ChildCount());
        return S_OK;
    });
}

HRESULT IQPropsImpl::PropsGetByIndex(BSTR _bsNodeName, LONG _nIndex, BSTR* _pbsPropName,
                                     BSTR* _pbsPropValue, BOOL* _pbNode) {
    if (_pbNode != nullptr) *_pbNode = 0;
    return NoThrow([&] {
        SynchroGuard guard(lock, Access::Write);
        const XMLNodePtr node = root->Child(ViewOf(_bsNodeName));
        if (!node) {
            const bool asksForInfo = EqualsIgnoringCase(ViewOf(_bsNodeName), u"_info_");
            return asksForInfo ? GetInfoEntry(_nIndex, _pbsPropValue) : E_INVALIDARG;
        }
        ClearOut(_pbsPropName);
        ClearOut(_pbsPropValue);
        if (_nIndex < 0) return kBadIndex;
        return GetEntry(node, static_cast<std::size_t>(_nIndex), _pbsPropName, _pbsPropValue,
                        _pbNode);
    });
}

HRESULT IQPropsImpl::GetInfoEntry(LONG index, BSTR* value) {
    std::u16string name;
    if (Failed(NameOfInfo(root, index, name))) return E_INVALIDARG;
    ClearOut(value);
    const auto text = AttributeText(root, name);
    return text ? CopyOutIfAsked(*text, value) : S_OK;
}

HRESULT IQPropsImpl::GetEntry(const XMLNodePtr& node, std::size_t index, BSTR* name, BSTR* value,
                              BOOL* isNode) {
    if (infoNames.Size() == 0 && node->Child(kAttributesInfo))
        (void)InfoList(node, nullptr, nullptr, &infoNames);
    const bool isDescribed = infoNames.Size() > 0;
    const std::size_t own = isDescribed ? infoNames.Size() : node->AttrCount();
    if (index < own) {
        if (!isDescribed) {
            const auto attribute = node->AttrAt(index).value_or(XMLNodeImpl::NamedText{});
            const HRESULT result = CopyOutIfAsked(attribute.name, name);
            return Failed(result) ? result : CopyOutIfAsked(attribute.text, value);
        }
        const std::u16string& entry = infoNames.At(index).name;
        const HRESULT result = CopyOutIfAsked(entry, name);
        const auto text = AttributeText(node, entry);
        return Failed(result) || !text ? result : CopyOutIfAsked(*text, value);
    }
    const XMLNodePtr child = node->ChildAt(index - own);
    if (!child) return kBadIndex;
    if (isNode != nullptr) *isNode = 1;
    const HRESULT result = CopyOutIfAsked(child->Name(), name);
    return Failed(result) ? result : CopyOutIfAsked(child->Value(), value);
}

HRESULT IQPropsImpl::PropsRemove(BSTR _bsPropName) {
    const std::u16string_view name = ViewOf(_bsPropName);
    if (name.empty()) return E_INVALIDARG;
    return NoThrow([&] {
        SynchroGuard guard(lock, Access::Write);
        infoNames.Clear();
        if (EqualsIgnoringCase(name, u"_all_props_")) {
            root->ClearAttrs();
            return S_OK;
        }
        if (EqualsIgnoringCase(name, u"_all_nodes_")) {
            root->ClearChildren();
            return S_OK;
        }
        return root->RemoveAttr(name) || root->RemoveChild(name) ? S_OK : E_INVALIDARG;
    });
}

HRESULT IQPropsImpl::PropsInfoGet(BSTR _bsPropName, eQInfoType _eType, BSTR* _pbsInfo) {
    return NoThrow([&] {
        SynchroGuard guard(lock, Access::Read);
        return static_cast<IQNode*>(root.Get())->InfoGet(_bsPropName, _eType, _pbsInfo);
    });
}

HRESULT IQPropsImpl::PropsOptionGetCount(BSTR _bsPropName, LONG* _pnOptionCount) {
    if (_pnOptionCount == nullptr) return E_POINTER;
    *_pnOptionCount = 0;
    return NoThrow([&] {
        *_pnOptionCount = static_cast<LONG>(OptionsOf(root, _bsPropName).size());
        return S_OK;
    });
}

HRESULT IQPropsImpl::PropsOptionGetByIndex(BSTR _bsPropName, LONG _nOptionIdx,
                                           BSTR* _pbsOptionValue, BSTR* _pbsHelp) {
    ClearOut(_pbsOptionValue);
    ClearOut(_pbsHelp);
    return NoThrow([&] {
        const std::vector<std::u16string> options = OptionsOf(root, _bsPropName);
        if (!IsOption(options, _nOptionIdx)) return kBadIndex;
        return GiveOption(root, _bsPropName, options[static_cast<std::size_t>(_nOptionIdx)],
                          _pbsOptionValue, _pbsHelp);
    });
}

HRESULT IQPropsImpl::PropsOptionSetByIndex(BSTR _bsPropName, LONG _nOptionInx) {
    return NoThrow([&] {
        const std::vector<std::u16string> options = OptionsOf(root, _bsPropName);
        if (!IsOption(options, _nOptionInx)) return kBadIndex;
        const CountedString option(options[static_cast<std::size_t>(_nOptionInx)]);
        return PropsSet(_bsPropName, option.Get());
    });
}

HRESULT IQPropsImpl::PropsOptionGet(BSTR _bsPropName, LONG* _pnOptionIdx, BSTR* _pbsOptionValue,
                                    BSTR* _pbsHelp) {
    if (_pnOptionIdx != nullptr) *_pnOptionIdx = -1;
    ClearOut(_pbsOptionValue);
    ClearOut(_pbsHelp);
    return NoThrow([&] {
        const auto present = AttributeText(root, ViewOf(_bsPropName));
        if (!present) return kPropertyNotFound;
        const std::vector<std::u16string> options = OptionsOf(root, _bsPropName);
        const auto found = std::find(options.begin(), options.end(), *present);
        if (_pnOptionIdx != nullptr && found != options.end())
            *_pnOptionIdx = static_cast<LONG>(found - options.begin());
        return GiveOption(root, _bsPropName, *present, _pbsOptionValue, _pbsHelp);
    });
}

}  // namespace qdvm
