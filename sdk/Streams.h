// Data streams and the persistence streams (XML, folder, CSV).
#pragma once

#include "Collections.h"
#include "Guid.h"

struct IDataStream : IUnknown {
    // Prepares the stream over `buffer` (or a buffer of its own when null)
    // of `size` bytes; `growable` lets writes extend it.
    virtual HRESULT Create(void* buffer, unsigned long size, short growable) = 0;
    // Back to the start; `clear` drops the content as well.
    virtual HRESULT Reset(short clear) = 0;
    // origin 0 = start, 1 = current, 2 = end; the new position is stored.
    virtual HRESULT Seek(long offset, unsigned int origin, unsigned long* position) = 0;
    // The whole content as one block (owned by the stream) and its size.
    virtual HRESULT GetStream(void** data, unsigned long* size) = 0;
    virtual HRESULT Read(void* data, unsigned int size, unsigned int* read) = 0;
    virtual HRESULT Write(const void* data, unsigned int size, unsigned int* written) = 0;
};

// An object that saves itself into, and loads itself from, a stream.
struct IDataPersist : IUnknown {
    virtual HRESULT Save(IDataStream* stream, int32_t options) = 0;
    virtual HRESULT Load(IDataStream* stream, int32_t options) = 0;
};

// An XML document seen through a cursor on one element. Writing appends
// to the element currently open; reading walks child elements.
struct IXMLStream : IUnknown {
    // Writing.
    virtual HRESULT WriteElement(tagREFString name, IString* text) = 0;
    virtual HRESULT OpenElement(tagREFString name) = 0;
    // Opens an element for a persistable object; it records what is needed to
    // create the object again when the document is read.
    virtual HRESULT OpenObjectElement(IUnknown* object) = 0;
    virtual HRESULT CloseElement() = 0;
    // Reading. FirstChild returns a new cursor on the first child element of
    // this cursor's element (E_FAIL when there is none); Next moves a cursor
    // to its next sibling (E_FAIL at the end).
    virtual HRESULT FirstChild(IXMLStream** child) = 0;
    virtual HRESULT Next() = 0;
    virtual HRESULT get_Name(IString** name) = 0;
    virtual HRESULT get_Text(IString** text) = 0;
    // Creates the object that an object element describes and loads it from
    // the element; the new object is returned with one reference.
    virtual HRESULT CreateObject(IUnknown** object) = 0;
};

// A folder of named entries: values, raw byte blocks, objects and
// sub-folders.
struct IFolderStream : IUnknown {
    virtual HRESULT WriteValue(tagREFString name, IVariant* value) = 0;
    virtual HRESULT WriteRaw(tagREFString name, const void* data, unsigned int size) = 0;
    virtual HRESULT WriteObject(tagREFString name, IUnknown* object) = 0;
    // Opens the named sub-folder; with `create` it is made when missing.
    virtual HRESULT OpenFolder(tagREFString name, short create, IFolderStream** folder) = 0;
    virtual HRESULT ReadValue(tagREFString name, IVariant** value) = 0;
    virtual HRESULT ReadRaw(tagREFString name, void* data, unsigned int size, unsigned int* read) = 0;
    virtual HRESULT ReadObject(tagREFString name, IUnknown** object) = 0;
    // The entries in folder order: sub-folders are IFolderStream items, the
    // other entries IVariant items holding their value.
    virtual HRESULT get_Entries(INamedCollection** entries) = 0;
};

struct ICSVStream : IUnknown {
    // Writes `bytes` / 2 characters of `text` (the count is two bytes per
    // character whatever the width of a character).
    virtual HRESULT WriteChars(const wchar_t* text, unsigned int bytes) = 0;
};

// The explanation of a stream's last failure, answered by the host's
// persistence streams, so that a host (the command line, a test) can show
// why a load or a parse failed: the parser's message with its position, or
// the system's reason for a file error.
struct IStreamErrorText : IUnknown {
    // The message of the last failure (S_OK), or an empty text (S_FALSE) when
    // the last file or parse operation succeeded.
    virtual HRESULT get_ErrorText(IString** text) = 0;
};

// Its identifier: not one of the framework's, so computed here from its name.
inline const IID& StreamErrorTextIID() {
    static const IID iid = __IIDOfc("IStreamErrorText");
    return iid;
}
