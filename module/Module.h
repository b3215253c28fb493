// The module's entry points and its path to host services.
#pragma once

#include "core/REFString.h"
#include "sdk/Export.h"
#include "sdk/Framework.h"

// The host's component collection; the module holds one reference.
extern SHADOW_EXPORT IPtr<IComponentCollection> gGlobalComponentCollection;

extern "C" {
SHADOW_EXPORT HRESULT InitializeModule(void* reserved, IComponentCollection* collection);
SHADOW_EXPORT HRESULT CreateFunction(int32_t length, const wchar_t* name, CreatorFunction* creator);
}

// The creator of a component of another module, loaded from
// "./_binARM64/<module>.so"; null when the module or component is missing.
CreatorFunction MODULECreateFunction(tagREFString module, tagREFString component);

// The host collection with a new reference; bootstraps one from the
// "CollectionsEx" module when no host has called InitializeModule.
[[nodiscard]] IComponentCollection* GLOBALComponents();

// A new host component asked for `iid`, or null.
[[nodiscard]] IUnknown* CreateObject(tagREFString name, IID* iid);

// Typed shortcut for CreateObject: CreateHostObject<IFileNameCollection>(L"FileNameCollection").
template <class T>
IPtr<T> CreateHostObject(const wchar_t* name) {
    IID iid = InterfaceInfo<T>::Id();
    return IPtr<T>::Adopt(static_cast<T*>(static_cast<void*>(CreateObject(REFLiteral(name), &iid))));
}
