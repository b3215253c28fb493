// "EventLogGlobal": the process's event log. Each displayed line is appended
// to a log file as
//     YYYY-MM-DD HH:MM:SS.mmm <title>: <text> [<kind>]
// in local time, where the kind is "status", "progress", "error",
// "upload error" or the flags word in hexadecimal. Line breaks inside the
// title or text become blanks so that every event stays one line; an empty
// title leaves out "<title>: ".
//
// The file is, unless put_Filename chose another for this instance: the
// environment variable SHADOW_EVENT_LOG, else $XDG_STATE_HOME/shadow/events.log,
// else $HOME/.local/state/shadow/events.log. Its folder is created on the
// first line. All instances share one writer, so lines of concurrent writers
// never interleave; Save pushes what is buffered out to the disk.
//
// Listeners subscribed through IEventSource (on any instance: they are the
// process's) receive every line after it was written, on the logging
// thread, outside the log's locks; a line display of the command line uses
// this to show the failures a run recorded.
#pragma once

#include <time.h>

#include <mutex>
#include <string>
#include <string_view>

#include "host/base/HostObject.h"

namespace host {

// The log file used when none is chosen.
std::wstring DefaultEventLogPath();

// "YYYY-MM-DD HH:MM:SS.mmm <title>: <text> [<kind>]" without the line end.
std::wstring FormatEventLine(const ::timespec& when, std::wstring_view title, std::wstring_view text,
                             uint32_t kind);

class EventLog final : public HostObject<IUILineDisplayable, IFileArchive, IEventSource> {
public:
    EventLog();

    // E_FAIL when the log file cannot be opened or written.
    HRESULT DisplayLine(IString* title, IString* text, uint32_t kind) override;

    HRESULT get_Filename(IString** name) override;
    // Null or empty returns this instance to the default file.
    HRESULT put_Filename(IString* name) override;
    HRESULT get_Filter(IString** filter) override;
    HRESULT get_Name(IString** name) override;
    // The log is only ever appended to: there is nothing to load (E_NOTIMPL).
    HRESULT Load() override;
    // Flushes the lines written so far to the disk; S_OK when nothing was
    // written yet.
    HRESULT Save() override;

    // E_NOINTERFACE for a listener that is not a line display; unsubscribing
    // one that is not subscribed answers S_FALSE.
    HRESULT Advise(IUnknown* listener, int32_t on) override;

private:
    std::wstring Path();

    std::mutex m_mutex;
    std::wstring m_path;
};

} // namespace host
