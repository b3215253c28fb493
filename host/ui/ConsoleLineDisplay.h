// "ConsoleLineDisplay": a line display that writes the lines of a running
// step to a console stream.
//
// Two modes:
//   - verbose: every line on its own line as "title: text" (the text alone
//     when there is no title); lines of an error kind (the top bit set, as in
//     0x80000000 and 0xF0000000) start with "error: ".
//   - live: one status line, overwritten in place, shows the latest scanning
//     or progress line (kinds 0x70000000 and 0x10000000) as
//     "[count] title: text", shortened to the terminal width; the count is
//     the number of progress lines of kind 0x10000000 so far (one per file
//     copied or deleted). Error lines and result lines are written on lines
//     of their own above the status line (errors as in verbose mode, result
//     lines as their text alone); the status line is then drawn again.
//     Redraws of the status line are limited to one per refresh interval, so
//     that a run over many small files is not slowed down by the terminal.
// Control characters in titles and texts are shown as '?'. Text is written
// as UTF-8; characters that stand for undecodable file name bytes are
// written as those bytes.
//
// Lines may come from any thread; the display serialises them.
//
// A host program that links the host runtime configures the display with
// ConsoleOptions. One that only creates components by name configures it
// through its IRegistry face, section "ConsoleLineDisplay" (or an empty
// section name), with these keys:
//   "Output"       "stderr" (default), "stdout", or a file path to append to
//   "Mode"         "verbose" (default), "live", or "auto" (live when the
//                  output is a terminal, else verbose)
//   "Width"        columns of the live line; "0" (default) asks the terminal
//   "Refresh"      least milliseconds between two redraws (default "50")
//   "ResultTitles" titles separated by '|': lines of kind 0x10000000 under
//                  one of these titles are result lines
// DeleteValue sets a key back to its default. Refresh(0) on the
// IUIRefreshableObject face finishes the live line, as Finish does.
#pragma once

#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/HostObject.h"
#include "sdk/ScopedHandles.h"

namespace host {

enum class ConsoleMode { Verbose, Live, Automatic };

struct ConsoleLine {
    std::wstring_view title;
    std::wstring_view text;
    uint32_t kind;
};

struct ConsoleOptions {
    FILE* out = stderr; // not owned
    ConsoleMode mode = ConsoleMode::Verbose;
    int width = 0; // columns of the live line; 0 asks the terminal, then $COLUMNS, then 80
    std::chrono::milliseconds refresh{50};
    // Lines of kind 0x10000000 under one of these titles are result lines.
    std::vector<std::wstring> resultTitles;
    // Further result lines, whatever their kind.
    std::function<bool(const ConsoleLine&)> isResult;
};

class ConsoleLineDisplay final
    : public HostObject<IUILineDisplayable, IUIRefreshableObject, IRegistry> {
public:
    explicit ConsoleLineDisplay(ConsoleOptions options = {});

    HRESULT DisplayLine(IString* title, IString* text, uint32_t kind) override;
    // 0 finishes the live line; other values are refused (E_INVALIDARG).
    HRESULT Refresh(int32_t what) override;

    HRESULT GetValue(tagREFString section, tagREFString key, wchar_t* buffer,
                     int32_t capacity) override;
    HRESULT SetValue(tagREFString section, tagREFString key, tagREFString value) override;
    HRESULT DeleteValue(tagREFString section, tagREFString key) override;

    // Ends a run: erases the live status line (the error and result lines
    // stay) and starts the count again. Nothing happens in verbose mode.
    void Finish();
    // The mode in use (Automatic resolved).
    ConsoleMode Mode() const;
    // Progress lines counted since the last Finish.
    int64_t Count() const;

private:
    ~ConsoleLineDisplay() override;

    using Clock = std::chrono::steady_clock;

    void ApplyMode(ConsoleMode mode);
    bool IsResult(const ConsoleLine& line) const;
    void WriteVerbose(const ConsoleLine& line);
    void WriteLive(const ConsoleLine& line);
    void WriteOwnLine(const std::wstring& text);
    void DrawStatus();
    void EraseStatus();
    int Columns() const;
    void Put(std::wstring_view text);
    void FinishLocked();
    HRESULT SetLocked(std::wstring_view key, std::wstring_view value);
    std::optional<std::wstring> GetLocked(std::wstring_view key) const;

    mutable std::mutex m_lock;
    ConsoleOptions m_options;
    ScopedFILE m_ownedOut; // set when "Output" names a file
    std::wstring m_outputName = L"stderr";
    ConsoleMode m_requestedMode;
    ConsoleMode m_mode;
    std::wstring m_status; // latest progress line, "title: text"
    int64_t m_count = 0;
    bool m_drawn = false; // the status line is on the screen
    Clock::time_point m_lastDraw{};
    std::string m_bytes; // output buffer, reused
};

// A new display with the given options.
IPtr<ConsoleLineDisplay> CreateConsoleLineDisplay(ConsoleOptions options);

} // namespace host
