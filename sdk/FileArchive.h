// Objects kept in a file, and the workspace a host has open.
#pragma once

#include "Collections.h"

struct IFileArchive : IUnknown {
    virtual HRESULT get_Filename(IString** name) = 0;
    virtual HRESULT put_Filename(IString* name) = 0;
    virtual HRESULT get_Filter(IString** filter) = 0;
    virtual HRESULT get_Name(IString** name) = 0;
    virtual HRESULT Load() = 0;
    virtual HRESULT Save() = 0;
};

struct IWorkspace : IUnknown {
    // The components of the workspace, by name.
    virtual HRESULT get_Components(INamedCollection** components) = 0;
};
