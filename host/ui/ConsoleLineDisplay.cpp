#include "host/ui/ConsoleLineDisplay.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cwchar>

#include "host/text/FileNameEncoding.h"
#include "host/ui/ConsoleText.h"

namespace host {

namespace {

constexpr wchar_t kSection[] = L"ConsoleLineDisplay";
constexpr char kEraseLine[] = "\r\x1b[K";

std::wstring_view View(const tagREFString& s) {
    if (s.m_Length <= 0 || !s.m_pString) return {};
    return {s.m_pString, static_cast<size_t>(s.m_Length)};
}

std::wstring_view View(IString* s) {
    tagREFString view{0, nullptr};
    if (!s || FAILED(s->GetString(&view))) return {};
    return View(view);
}

bool IsError(uint32_t kind) { return (kind & LINE_ERROR) != 0; }

std::wstring Compose(const ConsoleLine& line) {
    std::wstring out;
    out.reserve(line.title.size() + line.text.size() + 2);
    if (!line.title.empty()) {
        out += line.title;
        out += L": ";
    }
    out += line.text;
    return SanitizeLine(out);
}

// A whole decimal number within [0, limit], or -1.
long ParseCount(std::wstring_view text, long limit) {
    if (text.empty() || text.size() > 9) return -1;
    long value = 0;
    for (wchar_t c : text) {
        if (c < L'0' || c > L'9') return -1;
        value = value * 10 + (c - L'0');
    }
    return value <= limit ? value : -1;
}

std::vector<std::wstring> SplitTitles(std::wstring_view list) {
    std::vector<std::wstring> titles;
    while (!list.empty()) {
        size_t cut = list.find(L'|');
        if (cut != 0) titles.emplace_back(list.substr(0, cut));
        if (cut == std::wstring_view::npos) break;
        list.remove_prefix(cut + 1);
    }
    return titles;
}

std::wstring JoinTitles(const std::vector<std::wstring>& titles) {
    std::wstring out;
    for (const std::wstring& t : titles) {
        if (!out.empty()) out += L'|';
        out += t;
    }
    return out;
}

const wchar_t* ModeName(ConsoleMode mode) {
    switch (mode) {
    case ConsoleMode::Live: return L"live";
    case ConsoleMode::Automatic: return L"auto";
    case ConsoleMode::Verbose: break;
    }
    return L"verbose";
}

} // namespace

HRESULT CreateConsoleDisplayComponent(const IID* iid, void** out) {
    return CreateHostComponent<ConsoleLineDisplay>(iid, out);
}

IPtr<ConsoleLineDisplay> CreateConsoleLineDisplay(ConsoleOptions options) {
    // The constructor's reference is the one handed out.
    return IPtr<ConsoleLineDisplay>::Adopt(new ConsoleLineDisplay(std::move(options)));
}

ConsoleLineDisplay::ConsoleLineDisplay(ConsoleOptions options)
    : m_options(std::move(options)), m_requestedMode(m_options.mode), m_mode(ConsoleMode::Verbose) {
    if (!m_options.out) m_options.out = stderr;
    if (m_options.out == stdout)
        m_outputName = L"stdout";
    else if (m_options.out != stderr)
        m_outputName = L"stream"; // a stream chosen by the host program
    ApplyMode(m_requestedMode);
}

ConsoleLineDisplay::~ConsoleLineDisplay() {
    std::lock_guard<std::mutex> hold(m_lock);
    FinishLocked();
}

void ConsoleLineDisplay::ApplyMode(ConsoleMode mode) {
    m_requestedMode = mode;
    if (mode == ConsoleMode::Automatic) mode = isatty(fileno(m_options.out)) ? ConsoleMode::Live : ConsoleMode::Verbose;
    m_mode = mode;
}

ConsoleMode ConsoleLineDisplay::Mode() const {
    std::lock_guard<std::mutex> hold(m_lock);
    return m_mode;
}

int64_t ConsoleLineDisplay::Count() const {
    std::lock_guard<std::mutex> hold(m_lock);
    return m_count;
}

HRESULT ConsoleLineDisplay::DisplayLine(IString* title, IString* text, uint32_t kind) {
    ConsoleLine line{View(title), View(text), kind};
    std::lock_guard<std::mutex> hold(m_lock);
    if (m_mode == ConsoleMode::Live)
        WriteLive(line);
    else
        WriteVerbose(line);
    return S_OK;
}

HRESULT ConsoleLineDisplay::Refresh(int32_t what) {
    if (what != 0) return E_INVALIDARG;
    Finish();
    return S_OK;
}

void ConsoleLineDisplay::Finish() {
    std::lock_guard<std::mutex> hold(m_lock);
    FinishLocked();
}

void ConsoleLineDisplay::FinishLocked() {
    if (m_drawn) {
        m_bytes.assign(kEraseLine);
        std::fwrite(m_bytes.data(), 1, m_bytes.size(), m_options.out);
        std::fflush(m_options.out);
    }
    m_drawn = false;
    m_status.clear();
    m_count = 0;
}

bool ConsoleLineDisplay::IsResult(const ConsoleLine& line) const {
    if (line.kind == LINE_STATUS &&
        std::find(m_options.resultTitles.begin(), m_options.resultTitles.end(), line.title) !=
            m_options.resultTitles.end())
        return true;
    return m_options.isResult && m_options.isResult(line);
}

void ConsoleLineDisplay::Put(std::wstring_view text) { AppendFileNameBytes(text, m_bytes); }

void ConsoleLineDisplay::WriteVerbose(const ConsoleLine& line) {
    m_bytes.clear();
    if (IsError(line.kind)) m_bytes += "error: ";
    Put(Compose(line));
    m_bytes += '\n';
    std::fwrite(m_bytes.data(), 1, m_bytes.size(), m_options.out);
    std::fflush(m_options.out);
}

void ConsoleLineDisplay::WriteLive(const ConsoleLine& line) {
    if (IsError(line.kind)) {
        WriteOwnLine(L"error: " + Compose(line));
        return;
    }
    if (IsResult(line)) {
        WriteOwnLine(SanitizeLine(line.text));
        return;
    }
    if (line.kind == LINE_STATUS) ++m_count;
    m_status = Compose(line);
    const Clock::time_point now = Clock::now();
    if (!m_drawn || now - m_lastDraw >= m_options.refresh) DrawStatus();
}

// Writes a line above the status line and draws the status line again.
void ConsoleLineDisplay::WriteOwnLine(const std::wstring& text) {
    m_bytes.clear();
    if (m_drawn) m_bytes += kEraseLine;
    Put(text);
    m_bytes += '\n';
    std::fwrite(m_bytes.data(), 1, m_bytes.size(), m_options.out);
    m_drawn = false;
    if (!m_status.empty())
        DrawStatus();
    else
        std::fflush(m_options.out);
}

void ConsoleLineDisplay::DrawStatus() {
    std::wstring line = L"[" + std::to_wstring(m_count) + L"] ";
    // One column is left free: writing into the last column makes some
    // terminals wrap, and the next carriage return would then miss the line.
    const int room = Columns() - 1 - TextColumns(line);
    line += ShortenToColumns(m_status, room);
    m_bytes.assign("\r");
    Put(line);
    m_bytes += "\x1b[K";
    std::fwrite(m_bytes.data(), 1, m_bytes.size(), m_options.out);
    std::fflush(m_options.out);
    m_drawn = true;
    m_lastDraw = Clock::now();
}

int ConsoleLineDisplay::Columns() const {
    if (m_options.width > 0) return m_options.width;
    winsize size{};
    if (ioctl(fileno(m_options.out), TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    if (const char* env = std::getenv("COLUMNS")) {
        int columns = std::atoi(env);
        if (columns > 0) return columns;
    }
    return 80;
}

HRESULT ConsoleLineDisplay::GetValue(tagREFString section, tagREFString key, wchar_t* buffer,
                                     int32_t capacity) {
    std::wstring_view s = View(section);
    if (!s.empty() && s != kSection) return E_FAIL;
    if (!buffer || capacity <= 0) return E_POINTER;
    std::optional<std::wstring> value;
    {
        std::lock_guard<std::mutex> hold(m_lock);
        value = GetLocked(View(key));
    }
    if (!value) return E_FAIL;
    size_t n = std::min(value->size(), static_cast<size_t>(capacity - 1));
    std::wmemcpy(buffer, value->data(), n);
    buffer[n] = L'\0';
    return S_OK;
}

std::optional<std::wstring> ConsoleLineDisplay::GetLocked(std::wstring_view key) const {
    if (key == L"Output") return m_outputName;
    if (key == L"Mode") return ModeName(m_requestedMode);
    if (key == L"Width") return std::to_wstring(m_options.width);
    if (key == L"Refresh") return std::to_wstring(m_options.refresh.count());
    if (key == L"ResultTitles") return JoinTitles(m_options.resultTitles);
    return std::nullopt;
}

HRESULT ConsoleLineDisplay::SetValue(tagREFString section, tagREFString key, tagREFString value) {
    std::wstring_view s = View(section);
    if (!s.empty() && s != kSection) return E_FAIL;
    std::lock_guard<std::mutex> hold(m_lock);
    return SetLocked(View(key), View(value));
}

HRESULT ConsoleLineDisplay::DeleteValue(tagREFString section, tagREFString key) {
    std::wstring_view s = View(section);
    if (!s.empty() && s != kSection) return E_FAIL;
    std::wstring_view k = View(key);
    static const ConsoleOptions defaults;
    std::lock_guard<std::mutex> hold(m_lock);
    if (k == L"Output") return SetLocked(k, L"stderr");
    if (k == L"Mode") return SetLocked(k, ModeName(defaults.mode));
    if (k == L"Width") return SetLocked(k, std::to_wstring(defaults.width));
    if (k == L"Refresh") return SetLocked(k, std::to_wstring(defaults.refresh.count()));
    if (k == L"ResultTitles") return SetLocked(k, L"");
    return E_FAIL;
}

HRESULT ConsoleLineDisplay::SetLocked(std::wstring_view key, std::wstring_view value) {
    if (key == L"Output") {
        if (value.empty()) return E_INVALIDARG;
        FILE* out = nullptr;
        ScopedFILE owned;
        if (value == L"stderr") {
            out = stderr;
        } else if (value == L"stdout") {
            out = stdout;
        } else {
            owned.reset(std::fopen(FileNameToBytes(value).c_str(), "a"));
            if (!owned) return E_FAIL; // the old output stays
            out = owned.get();
        }
        FinishLocked();
        m_ownedOut = std::move(owned);
        m_options.out = out;
        m_outputName.assign(value);
        ApplyMode(m_requestedMode); // a terminal test of "auto" depends on the output
        return S_OK;
    }
    if (key == L"Mode") {
        ConsoleMode mode;
        if (value == L"verbose")
            mode = ConsoleMode::Verbose;
        else if (value == L"live")
            mode = ConsoleMode::Live;
        else if (value == L"auto")
            mode = ConsoleMode::Automatic;
        else
            return E_INVALIDARG;
        FinishLocked();
        ApplyMode(mode);
        return S_OK;
    }
    if (key == L"Width") {
        long width = ParseCount(value, 100000);
        if (width < 0) return E_INVALIDARG;
        m_options.width = static_cast<int>(width);
        return S_OK;
    }
    if (key == L"Refresh") {
        long ms = ParseCount(value, 3600000);
        if (ms < 0) return E_INVALIDARG;
        m_options.refresh = std::chrono::milliseconds(ms);
        return S_OK;
    }
    if (key == L"ResultTitles") {
        m_options.resultTitles = SplitTitles(value);
        return S_OK;
    }
    return E_FAIL;
}

} // namespace host
