// Host strings and component strings.
#pragma once

#include "RefString.h"
#include "Unknown.h"

// A host string: wide text owned by the host object.
struct IString : IUnknown {
    // The accessor: stores the text pointer and length into the view. The
    // pointer stays valid while the string lives and is not changed.
    virtual HRESULT GetString(tagREFString* view) = 0;
};

// A host string that can be changed.
struct ICreatableString : IString {
    // Replaces the text with `length` characters of `text` (null clears).
    virtual HRESULT SetString(const wchar_t* text, int32_t length) = 0;
    // Appends `length` characters of `text`.
    virtual HRESULT Append(const wchar_t* text, int32_t length) = 0;
};

// Field numbers of a component string.
enum ComponentStringField : int32_t {
    COMPONENT_FIELD_NAME = 1,   // the component's name, for example "CreatableString"
    COMPONENT_FIELD_MODULE = 4, // the module that makes it, for example "Collections"
};

// Describes one creatable component (its name and module) and makes
// instances of it.
struct IComponentString : IUnknown {
    virtual HRESULT SetField(int32_t field, tagREFString text) = 0;
    virtual HRESULT GetField(int32_t field, tagREFString* text) = 0;
    // Creates a new instance of the described component and returns the
    // requested interface with one reference.
    virtual HRESULT CreateInstance(const IID* iid, void** out) = 0;
};
