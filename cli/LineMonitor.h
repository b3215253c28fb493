// The line display the command line binds to a step: it notes error lines
// (for the exit code) and hands every line on to the host's console display.
// In live mode the phase title of progress lines is given the bytes handled
// so far, read from the step's own statistics.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "host/base/HostObject.h"
#include "sdk/Framework.h"

namespace cli {

class HostRuntime;

class LineMonitor final : public host::HostObject<IUILineDisplayable> {
public:
    // Creates the host's "ConsoleLineDisplay" writing to stdout, in live
    // mode or with every line printed. Lines of kind 0x10000000 under
    // `resultTitle` (the component's name) are its result lines, which the
    // live mode keeps. Throws CliError when the runtime has no console display.
    static IPtr<LineMonitor> Create(const HostRuntime& runtime, bool live, const std::wstring& resultTitle);

    HRESULT DisplayLine(IString* title, IString* text, uint32_t kind) override;

    // While set, progress titles carry the copied and deleted bytes of this
    // step. Lines arrive on the thread that does the work, right after it
    // has counted, so the statistics are read there.
    void WatchStatistics(IShadow* shadow);
    // In live mode, progress lines that end in a percentage are drawn with
    // a bar in front.
    void ShowProgressBars() { m_bars = true; }
    // Ends the live status line; the kept lines stay.
    void Finish();
    int ErrorCount() const { return m_errors.load(); }
    bool Live() const { return m_live; }

    LineMonitor(const LineMonitor&) = delete;
    LineMonitor& operator=(const LineMonitor&) = delete;

private:
    LineMonitor(IComponentCollection* components, IPtr<IUILineDisplayable> display, bool live,
                std::wstring resultTitle);
    ~LineMonitor() override = default;

    IPtr<IString> ProgressTitle(IString* title);

    IPtr<IComponentCollection> m_components; // makes the titles shown
    IPtr<IUILineDisplayable> m_display;
    bool m_live;
    bool m_bars = false;
    std::wstring m_resultTitle;
    std::mutex m_watchLock;
    IPtr<IShadow> m_shadow;
    std::atomic<int> m_errors{0};
};

// "12.3 KB": a byte count for people, in units of 1024.
std::string ByteText(double bytes);

} // namespace cli
