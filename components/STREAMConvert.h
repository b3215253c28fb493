// CSTREAMConvert, the "STREAMConvert" step: passes a data stream through the
// host's stream transformer ("DataStreamEx"), forward or in reverse, and
// publishes the resulting stream in "OutputStream". The module does no
// compression, encryption, hashing or MIME coding: it turns its choices into
// one option word (the STREAM_* bits of sdk/Transforms.h) and hands the
// stream, the word and, for CBC encryption only, the key to the transformer.
// Its own data work is the manual header, written in front of a forward
// result as single-byte text through "ASCIIStream".
//
// The input ("Stream") is a data stream, or a zip file saved into a new
// stream, or else any object, which goes to the transformer as it is. A call
// that hands back nothing publishes an empty value, with no header. When
// the host cannot make the transformer (or, for a manual header, the text
// transform) the failure goes to "EventLogGlobal" and nothing is published.
// Execute always returns 0.
#pragma once

#include "module/Object.h"
#include "parameters/InputParametersImpl.h"
#include "step/StepImpl.h"

class CSTREAMConvert final : public CObject<CSTREAMConvert>,
                             public IObjectInfoImpl<CSTREAMConvert>,
                             public InputParametersImpl<CSTREAMConvert, IParameters>,
                             public IStepImplSynchronous<CSTREAMConvert, IStep, CTimer>,
                             public IUIPropertyPageSpecify {
public:
    static constexpr wchar_t kObjectName[] = L"STREAMConvert";

    // Parameter indexes, in declaration order.
    enum Parameter : int32_t {
        kStream = 0,
        kHeader = 1,
        kOptionalHeader = 2,
        kCompress = 3,
        kEncrypt = 4,
        kKey = 5,
        kKeyMangel = 6, // saved with the others; it changes nothing
        kAuthenticate = 7,
        kMime = 8,
        kRevert = 9,
        kOutputStream = 10,
    };
    // The choices of "Header" and "Encrypt" that change more than bits.
    static constexpr int32_t kHeaderManual = 1;
    static constexpr int32_t kEncryptCBC = 1;

    // No IReplicableObject: a conversion step is not copied.
    SHADOW_INTERFACE_TABLE(CSTREAMConvert, SHADOW_INTERFACE(IObjectInfo), SHADOW_INTERFACE(IUIPropertyPageSpecify),
                           SHADOW_INTERFACE(IStep), SHADOW_INTERFACE(IBindableObject),
                           SHADOW_INTERFACE(IDataPersist), SHADOW_INPUT_PARAMETERS, SHADOW_INTERFACE(IParameters))

    CSTREAMConvert() = default;

    HRESULT FinalConstruct() override;

    // IUIPropertyPageSpecify
    HRESULT GetPages(int32_t, INamedCollection** pages, IUnknown**) override;

    // The step's work, on the caller's thread.
    HRESULT Execute(CStopEvent* stop);

private:
    ~CSTREAMConvert() override = default;
    friend class CObject<CSTREAMConvert>;

    // The option word of the current choices. Hands the key to
    // `transformer` when "Encrypt" is CBC.
    int32_t OptionWord(IDataStreamEx* transformer);
    // The input as a stream (a zip file saved into a new one), or null;
    // `object` receives what "Stream" holds.
    IPtr<IDataStream> InputStream(IPtr<IUnknown>& object);
};
