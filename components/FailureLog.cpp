#include "components/FailureLog.h"

#include "core/Helpers.h"
#include "module/Module.h"

namespace {

std::string Utf8(const tagREFString& text) {
    int length = 0;
    const std::unique_ptr<char[]> bytes(_IS2A(text, &length));
    return std::string(bytes.get(), static_cast<size_t>(length));
}

} // namespace

void FailureLog::Record(const char* what, const tagREFString& path, const std::string& reason) {
    Write(std::string(what) + " " + Utf8(path) + ": " + reason);
}

void FailureLog::RecordCopy(const tagREFString& source, const tagREFString& target, const OSError& error) {
    Write("cannot copy " + Utf8(source) + " to " + Utf8(target) + ": " + error.Text());
}

void FailureLog::Write(const std::string& text) {
    if (!m_Log) m_Log = CreateHostObject<IUILineDisplayable>(L"EventLogGlobal");
    if (!m_Log) return;
    IPtr<IString> title = IPtr<IString>::Adopt(ISCreate(m_Title));
    IPtr<IString> line = IPtr<IString>::Adopt(ISCreate(text.c_str(), static_cast<int>(text.size())));
    m_Log->DisplayLine(title.Get(), line.Get(), LINE_ERROR);
    m_Unsaved = true;
}

void FailureLog::Flush() {
    if (!m_Unsaved) return;
    m_Unsaved = false;
    if (IPtr<IFileArchive> archive = m_Log.Query<IFileArchive>()) archive->Save();
}
