#pragma once

// The tree that all configuration, scenes and properties live in: named nodes with typed
// attributes, addressed by paths.
//
// A path is a sequence of names separated by "::", without escapes, wildcards or a mark for the
// root; null and empty mean the node itself. Names are matched without regard to case, and of
// several children of one name a path reaches the first. A name such as "b(1)" is a plain name.
// No operation makes a node or attribute with an empty name by path.
//
// Text is kept as children: a text node has a text and no name, and an element's value is the
// first of its text children. Elements and texts interleave in document order.
//
// Thread-safety: any thread may use a tree. Each operation holds only the locks of the node that it
// is working on, for the time of that step, so it is atomic on one node, and a sequence isn't. A
// node's two locks are taken after those of its parent. Walking up needs the root referenced.
//
// The operations report by a null reference, false or a default; only failure of memory throws.

#include "config/attribute_pairs.h"
#include "config/node_interfaces.h"
#include "config/object_value.h"
#include "config/objects_map.h"
#include "config/rw_synchro.h"
#include "platform/object_root.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qdvm::XMLParse {

class CoXMLNode;
class XMLNodeImpl;

// A counted reference to a node. Null is a valid value and means everywhere that there is no such
// node.
class XMLNodePtr {
public:
    XMLNodePtr() = default;
    XMLNodePtr(std::nullptr_t) {}
    // Adds a reference.
    explicit XMLNodePtr(CoXMLNode* held);
    XMLNodePtr(const XMLNodePtr& other);
    XMLNodePtr(XMLNodePtr&& other) noexcept;
    ~XMLNodePtr();
    XMLNodePtr& operator=(XMLNodePtr other) noexcept;

    // Borrowed, for calls as an interface.
    CoXMLNode* Get() const { return node; }
    XMLNodeImpl* operator->() const { return &operator*(); }
    XMLNodeImpl& operator*() const;
    explicit operator bool() const { return node != nullptr; }

    // Takes over a reference that the caller holds.
    static XMLNodePtr Adopt(CoXMLNode* held) {
        XMLNodePtr adopted;
        adopted.node = held;
        return adopted;
    }

    friend bool operator==(const XMLNodePtr& a, const XMLNodePtr& b) { return a.node == b.node; }
    friend bool operator==(const XMLNodePtr& a, std::nullptr_t) { return a.node == nullptr; }

private:
    CoXMLNode* node = nullptr;
};

struct XMLAttribute {
    KeptText name;
    ObjectVal value;
};

// What happens to attributes that exist when others are copied or read in.
enum class AttrMode : std::int32_t {
    Keep = 0,
    Update = 1,
    Replace = 2,  // all of the target's attributes go first
};

// The name under which a description of attributes stands; clients don't see it among children.
inline constexpr std::u16string_view kAttributesInfo = u"attributes_info";

class XMLNodeImpl {
public:
    XMLNodeImpl(const XMLNodeImpl&) = delete;
    XMLNodeImpl& operator=(const XMLNodeImpl&) = delete;

    // --- nodes ---

    // Walks the path; `create` makes what is missing. With lastStep the last step isn't walked but
    // handed out; it points into `path`.
    XMLNodePtr Resolve(std::u16string_view path, std::u16string_view* lastStep, bool create);

    XMLNodePtr Child(std::u16string_view path, bool create = false) {
        return Resolve(path, nullptr, create);
    }

    // A new last child, also if one of that name exists; nodes on the way are made. Null for an
    // empty path and on a text node.
    XMLNodePtr AddChild(std::u16string_view path, std::u16string_view value = {});

    // The same for one name, in which "::" has no meaning and which may be empty.
    XMLNodePtr AppendElement(std::u16string_view newName);

    // New nodes, which nobody else knows, become the last children. False if there is no room for
    // all of them; then none does.
    bool AppendNew(std::span<XMLNodePtr> made);

    // False if the path is empty or leads nowhere.
    bool RemoveChild(std::u16string_view path);
    bool RemoveChildNode(const XMLNodeImpl& child);

    // By position among all children, texts included. Texts that come to stand side by side become
    // one, but for the first and the second child, which both stay.
    bool RemoveChildAt(std::size_t position);

    void ClearChildren();

    // All attributes and children, and the name if asked.
    void Clear(bool clearName);

    XMLNodePtr Parent() const;
    bool IsText() const { return isText; }

    // A text node's text; an element's name.
    std::u16string Text() const;

    // Empty for a text node.
    std::u16string Name() const;

    // False on a text node and for an empty name.
    bool SetName(std::u16string_view newName);

    std::u16string Value() const;
    void SetValue(std::u16string_view value);

    // Added to the last child if that is a text, else as a new one. An empty text does nothing.
    void AddText(std::u16string_view more);

    // The element children that clients see: all but descriptions of attributes.
    std::size_t ChildCount() const;
    XMLNodePtr ChildAt(std::size_t index) const;

