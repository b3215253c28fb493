#include "host/ui/Components.h"

namespace host {

// Defined beside the component each one makes.
HRESULT CreateConsoleDisplayComponent(const IID* iid, void** out);
HRESULT CreateEventLog(const IID* iid, void** out);

namespace {

constexpr HostComponent kRows[] = {
    {L"ConsoleLineDisplay", &CreateConsoleDisplayComponent},
    {L"EventLogGlobal", &CreateEventLog},
};

} // namespace

std::span<const HostComponent> UIComponents() { return kRows; }

} // namespace host
