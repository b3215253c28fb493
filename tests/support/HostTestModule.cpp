// A tiny component module that the host runtime's tests load. It keeps the
// collection handed to InitializeModule and makes one component, "TestEcho":
// a host "CreatableString" obtained through that collection, holding a text
// that tells how often the module was initialised.
#include <cwchar>

#include "sdk/Framework.h"

namespace {

IComponentCollection* gCollection = nullptr;
int gInitialiseCalls = 0;

HRESULT MakeEcho(void*, IID* iid, void** out) {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (!gCollection) return E_FAIL;
    IPtr<ICreatableString> text;
    gCollection->CreateComponent(REFLiteral(L"CreatableString"), &IID_ICreatableString, text.OutVoid());
    if (!text) return E_FAIL;
    wchar_t buffer[64];
    std::swprintf(buffer, 64, L"echo, initialised %d", gInitialiseCalls);
    text->SetString(buffer, static_cast<int32_t>(std::wcslen(buffer)));
    return text->QueryInterface(iid ? *iid : IID_IUnknown, out);
}

} // namespace

extern "C" __attribute__((visibility("default"))) HRESULT InitializeModule(void*, IComponentCollection* collection) {
    if (collection) collection->AddRef();
    IComponentCollection* old = gCollection;
    gCollection = collection;
    if (old) old->Release();
    ++gInitialiseCalls;
    return S_OK;
}

extern "C" __attribute__((visibility("default"))) HRESULT CreateFunction(int32_t length, const wchar_t* name,
                                                                          CreatorFunction* slot) {
    if (length == 8 && name && std::wmemcmp(name, L"TestEcho", 8) == 0) {
        *slot = &MakeEcho;
        return S_OK;
    }
    return E_FAIL;
}