    // All children that clients see, and all children, as they stand now.
    std::vector<XMLNodePtr> Elements() const;
    std::vector<XMLNodePtr> Children() const;

    // The names from below the root, or from below an ancestor, down to this node.
    std::u16string Path(const XMLNodeImpl* ancestor = nullptr) const;

    bool IsInside(const XMLNodeImpl& ancestor) const;

    // --- attributes, by path: the last step is the attribute's name ---

    bool HasAttr(std::u16string_view path);

    // A copy; none if missing.
    std::optional<ObjectVal> GetAttr(std::u16string_view path);

    // `found`, if given, says whether there is such an attribute. A value is converted where it
    // stands, so that it is converted only once.
    std::u16string GetString(std::u16string_view path, std::u16string_view missing = {},
                             bool* found = nullptr);
    bool GetBool(std::u16string_view path, bool missing = false, bool* found = nullptr);
    std::int32_t GetInt(std::u16string_view path, std::int32_t missing = 0, bool* found = nullptr);
    std::uint32_t GetHex32(std::u16string_view path, std::uint32_t missing = 0,
                           bool* found = nullptr);
    double GetDouble(std::u16string_view path, double missing = 0, bool* found = nullptr);
    SizeValue GetSize(std::u16string_view path, const SizeValue& missing = {},
                      bool* found = nullptr);

    // False if the node isn't there and isn't to be made, and if the attribute exists and isn't to
    // be updated.
    bool SetAttr(std::u16string_view path, ObjectVal value, bool create = false,
                 bool noUpdate = false);

    // The same for one name on this node, in which "::" has no meaning and which may be empty.
    bool PutAttr(std::u16string_view attrName, ObjectVal value, bool update);

    // The same for texts, one after the other.
    void PutAttrs(std::span<const AttrPair> texts, bool update);

    bool RemoveAttr(std::u16string_view path);
    void ClearAttrs();
    std::size_t AttrCount() const;

    // In order of insertion. None outside.
    struct NamedText {
        std::u16string name;
        std::u16string text;
    };
    std::optional<NamedText> AttrAt(std::size_t index);

    // All attributes, as they stand now.
    std::vector<XMLAttribute> Attributes() const;

    // Calls visit(name, text) for each attribute in order, with the node's attributes locked.
    template <class Visit>
    void VisitAttributes(Visit&& visit) {
        SynchroGuard guard(attributeLock, SynchroGuard::Access::Read);
        if (IsAsWritten())
            for (const auto& [name, text] : writtenAttributes) visit(name, text);
        else
            for (auto& [hash, attribute] : AttributesByName())
                visit(attribute.name.View(), attribute.value.AsText());
    }

    // --- copies ---

    // Makes the target's children, and its name if asked, those of this node. The number of
    // elements copied; -1 on a text node, for null, for this node itself and for one inside it.
    std::int32_t CopyTo(const XMLNodePtr& target, bool copyName, AttrMode mode) const;

    // The number of attributes handled; -1 for null and for this node itself.
    std::int32_t CopyAttrsTo(const XMLNodePtr& target, AttrMode mode) const;

protected:
    // The texts are kept for the node by its maker.
    XMLNodeImpl(std::u16string_view content, bool textNode, std::span<const AttrPair> pairs)
        : label(KeptText::Borrow(content)), writtenAttributes(pairs), isText(textNode) {}
    ~XMLNodeImpl();

    // For a node without references, which has left its tree.
    void SetNextDoomed(XMLNodeImpl* next) { parent = next; }
    XMLNodeImpl* NextDoomed() const { return parent; }

private:
    using ChildMap = ObjectsMap<XMLNodePtr>;
    using AttributeMap = ObjectsMap<XMLAttribute>;

    static constexpr std::size_t kMostAttributes = 0x3FFFFFF;
    static constexpr std::size_t kMostChildren = 0xFFFFFFF;

    XMLNodePtr NewChild(std::u16string_view content, bool textNode);
    void AppendText(std::u16string_view more);
    void Rename(std::u16string_view newName);
    void Abandon(const XMLNodePtr& orphan) const;
    void AbandonAll(const std::vector<ChildMap::Entry>& orphans) const;
    static bool IsVisible(const XMLNodePtr& child);

    // With childrenLock held.
    XMLNodePtr FirstText() const;
    void MergeTextsAt(std::size_t position);
    std::size_t PositionOf(const XMLNodeImpl& child) const;

    // With attributeLock held. What the node was made with comes to the map when somebody asks for
    // the first time.
    AttributeMap& AttributesByName() const;

    // Whether that hasn't happened yet, and wouldn't change a thing: no name comes twice.
    bool IsAsWritten() const;

    template <class T, class Read>
    T ReadAttr(std::u16string_view path, T missing, bool* found, Read&& read);

