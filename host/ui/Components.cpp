#include "host/ui/Components.h"

#include "host/ui/MessageWindow.h"
#include "host/ui/UIUtils.h"
#include "host/ui/VerbCollection.h"

namespace host {

// Defined beside the component each one makes.
HRESULT CreateConsoleDisplayComponent(const IID* iid, void** out);
HRESULT CreateEventLog(const IID* iid, void** out);

namespace {

constexpr HostComponent kRows[] = {
    {L"ConsoleLineDisplay", &CreateConsoleDisplayComponent},
    {L"EventLogGlobal", &CreateEventLog},
    {L"MessageWindow", &CreateMessageWindow},
    {L"UIUtils", &CreateUIUtils},
    {L"UIVerbCollection", &CreateVerbCollection},
};

} // namespace

std::span<const HostComponent> UIComponents() { return kRows; }

} // namespace host
