#include "config/xml_node.h"

#include "platform/letter_case.h"

#include <algorithm>
#include <new>
#include <utility>

namespace qdvm::XMLParse {
namespace {

using Access = SynchroGuard::Access;

constexpr std::u16string_view kSeparator = u"::";

// The steps of a path, one after the other.
class PathSteps {
public:
    explicit PathSteps(std::u16string_view path) : rest(path), isDone(path.empty()) {}

    bool IsDone() const { return isDone; }

    std::u16string_view Take() {
        const std::size_t end = rest.find(kSeparator);
        const std::u16string_view step = rest.substr(0, end);
        isDone = end == std::u16string_view::npos;
        rest = isDone ? std::u16string_view{} : rest.substr(end + kSeparator.size());
        return step;
    }

private:
    std::u16string_view rest;
    bool isDone;
};

// Nodes are made only for a path that can be gone to its end.
bool HasEmptyStep(std::u16string_view path) {
    for (PathSteps steps(path); !steps.IsDone();)
        if (steps.Take().empty()) return true;
    return false;
}

}  // namespace

XMLNodePtr CoXMLNode::Make(std::u16string_view content, bool textNode,
                           std::u16string_view attributeText, std::span<const AttrPair> pairs) {
    static_assert(sizeof(CoXMLNode) % alignof(AttrPair) == 0);
    const std::size_t characters = content.size() + attributeText.size();
    void* const memory =
        ::operator new(sizeof(CoXMLNode) + pairs.size_bytes() + characters * sizeof(char16_t));
    auto* const keptPairs = reinterpret_cast<AttrPair*>(static_cast<CoXMLNode*>(memory) + 1);
    auto* const kept = reinterpret_cast<char16_t*>(keptPairs + pairs.size());
    auto* const keptText = std::copy(content.begin(), content.end(), kept);
    std::copy(attributeText.begin(), attributeText.end(), keptText);
    const auto keptView = [&](std::u16string_view text) {
        return std::u16string_view(keptText + (text.data() - attributeText.data()), text.size());
    };
    for (std::size_t i = 0; i < pairs.size(); ++i)
        ::new (keptPairs + i) AttrPair{keptView(pairs[i].name), keptView(pairs[i].value)};
    return XMLNodePtr::Adopt(
        ::new (memory) CoXMLNode({kept, content.size()}, textNode, {keptPairs, pairs.size()}));
}

void CoXMLNode::OnLastRelease() {
    thread_local XMLNodeImpl* doomed = nullptr;
    thread_local bool isDeleting = false;
    SetNextDoomed(doomed);
    doomed = this;
    if (isDeleting) return;
    isDeleting = true;
    while (doomed != nullptr) {
        auto* const node = static_cast<CoXMLNode*>(doomed);
        doomed = node->NextDoomed();
        delete node;
    }
    isDeleting = false;
}

XMLNodeImpl::~XMLNodeImpl() { AbandonAll(children.Take()); }

// Nodes that others still hold must not walk up to a parent that they have lost.
void XMLNodeImpl::Abandon(const XMLNodePtr& orphan) const {
    if (orphan->parent.load(std::memory_order_relaxed) == this)
        orphan->parent.store(nullptr, std::memory_order_release);
}

void XMLNodeImpl::AbandonAll(const std::vector<ChildMap::Entry>& orphans) const {
    for (const auto& [hash, child] : orphans) Abandon(child);
}

XMLNodePtr XMLNodeImpl::NewChild(std::u16string_view content, bool textNode) {
    XMLNodePtr child = CoXMLNode::Make(content, textNode);
    child->parent = this;
    return child;
}

XMLNodePtr XMLNodeImpl::Resolve(std::u16string_view path, std::u16string_view* lastStep,
                                bool create) {
    if (create && HasEmptyStep(path)) return nullptr;
    XMLNodePtr current(static_cast<CoXMLNode*>(this));
    for (PathSteps steps(path); !steps.IsDone();) {
        const std::u16string_view step = steps.Take();
        if (lastStep != nullptr && steps.IsDone()) {
            *lastStep = step;
            break;
        }
        XMLNodeImpl& node = *current;
        XMLNodePtr next;
        {
            SynchroGuard guard(node.childrenLock, create ? Access::Write : Access::Read);
            const std::size_t found = node.children.Find(step);
            if (found != ChildMap::kNone) {
                next = node.children.At(found);
            } else if (create && !node.isText) {
                next = node.NewChild(step, false);
                if (!node.children.Append(step, next)) next = nullptr;
            }
        }
        if (!next) return nullptr;
        current = std::move(next);
    }
    return current;
}

XMLNodePtr XMLNodeImpl::AddChild(std::u16string_view path, std::u16string_view value) {
    std::u16string_view newName;
    const XMLNodePtr at = Resolve(path, &newName, true);
    if (!at || newName.empty()) return nullptr;
    XMLNodePtr child = at->AppendElement(newName);
    if (child && !value.empty()) child->SetValue(value);
    return child;
}

XMLNodePtr XMLNodeImpl::AppendElement(std::u16string_view newName) {
    if (isText) return nullptr;
    XMLNodePtr child = NewChild(newName, false);
    SynchroGuard guard(childrenLock, Access::Write);
    return children.Append(newName, child) ? child : nullptr;
}

bool XMLNodeImpl::AppendNew(std::span<XMLNodePtr> made) {
    SynchroGuard guard(childrenLock, Access::Write);
    if (isText || made.size() > kMostChildren - children.Size()) return false;
    children.Reserve(made.size());
    for (XMLNodePtr& child : made) {
        XMLNodeImpl& node = *child;
        node.parent = this;
        (void)(node.isText ? children.AppendNameless(std::move(child))
                           : children.Append(node.label.View(), std::move(child)));
    }
    return true;
}

bool XMLNodeImpl::RemoveChild(std::u16string_view path) {
    const XMLNodePtr child = Child(path);
    if (!child) return false;
    const XMLNodePtr above = child->Parent();
    return &*child != this && above && above->RemoveChildNode(*child);
}

bool XMLNodeImpl::RemoveChildNode(const XMLNodeImpl& child) {
    SynchroGuard guard(childrenLock, Access::Write);
    return RemoveChildAt(PositionOf(child));
}

bool XMLNodeImpl::RemoveChildAt(std::size_t position) {
    SynchroGuard guard(childrenLock, Access::Write);
    if (position >= children.Size()) return false;
    Abandon(children.At(position));
    children.RemoveAt(position);
    MergeTextsAt(position);
    return true;
}

void XMLNodeImpl::MergeTextsAt(std::size_t position) {
    if (position < 2 || position >= children.Size()) return;
    const XMLNodePtr before = children.At(position - 1);
    const XMLNodePtr behind = children.At(position);
    if (!before->IsText() || !behind->IsText()) return;
    before->AppendText(behind->Text());
    Abandon(behind);
    children.RemoveAt(position);
}

std::size_t XMLNodeImpl::PositionOf(const XMLNodeImpl& child) const {
    for (std::size_t i = 0; i < children.Size(); ++i)
        if (&*children.At(i) == &child) return i;
    return ChildMap::kNone;
}

void XMLNodeImpl::ClearChildren() {
    std::vector<ChildMap::Entry> released;
    SynchroGuard guard(childrenLock, Access::Write);
    released = children.Take();
    AbandonAll(released);
}

void XMLNodeImpl::Clear(bool clearName) {
    if (clearName && !isText) Rename({});
    ClearAttrs();
    ClearChildren();
}

XMLNodePtr XMLNodeImpl::Parent() const {
    return XMLNodePtr(static_cast<CoXMLNode*>(parent.load()));
}

std::u16string XMLNodeImpl::Text() const {
    SynchroGuard guard(childrenLock, Access::Read);
    return std::u16string(label.View());
}

std::u16string XMLNodeImpl::Name() const { return isText ? std::u16string() : Text(); }

bool XMLNodeImpl::SetName(std::u16string_view newName) {
    if (isText || newName.empty()) return false;
    Rename(newName);
    return true;
}

// The parent's lock comes first, as everywhere, so that no two threads wait for each other.
void XMLNodeImpl::Rename(std::u16string_view newName) {
    const XMLNodePtr above = Parent();
    SynchroGuard outer(above ? &above->childrenLock : nullptr, Access::Write);
    SynchroGuard inner(childrenLock, Access::Write);
    label = KeptText(newName);
    if (!above) return;
    const std::size_t position = above->PositionOf(*this);
    if (position != ChildMap::kNone) above->children.Rename(position, newName);
}

XMLNodePtr XMLNodeImpl::FirstText() const {
    const auto found = std::find_if(children.begin(), children.end(),
                                    [](const auto& entry) { return entry.value->isText; });
    return found != children.end() ? found->value : nullptr;
}

std::u16string XMLNodeImpl::Value() const {
    SynchroGuard guard(childrenLock, Access::Read);
    const XMLNodePtr text = FirstText();
    return text ? text->Text() : std::u16string();
}

void XMLNodeImpl::SetValue(std::u16string_view value) {
    if (isText) return;
    SynchroGuard guard(childrenLock, Access::Write);
    if (const XMLNodePtr text = FirstText()) {
        SynchroGuard inner(text->childrenLock, Access::Write);
        text->label = KeptText(value);
    } else {
        (void)children.AppendNameless(NewChild(value, true));
    }
}

void XMLNodeImpl::AppendText(std::u16string_view more) {
    SynchroGuard guard(childrenLock, Access::Write);
    label = KeptText(std::u16string(label.View()).append(more));
}

void XMLNodeImpl::AddText(std::u16string_view more) {
    if (isText || more.empty()) return;
    SynchroGuard guard(childrenLock, Access::Write);
    const std::size_t count = children.Size();
    if (count > 0 && children.At(count - 1)->isText)
        children.At(count - 1)->AppendText(more);
    else
        (void)children.AppendNameless(NewChild(more, true));
}

bool XMLNodeImpl::IsVisible(const XMLNodePtr& child) {
    if (child->isText) return false;
    SynchroGuard guard(child->childrenLock, Access::Read);
    return !EqualsIgnoringCase(child->label.View(), kAttributesInfo);
}

std::size_t XMLNodeImpl::ChildCount() const {
    SynchroGuard guard(childrenLock, Access::Read);
    return static_cast<std::size_t>(
        std::count_if(children.begin(), children.end(),
                      [](const auto& entry) { return IsVisible(entry.value); }));
}

XMLNodePtr XMLNodeImpl::ChildAt(std::size_t index) const {
    SynchroGuard guard(childrenLock, Access::Read);
    for (const auto& [hash, child] : children)
        if (IsVisible(child) && index-- == 0) return child;
    return nullptr;
}

std::vector<XMLNodePtr> XMLNodeImpl::Elements() const {
    SynchroGuard guard(childrenLock, Access::Read);
    std::vector<XMLNodePtr> seen;
    seen.reserve(children.Size());
    for (const auto& [hash, child] : children)
        if (IsVisible(child)) seen.push_back(child);
    return seen;
}

std::vector<XMLNodePtr> XMLNodeImpl::Children() const {
    SynchroGuard guard(childrenLock, Access::Read);
    std::vector<XMLNodePtr> all;
    all.reserve(children.Size());
    for (const auto& [hash, child] : children) all.push_back(child);
    return all;
}

std::u16string XMLNodeImpl::Path(const XMLNodeImpl* ancestor) const {
    std::vector<std::u16string> names;
    XMLNodePtr at(const_cast<CoXMLNode*>(static_cast<const CoXMLNode*>(this)));
    for (XMLNodePtr above = at->Parent(); above && &*at != ancestor; above = at->Parent()) {
        names.push_back(at->Name());
        at = std::move(above);
    }
    std::u16string path;
    for (auto step = names.rbegin(); step != names.rend(); ++step) {
        if (step != names.rbegin()) path += kSeparator;
        path += *step;
    }
    return path;
}

bool XMLNodeImpl::IsInside(const XMLNodeImpl& ancestor) const {
    for (XMLNodePtr at = Parent(); at; at = at->Parent())
        if (&*at == &ancestor) return true;
    return false;
}

}  // namespace qdvm::XMLParse