    KeptText label;  // an element's name, a text node's text; under childrenLock
    mutable std::span<const AttrPair> writtenAttributes;  // that the map doesn't have yet
    mutable AttributeMap attributes{kMostAttributes};
    ChildMap children{kMostChildren};
    mutable CRWSynchroLiteCS attributeLock;
    const bool isText;
    std::atomic<XMLNodeImpl*> parent{nullptr};  // not counted
    mutable CRWSynchroLiteCS childrenLock;
};

// A node as a counted object. Its own operations are those of XMLNodeImpl; as an object it answers
// to IQNode and IQAttributes.
class CoXMLNode final : public XMLNodeImpl, public ObjectRoot<IQNode> {
public:
    // A node without a parent. Attributes are views of attributeText; of two of one name the later
    // value counts.
    static XMLNodePtr Make(std::u16string_view content, bool textNode,
                           std::u16string_view attributeText = {},
                           std::span<const AttrPair> pairs = {});

    // What a node is made with stands behind it in the same block of memory.
    static void operator delete(void* memory) { ::operator delete(memory); }

private:
    using XMLNodeImpl::XMLNodeImpl;
    ~CoXMLNode() override = default;

    // Deletes nodes one after the other rather than inside each other's destructors, so that the
    // depth of a tree takes no stack.
    void OnLastRelease() override;

    // IQAttributes
    HRESULT GetCount(LONG* count) override;
    HRESULT GetByIndex(LONG index, BSTR* name, BSTR* value) override;
    HRESULT Remove(BSTR path) override;
    HRESULT RemoveAll() override;
    HRESULT SetString(BSTR path, BSTR value) override;
    HRESULT SetBool(BSTR path, BOOL value) override;
    HRESULT SetInt(BSTR path, LONG value) override;
    HRESULT SetDouble(BSTR path, double value) override;
    HRESULT GetWithDefault(BSTR path, BOOL* found, BSTR* value) override;
    HRESULT GetString(BSTR path, BSTR* value) override;
    HRESULT GetInt(BSTR path, LONG* value) override;
    HRESULT GetBool(BSTR path, BOOL* value) override;
    HRESULT GetDouble(BSTR path, double* value) override;
    HRESULT SetFromText(BSTR text, LONG mode) override;
    HRESULT GetAsText(BSTR* text) override;
    HRESULT GetAsNode(IQAttributes** node) override;
    HRESULT CopyFrom(IQAttributes* source, LONG mode) override;
    HRESULT InfoCount(LONG* count) override;
    HRESULT InfoName(LONG index, BSTR* name) override;
    HRESULT InfoGet(BSTR name, eQInfoType type, BSTR* info) override;
    HRESULT OptionInfoGet(BSTR name, BSTR option, BSTR infoName, BSTR* info) override;

    // IQNode
    HRESULT GetName(BSTR* name) override;
    HRESULT SetName(BSTR name) override;
    HRESULT GetValue(BSTR* value) override;
    HRESULT SetValue(BSTR value) override;
    HRESULT GetPath(BSTR* path, IQNode* ancestor) override;
    HRESULT GetParent(IQNode** parent) override;
    HRESULT Remove() override;
    HRESULT ChildCount(LONG* count) override;
    HRESULT ChildByIndex(LONG index, BSTR* name, IQNode** child) override;
    HRESULT AddChild(BSTR path, BSTR value, IQNode** child) override;
    HRESULT ChildByPath(BSTR path, BOOL create, IQNode** child) override;
    HRESULT RemoveChild(BSTR path) override;
    HRESULT Clear(BOOL clearAttributes) override;
    HRESULT Parse(BSTR text, BOOL takeName) override;
    HRESULT ToText(BSTR* text) override;
    HRESULT Clone(IQNode** clone) override;
    HRESULT Reserved() override;
    HRESULT AttrHelp(BSTR infoName, BSTR* info) override;
};

// A new root element.
inline XMLNodePtr CreateNode(std::u16string_view name) { return CoXMLNode::Make(name, false); }

inline XMLNodePtr::XMLNodePtr(CoXMLNode* held) : node(held) {
    if (node != nullptr) (void)node->AddRef();
}

inline XMLNodePtr::XMLNodePtr(const XMLNodePtr& other) : XMLNodePtr(other.node) {}

inline XMLNodePtr::XMLNodePtr(XMLNodePtr&& other) noexcept
    : node(std::exchange(other.node, nullptr)) {}

inline XMLNodePtr::~XMLNodePtr() {
    if (node != nullptr) (void)node->Release();
}

inline XMLNodePtr& XMLNodePtr::operator=(XMLNodePtr other) noexcept {
    std::swap(node, other.node);
    return *this;
}

inline XMLNodeImpl& XMLNodePtr::operator*() const { return *node; }

}  // namespace qdvm::XMLParse
