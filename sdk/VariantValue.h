// How parameter collections hand out a stored value.
#pragma once

#include "InterfaceIds.h"
#include "InterfacePtr.h"
#include "InterfaceTraits.h"
#include "Variant.h"

// The object or string a variant holds, in place of the variant (null for a
// variant holding a null object); any other value, a variant holding a
// number included, as it is.
inline IPtr<IUnknown> UnwrapVariant(IUnknown* value) {
    IPtr<IVariant> variant = QueryAs<IVariant>(value);
    IPtr<IUnknown> inner;
    if (variant && variant->IsObject()) {
        variant->get_Object(inner.Out());
    } else if (variant && variant->IsString()) {
        IPtr<IString> text;
        variant->get_String(text.Out());
        inner.Reset(text.Get());
    } else {
        inner.Reset(value);
    }
    return inner;
}
