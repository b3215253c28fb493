// The event log line written when an exception escapes a step's Execute.
#include "step/StepImpl.h"

#include "core/Helpers.h"
#include "module/Module.h"

void STEPLogException(IUnknown* step, const wchar_t* format, int value) noexcept {
    try {
        IPtr<IUILineDisplayable> log = CreateHostObject<IUILineDisplayable>(L"EventLogGlobal");

        wchar_t message[256] = {};
        _swprintf(message, 256, format, value);

        tagREFString name{0, nullptr};
        if (IPtr<IObjectInfo> info = QueryAs<IObjectInfo>(step)) info->GetName(0, &name);

        if (log) {
            IPtr<IString> title = IPtr<IString>::Adopt(ISCreate(name));
            IPtr<IString> text = IPtr<IString>::Adopt(ISCreate(message));
            log->DisplayLine(title.Get(), text.Get(), LINE_ERROR);
        }
        // Written out at once, so the line survives a crash that follows.
        if (IPtr<IFileArchive> archive = log.Query<IFileArchive>()) archive->Save();
    } catch (...) {
        // Reporting a failure must not raise another one.
    }
}
