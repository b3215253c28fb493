// Adapters that give a host object the faces of IFileArchive and IXMLStream
// together. Both interfaces have an operation get_Name with the same
// signature but different meanings (the archive's name, an element's name);
// each adapter forwards its get_Name to an operation of its own name so that
// one object can answer both.
#pragma once

#include "host/streams/StreamFiles.h"
#include "sdk/InterfaceTraits.h"

namespace host {

// IFileArchive over an ArchiveFile; Load and Save are the stream's own.
class FileArchiveFace : public IFileArchive {
public:
    HRESULT get_Filename(IString** name) override { return Archive().get_Filename(name); }
    HRESULT put_Filename(IString* name) override { return Archive().put_Filename(name); }
    HRESULT get_Filter(IString** filter) override { return Archive().get_Filter(filter); }
    HRESULT get_Name(IString** name) final { return Archive().get_Name(name); }

protected:
    ~FileArchiveFace() = default;
    virtual ArchiveFile& Archive() = 0;
};

// IXMLStream whose get_Name is get_ElementName.
class XMLCursorFace : public IXMLStream {
public:
    HRESULT get_Name(IString** name) final { return get_ElementName(name); }

protected:
    ~XMLCursorFace() = default;
    virtual HRESULT get_ElementName(IString** name) = 0;
};

} // namespace host

template <>
struct InterfaceInfo<host::FileArchiveFace> {
    using Parent = IUnknown;
    static const IID& Id() { return IID_IFileArchive; }
};

template <>
struct InterfaceInfo<host::XMLCursorFace> {
    using Parent = IUnknown;
    static const IID& Id() { return IID_IXMLStream; }
};
