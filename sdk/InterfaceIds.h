// The exported interface identifier globals. IID_NULL and IID_IUnknown are
// constants; all others are computed from their names at load time.
#pragma once

#include "Export.h"
#include "Guid.h"

extern SHADOW_EXPORT const IID IID_NULL;
extern SHADOW_EXPORT const IID IID_IUnknown;

#define SHADOW_IID(name) extern SHADOW_EXPORT IID IID_##name;
#include "InterfaceNames.inc"
#undef SHADOW_IID
