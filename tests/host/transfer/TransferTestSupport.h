// Helpers of the transfer family's tests: a link set up in one call, bounded
// waits, the event log's last line.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

#include "host/transfer/FetchScheme.h"
#include "support/HostTestSupport.h"

namespace transfertest {

using namespace hosttest;

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
};

inline Outcome LastError(IURLLink* link) {
    Outcome outcome;
    IPtr<IString> text;
    EXPECT_EQ(link->get_LastError(&outcome.status, &outcome.code, &outcome.httpStatus, text.Out()), S_OK);
    outcome.text = host::ToUtf8(host::ToWide(text.Get()));
    return outcome;
}

// The last line of the event log at `file`, without its time stamp.
inline std::string LastLogLine(const std::filesystem::path& file) {
    std::istringstream lines(ReadFile(file));
    std::string last;
    for (std::string line; std::getline(lines, line);) last = line.substr(std::min(line.size(), size_t{24}));
    return last;
}

} // namespace transfertest
