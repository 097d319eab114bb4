#pragma once

// IQProps: named values that a client hands to an object and reads back, with self-description.
//
// Names are paths: "a::b::c" is attribute or child "c" of the node "a::b". They are matched without
// regard to case. The mixer reads nothing of what is stored here; it lives as long as the object.
//
// Thread-safety: every operation can be called from any thread. Strings handed out belong to the
// caller (SysFreeString). A description is a child named "attributes_info" in the document that a
// client stores; a node's description holds a child for each attribute with help as its text and
// the attributes "type", "default", "values", "min" and "max".

#include <qdvideomixer/object.h>

#include <cstdint>

namespace qdvm {

// What PropsInfoGet tells of an attribute.
enum eQInfoType : std::int32_t {
    eQIT_Help = 0,
    eQIT_Type = 1,
    eQIT_Default = 2,
    eQIT_Values = 3,  // separated by "|", or by white space, ";" and ","
    eQIT_Min = 4,
    eQIT_Max = 5,
    eQIT_Node = 6,  // not answered
};

// {83C5E1D7-46AF-4B92-A0D4-6E19F27B5C38}
inline constexpr GUID IID_IQProps = {
    0x83C5E1D7, 0x46AF, 0x4B92, {0xA0, 0xD4, 0x6E, 0x19, 0xF2, 0x7B, 0x5C, 0x38}};

// Results besides S_OK, where told: not listed 0x80070585 (index outside), not found 0x80070002.
struct IQProps : IUnknown {
    // Sets the text of a node that exists, else an attribute; missing nodes are made, and an
    // attribute whose name gets a name below it turns into a node with its value as text. Without a
    // name the value goes to the whole: empty clears all; pairs such as "a='1' b::c='2'" are added;
    // a document replaces all; anything without "=" is the root's text. E_INVALIDARG, E_FAIL.
    virtual HRESULT PropsSet(BSTR _bsPropName, BSTR _bsPropValue) = 0;

    // S_FALSE and null if there is no such value. An empty name gives the whole as a document. The
    // names "dll-version", "dll-file-version", "dll-path" and "dll-date" tell of the library.
    virtual HRESULT PropsGet(BSTR _bsPropName, BSTR* _pbsPropValue) = 0;

    // Attributes, described or present, and children of a node; an empty name means the root.
    virtual HRESULT PropsGetCount(BSTR _bsNodeName, LONG* _pnCount) = 0;

    // Attributes first, then children. Goes by the names that the last PropsGetCount found. Each
    // out may be null.
    virtual HRESULT PropsGetByIndex(BSTR _bsNodeName, LONG _nIndex, BSTR* _pbsPropName,
                                    BSTR* _pbsPropValue, BOOL* _pbNode) = 0;

    // "_all_props_" removes all attributes of the root, "_all_nodes_" all of its children.
    // E_INVALIDARG if there is nothing of that name.
    virtual HRESULT PropsRemove(BSTR _bsPropName) = 0;

    // S_FALSE and null without such a description.
    virtual HRESULT PropsInfoGet(BSTR _bsPropName, eQInfoType _eType, BSTR* _pbsInfo) = 0;

    // The described values of an attribute.
    virtual HRESULT PropsOptionGetCount(BSTR _bsPropName, LONG* _pnOptionCount) = 0;
    virtual HRESULT PropsOptionGetByIndex(BSTR _bsPropName, LONG _nOptionIdx, BSTR* _pbsOptionValue,
                                          BSTR* _pbsHelp) = 0;
    virtual HRESULT PropsOptionSetByIndex(BSTR _bsPropName, LONG _nOptionInx) = 0;

    // The present value and its place among the described ones, -1 if it isn't one of them. Each
    // out may be null.
    virtual HRESULT PropsOptionGet(BSTR _bsPropName, LONG* _pnOptionIdx, BSTR* _pbsOptionValue,
                                   BSTR* _pbsHelp) = 0;

protected:
    ~IQProps() = default;
};

}  // namespace qdvm
