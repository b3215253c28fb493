// CURLGet, the "URLGet" step: fetches the resource "URL" names into a local
// cache folder through the host's "URLhttp" scheme and "URLLink", then
// either starts the fetched file (a workspace, "CreateRun" set) or hands it
// to the host as a file object ("FileObject"). The module itself holds no
// network code: it builds the full URL and the local path, prepares the
// cache folder, shows progress and acts on the result.
//
//   "URL"            "http://..." is taken as it is; anything else is a
//                    name under gDefaultURL (".xWS" added when it has no ".")
//   "Arg"            appended after a blank to the command line of a run
//   "CacheLocation"  the cache folder; empty: <install path>/wwwExchange
//   "CreateRun"      1: start a fetched workspace (".xWS"); 0: open the file
//   "FileObject"     output: the file object, or 0 after a run
//
// The line display is the one bound to the "UILineDisplayable" input, else
// a "MessageWindow". TurnOn chooses it, Execute (worker thread) and Progress
// (the scheme's thread) write to it, Execute lets it go at its end, after
// the listener is detached. The reference sits in a small locked slot, so
// the three threads never race on it. Bind is InputParametersImpl's: inputs
// first, then parameter descriptors.
//
// Execute always returns 0; the outcome of the transfer is not examined.
// Only a missing "URLhttp" or "URLLink" ends it early, with an error line on
// the display and in "EventLogGlobal".
#pragma once

#include <mutex>
#include <string>
#include <utility>

#include "module/Object.h"
#include "parameters/InputParametersImpl.h"
#include "sdk/Transfer.h"
#include "step/StepImpl.h"

class CURLGet final : public CObject<CURLGet>,
                      public IObjectInfoImpl<CURLGet>,
                      public InputParametersImpl<CURLGet, IParameters>,
                      public IStepImplAsynchronous<CURLGet, IStep, CTimer>,
                      public IUIPropertyPageSpecify,
                      public _IUIProgressEvent {
public:
    static constexpr wchar_t kObjectName[] = L"URLGet";

    // Parameter indexes, in declaration order.
    enum Parameter : int32_t {
        kURL = 0,
        kArg = 1,
        kCacheLocation = 2,
        kCreateRun = 3,
        kFileObject = 4,
    };

    SHADOW_INTERFACE_TABLE(CURLGet, SHADOW_INTERFACE(IObjectInfo), SHADOW_INTERFACE(IStep),
                           SHADOW_INTERFACE(IUIPropertyPageSpecify), SHADOW_INTERFACE(_IUIProgressEvent),
                           SHADOW_INTERFACE(IBindableObject), SHADOW_INTERFACE(IDataPersist),
                           SHADOW_INPUT_PARAMETERS, SHADOW_INTERFACE(IParameters),
                           SHADOW_INTERFACE(IReplicableObject))

    CURLGet() = default;

    HRESULT FinalConstruct() override;

    // IUIPropertyPageSpecify
    HRESULT GetPages(int32_t, INamedCollection** pages, IUnknown**) override;

    // _IUIProgressEvent: one "Downloading ..." line on the display, then a
    // refresh of the active workspace. Called on the scheme's thread.
    HRESULT Progress(IUnknown* source, int32_t received, int32_t total, IUnknown* extra) override;

    // IStep: chooses the display, then starts the worker.
    HRESULT TurnOn() override;

    // The transfer, on the worker thread.
    HRESULT Execute(CStopEvent* stop);

    // Test hook: how many polls TurnOff waits for the worker.
    using IStepImplAsynchronous::SetWaitLimit;

private:
    ~CURLGet() override = default;
    friend class CObject<CURLGet>;

    // The display shared by TurnOn, Execute and Progress. Get hands out a
    // reference of its own, so a line written outside the lock never uses a
    // display the slot has let go of.
    class DisplaySlot final {
    public:
        IPtr<IUILineDisplayable> Get() const {
            std::lock_guard<std::mutex> lock(m_Mutex);
            return m_Display;
        }
        void Set(IPtr<IUILineDisplayable> display) {
            {
                std::lock_guard<std::mutex> lock(m_Mutex);
                std::swap(m_Display, display);
            }
            // The old display is released here, outside the lock.
        }
        void Clear() { Set(IPtr<IUILineDisplayable>()); }

    private:
        mutable std::mutex m_Mutex;
        IPtr<IUILineDisplayable> m_Display;
    };

    // A parameter's value as text (a number in its text form); never null
    // unless the host cannot make a string.
    IPtr<IString> ParameterString(int32_t index);
    // Writes (component name, text, kind) to `display` when there is one.
    static void Line(IUILineDisplayable* display, std::wstring_view text, uint32_t kind);
    // "Cannot create <component>": an error line on the display and in the
    // host's event log.
    static void ReportMissing(IUILineDisplayable* display, const wchar_t* component);
    // Starts the fetched file (CreateRun) or opens it as "FileObject".
    void Deliver(const std::wstring& localPath);

    DisplaySlot m_Display;
};
