// One error line for the host's event log ("EventLogGlobal"), for host
// services that report failures nobody else sees.
#pragma once

#include <string_view>

namespace host {

// Writes (title, text) as an error line when the runtime offers an event
// log, and saves the log at once: failures are rare, and one that is not on
// the disk when the process ends is lost.
void WriteEventLogError(const wchar_t* title, std::wstring_view text);

} // namespace host
