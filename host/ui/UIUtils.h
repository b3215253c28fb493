// "UIUtils": hands files to the user. A host without windows has nothing to
// show, so OpenFileObject opens the file as a "File" object (IFileArchive,
// IDataStream), made by name through the global component collection, and
// hands that out; `parent`, `text` and `flags` are not used. CreateSchemeFile
// makes the host's "FASService" by name (it stands in a family above this
// one) and has it write the side's scheme file into the side itself.
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
    // E_INVALIDARG for a side that is no scheme; E_FAIL when the service
    // is missing or could not write the file (the reason in the log).
    HRESULT CreateSchemeFile(IUnknown* side, IString* name, int32_t* files) override;
};

HRESULT CreateUIUtils(const IID* iid, void** out);

} // namespace host
