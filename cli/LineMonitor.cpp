#include "cli/LineMonitor.h"

#include <cstdio>

#include "cli/CliError.h"
#include "cli/HostRuntime.h"
#include "cli/ProgressBar.h"
#include "cli/Text.h"

namespace cli {

namespace {

void Configure(IRegistry* settings, const wchar_t* key, const std::wstring& value) {
    const wchar_t section[] = L"ConsoleLineDisplay";
    std::wstring k(key);
    std::wstring v(value);
    settings->SetValue(tagREFString{static_cast<int32_t>(std::size(section) - 1), const_cast<wchar_t*>(section)},
                       tagREFString{static_cast<int32_t>(k.size()), k.data()},
                       tagREFString{static_cast<int32_t>(v.size()), v.data()});
}
} // namespace

std::string ByteText(double bytes) {
    static const char* const units[] = {"bytes", "KB", "MB", "GB", "TB"};
    size_t unit = 0;
    while (bytes >= 1024.0 && unit + 1 < std::size(units)) {
        bytes /= 1024.0;
        ++unit;
    }
    char buffer[64];
    if (unit == 0) std::snprintf(buffer, sizeof buffer, "%.0f bytes", bytes);
    else std::snprintf(buffer, sizeof buffer, "%.1f %s", bytes, units[unit]);
    return buffer;
}

IPtr<LineMonitor> LineMonitor::Create(const HostRuntime& runtime, bool live, const std::wstring& resultTitle) {
    auto settings = runtime.Create<IRegistry>(L"ConsoleLineDisplay");
    auto display = settings.Query<IUILineDisplayable>();
    if (!display) throw Failure("the host runtime has no ConsoleLineDisplay");
    Configure(settings.Get(), L"Output", L"stdout");
    Configure(settings.Get(), L"Mode", live ? L"live" : L"verbose");
    Configure(settings.Get(), L"ResultTitles", resultTitle);
    return IPtr<LineMonitor>::Adopt(
        new LineMonitor(runtime.Components(), std::move(display), live, resultTitle));
}

LineMonitor::LineMonitor(IComponentCollection* components, IPtr<IUILineDisplayable> display, bool live,
                         std::wstring resultTitle)
    : m_components(components), m_display(std::move(display)), m_live(live), m_resultTitle(std::move(resultTitle)) {}

HRESULT LineMonitor::DisplayLine(IString* title, IString* text, uint32_t kind) {
    if (kind & LINE_ERROR) m_errors.fetch_add(1); // LINE_ERROR and LINE_UPLOAD_ERROR
    bool progress = kind == LINE_PROGRESS || kind == LINE_STATUS;
    if (m_live && m_bars && kind == LINE_PROGRESS) {
        if (IPtr<IString> bar = MakeHostString(m_components.Get(), WithProgressBar(TextOf(text))))
            return m_display->DisplayLine(title, bar.Get(), kind);
    }
    if (m_live && progress && TextOf(title) != m_resultTitle) {
        IPtr<IString> shown = ProgressTitle(title);
        return m_display->DisplayLine(shown ? shown.Get() : title, text, kind);
    }
    return m_display->DisplayLine(title, text, kind);
}

IPtr<IString> LineMonitor::ProgressTitle(IString* title) {
    IPtr<IShadow> shadow;
    {
        std::lock_guard<std::mutex> hold(m_watchLock);
        shadow = m_shadow;
    }
    if (!shadow) return {};
    double copied = 0, deleted = 0;
    shadow->GetCopyStatistics(nullptr, &copied);
    shadow->GetDeleteStatistics(nullptr, &deleted);
    std::string extra = " (" + ByteText(copied) + " copied";
    if (deleted > 0) extra += ", " + ByteText(deleted) + " deleted";
    extra += ")";
    // Null when no string can be made: the plain title is shown then.
    return MakeHostString(m_components.Get(), TextOf(title) + FromUtf8(extra).value_or(L""));
}

void LineMonitor::WatchStatistics(IShadow* shadow) {
    std::lock_guard<std::mutex> hold(m_watchLock);
    m_shadow.Reset(shadow);
}

void LineMonitor::Finish() {
    if (auto refreshable = m_display.Query<IUIRefreshableObject>()) refreshable->Refresh(0);
}

} // namespace cli
