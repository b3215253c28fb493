#include "host/ui/UIUtils.h"

#include <string>

#include "host/runtime/EventLogLine.h"
#include "host/runtime/GlobalComponentCollection.h"
#include "host/values/HostStrings.h"

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

HRESULT CreateUIUtils(const IID* iid, void** out) { return CreateHostComponent<UIUtils>(iid, out); }

} // namespace host
