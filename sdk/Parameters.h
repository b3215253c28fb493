// Parameter collections, inputs and their binding.
#pragma once

#include "Collections.h"
#include "Streams.h"

// Flag bits of a parameter. A collection stores them whole and never tests
// them; property pages and persistence read them.
enum ParameterFlags : int32_t {
    PARAM_TYPE_MASK = 0x0F,     // value-type code
    PARAM_TYPE_INTEGER = 3,     // an integer (a port, for instance)
    PARAM_TYPE_SIMPLE = 5,      // another simple value
    PARAM_TYPE_TEXT = 6,        // a text; saved as a file name in folder streams
    PARAM_TYPE_SWITCH = 7,      // an integer switch
    PARAM_TYPE_SERVER_PATH = 9, // a plain server path (the whole flags word)
    PARAM_PATH = 0x30,          // a path that may be stored relative
    PARAM_CLIENT_PATH = 0x20,
    PARAM_CHOICE = 0x40,        // the descriptor is the "|"-separated choice list
    PARAM_CHOICE_INTEGER = 0x43,
    PARAM_COLOUR = 0x23,        // the whole word: an integer colour, red in the low byte
    PARAM_INSTALL_RELATIVE = 0x100,
    PARAM_COMPACT_OMIT = 0x40000,      // compact saves leave the descriptor (or the item) out
    PARAM_NO_FOLDER = 0x04000000,      // never written to folder streams
    PARAM_NO_XML_BIT = 0x08000000,     // this bit itself is never written to XML
};

// Options of the save and load operations.
enum ParameterStreamOptions : int32_t {
    PARAMS_CSV_NAMES = 0x00010000, // CSV: "name=" before each value
    PARAMS_COMPACT = 0x00800000,   // compact save
    PARAMS_REPLACE = 0x01000000,   // load: empty the collection, append what is read
    PARAMS_APPEND = 0x10000000,    // folder load: append what is read
};

struct IParameters : INamedCollection {
    // Any output may be null. The descriptor output is left untouched when
    // the item has none.
    virtual HRESULT Iterate(int32_t index, IString** name, IVariant** value, IUnknown** descriptor,
                            int32_t* flags) = 0;
    virtual HRESULT get_ItemVariant(int32_t index, IVariant** value) = 0;
    virtual HRESULT put_Item(int32_t index, IUnknown* value) = 0;
    virtual HRESULT get_ItemDescriptor(int32_t index, IUnknown** descriptor) = 0;
    virtual HRESULT put_ItemDescriptor(int32_t index, IUnknown* descriptor) = 0;
    virtual HRESULT get_ItemFlags(int32_t index, int32_t* flags) = 0;
    virtual HRESULT put_ItemFlags(int32_t index, int32_t flags) = 0;
    // Returns the item's index (or -1), not a status.
    virtual HRESULT Get(IUnknown* key, IUnknown** value, IUnknown** descriptor, int32_t* flags,
                        int32_t mode) = 0;
};

struct IParametersCreatable : IParameters {
    virtual HRESULT Add(IString* name, IUnknown* value, IUnknown* descriptor, int32_t flags) = 0;
    virtual HRESULT Remove(int32_t index) = 0;
    virtual HRESULT RemoveAll() = 0;
    virtual HRESULT Copy(IParameters* source) = 0;
    virtual HRESULT Sort(int32_t order) = 0;
    virtual HRESULT Set(IUnknown* key, IUnknown* value, IUnknown* descriptor, int32_t flags,
                        short mode) = 0;
};

// Names a source in a workspace: a component, and optionally one of its
// parameters.
struct ICollectionMoniker : IUnknown {
    // Resolves names within `collection` from now on.
    virtual HRESULT BindToCollection(INamedCollection* collection) = 0;
    // The source's current value: the named parameter's value, or the
    // component itself when no parameter is named. E_FAIL when unresolved.
    virtual HRESULT Resolve(IUnknown** value) = 0;
};

// One input of a component.
struct IInputParameter : IUnknown {
    // S_OK and the value when the input yields one, else E_FAIL.
    virtual HRESULT get_Value(IUnknown** value) = 0;
    virtual HRESULT get_Moniker(IUnknown** moniker) = 0;
    // The four properties that describe an input and are copied with it.
    virtual HRESULT get_Name(IString** name) = 0;
    virtual HRESULT put_Name(IString* name) = 0;
    virtual HRESULT get_Interface(IID* iid) = 0;
    virtual HRESULT put_Interface(const IID* iid) = 0;
    virtual HRESULT get_SourceComponent(IString** name) = 0;
    virtual HRESULT put_SourceComponent(IString* name) = 0;
    virtual HRESULT get_SourceParameter(IString** name) = 0;
    virtual HRESULT put_SourceParameter(IString* name) = 0;
};

// The inputs of a component; its items are IInputParameter objects.
struct IInputParameters : INamedCollection {
    // Declares a new input of the given name and interface at the end.
    virtual HRESULT AddInput(IString* name, const IID* iid) = 0;
    // The value the input at `index` yields, asked for its declared interface
    // when it has one; E_FAIL when it yields nothing.
    virtual HRESULT get_InputValue(int32_t index, IUnknown** value) = 0;
};

struct IBindableObject : IUnknown {
    virtual HRESULT Bind(INamedCollection* components, IUnknown* reserved) = 0;
};

struct IReplicableObject : IUnknown {
    virtual HRESULT Replicate(IUnknown** copy) = 0;
};
