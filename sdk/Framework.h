// All framework interfaces.
#pragma once

#include "Collections.h"
#include "FileArchive.h"
#include "Files.h"
#include "HostUtilities.h"
#include "InterfacePtr.h"
#include "ObjectInfo.h"
#include "Parameters.h"
#include "Registry.h"
#include "Step.h"
#include "Streams.h"
#include "Strings.h"
#include "Transfer.h"
#include "FileArchiveService.h"
#include "Transforms.h"
#include "Variant.h"

// The entry points of a module, as a host finds them with dlsym.
using CreatorFunction = HRESULT (*)(void* outer, IID* iid, void** out);
using InitializeModuleFunction = HRESULT (*)(void* reserved, IComponentCollection* collection);
using CreateFunctionFunction = HRESULT (*)(int32_t length, const wchar_t* name, CreatorFunction* creator);

// Every interface's identifier, for QueryAs and IPtr::Query.
#include "InterfaceTraits.h"
