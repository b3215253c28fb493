#include "host/ui/UIUtils.h"

#include <string>

#include "host/runtime/EventLogLine.h"
#include "host/runtime/GlobalComponentCollection.h"
#include "host/values/HostStrings.h"
#include "sdk/FileArchiveService.h"

namespace host {

namespace {

std::wstring TextOf(tagREFString text) {
    if (text.m_Length <= 0 || !text.m_pString) return {};
    return std::wstring(text.m_pString, static_cast<size_t>(text.m_Length));
}

} // namespace

HRESULT UIUtils::OpenFileObject(tagREFString path, IUnknown*, tagREFString, IUnknown** result, int32_t) {
    if (!result) return E_POINTER;
    *result = nullptr;
    // "File" lives in the streams family, beside this one: made by name.
    IPtr<IFileDataStream> file;
    if (FAILED(GlobalCollection()->CreateComponent(REFLiteral(L"File"), &IPtr<IFileDataStream>::Id(),
                                                   file.OutVoid())) ||
        !file) {
        WriteEventLogError(L"UIUtils", L"the host offers no \"File\" component");
        return E_FAIL;
    }
    // A file that cannot be opened is the caller's to report: a step that
    // hands on what a failed download left has already said why.
    if (FAILED(file->Open(MakeString(TextOf(path)).Get()))) return E_FAIL;
    return file->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(result));
}

HRESULT UIUtils::CreateSchemeFile(IUnknown* side, IString* name, int32_t* files) {
    if (files) *files = 0;
    IPtr<IFileArchiveScheme> scheme = QueryAs<IFileArchiveScheme>(side);
    if (!scheme) return E_INVALIDARG;
    IPtr<IFASService> service;
    if (FAILED(GlobalCollection()->CreateComponent(REFLiteral(L"FASService"), &IPtr<IFASService>::Id(),
                                                   service.OutVoid())) ||
        !service) {
        WriteEventLogError(L"UIUtils", L"the host offers no \"FASService\" component");
        return E_FAIL;
    }
    if (FAILED(service->put_SchemeFile(name))) {
        WriteEventLogError(L"UIUtils", L"the scheme file's name \"" + ToWide(name) + L"\" is no relative name");
        return E_FAIL;
    }
    // The service writes its own failures to the log.
    return service->SaveSchemeFile(scheme.Get(), scheme.Get(), files) == S_OK ? S_OK : E_FAIL;
}

HRESULT CreateUIUtils(const IID* iid, void** out) { return CreateHostComponent<UIUtils>(iid, out); }

} // namespace host
