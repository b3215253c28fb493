#include "components/ShadowVelmixList.h"

#include "core/Helpers.h"

namespace {

// A text (PARAM_TYPE_TEXT) with the path bit 0x10: the list's file name.
constexpr int32_t kFileNameFlags = 0x10 | PARAM_TYPE_TEXT;

} // namespace

HRESULT CShadowVelmixList::FinalConstruct() {
    IPtr<IString> name = IPtr<IString>::Adopt(ISCreate(L"FileName"));
    IPtr<IString> empty = IPtr<IString>::Adopt(ISCreate(L""));
    IPtr<IVariant> value = IPtr<IVariant>::Adopt(IVCreate(empty.Get()));
    if (!value) return E_FAIL;
    CollectionLock();
    AddNOLOCK(name.Get(), value.Get(), nullptr, kFileNameFlags);
    CollectionUnlock();
    return S_OK;
}

HRESULT CShadowVelmixList::GetPages(int32_t, INamedCollection** pages, IUnknown**) {
    return OBJECTPropertyPages(pages, {L"UIPropPages.UIInputParametersPropPage", L"UIPropPages.UIParametersPropPage"});
}

HRESULT CShadowVelmixList::Execute(CStopEvent*) {
    // Null when the parameter holds no text; passed on all the same.
    IPtr<IString> fileName = ParameterText(kFileName);
    // Bootstraps the global collection from "CollectionsEx" when no host
    // handed one over, and keeps it for the module's later requests.
    IPtr<IComponentCollection> components = IPtr<IComponentCollection>::Adopt(GLOBALComponents());
    if (!components) return E_FAIL;
    IID iid = IPtr<IComponentCollection>::Id();
    IPtr<IComponentCollection> active;
    components->CreateComponent(REFLiteral(L"ActiveComponentCollection"), &iid, active.OutVoid());
    IPtr<IFileArchive> archive = active.Query<IFileArchive>();
    if (!archive) return E_FAIL;
    archive->put_Filename(fileName.Get());
    archive->Save();
    return S_OK;
}
