// Helpers of the transfer family's tests: a link set up in one call, its
// outcome, bounded waits, a progress listener, the event log's last line.
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <ostream>
#include <thread>
#include <tuple>

#include "host/base/HostObject.h"
#include "host/transfer/FetchScheme.h"
#include "support/HostTestSupport.h"

namespace transfertest {

using namespace hosttest;

// Handed to a scheme as the request's link: progress reports must pass it on.
inline IUnknown* const kLinkMark = reinterpret_cast<IUnknown*>(0x1234);

// Bytes that differ from position to position, so a shifted copy shows.
inline std::string Pattern(size_t size) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 7 + i / 251) % 256);
    return bytes;
}

inline IPtr<IURLLink> NewLink(IUnknown* scheme, const std::wstring& url, const std::string& local) {
    IPtr<IURLLink> link = Make<IURLLink>(L"URLLink");
    EXPECT_EQ(link->put_Scheme(scheme), S_OK);
    EXPECT_EQ(link->put_LocalFile(Str(host::FromUtf8(local)).Get()), S_OK);
    EXPECT_EQ(link->put_URL(Str(url).Get()), S_OK);
    return link;
}

// Polls `done` every 5 ms for at most 20 s.
inline bool WaitFor(const std::function<bool()>& done) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

struct Outcome {
    HRESULT status = 0x7777;
    int32_t code = -7;
    int32_t httpStatus = -7;
    std::string text = "<untouched>";
    bool operator==(const Outcome&) const = default;
    friend void PrintTo(const Outcome& o, std::ostream* out) {
        *out << "0x" << std::hex << static_cast<uint32_t>(o.status) << std::dec << " " << o.code << " "
             << o.httpStatus << " \"" << o.text << "\"";
    }
};

inline Outcome LastError(IURLLink* link) {
    Outcome outcome;
    IPtr<IString> text;
    EXPECT_EQ(link->get_LastError(&outcome.status, &outcome.code, &outcome.httpStatus, text.Out()), S_OK);
    outcome.text = host::ToUtf8(host::ToWide(text.Get()));
    return outcome;
}

// Counts the progress reports it gets and keeps the last: source, received,
// total, extra.
class ProgressProbe final : public host::HostObject<_IUIProgressEvent> {
public:
    using Report = std::tuple<IUnknown*, int32_t, int32_t, IUnknown*>;
    static IPtr<ProgressProbe> Make() { return IPtr<ProgressProbe>::Adopt(new ProgressProbe()); }
    HRESULT Progress(IUnknown* source, int32_t received, int32_t total, IUnknown* extra) override {
        std::lock_guard guard(m_lock);
        ++m_calls;
        m_last = {source, received, total, extra};
        return S_OK;
    }
    int Calls() {
        std::lock_guard guard(m_lock);
        return m_calls;
    }
    Report Last() {
        std::lock_guard guard(m_lock);
        return m_last;
    }

private:
    std::mutex m_lock;
    int m_calls = 0;
    Report m_last{};
};

// The last line of the event log at `file`, without its time stamp.
inline std::string LastLogLine(const std::filesystem::path& file) {
    std::istringstream lines(ReadFile(file));
    std::string last;
    for (std::string line; std::getline(lines, line);) last = line.substr(std::min(line.size(), size_t{24}));
    return last;
}

} // namespace transfertest
