// CShadowVelmixList, the "ShadowVelmixList" step: saves the list of the
// components this process has in use to the file "FileName" names, in the
// form the packaging step reads as its components list. The host writes the
// list: the step asks the global collection for "ActiveComponentCollection"
// and has that object's file archive save itself.
//
//   "FileName"  the list's file; handed to the archive as it is, empty or
//               not (what an empty name means is the host's)
//
// Execute returns 0x80004005 when there is no global collection (none was
// handed to the module and none can be made from "CollectionsEx"), no
// "ActiveComponentCollection" or no file archive on it; then nothing is
// written. Otherwise 0: a failed save is the host's to report.
#pragma once

#include "module/Object.h"
#include "parameters/InputParametersImpl.h"
#include "step/StepImpl.h"

class CShadowVelmixList final : public CObject<CShadowVelmixList>,
                                public IObjectInfoImpl<CShadowVelmixList>,
                                public InputParametersImpl<CShadowVelmixList, IParameters>,
                                public IStepImplSynchronous<CShadowVelmixList, IStep, CTimer>,
                                public IUIPropertyPageSpecify {
public:
    static constexpr wchar_t kObjectName[] = L"ShadowVelmixList";

    // Parameter indexes, in declaration order.
    enum Parameter : int32_t {
        kFileName = 0,
    };

    SHADOW_INTERFACE_TABLE(CShadowVelmixList, SHADOW_INTERFACE(IObjectInfo), SHADOW_INTERFACE(IUIPropertyPageSpecify),
                           SHADOW_INTERFACE(IStep), SHADOW_INTERFACE(IBindableObject),
                           SHADOW_INTERFACE(IDataPersist), SHADOW_INPUT_PARAMETERS, SHADOW_INTERFACE(IParameters),
                           SHADOW_INTERFACE(IReplicableObject))

    CShadowVelmixList() = default;

    HRESULT FinalConstruct() override;

    // IUIPropertyPageSpecify
    HRESULT GetPages(int32_t, INamedCollection** pages, IUnknown**) override;

    // The step's work, on the caller's thread.
    HRESULT Execute(CStopEvent* stop);

private:
    ~CShadowVelmixList() override = default;
    friend class CObject<CShadowVelmixList>;
};
