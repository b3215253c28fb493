// "UIUtils": hands files to the user. A host without windows has nothing to
// show, so OpenFileObject opens the file as a "File" object (IFileArchive,
// IDataStream), made by name through the global component collection, and
// hands that out; `parent`, `text` and `flags` are not used.
#pragma once

#include "host/base/HostObject.h"

namespace host {

class UIUtils final : public HostObject<IUIUtils> {
public:
    UIUtils() = default;

    // E_POINTER for a null `result`; E_FAIL, with `*result` null, when the
    // file cannot be opened (the reason goes to the event log).
    HRESULT OpenFileObject(tagREFString path, IUnknown* parent, tagREFString text, IUnknown** result,
                           int32_t flags) override;
    // The file-archive-scheme service is not built yet.
    HRESULT CreateSchemeFile(IUnknown*, IString*, int32_t*) override { return E_NOTIMPL; }
};

HRESULT CreateUIUtils(const IID* iid, void** out);

} // namespace host
