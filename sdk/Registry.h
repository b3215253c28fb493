// The host's persistent settings: sections of named text keys.
#pragma once

#include "Collections.h"

struct IRegistry : IUnknown {
    // Copies the key's text into `buffer` (at most capacity - 1 characters and
    // a terminator). E_FAIL when the section or key is missing.
    virtual HRESULT GetValue(tagREFString section, tagREFString key, wchar_t* buffer,
                             int32_t capacity) = 0;
    virtual HRESULT SetValue(tagREFString section, tagREFString key, tagREFString value) = 0;
    virtual HRESULT DeleteValue(tagREFString section, tagREFString key) = 0;
};

struct IRegistryEx : IRegistry {
    // The section as a named collection: item names are the keys, items are
    // strings holding the values. E_FAIL when the section is missing.
    virtual HRESULT GetSection(tagREFString section, INamedCollection** keys) = 0;
};
