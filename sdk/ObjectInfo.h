// Component identity and user-interface faces used by the module.
#pragma once

#include "Collections.h"

struct IObjectInfo : IUnknown {
    // Stores the component's registered name (not copied; must not be freed).
    virtual HRESULT GetName(int32_t reserved, tagREFString* name) = 0;
};

struct IUIPropertyPageSpecify : IUnknown {
    // Returns a new collection of the property page names, in order.
    virtual HRESULT GetPages(int32_t reserved, INamedCollection** pages, IUnknown** extra) = 0;
};

// Kinds of the lines written to a line display.
enum LineKind : uint32_t {
    LINE_STATUS = 0x10000000u,   // status and results
    LINE_PROGRESS = 0x70000000u, // scanning and progress
    LINE_ERROR = 0x80000000u,    // error of a pass
    LINE_UPLOAD_ERROR = 0xF0000000u,
};

struct IUILineDisplayable : IUnknown {
    virtual HRESULT DisplayLine(IString* title, IString* text, uint32_t kind) = 0;
};

// A source of events that listeners subscribe to. The host's event log
// ("EventLogGlobal") hands every line it records to each listener that
// answers IUILineDisplayable, on the thread that logs it; a URL scheme hands
// the progress of its transfers to each listener that answers
// _IUIProgressEvent (sdk/Transfer.h).
struct IEventSource : IUnknown {
    // `on` 1 subscribes the listener (holding a reference), 0 unsubscribes it.
    virtual HRESULT Advise(IUnknown* listener, int32_t on) = 0;
};

struct IUIRefreshableObject : IUnknown {
    virtual HRESULT Refresh(int32_t what) = 0;
};
