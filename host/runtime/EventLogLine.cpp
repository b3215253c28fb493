#include "host/runtime/EventLogLine.h"

#include "host/base/ComponentRegistry.h"
#include "host/values/HostStrings.h"

namespace host {

void WriteEventLogError(const wchar_t* title, std::wstring_view text) {
    HostCreator creator = FindHostComponent(REFLiteral(L"EventLogGlobal"));
    IPtr<IUILineDisplayable> log;
    if (!creator || FAILED(creator(&IPtr<IUILineDisplayable>::Id(), log.OutVoid())) || !log) return;
    log->DisplayLine(MakeString(title).Get(), MakeString(text).Get(), LINE_ERROR);
    if (IPtr<IFileArchive> file = log.Query<IFileArchive>()) file->Save();
}

} // namespace host
