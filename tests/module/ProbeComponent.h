// A test-only component built on the module's component core. It records
// its construction, final release and destruction, and can be told how its
// FinalConstruct ends and which host input-parameters object it holds.
#pragma once

#include <stdexcept>

#include "module/Object.h"

struct ProbeLog {
    int constructed = 0;
    int finalReleased = 0;
    int destroyed = 0;
};

class CProbe final : public CObject<CProbe>,
                     public IObjectInfoImpl<CProbe>,
                     public IStep,
                     public IUIPropertyPageSpecify {
public:
    static constexpr wchar_t kObjectName[] = L"Probe";

    // Shared settings of the instances the creator makes.
    static inline ProbeLog log;
    static inline HRESULT finalConstructResult = S_OK;
    static inline bool finalConstructThrows = false;
    static inline IInputParameters* inputParameters = nullptr;
    static inline bool referencesItselfInFinalRelease = false;

    CProbe() { ++log.constructed; }
    ~CProbe() { ++log.destroyed; }

    SHADOW_INTERFACE_TABLE(CProbe,
                           SHADOW_INTERFACE(IObjectInfo),
                           SHADOW_INTERFACE(IStep),
                           SHADOW_INPUT_PARAMETERS,
                           SHADOW_INTERFACE(IUIPropertyPageSpecify))

    HRESULT FinalConstruct() override {
        if (finalConstructThrows) throw std::runtime_error("construction failed");
        return finalConstructResult;
    }
    void FinalRelease() override {
        ++log.finalReleased;
        if (referencesItselfInFinalRelease) {
            AddRef();
            Release();
        }
    }

    IInputParameters* GetInputParameters() { return inputParameters; }

    HRESULT TurnOn() override { return S_OK; }
    HRESULT TurnOff() override { return S_OK; }
    bool IsRunning() override { return false; }
    HRESULT get_ExecutionTime(double*) override { return S_OK; }

    HRESULT GetPages(int32_t, INamedCollection** pages, IUnknown**) override {
        return OBJECTPropertyPages(pages, {L"UIPropPages.UIInputParametersPropPage",
                                           L"UIPropPages.UIParametersPropPage"});
    }

    static void ResetSettings() {
        log = {};
        finalConstructResult = S_OK;
        finalConstructThrows = false;
        inputParameters = nullptr;
        referencesItselfInFinalRelease = false;
    }
};
