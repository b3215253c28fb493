#include "cli/FailureWatch.h"

#include <mutex>

#include "cli/HostRuntime.h"
#include "cli/Text.h"
#include "host/base/HostObject.h"

namespace cli {

// The line display subscribed to the event log. Lines come on the threads
// that log them.
class FailureWatch::Listener final : public host::HostObject<IUILineDisplayable> {
public:
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
    ~Listener() override = default;

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
