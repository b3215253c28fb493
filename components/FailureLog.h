// The failures of a run that its display lines do not show: a file that
// could not be copied or deleted, a folder that could not be made, entered
// or listed, a name that cannot be mirrored. Each becomes one line in the
// host's "EventLogGlobal", under the component's name and of the error
// kind, saying what failed, where, and the system's reason; a host that
// listens to the log shows them (the command line counts them in its exit
// code). Used by one run at a time, on the run's thread.
#pragma once

#include <string>

#include "components/FileSystem.h"
#include "sdk/Framework.h"

class FailureLog final {
public:
    explicit FailureLog(const wchar_t* title) : m_Title(title) {}

    // "<what> <path>: <reason>", for instance "cannot delete /d/a: Permission denied".
    void Record(const char* what, const tagREFString& path, const std::string& reason);
    void Record(const char* what, const tagREFString& path, const OSError& error) {
        Record(what, path, error.Text());
    }
    // "cannot copy <source> to <target>: <reason>".
    void RecordCopy(const tagREFString& source, const tagREFString& target, const OSError& error);
    // A line of the component's own wording, as it stands.
    void RecordLine(const std::string& text) { Write(text); }
    // Writes what was recorded out to the disk.
    void Flush();

private:
    void Write(const std::string& text);

    const wchar_t* m_Title;
    IPtr<IUILineDisplayable> m_Log; // made on the first failure
    bool m_Unsaved = false;
};
