#include "host/archive/Report.h"

#include "host/runtime/EventLogLine.h"
#include "host/values/HostStrings.h"

namespace host::fas {

void Report::Line(std::wstring_view title, std::wstring_view text, uint32_t kind) const {
    if (m_display) m_display->DisplayLine(MakeString(title).Get(), MakeString(text).Get(), kind);
}

void Report::Progress(std::wstring_view title, std::wstring_view text) const { Line(title, text, LINE_PROGRESS); }

void Report::Status(std::wstring_view title, std::wstring_view text) const { Line(title, text, LINE_STATUS); }

void Report::Error(std::wstring_view title, std::wstring_view text) const {
    Line(title, text, LINE_ERROR);
    WriteEventLogError(L"FASService", std::wstring(title) + L": " + std::wstring(text));
}

} // namespace host::fas
