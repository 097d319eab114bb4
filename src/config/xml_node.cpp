#include "config/xml_node.h"

#include "platform/letter_case.h"

#include <algorithm>
#include <iterator>
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

XMLNodePtr::XMLNodePtr(CoXMLNode* held) : node(held) {
    if (node != nullptr) (void)node->AddRef();
}

XMLNodePtr::XMLNodePtr(const XMLNodePtr& other) : XMLNodePtr(other.node) {}

XMLNodePtr::XMLNodePtr(XMLNodePtr&& other) noexcept : node(std::exchange(other.node, nullptr)) {}

XMLNodePtr::~XMLNodePtr() {
    if (node != nullptr) (void)node->Release();
}

XMLNodePtr& XMLNodePtr::operator=(XMLNodePtr other) noexcept {
    std::swap(node, other.node);
    return *this;
}

XMLNodeImpl* XMLNodePtr::operator->() const { return node; }

XMLNodePtr CreateNode(std::u16string_view name) {
    const auto made = Ref<CoXMLNode>::Adopt(new CoXMLNode(name, false));
    return XMLNodePtr(made.Get());
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

XMLNodeImpl::~XMLNodeImpl() { Abandon(children.Take()); }

// Nodes that others still hold must not walk up to a parent that they have lost.
void XMLNodeImpl::Abandon(const std::vector<XMLNodePtr>& orphans) const {
    for (const XMLNodePtr& child : orphans) {
        auto* expected = const_cast<XMLNodeImpl*>(this);
        (void)child->parent.compare_exchange_strong(expected, nullptr);
    }
}

XMLNodePtr XMLNodeImpl::NewChild(std::u16string_view content, bool textNode) {
    const auto made = Ref<CoXMLNode>::Adopt(new CoXMLNode(content, textNode));
    XMLNodePtr child(made.Get());
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
    Abandon({children.At(position)});
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
    Abandon({behind});
    children.RemoveAt(position);
}

std::size_t XMLNodeImpl::PositionOf(const XMLNodeImpl& child) const {
    for (std::size_t i = 0; i < children.Size(); ++i)
        if (&*children.At(i) == &child) return i;
    return ChildMap::kNone;
}

void XMLNodeImpl::ClearChildren() {
    std::vector<XMLNodePtr> released;
    SynchroGuard guard(childrenLock, Access::Write);
    released = children.Take();
    Abandon(released);
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
    return label;
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
    label = newName;
    if (!above) return;
    const std::size_t position = above->PositionOf(*this);
    if (position != ChildMap::kNone) above->children.Rename(position, newName);
}

XMLNodePtr XMLNodeImpl::FirstText() const {
    const auto found = std::find_if(children.begin(), children.end(),
                                    [](const XMLNodePtr& child) { return child->isText; });
    return found != children.end() ? *found : nullptr;
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
        text->label = value;
    } else {
        (void)children.AppendNameless(NewChild(value, true));
    }
}

void XMLNodeImpl::AppendText(std::u16string_view more) {
    SynchroGuard guard(childrenLock, Access::Write);
    label.append(more);
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
    return !EqualsIgnoringCase(child->label, kAttributesInfo);
}

std::size_t XMLNodeImpl::ChildCount() const {
    SynchroGuard guard(childrenLock, Access::Read);
    return static_cast<std::size_t>(std::count_if(children.begin(), children.end(), IsVisible));
}

XMLNodePtr XMLNodeImpl::ChildAt(std::size_t index) const {
    SynchroGuard guard(childrenLock, Access::Read);
    for (const XMLNodePtr& child : children)
        if (IsVisible(child) && index-- == 0) return child;
    return nullptr;
}

std::vector<XMLNodePtr> XMLNodeImpl::Elements() const {
    SynchroGuard guard(childrenLock, Access::Read);
    std::vector<XMLNodePtr> seen;
    std::copy_if(children.begin(), children.end(), std::back_inserter(seen), IsVisible);
    return seen;
}

std::vector<XMLNodePtr> XMLNodeImpl::Children() const {
    SynchroGuard guard(childrenLock, Access::Read);
    return {children.begin(), children.end()};
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
