// "MessageWindow": the line display a step uses when none is bound to it.
// A host without a window shows the lines on the console: each one on a
// line of its own on standard error, as the verbose mode of
// "ConsoleLineDisplay" writes it ("title: text", error lines starting with
// "error: "). Unlike that component it cannot be set to another output or
// mode: it is the fixed fallback, not a configurable display.
#pragma once

#include "host/base/HostObject.h"
#include "host/ui/ConsoleLineDisplay.h"

namespace host {

class MessageWindow final : public HostObject<IUILineDisplayable> {
public:
    MessageWindow();

    HRESULT DisplayLine(IString* title, IString* text, uint32_t kind) override;

private:
    IPtr<ConsoleLineDisplay> m_console;
};

HRESULT CreateMessageWindow(const IID* iid, void** out);

} // namespace host
