#include "host/settings/Registry.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <set>

#include "host/base/HostObject.h"
#include "sdk/ScopedHandles.h"
#include "host/collections/ItemCollection.h"
#include "host/runtime/EventLogLine.h"
#include "host/settings/IniDocument.h"
#include "host/text/ErrnoText.h"
#include "host/values/HostStrings.h"

namespace host {

namespace {

struct ErrorState {
    std::mutex mutex;
    std::wstring last;
    std::set<std::wstring> logged;
};

ErrorState& Errors() {
    static ErrorState state;
    return state;
}

void LogOnce(const std::wstring& text) {
    {
        ErrorState& errors = Errors();
        std::lock_guard<std::mutex> guard(errors.mutex);
        if (!errors.logged.insert(text).second) return;
    }
    WriteEventLogError(L"Registry", text);
}

HRESULT Fail(HRESULT hr, std::wstring text) {
    {
        ErrorState& errors = Errors();
        std::lock_guard<std::mutex> guard(errors.mutex);
        errors.last = text;
    }
    LogOnce(text);
    return hr;
}

HRESULT Succeed(HRESULT hr = S_OK) {
    ErrorState& errors = Errors();
    std::lock_guard<std::mutex> guard(errors.mutex);
    errors.last.clear();
    return hr;
}

std::wstring Wide(const std::string& path) { return FromUtf8(path); }


// Null text with a length is a caller's error; otherwise the characters.
bool ViewOf(tagREFString text, std::wstring_view* view) {
    if (text.m_Length < 0 || (text.m_Length > 0 && !text.m_pString)) return false;
    *view = text.m_Length > 0 ? std::wstring_view(text.m_pString, static_cast<size_t>(text.m_Length))
                              : std::wstring_view();
    return true;
}


HRESULT NoFile() { return Fail(E_FAIL, L"the registry has no file: set SHADOW_REGISTRY, XDG_CONFIG_HOME or HOME"); }

HRESULT ReadDocument(const std::string& path, IniDocument* document) {
    if (path.empty()) return NoFile();
    ScopedFD file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.Get() < 0) {
        if (errno == ENOENT) {
            document->Parse({}, nullptr);
            return S_OK;
        }
        return Fail(E_FAIL, L"cannot read the registry " + Wide(path) + L": " + SystemErrorText(errno));
    }
    std::string bytes;
    char buffer[8192];
    for (;;) {
        ssize_t got = ::read(file.Get(), buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return Fail(E_FAIL, L"cannot read the registry " + Wide(path) + L": " + SystemErrorText(errno));
        if (got == 0) break;
        bytes.append(buffer, static_cast<size_t>(got));
    }
    std::wstring error;
    if (!document->Parse(FromUtf8(bytes), &error))
        return Fail(E_FAIL, L"the registry " + Wide(path) + L" is malformed: " + error);
    return S_OK;
}

bool WriteAll(int fd, const std::string& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t put = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) return false;
        done += static_cast<size_t>(put);
    }
    return true;
}

HRESULT WriteDocument(const std::string& path, const IniDocument& document) {
    static std::atomic<unsigned> counter{0};
    const std::string temporary =
        path + ".tmp." + std::to_string(::getpid()) + "." + std::to_string(counter.fetch_add(1));
    ScopedFD file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (file.Get() < 0)
        return Fail(E_FAIL, L"cannot write the registry " + Wide(temporary) + L": " + SystemErrorText(errno));
    struct stat existing {};
    if (::stat(path.c_str(), &existing) == 0) ::fchmod(file.Get(), existing.st_mode & 07777);
    const std::string bytes = ToUtf8(document.Text());
    bool written = WriteAll(file.Get(), bytes) && ::fsync(file.Get()) == 0;
    int error = errno;
    written = file.Close() && written;
    if (written && ::rename(temporary.c_str(), path.c_str()) == 0) return S_OK;
    error = written ? errno : error;
    ::unlink(temporary.c_str());
    return Fail(E_FAIL, L"cannot write the registry " + Wide(path) + L": " + SystemErrorText(error));
}

