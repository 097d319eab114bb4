#pragma once

// IQPersist: the whole setup of a mixer as a document, in a text or in a file: background, output
// format, number of pins, drawing order, master stream, the present layout, and the scenes. Not in
// it: the properties of IQProps, a user's settings, masks, and what the pins are connected to.
//
// A mixer answers for IQPersist and for IPersistStream (byte_stream.h), which carries the same
// text: a length in bytes (32 bits, little-endian) that counts the ending zero too, the text in
// UTF-16, two zero bytes. A stream with more than 1 MiB of text is written, but refused when it is
// read.
//
// Pictures. The path of the background's picture is written relative to the document where the
// document's place is known and both have a directory in common, with "../" for each step up ("..\"
// where the document's path has backslashes). On reading, both separators are taken, here and where
// paths have drive letters; a path that begins with "/" is absolute. The place of a document is its
// file, or the parameter "path" for a text.
//
// Thread-safety: any thread, but a save and a load must not meet. A load can run in any state; it
// adds pins and changes the output's format, so it belongs before the connections. The layout is
// applied at once and again at the next start.

#include <qdvideomixer/object.h>

namespace qdvm {

// {5B2F8A64-91D3-4E07-B86C-2D47F10A9E35}
inline constexpr GUID IID_IQPersist = {
    0x5B2F8A64, 0x91D3, 0x4E07, {0xB8, 0x6C, 0x2D, 0x47, 0xF1, 0x0A, 0x9E, 0x35}};

// `_bsObject` isn't looked at and may be null. Parameters are pairs such as "path='/show/a.xml'";
// null is none.
struct IQPersist : IUnknown {
    // "unicode=1" writes UTF-16, else a byte for each character where the Western code page has all
    // of them, and UTF-8 with a mark where it hasn't. E_INVALIDARG for an empty name; the failure
    // of writing (0x8007....), which leaves the old file.
    virtual HRESULT PersistSaveToFile(BSTR _bsObject, BSTR _bsFileName, BSTR _bsSaveParam) = 0;

    // "path": the document's place. The caller owns the text. E_POINTER.
    virtual HRESULT PersistSaveToString(BSTR _bsObject, BSTR* _pbsXMLDesc, BSTR _bsSaveParam) = 0;

    // The name of a file if there is such a file, else a text with "path" as its place.
    // E_INVALIDARG for an empty text and for one without an element; the failure of reading the
    // file. Nothing has changed then. What the document doesn't tell takes its default: no master
    // stream, the present background and format, the built-in scenes.
    virtual HRESULT PersistLoad(BSTR _bsObject, BSTR _bsXMLDescOrFile, BSTR _bsLoadParam) = 0;

protected:
    ~IQPersist() = default;
};

}  // namespace qdvm
