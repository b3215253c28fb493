// IUnknown: the reference-counted root of every interface.
#pragma once

#include <cstdint>

#include "Guid.h"
#include "InterfaceIds.h"
#include "Result.h"

struct IUnknown {
    virtual HRESULT QueryInterface(const IID& iid, void** out) = 0;
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;

protected:
    ~IUnknown() = default;
};
