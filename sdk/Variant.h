// Host variants: a value that is empty, an integer, a double, a string or an
// object.
#pragma once

#include "Strings.h"

enum VariantType : int32_t {
    VARIANT_EMPTY = 0,
    VARIANT_INTEGER = 1,
    VARIANT_DOUBLE = 2,
    VARIANT_STRING = 3,
    VARIANT_OBJECT = 4,
};

struct IVariant : IUnknown {
    // Stores the VariantType and returns it as well (0 for an empty variant).
    virtual int32_t get_Type(int32_t* type) = 0;
    // True for an integer or a double.
    virtual bool IsNumber() = 0;
    // Integer value: a double is truncated, a string is parsed as a decimal
    // number; E_FAIL (value 0) for an empty or object variant.
    virtual HRESULT get_Integer(int32_t* value) = 0;
    virtual HRESULT get_Double(double* value) = 0;
    virtual bool IsString() = 0;
    // The held string with one reference; E_FAIL when it holds none.
    virtual HRESULT get_String(IString** value) = 0;
    virtual bool IsObject() = 0;
    // The held object with one reference; E_FAIL when it holds none.
    virtual HRESULT get_Object(IUnknown** value) = 0;
    virtual HRESULT put_Integer(int32_t value) = 0;
    virtual HRESULT put_Double(double value) = 0;
    // Holds the given string (a reference is taken; null empties).
    virtual HRESULT put_String(IString* value) = 0;
    // Sets the variant from an object: another variant's value is copied,
    // a string is held as a string, any other object (a data stream too,
    // even one that also answers IString) as an object, null empties the
    // variant.
    virtual HRESULT put_Unknown(IUnknown* value) = 0;
    virtual HRESULT Clear() = 0;
};
