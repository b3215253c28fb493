#include "host/ui/EventLog.h"

#include <pwd.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <algorithm>
#include <map>
#include <memory>
#include <vector>

#include "sdk/ScopedHandles.h"
#include "host/values/HostStrings.h"

namespace host {

namespace {

using File = ScopedFILE;

// One writer for the process: every line is written whole under its mutex.
class EventLogWriter final {
public:
    bool Write(const std::string& path, const std::string& line) {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::FILE* f = Open(path);
        return f && std::fwrite(line.data(), 1, line.size(), f) == line.size();
    }
    // False when the file was written to and could not be flushed.
    bool Flush(const std::string& path) {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto found = m_files.find(path);
        if (found == m_files.end()) return true;
        std::FILE* f = found->second.get();
        return std::fflush(f) == 0 && fsync(fileno(f)) == 0;
    }

private:
    std::FILE* Open(const std::string& path) {
        auto found = m_files.find(path);
        if (found != m_files.end()) {
            if (StillAt(path, found->second.get())) return found->second.get();
            // Removed or replaced (rotated) since it was opened: write what
            // is buffered to the old file and start on the new one.
            m_files.erase(found);
        }
        std::error_code ignored;
        std::filesystem::path parent = std::filesystem::path(path).parent_path();
        if (!parent.empty()) std::filesystem::create_directories(parent, ignored);
        File f(std::fopen(path.c_str(), "a"));
        if (!f) return nullptr;
        return m_files.emplace(path, std::move(f)).first->second.get();
    }

    static bool StillAt(const std::string& path, std::FILE* f) {
        struct stat byName {}, byHandle {};
        return stat(path.c_str(), &byName) == 0 && fstat(fileno(f), &byHandle) == 0 &&
               byName.st_dev == byHandle.st_dev && byName.st_ino == byHandle.st_ino;
    }

    std::mutex m_mutex;
    std::map<std::string, File> m_files;
};

// The process's listeners. Lines are handed on from a copy of the list, so a
// listener may log or unsubscribe while it is called.
class EventListeners final {
public:
    HRESULT Subscribe(IPtr<IUILineDisplayable> listener) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_listeners.push_back(std::move(listener));
        return S_OK;
    }
    HRESULT Unsubscribe(IUILineDisplayable* listener) {
        IPtr<IUILineDisplayable> gone; // released outside the lock
        std::lock_guard<std::mutex> lock(m_mutex);
        auto found = std::find_if(m_listeners.begin(), m_listeners.end(),
                                  [&](const IPtr<IUILineDisplayable>& l) { return l.Get() == listener; });
        if (found == m_listeners.end()) return S_FALSE;
        gone = std::move(*found);
        m_listeners.erase(found);
        return S_OK;
    }
    void Notify(IString* title, IString* text, uint32_t kind) {
        std::vector<IPtr<IUILineDisplayable>> now;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_listeners.empty()) return;
            now = m_listeners;
        }
        for (const auto& listener : now) listener->DisplayLine(title, text, kind);
    }

private:
    std::mutex m_mutex;
    std::vector<IPtr<IUILineDisplayable>> m_listeners;
};

EventListeners& Listeners() {
    // Never destroyed, as the writer: a late line must find it.
    static EventListeners* listeners = new EventListeners();
    return *listeners;
}

EventLogWriter& Writer() {
    // Never destroyed: detached worker threads may still log while the
    // process exits; the C library flushes the open files at exit.
    static EventLogWriter* writer = new EventLogWriter();
    return *writer;
}

std::wstring FromEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return value && *value ? FromUtf8(value) : std::wstring();
}

std::wstring KindName(uint32_t kind) {
    switch (kind) {
    case LINE_STATUS: return L"status";
    case LINE_PROGRESS: return L"progress";
    case LINE_ERROR: return L"error";
    case LINE_UPLOAD_ERROR: return L"upload error";
    default: {
        wchar_t buffer[16];
        std::swprintf(buffer, 16, L"0x%08X", kind);
        return buffer;
    }
    }
}

void AppendOneLine(std::wstring& out, std::wstring_view text) {
    for (wchar_t c : text) out += (c == L'\r' || c == L'\n') ? L' ' : c;
}

HRESULT ReturnString(std::wstring_view text, IString** out) {
    if (!out) return E_POINTER;
    *out = MakeString(text).Detach();
    return *out ? S_OK : E_FAIL;
}

} // namespace

std::wstring DefaultEventLogPath() {
    std::wstring path = FromEnvironment("SHADOW_EVENT_LOG");
    if (!path.empty()) return path;
    std::wstring state = FromEnvironment("XDG_STATE_HOME");
    if (!state.empty()) return state + L"/shadow/events.log";
    std::wstring home = FromEnvironment("HOME");
    if (home.empty()) {
        // No HOME: the account's home folder, else the current folder.
        if (const passwd* pw = getpwuid(getuid()); pw && pw->pw_dir) home = FromUtf8(pw->pw_dir);
        if (home.empty()) return L"shadow-events.log";
    }
    return home + L"/.local/state/shadow/events.log";
}

std::wstring FormatEventLine(const timespec& when, std::wstring_view title, std::wstring_view text, uint32_t kind) {
    tm local{};
    time_t seconds = when.tv_sec;
    localtime_r(&seconds, &local);
    wchar_t stamp[64];
    std::swprintf(stamp, 64, L"%04d-%02d-%02d %02d:%02d:%02d.%03ld ", local.tm_year + 1900, local.tm_mon + 1,
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<long>(when.tv_nsec / 1000000));
    std::wstring line = stamp;
    if (!title.empty()) {
        AppendOneLine(line, title);
        line += L": ";
    }
    AppendOneLine(line, text);
    line += L" [" + KindName(kind) + L"]";
    return line;
}

EventLog::EventLog() : m_path(DefaultEventLogPath()) {}

std::wstring EventLog::Path() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_path;
}

HRESULT EventLog::DisplayLine(IString* title, IString* text, uint32_t kind) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::string line = ToUtf8(FormatEventLine(now, ToWide(title), ToWide(text), kind));
    line += '\n';
    const bool written = Writer().Write(ToUtf8(Path()), line);
    Listeners().Notify(title, text, kind);
    return written ? S_OK : E_FAIL;
}

HRESULT EventLog::Advise(IUnknown* listener, int32_t on) {
    auto display = QueryAs<IUILineDisplayable>(listener);
    if (!display) return listener ? E_NOINTERFACE : E_POINTER;
    return on ? Listeners().Subscribe(std::move(display)) : Listeners().Unsubscribe(display.Get());
}

HRESULT EventLog::get_Filename(IString** name) { return ReturnString(Path(), name); }

HRESULT EventLog::put_Filename(IString* name) {
    std::wstring path = ToWide(name);
    if (path.empty()) path = DefaultEventLogPath();
    std::lock_guard<std::mutex> lock(m_mutex);
    m_path.swap(path);
    return S_OK;
}

HRESULT EventLog::get_Filter(IString** filter) { return ReturnString(L"Event logs (*.log)|*.log", filter); }

HRESULT EventLog::get_Name(IString** name) { return ReturnString(L"EventLogGlobal", name); }

HRESULT EventLog::Load() { return E_NOTIMPL; }

HRESULT EventLog::Save() { return Writer().Flush(ToUtf8(Path())) ? S_OK : E_FAIL; }

HRESULT CreateEventLog(const IID* iid, void** out) { return CreateHostComponent<EventLog>(iid, out); }

} // namespace host