// Holds an exclusive lock on the registry's folder while a change is read,
// made and written.
class FolderLock final {
public:
    explicit FolderLock(const std::string& folder)
        : m_folder(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (m_folder.Get() >= 0)
            while (::flock(m_folder.Get(), LOCK_EX) != 0 && errno == EINTR) {
            }
    }
    ~FolderLock() {
        if (m_folder.Get() >= 0) ::flock(m_folder.Get(), LOCK_UN);
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;
    bool Held() const { return m_folder.Get() >= 0; }

private:
    ScopedFD m_folder;
};

std::mutex& WriterMutex() {
    static std::mutex mutex;
    return mutex;
}

// Reads the file, lets `change` edit the document and writes it back when
// `change` returns true. The result of `change` (S_OK or S_FALSE) is passed
// on; E_FAIL on any failure to read or write.
template <class Change>
HRESULT ChangeDocument(Change change) {
    const std::string path = RegistryPath();
    if (path.empty()) return NoFile();
    std::error_code ec;
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    std::string folderText = folder.empty() ? std::string(".") : folder.string();
    std::filesystem::create_directories(folderText, ec);
    std::lock_guard<std::mutex> writers(WriterMutex());
    FolderLock lock(folderText);
    if (!lock.Held())
        return Fail(E_FAIL, L"cannot open the registry folder " + Wide(folderText) + L": " + SystemErrorText(errno));
    IniDocument document;
    if (HRESULT hr = ReadDocument(path, &document); FAILED(hr)) return hr;
    bool write = false;
    HRESULT result = change(document, &write);
    if (write)
        if (HRESULT hr = WriteDocument(path, document); FAILED(hr)) return hr;
    return Succeed(result);
}

class Registry final : public HostObject<IRegistryEx> {
public:
    // Missing keys give E_FAIL with an empty buffer; a long value is cut to
    // capacity - 1 characters, which is not an error.
    HRESULT GetValue(tagREFString section, tagREFString key, wchar_t* buffer, int32_t capacity) override {
        if (!buffer) return E_POINTER;
        if (capacity < 1) return E_INVALIDARG;
        buffer[0] = 0;
        std::wstring_view sectionText, keyText;
        if (!ViewOf(section, &sectionText) || !ViewOf(key, &keyText)) return E_POINTER;
        IniDocument document;
        if (HRESULT hr = ReadDocument(RegistryPath(), &document); FAILED(hr)) return hr;
        const std::wstring* value = document.Find(sectionText, keyText);
        if (!value) return Succeed(E_FAIL);
        const size_t length = std::min(value->size(), static_cast<size_t>(capacity - 1));
        value->copy(buffer, length);
        buffer[length] = 0;
        return Succeed();
    }

    // Names that would not read back the same are refused with E_INVALIDARG:
    // line breaks or NUL anywhere, "[", "]" in a section name, "=" in a key, a
    // key starting with "[", ";" or "#", blanks around a name. Every value is
    // kept, character for character (escaped in the file when it must be).
    HRESULT SetValue(tagREFString section, tagREFString key, tagREFString value) override {
        std::wstring_view sectionText, keyText, valueText;
        if (!ViewOf(section, &sectionText) || !ViewOf(key, &keyText) || !ViewOf(value, &valueText)) return E_POINTER;
        if (!IniDocument::ValidSection(sectionText))
            return Fail(E_INVALIDARG, L"\"" + std::wstring(sectionText) + L"\" cannot be a registry section name");
        if (!IniDocument::ValidKey(keyText))
            return Fail(E_INVALIDARG, L"\"" + std::wstring(keyText) + L"\" cannot be a registry key name");
        return ChangeDocument([&](IniDocument& document, bool* write) {
            const std::wstring* old = document.Find(sectionText, keyText);
            *write = !old || *old != valueText;
            if (*write) document.Set(sectionText, keyText, valueText);
            return S_OK;
        });
    }

    // Deleting a key that is not there is S_FALSE and leaves the file alone.
    HRESULT DeleteValue(tagREFString section, tagREFString key) override {
        std::wstring_view sectionText, keyText;
        if (!ViewOf(section, &sectionText) || !ViewOf(key, &keyText)) return E_POINTER;
        return ChangeDocument([&](IniDocument& document, bool* write) {
            *write = document.Delete(sectionText, keyText);
            return *write ? S_OK : S_FALSE;
        });
    }

    // An existing section without keys gives an empty collection.
    HRESULT GetSection(tagREFString section, INamedCollection** keys) override {
        if (!keys) return E_POINTER;
        *keys = nullptr;
        std::wstring_view sectionText;
        if (!ViewOf(section, &sectionText)) return E_POINTER;
        IniDocument document;
        if (HRESULT hr = ReadDocument(RegistryPath(), &document); FAILED(hr)) return hr;
        if (!document.HasSection(sectionText)) return Succeed(E_FAIL);
        IPtr<ISuperCollection> collection = NewCollection();
        if (!collection) return Fail(E_FAIL, L"cannot create a collection for a registry section");
        for (const auto& [name, value] : document.Section(sectionText))
            collection->Add(MakeString(name).Get(), MakeString(value).Get(), nullptr, 0);
        *keys = collection.Detach();
        return Succeed();
    }
};

} // namespace

std::string RegistryPath() {
    if (const char* explicitPath = std::getenv("SHADOW_REGISTRY"); explicitPath && *explicitPath)
        return explicitPath;
    if (const char* config = std::getenv("XDG_CONFIG_HOME"); config && *config)
        return std::string(config) + "/shadow/registry.ini";
    if (const char* home = std::getenv("HOME"); home && *home)
        return std::string(home) + "/.config/shadow/registry.ini";
    return {};
}

std::wstring RegistryLastError() {
    ErrorState& errors = Errors();
    std::lock_guard<std::mutex> guard(errors.mutex);
    return errors.last;
}

HRESULT CreateRegistry(const IID* iid, void** out) { return CreateHostComponent<Registry>(iid, out); }

} // namespace host
