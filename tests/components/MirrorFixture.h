// Temporary trees, a recording line display and a Shadow component for the
// mirroring tests. Host services come from the module's stand-alone
// bootstrap (./_binARM64/CollectionsEx.so under the build folder).
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "components/FileSystem.h"
#include "support/TempFolder.h"
#include "components/ShadowImpl.h"
#include "core/Helpers.h"
#include "module/Module.h"

namespace fs = std::filesystem;

inline std::wstring Wide(const std::string& utf8) {
    IPtr<IString> s = IPtr<IString>::Adopt(ISCreate(utf8.c_str(), static_cast<int>(utf8.size())));
    CREFString view(s.Get());
    return std::wstring(view.m_pString ? view.m_pString : L"", static_cast<size_t>(view.m_Length));
}

inline IPtr<IString> HostString(const std::string& utf8) {
    return IPtr<IString>::Adopt(ISCreate(utf8.c_str(), static_cast<int>(utf8.size())));
}

inline std::string Narrow(IString* text) {
    CREFString view(text);
    int length = 0;
    std::unique_ptr<char[]> bytes(_IS2A(view, &length));
    return std::string(bytes.get(), static_cast<size_t>(length));
}

// A line display that keeps every line and may act on one.
class RecordingDisplay final : public IUILineDisplayable {
public:
    struct Line {
        std::string title, text;
        uint32_t kind;
    };

    HRESULT QueryInterface(const IID& iid, void** out) override {
        if (iid == IID_IUnknown || iid == IID_IUILineDisplayable) {
            *out = static_cast<IUILineDisplayable*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return ++m_refs; }
    uint32_t Release() override { return --m_refs; } // lives on the test's stack

    HRESULT DisplayLine(IString* title, IString* text, uint32_t kind) override {
        Line line{Narrow(title), Narrow(text), kind};
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_lines.push_back(line);
        }
        if (onLine) onLine(line);
        return S_OK;
    }

    std::vector<Line> Lines() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lines;
    }
    bool Has(const std::string& text, uint32_t kind) {
        for (const Line& l : Lines())
            if (l.text == text && l.kind == kind) return true;
        return false;
    }
    size_t CountStarting(const std::string& prefix) {
        size_t n = 0;
        for (const Line& l : Lines()) n += l.text.rfind(prefix, 0) == 0;
        return n;
    }

    std::function<void(const Line&)> onLine;

private:
    std::atomic<uint32_t> m_refs{1};
    std::mutex m_mutex;
    std::vector<Line> m_lines;
};

// The failures runs record in the host's event log while it lives.
class FailureListener final {
public:
    FailureListener() : m_log(CreateHostObject<IEventSource>(L"EventLogGlobal")) {
        if (m_log) m_log->Advise(&failures, 1);
    }
    ~FailureListener() {
        if (m_log) m_log->Advise(&failures, 0);
    }
    FailureListener(const FailureListener&) = delete;
    FailureListener& operator=(const FailureListener&) = delete;

    // The failure lines that contain `text`.
    size_t Count(const std::string& text) {
        size_t n = 0;
        for (const auto& line : failures.Lines())
            n += line.kind == LINE_ERROR && line.text.find(text) != std::string::npos;
        return n;
    }

    RecordingDisplay failures;

private:
    IPtr<IEventSource> m_log;
};

// All names in a folder, sorted, work files included.
inline std::vector<std::string> Names(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

class MirrorTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_folder.emplace("shadow-mirror");
        root = m_folder->Path();
        // Failures of the runs go to a log of the test's own.
        ::setenv("SHADOW_EVENT_LOG", (root / "events.log").c_str(), 1);
        src = root / "src";
        dst = root / "dst";
        fs::create_directories(src);
        ASSERT_EQ(S_OK, CObject<CShadow>::_CreateInstance(nullptr, &IID_IShadow, shadow.OutVoid()));
        ASSERT_TRUE(shadow);
    }
    void TearDown() override {
        shadow.Release();
        m_folder.reset();
    }

    static void Write(const fs::path& path, const std::string& content) {
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << content;
    }
    static std::string Read(const fs::path& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    static void SetTime(const fs::path& path, fs::file_time_type when) { fs::last_write_time(path, when); }

    // One direct mirroring run with explicit settings.
    HRESULT Mirror(bool copyNewOnly, bool subFolders, bool clean, RecordingDisplay* display = nullptr) {
        return shadow->Shadow(HostString(src).Get(), HostString(dst).Get(), copyNewOnly, subFolders, clean,
                              display);
    }
    static IPtr<IString> HostString(const fs::path& path) { return ::HostString(path.string()); }

    std::pair<int32_t, double> CopyStatistics() {
        int32_t files = -1;
        double bytes = -1;
        shadow->GetCopyStatistics(&files, &bytes);
        return {files, bytes};
    }
    std::pair<int32_t, double> DeleteStatistics() {
        int32_t files = -1;
        double bytes = -1;
        shadow->GetDeleteStatistics(&files, &bytes);
        return {files, bytes};
    }

    fs::path root, src, dst;
    IPtr<IShadow> shadow;

private:
    std::optional<testsupport::TempFolder> m_folder;
};

// A mirror test run twice: with unnamed work files, and with work files
// named from the start, as on file systems without unnamed files.
class WorkFileModeTest : public MirrorTest, public ::testing::WithParamInterface<bool> {
public:
    static std::string ModeName(const ::testing::TestParamInfo<bool>& info) {
        return info.param ? "Unnamed" : "Named";
    }

protected:
    void SetUp() override {
        OSUseUnnamedWorkFiles(GetParam());
        MirrorTest::SetUp();
    }
    void TearDown() override {
        MirrorTest::TearDown();
        OSUseUnnamedWorkFiles(true);
    }
};
