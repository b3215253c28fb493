// CSTRINGConvert, the "STRINGConvert" step: converts the text of "InStrng"
// with one of the host's text transforms and stores the result in
// "OutString". The module converts nothing itself.
//
//   "Conversion"  "OutString" afterwards
//   Off           the "InStrng" string object itself
//   CB2312        the data stream "UnicodeGB2312" wrote (Revert: decoded)
//   Interpret     forward: a new string, the text read with its escapes
//                 turned into characters and back ("ASCIIStream");
//                 Revert: the data stream the decoding wrote
//   Mime64        unchanged: this step does not carry the MIME codings out
//   MimeHex       the "InStrng" string object itself, as Off
// A transform the host cannot make is left out; the output is set all the
// same. Execute always returns 0.
#pragma once

#include "module/Object.h"
#include "parameters/InputParametersImpl.h"
#include "step/StepImpl.h"

class CSTRINGConvert final : public CObject<CSTRINGConvert>,
                             public IObjectInfoImpl<CSTRINGConvert>,
                             public InputParametersImpl<CSTRINGConvert, IParameters>,
                             public IStepImplSynchronous<CSTRINGConvert, IStep, CTimer>,
                             public IUIPropertyPageSpecify {
public:
    static constexpr wchar_t kObjectName[] = L"STRINGConvert";

    // Parameter indexes, in declaration order.
    enum Parameter : int32_t {
        kInString = 0,
        kOutString = 1,
        kConversion = 2,
        kRevert = 3,
    };
    // The choices of "Conversion".
    enum Conversion : int32_t {
        kOff = 0,
        kCB2312 = 1,
        kInterpret = 2,
        kMime64 = 3,
        kMimeHex = 4,
    };

    // No IReplicableObject: a conversion step is not copied.
    SHADOW_INTERFACE_TABLE(CSTRINGConvert, SHADOW_INTERFACE(IObjectInfo), SHADOW_INTERFACE(IUIPropertyPageSpecify),
                           SHADOW_INTERFACE(IStep), SHADOW_INTERFACE(IBindableObject),
                           SHADOW_INTERFACE(IDataPersist), SHADOW_INPUT_PARAMETERS, SHADOW_INTERFACE(IParameters))

    CSTRINGConvert() = default;

    HRESULT FinalConstruct() override;

    // IUIPropertyPageSpecify
    HRESULT GetPages(int32_t, INamedCollection** pages, IUnknown**) override;

    // The step's work, on the caller's thread.
    HRESULT Execute(CStopEvent* stop);

private:
    ~CSTRINGConvert() override = default;
    friend class CObject<CSTRINGConvert>;
};
