// Where the service's lines go: the line display it was given (may be none)
// and, for failures, the host's event log ("EventLogGlobal") as well.
#pragma once

#include <string>
#include <string_view>

#include "sdk/Framework.h"

namespace host::fas {

class Report final {
public:
    explicit Report(IPtr<IUILineDisplayable> display) : m_display(std::move(display)) {}

    void Progress(std::wstring_view title, std::wstring_view text) const;
    void Status(std::wstring_view title, std::wstring_view text) const;
    // On the display as LINE_ERROR, and in the event log under "FASService".
    void Error(std::wstring_view title, std::wstring_view text) const;

private:
    void Line(std::wstring_view title, std::wstring_view text, uint32_t kind) const;

    IPtr<IUILineDisplayable> m_display;
};

} // namespace host::fas
