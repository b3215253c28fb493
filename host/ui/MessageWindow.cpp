#include "host/ui/MessageWindow.h"

#include <cstdio>

namespace host {

namespace {

ConsoleOptions VerboseOnStandardError() {
    ConsoleOptions options;
    options.out = stderr;
    options.mode = ConsoleMode::Verbose;
    return options;
}

} // namespace

MessageWindow::MessageWindow() : m_console(CreateConsoleLineDisplay(VerboseOnStandardError())) {}

HRESULT MessageWindow::DisplayLine(IString* title, IString* text, uint32_t kind) {
    return m_console->DisplayLine(title, text, kind);
}

HRESULT CreateMessageWindow(const IID* iid, void** out) { return CreateHostComponent<MessageWindow>(iid, out); }

} // namespace host
