#pragma once

// IQProps over a tree of its own.

#include "config/attribute_info.h"
#include "config/rw_synchro.h"
#include "config/xml_node.h"
#include "platform/iid.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/props.h>

#include <optional>
#include <string_view>

namespace qdvm {

QDVM_INTERFACE(IQProps, IUnknown, IID_IQProps);

// To be mixed into an object that counts its references. The tree starts empty and goes with the
// object.
//
// One lock guards the tree across whole operations: reads that leave everything as it is share it.
// The operations on options take none of their own and rely on those of the nodes.
class IQPropsImpl : public IQProps {
public:
    HRESULT PropsSet(BSTR _bsPropName, BSTR _bsPropValue) override;
    HRESULT PropsGet(BSTR _bsPropName, BSTR* _pbsPropValue) override;
    HRESULT PropsGetCount(BSTR _bsNodeName, LONG* _pnCount) override;
    HRESULT PropsGetByIndex(BSTR _bsNodeName, LONG _nIndex, BSTR* _pbsPropName, BSTR* _pbsPropValue,
                            BOOL* _pbNode) override;
    HRESULT PropsRemove(BSTR _bsPropName) override;
    HRESULT PropsInfoGet(BSTR _bsPropName, eQInfoType _eType, BSTR* _pbsInfo) override;
    HRESULT PropsOptionGetCount(BSTR _bsPropName, LONG* _pnOptionCount) override;
    HRESULT PropsOptionGetByIndex(BSTR _bsPropName, LONG _nOptionIdx, BSTR* _pbsOptionValue,
                                  BSTR* _pbsHelp) override;
    HRESULT PropsOptionSetByIndex(BSTR _bsPropName, LONG _nOptionInx) override;
    HRESULT PropsOptionGet(BSTR _bsPropName, LONG* _pnOptionIdx, BSTR* _pbsOptionValue,
                           BSTR* _pbsHelp) override;

protected:
    IQPropsImpl();
    ~IQPropsImpl() = default;

private:
    // With the lock held.
    HRESULT SetNamed(std::u16string_view name, std::u16string_view value);
    HRESULT SetWhole(std::u16string_view value);
    HRESULT GetEntry(const XMLParse::XMLNodePtr& node, std::size_t index, BSTR* name, BSTR* value,
                     BOOL* isNode);
    HRESULT GetInfoEntry(LONG index, BSTR* value);
    std::optional<std::u16string> Find(std::u16string_view name) const;

    CRWSynchroLiteRW lock;
    // What the last PropsGetCount found; it belongs to the object and not to a node.
    XMLParse::InfoNames infoNames{XMLParse::kMostInfoNames};
    const XMLParse::XMLNodePtr root;
};

}  // namespace qdvm
