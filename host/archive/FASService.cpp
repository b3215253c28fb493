#include "host/archive/FASService.h"

#include <exception>

#include "host/archive/SyncJob.h"
#include "host/values/HostStrings.h"
#include "sdk/ScopeExit.h"

namespace host {

namespace {

// Claims the service for one operation; false when one runs already.
bool Claim(std::atomic<bool>& running, std::atomic<bool>& stop) {
    bool expected = false;
    if (!running.compare_exchange_strong(expected, true)) return false;
    stop.store(false);
    return true;
}

} // namespace

HRESULT FASService::put_SchemeFile(IString* name) {
    std::wstring text = name ? ToWide(name) : std::wstring();
    if (text.empty()) text = kDefaultSchemeFile;
    if (!fas::IsRelativeName(text)) return E_INVALIDARG;
    std::lock_guard hold(m_lock);
    m_schemeName = std::move(text);
    return S_OK;
}

HRESULT FASService::put_LineDisplay(IUILineDisplayable* display) {
    IPtr<IUILineDisplayable> held(display);
    std::lock_guard hold(m_lock);
    std::swap(m_display, held);
    return S_OK; // the old display is released outside the lock
}

HRESULT FASService::Stop() {
    m_stop.store(true);
    return S_OK;
}

HRESULT FASService::IsRunning() { return m_running.load() ? S_OK : S_FALSE; }

// A missing side is reported too: a step that hands on a scheme it could
// not make shows the failure nowhere else.
HRESULT FASService::Refuse(const wchar_t* what) {
    IPtr<IUILineDisplayable> display;
    {
        std::lock_guard hold(m_lock);
        display = m_display;
    }
    fas::Report(display).Error(L"FASService", what);
    return E_INVALIDARG;
}

HRESULT FASService::Transfer(IFileArchiveScheme* server, IFileArchiveScheme* client, int32_t mode) {
    if (!server || !client) return Refuse(L"no server or no client side was given");
    if (mode < FAS_UPDATE || mode > FAS_INSTALL_ALL) return Refuse(L"the transfer mode is none of 0 to 3");
    return RunSync(server, client, static_cast<Action>(mode));
}

HRESULT FASService::Commit(IFileArchiveScheme* client, IFileArchiveScheme* server) {
    if (!server || !client) return Refuse(L"no server or no client side was given");
    return RunSync(server, client, Action::Commit);
}

HRESULT FASService::LoadSchemeFile(IFileArchiveScheme* server, IFileArchiveScheme* client) {
    if (!server || !client) return Refuse(L"no server or no client side was given");
    return RunSync(server, client, Action::Preview);
}

HRESULT FASService::RunExclusive(const wchar_t* title, IFileArchiveScheme* first, IFileArchiveScheme* second,
                                 const Operation& work) {
    std::wstring name;
    IPtr<IUILineDisplayable> display;
    {
        std::lock_guard hold(m_lock);
        name = m_schemeName;
        display = m_display;
    }
    fas::Report report(display);
    IPtr<ILocationScheme> firstSide = QueryAs<ILocationScheme>(first);
    IPtr<ILocationScheme> secondSide = QueryAs<ILocationScheme>(second);
    if (!firstSide || !secondSide) {
        report.Error(title, L"a side is no location the service can reach");
        return E_FAIL;
    }
    if (!Claim(m_running, m_stop)) {
        report.Error(title, L"another operation of this service is running");
        return E_FAIL;
    }
    ScopeExit done([&] { m_running.store(false); });
    try {
        return work(firstSide.Get(), secondSide.Get(), name, report);
    } catch (const std::exception& error) {
        report.Error(title, L"the operation failed: " + FromUtf8(error.what()));
    }
    return E_FAIL;
}

HRESULT FASService::RunSync(IFileArchiveScheme* server, IFileArchiveScheme* client, Action action) {
    constexpr wchar_t kTitle[] = L"FASService";
    return RunExclusive(kTitle, server, client,
                        [&](ILocationScheme* serverSide, ILocationScheme* clientSide, const std::wstring& name,
                            fas::Report& report) -> HRESULT {
                            fas::ClientFolder folder;
                            std::wstring why;
                            if (!folder.Open(clientSide, why)) {
                                report.Error(kTitle, why);
                                return E_FAIL;
                            }
                            fas::SyncJob job{serverSide, &folder, name, &m_stop, &report};
                            switch (action) {
                            case Action::Update: return fas::RunUpdate(job, false);
                            case Action::UpdateAll: return fas::RunUpdate(job, true);
                            case Action::Install: return fas::RunInstall(job, false);
                            case Action::InstallAll: return fas::RunInstall(job, true);
                            case Action::Commit: return fas::RunCommit(job);
                            case Action::Preview: return fas::RunPreview(job);
                            }
                            return E_FAIL;
                        });
}

HRESULT FASService::SaveSchemeFile(IFileArchiveScheme* described, IFileArchiveScheme* target, int32_t* files) {
    if (files) *files = 0;
    if (!described || !target) return Refuse(L"no side to describe or no side to write to was given");
    int32_t written = 0;
    const HRESULT hr = RunExclusive(L"Scheme file", described, target,
                                    [&](ILocationScheme* describedSide, ILocationScheme* targetSide,
                                        const std::wstring& name, fas::Report& report) {
                                        return fas::RunSave(describedSide, targetSide, name, &m_stop, report,
                                                            written);
                                    });
    if (files && hr == S_OK) *files = written;
    return hr;
}

HRESULT CreateFASService(const IID* iid, void** out) { return CreateHostComponent<FASService>(iid, out); }

} // namespace host
