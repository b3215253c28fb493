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

// A user-interface manager of an object; Update(0) lets the object's views
// show its current state.
struct IUIManager : IUnknown {
    virtual HRESULT Update(int32_t what) = 0;
};

// An entity a host draws that stands for another object (a display window
// for its line display, for instance).
struct IRenderableObjectEntity : IUnknown {
    // The object the entity stands for, with one reference.
    virtual HRESULT get_Object(IUnknown** object) = 0;
};

// The verbs an object offers its user, in order: each a text and an action
// code; a separator is an entry without text. Made by the host as
// "UIVerbCollection".
struct IUIVerbCollection : ISimpleCollection {
    // Appends a verb; a null or empty text appends a separator.
    virtual HRESULT AddVerb(IString* text, int32_t code) = 0;
    // The verb at `index`: its text (empty for a separator) and its code.
    // Either output may be null.
    virtual HRESULT get_Verb(int32_t index, IString** text, int32_t* code) = 0;
};

struct IUIVerbCollectionSpecify : IUnknown {
    // A new collection of the object's verbs. `reserved` and `context` are
    // for hosts that offer different verbs in different places.
    virtual HRESULT GetVerbs(int32_t reserved, IUnknown* context, IUIVerbCollection** verbs) = 0;
    // Performs the verb with this action code. A code the object does not
    // handle comes back unchanged as the result, so that the host performs
    // its own default for it; a handled code gives S_OK or a failure.
    virtual HRESULT DoAction(int32_t code, IUnknown* context) = 0;
};
