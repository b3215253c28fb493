#include "cli/FailureWatch.h"

#include <atomic>

#include "cli/HostRuntime.h"
#include "cli/Text.h"

namespace cli {

// The line display subscribed to the event log. Lines come on the threads
// that log them.
class FailureWatch::Listener final : public IUILineDisplayable {
public:
    HRESULT QueryInterface(const IID& iid, void** out) override {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (iid != IID_IUnknown && iid != IID_IUILineDisplayable) return E_NOINTERFACE;
        *out = static_cast<IUILineDisplayable*>(this);
        AddRef();
        return S_OK;
    }
    uint32_t AddRef() override { return m_refs.fetch_add(1, std::memory_order_acq_rel) + 1; }
    uint32_t Release() override {
        const uint32_t left = m_refs.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) delete this;
        return left;
    }
    HRESULT DisplayLine(IString* title, IString* text, uint32_t kind) override {
        if (kind != LINE_ERROR && kind != LINE_UPLOAD_ERROR) return S_OK;
        std::wstring line = TextOf(title);
        if (!line.empty()) line += L": ";
        line += TextOf(text);
        std::lock_guard<std::mutex> lock(m_mutex);
        m_lines.push_back(ToUtf8(line));
        return S_OK;
    }
    std::vector<std::string> Lines() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lines;
    }

private:
    ~Listener() = default;

    std::atomic<uint32_t> m_refs{1};
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines;
};

FailureWatch::FailureWatch(const HostRuntime& runtime)
    : m_source(runtime.Create<IEventSource>(L"EventLogGlobal")),
      m_listener(IPtr<Listener>::Adopt(new Listener())) {
    if (!m_source) return;
    if (auto archive = m_source.Query<IFileArchive>()) {
        IPtr<IString> file;
        archive->get_Filename(file.Out());
        m_logFile = ToUtf8(TextOf(file.Get()));
    }
    if (FAILED(m_source->Advise(static_cast<IUILineDisplayable*>(m_listener.Get()), 1))) m_source.Release();
}

FailureWatch::~FailureWatch() {
    if (m_source) m_source->Advise(static_cast<IUILineDisplayable*>(m_listener.Get()), 0);
}

std::vector<std::string> FailureWatch::Failures() const { return m_listener->Lines(); }

} // namespace cli
