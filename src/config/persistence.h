#pragma once

// IQPersist and IPersistStream over one document.

#include "config/xml_node.h"
#include "platform/byte_stream.h"
#include "platform/iid.h"

#include <qdvideomixer/byte_stream.h>
#include <qdvideomixer/object.h>
#include <qdvideomixer/persist.h>

#include <atomic>
#include <string>
#include <string_view>

namespace qdvm {

QDVM_INTERFACE(IQPersist, IUnknown, IID_IQPersist);

// To be mixed into an object that counts its references and tells its class.
class IQPersistImpl : public IQPersist, public IPersistStream {
public:
    HRESULT PersistSaveToFile(BSTR _bsObject, BSTR _bsFileName, BSTR _bsSaveParam) override;
    HRESULT PersistSaveToString(BSTR _bsObject, BSTR* _pbsXMLDesc, BSTR _bsSaveParam) override;
    HRESULT PersistLoad(BSTR _bsObject, BSTR _bsXMLDescOrFile, BSTR _bsLoadParam) override;

    // Load refuses with E_FAIL a stream that ends early, a length that is odd and a text without
    // its ending zero, with 0x80070005 more than 1 MiB; a stream that isn't loaded stands where it
    // stood before.
    HRESULT IsDirty() override;
    HRESULT Load(IStream* stream) override;
    HRESULT Save(IStream* stream, BOOL clearDirty) override;
    HRESULT GetSizeMax(ULARGE_INTEGER* bytes) override;

protected:
    ~IQPersistImpl() = default;

    // Fills an empty root. `place` is the path of the document, empty if it isn't known. A failure
    // ends the save.
    virtual HRESULT SaveConfiguration(const XMLParse::XMLNodePtr& root,
                                      std::u16string_view place) = 0;

    // Takes over what the document tells.
    virtual HRESULT LoadConfiguration(const XMLParse::XMLNodePtr& root,
                                      std::u16string_view place) = 0;

    // Whether something has changed since it was saved; lives as long as the object.
    virtual std::atomic<bool>& DirtyMark() = 0;

private:
    HRESULT SaveText(std::u16string_view place, std::u16string* text);
};

}  // namespace qdvm
