#pragma once

// The tree's operations in interface form. Inside the system they are used where the property
// interface hands work to a node; all else calls the node's own operations (xml_node.h).
//
// Strings in and out are counted strings; what is handed out is the receiver's. Paths are steps
// separated by "::"; names are matched without regard to case.

#include "platform/iid.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/props.h>

#include <cstdint>

namespace qdvm {

// {5B0F6C1A-3B61-4A2E-9C39-0D8E7A5B41C2}
inline constexpr GUID IID_IQAttributes = {
    0x5B0F6C1A, 0x3B61, 0x4A2E, {0x9C, 0x39, 0x0D, 0x8E, 0x7A, 0x5B, 0x41, 0xC2}};

// {D2F3A9C4-71E8-4F0B-8A6D-52B7C0E1934F}
inline constexpr GUID IID_IQNode = {
    0xD2F3A9C4, 0x71E8, 0x4F0B, {0x8A, 0x6D, 0x52, 0xB7, 0xC0, 0xE1, 0x93, 0x4F}};

inline constexpr HRESULT kNotFound = HResultFromWin32(ERROR_NOT_FOUND);
inline constexpr HRESULT kBadIndex = HResultFromWin32(ERROR_INVALID_INDEX);

struct IQAttributes : IUnknown {
    // S_FALSE if there are none. The out may be null.
    virtual HRESULT GetCount(LONG* count) = 0;
    // By order of insertion; kBadIndex outside. Both outs may be null.
    virtual HRESULT GetByIndex(LONG index, BSTR* name, BSTR* value) = 0;
    // kNotFound if missing.
    virtual HRESULT Remove(BSTR path) = 0;
    virtual HRESULT RemoveAll() = 0;

    // Missing nodes of the path are made. E_INVALIDARG if the value can't be set.
    virtual HRESULT SetString(BSTR path, BSTR value) = 0;
    virtual HRESULT SetBool(BSTR path, BOOL value) = 0;
    virtual HRESULT SetInt(BSTR path, LONG value) = 0;
    virtual HRESULT SetDouble(BSTR path, double value) = 0;

    // A missing attribute gives its described default and S_FALSE. Both outs may be null.
    virtual HRESULT GetWithDefault(BSTR path, BOOL* found, BSTR* value) = 0;
    // kNotFound if missing.
    virtual HRESULT GetString(BSTR path, BSTR* value) = 0;
    virtual HRESULT GetInt(BSTR path, LONG* value) = 0;
    virtual HRESULT GetBool(BSTR path, BOOL* value) = 0;
    virtual HRESULT GetDouble(BSTR path, double* value) = 0;

    // Pairs such as "a='1' b::c='2'". 1 if a pair was read, 0 if none; E_INVALIDARG for null.
    virtual HRESULT SetFromText(BSTR text, LONG mode) = 0;
    virtual HRESULT GetAsText(BSTR* text) = 0;
    // A new node with copies of all attributes.
    virtual HRESULT GetAsNode(IQAttributes** node) = 0;
    // mode 0 keeps what is there, 2 removes all first, others overwrite.
    virtual HRESULT CopyFrom(IQAttributes* source, LONG mode) = 0;

    // Descriptions of attributes (attribute_info.h). S_FALSE if there is none.
    virtual HRESULT InfoCount(LONG* count) = 0;
    virtual HRESULT InfoName(LONG index, BSTR* name) = 0;
    virtual HRESULT InfoGet(BSTR name, eQInfoType type, BSTR* info) = 0;
    virtual HRESULT OptionInfoGet(BSTR name, BSTR option, BSTR infoName, BSTR* info) = 0;

protected:
    ~IQAttributes() = default;
};

struct IQNode : IQAttributes {
    using IQAttributes::Remove;

    virtual HRESULT GetName(BSTR* name) = 0;
    virtual HRESULT SetName(BSTR name) = 0;
    // The node's text.
    virtual HRESULT GetValue(BSTR* value) = 0;
    virtual HRESULT SetValue(BSTR value) = 0;
    virtual HRESULT GetPath(BSTR* path, IQNode* ancestor) = 0;
    // S_FALSE at a root.
    virtual HRESULT GetParent(IQNode** parent) = 0;
    // Takes the node out of its tree, emptied. S_FALSE at a root.
    virtual HRESULT Remove() = 0;

    virtual HRESULT ChildCount(LONG* count) = 0;
    // kBadIndex outside. Both outs may be null.
    virtual HRESULT ChildByIndex(LONG index, BSTR* name, IQNode** child) = 0;
    // Always a new child; E_FAIL if it can't be made.
    virtual HRESULT AddChild(BSTR path, BSTR value, IQNode** child) = 0;
    // kNotFound if there is none and none is to be made.
    virtual HRESULT ChildByPath(BSTR path, BOOL create, IQNode** child) = 0;
    // S_FALSE if there was none.
    virtual HRESULT RemoveChild(BSTR path) = 0;
    virtual HRESULT Clear(BOOL clearAttributes) = 0;

    // Contents from a document's text; the name too if takeName is set.
    virtual HRESULT Parse(BSTR text, BOOL takeName) = 0;
    virtual HRESULT ToText(BSTR* text) = 0;
    // A new root with the same name and contents.
    virtual HRESULT Clone(IQNode** clone) = 0;
    // Kept free; E_NOTIMPL.
    virtual HRESULT Reserved() = 0;
    // Help on the element itself, or another attribute of its description.
    virtual HRESULT AttrHelp(BSTR infoName, BSTR* info) = 0;

protected:
    ~IQNode() = default;
};

QDVM_INTERFACE(IQAttributes, IUnknown, IID_IQAttributes);
QDVM_INTERFACE(IQNode, IQAttributes, IID_IQNode);

}  // namespace qdvm
