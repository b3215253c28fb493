// The collection chain: simple (counted, indexed), named (looked up by key,
// lockable), super (a general host collection that can be filled), and the
// host's global component collection.
#pragma once

#include "Strings.h"
#include "Variant.h"

struct ISimpleCollection : IUnknown {
    virtual HRESULT get_Count(int32_t* count) = 0;
    virtual HRESULT get_Item(int32_t index, IUnknown** item) = 0;
};

struct INamedCollection : ISimpleCollection {
    // Key: a string (name, ASCII case-blind), a variant holding a number (the
    // index itself) or a string, or an object held by an item.
    virtual HRESULT get_Index(IUnknown* key, int32_t* index) = 0;
    virtual HRESULT get_ItemName(int32_t index, IString** name) = 0;
    virtual HRESULT Rename(int32_t index, IString* name) = 0;
    virtual HRESULT CollectionLock() = 0;
    virtual HRESULT CollectionUnlock() = 0;
    // 1 when locked, else 0.
    virtual HRESULT IsCollectionLocked() = 0;
};

// A general host collection of named items.
struct ISuperCollection : INamedCollection {
    // Appends an item. The key (a string, or null for no name) names it; the
    // descriptor and flags are kept with it.
    virtual HRESULT Add(IUnknown* key, IUnknown* item, IUnknown* descriptor, int32_t flags) = 0;
    virtual HRESULT Remove(int32_t index) = 0;
    virtual HRESULT RemoveAll() = 0;
    virtual HRESULT get_ItemDescriptor(int32_t index, IUnknown** descriptor) = 0;
    virtual HRESULT get_ItemFlags(int32_t index, int32_t* flags) = 0;
};

// A collection of text lines.
struct IStringCollection : ISimpleCollection {
    virtual HRESULT get_Line(int32_t index, IString** line) = 0;
};

// The host's collection of creatable components. Its items are component
// strings (IComponentString) named after the components.
struct IComponentCollection : INamedCollection {
    // The create-by-name operation. With a null iid the component string of
    // the name is returned; otherwise a new instance asked for *iid.
    virtual HRESULT CreateComponent(tagREFString name, const IID* iid, void** out) = 0;
    // Loads a module of components: a bare name is looked up as
    // "./_binARM64/<name>.so", a name holding "/" is a path. The module is
    // initialised with this collection and its components become creatable.
    virtual HRESULT LoadModule(tagREFString module) = 0;
};
