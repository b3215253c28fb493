// Shared makers of host objects that several components use the same way.
#pragma once

#include "sdk/Framework.h"

struct BASEObject final {
    BASEObject() = delete;

    // A new, empty host data stream ("DataStream") with one reference for
    // the caller, or null when the host cannot make one. The host's
    // component string for "DataStream" is looked up once, on the first
    // call, and kept until the module is unloaded; if that first lookup
    // finds nothing, every call gives null.
    static IPtr<IDataStream> CreateDataStream();

    // A new, empty host parameter collection ("ParametersCreatable") with
    // one reference for the caller, or null; the component string is looked
    // up once, as for CreateDataStream.
    static IPtr<IParametersCreatable> CreateParameters();
};
