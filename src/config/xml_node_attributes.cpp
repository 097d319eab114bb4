#include "config/xml_node.h"

#include <utility>

namespace qdvm::XMLParse {
namespace {

using Access = SynchroGuard::Access;

}  // namespace

XMLNodeImpl::AttributeMap& XMLNodeImpl::AttributesByName() const {
    if (writtenAttributes.empty()) return attributes;
    attributes.Reserve(writtenAttributes.size());
    for (const AttrPair& pair : writtenAttributes) {
        ObjectVal value(KeptText::Borrow(pair.value));
        const auto [position, isNew] = attributes.FindOrAppend(pair.name, [&] {
            return XMLAttribute{KeptText::Borrow(pair.name), std::move(value)};
        });
        if (!isNew && position != AttributeMap::kNone)
            attributes.At(position).value = std::move(value);
    }
    writtenAttributes = {};
    return attributes;
}

bool XMLNodeImpl::IsAsWritten() const {
    constexpr std::size_t kFewEnough = 16;
    const auto& written = writtenAttributes;
    if (written.empty() || written.size() > kFewEnough) return false;
    for (auto one = written.begin(); one != written.end(); ++one)
        for (auto other = written.begin(); other != one; ++other)
            if (IsSameName(one->name, other->name)) return false;
    return true;
}

template <class T, class Read>
T XMLNodeImpl::ReadAttr(std::u16string_view path, T missing, bool* found, Read&& read) {
    if (found != nullptr) *found = false;
    std::u16string_view attrName;
    const XMLNodePtr node = Resolve(path, &attrName, false);
    if (!node || path.empty()) return missing;
    SynchroGuard guard(node->attributeLock, Access::Write);
    AttributeMap& map = node->AttributesByName();
    const std::size_t position = map.Find(attrName);
    if (position == AttributeMap::kNone) return missing;
    if (found != nullptr) *found = true;
    return read(map.At(position).value);
}

bool XMLNodeImpl::HasAttr(std::u16string_view path) {
    return ReadAttr(path, false, nullptr, [](ObjectVal&) { return true; });
}

std::optional<ObjectVal> XMLNodeImpl::GetAttr(std::u16string_view path) {
    return ReadAttr(path, std::optional<ObjectVal>(), nullptr,
                    [](ObjectVal& value) { return std::optional<ObjectVal>(value); });
}

std::u16string XMLNodeImpl::GetString(std::u16string_view path, std::u16string_view missing,
                                      bool* found) {
    return ReadAttr(path, std::u16string(missing), found,
                    [](ObjectVal& value) { return std::u16string(value.AsText()); });
}

bool XMLNodeImpl::GetBool(std::u16string_view path, bool missing, bool* found) {
    return ReadAttr(path, missing, found, [](ObjectVal& value) { return value.AsBool(); });
}

std::int32_t XMLNodeImpl::GetInt(std::u16string_view path, std::int32_t missing, bool* found) {
    return ReadAttr(path, missing, found, [](ObjectVal& value) { return value.AsInt(); });
}

std::uint32_t XMLNodeImpl::GetHex32(std::u16string_view path, std::uint32_t missing, bool* found) {
    return ReadAttr(path, missing, found, [](ObjectVal& value) { return value.AsHex32(); });
}

double XMLNodeImpl::GetDouble(std::u16string_view path, double missing, bool* found) {
    return ReadAttr(path, missing, found, [](ObjectVal& value) { return value.AsDouble(); });
}

SizeValue XMLNodeImpl::GetSize(std::u16string_view path, const SizeValue& missing, bool* found) {
    return ReadAttr(path, missing, found, [](ObjectVal& value) { return value.AsSize(); });
}

bool XMLNodeImpl::SetAttr(std::u16string_view path, ObjectVal value, bool create, bool noUpdate) {
    std::u16string_view attrName;
    const XMLNodePtr node = Resolve(path, &attrName, create);
    return node && !attrName.empty() && node->PutAttr(attrName, std::move(value), !noUpdate);
}

bool XMLNodeImpl::PutAttr(std::u16string_view attrName, ObjectVal value, bool update) {
    if (isText) return false;
    SynchroGuard guard(attributeLock, Access::Write);
    const auto [position, isNew] = AttributesByName().FindOrAppend(attrName, [&] {
        return XMLAttribute{KeptText(attrName), std::move(value)};
    });
    if (position == AttributeMap::kNone) return false;
    if (isNew) return true;
    if (update) attributes.At(position).value = std::move(value);
    return update;
}

void XMLNodeImpl::PutAttrs(std::span<const AttrPair> texts, bool update) {
    if (isText || texts.empty()) return;
    SynchroGuard guard(attributeLock, Access::Write);
    AttributeMap& map = AttributesByName();
    map.Reserve(texts.size());
    for (const AttrPair& text : texts) {
        const auto [position, isNew] = map.FindOrAppend(text.name, [&] {
            return XMLAttribute{KeptText(text.name), ObjectVal(text.value)};
        });
        if (position == AttributeMap::kNone) return;
        if (!isNew && update) map.At(position).value = ObjectVal(text.value);
    }
}

bool XMLNodeImpl::RemoveAttr(std::u16string_view path) {
    std::u16string_view attrName;
    const XMLNodePtr node = Resolve(path, &attrName, false);
    if (!node || path.empty()) return false;
    SynchroGuard guard(node->attributeLock, Access::Write);
    AttributeMap& map = node->AttributesByName();
    const std::size_t position = map.Find(attrName);
    if (position == AttributeMap::kNone) return false;
    map.RemoveAt(position);
    return true;
}

void XMLNodeImpl::ClearAttrs() {
    SynchroGuard guard(attributeLock, Access::Write);
    attributes.Clear();
    writtenAttributes = {};
}

std::size_t XMLNodeImpl::AttrCount() const {
    SynchroGuard guard(attributeLock, Access::Read);
    return AttributesByName().Size();
}

std::optional<XMLNodeImpl::NamedText> XMLNodeImpl::AttrAt(std::size_t index) {
    SynchroGuard guard(attributeLock, Access::Write);
    AttributeMap& map = AttributesByName();
    if (index >= map.Size()) return std::nullopt;
    XMLAttribute& attribute = map.At(index);
    return NamedText{std::u16string(attribute.name.View()),
                     std::u16string(attribute.value.AsText())};
}

std::vector<XMLAttribute> XMLNodeImpl::Attributes() const {
    SynchroGuard guard(attributeLock, Access::Read);
    std::vector<XMLAttribute> all;
    const AttributeMap& map = AttributesByName();
    all.reserve(map.Size());
    for (const auto& [hash, attribute] : map) all.push_back(attribute);
    return all;
}

std::int32_t XMLNodeImpl::CopyAttrsTo(const XMLNodePtr& target, AttrMode mode) const {
    if (!target || &*target == this) return -1;
    std::vector<XMLAttribute> copied = Attributes();
    if (mode == AttrMode::Replace) target->ClearAttrs();
    for (XMLAttribute& attribute : copied)
        (void)target->PutAttr(attribute.name.View(), std::move(attribute.value),
                              mode == AttrMode::Update);
    return static_cast<std::int32_t>(copied.size());
}

// Goes through the tree without a lock held from one node to the next, and without recursion: trees
// are as deep as their makers want.
std::int32_t XMLNodeImpl::CopyTo(const XMLNodePtr& target, bool copyName, AttrMode mode) const {
    if (isText || !target || &*target == this || target->IsInside(*this)) return -1;
    struct Step {
        XMLNodePtr from;
        XMLNodePtr to;
    };
    const auto copyContents = [mode](const XMLNodeImpl& from, const XMLNodePtr& to,
                                     std::vector<Step>& left) {
        const std::vector<XMLNodePtr> parts = from.Children();
        to->ClearChildren();
        (void)from.CopyAttrsTo(to, mode);
        std::int32_t elements = 0;
        for (const XMLNodePtr& part : parts) {
            if (part->IsText()) {
                to->AddText(part->Text());
            } else if (const XMLNodePtr made = to->AppendElement(part->Name())) {
                left.push_back({part, made});
                ++elements;
            }
        }
        return elements;
    };
    if (copyName) target->Rename(Name());
    std::vector<Step> left;
    std::int32_t copied = copyContents(*this, target, left);
    while (!left.empty()) {
        const Step step = std::move(left.back());
        left.pop_back();
        copied += copyContents(*step.from, step.to, left);
    }
    return copied;
}

}  // namespace qdvm::XMLParse
