// Steps and the mirroring interface.
#pragma once

#include "Unknown.h"
#include "Strings.h"

struct IStep : IUnknown {
    virtual HRESULT TurnOn() = 0;
    virtual HRESULT TurnOff() = 0;
    virtual bool IsRunning() = 0;
    virtual HRESULT get_ExecutionTime(double* milliseconds) = 0;
};

struct IShadow : IUnknown {
    virtual HRESULT Shadow(IString* source, IString* destination, short copyNewOnly,
                           short subFolders, short clean, IUnknown* display) = 0;
    virtual HRESULT GetCopyStatistics(int32_t* files, double* bytes) = 0;
    virtual HRESULT GetDeleteStatistics(int32_t* files, double* bytes) = 0;
};
