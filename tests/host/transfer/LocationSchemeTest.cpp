// "URLhttp" as a location (ILocationScheme) against the WebDAV, FTP and SFTP
// servers scripts/test-servers.sh starts: sending, replacing, fetching,
// listing, renaming and removing, names refused, and the faults a server
// can have while a file is sent (a dropped connection, a full disk, a
// refused rename, a wrong size), none of which may leave a partial file
// under the final name.
#include <fcntl.h>

#include <cstdlib>

#include "host/transfer/LocationScheme.h"
#include "sdk/ScopedHandles.h"
#include "tests/host/transfer/TransferTestSupport.h"

using namespace transfertest;
namespace fs = std::filesystem;

namespace {

struct Protocol {
    const char* name;
    const char* variable; // the server's URL
    bool absolute;        // the URL names the server's root by its full path
};
constexpr Protocol kProtocols[] = {
    {"WebDAV", "SHADOW_TEST_DAV_URL", false},
    {"FTP", "SHADOW_TEST_FTP_URL", false},
    {"SFTP", "SHADOW_TEST_SFTP_URL", true},
};

host::ILocationScheme::ContentReader Reader(const std::string& bytes, size_t limit = std::string::npos) {
    auto offset = std::make_shared<size_t>(0);
    return [&bytes, offset, limit](void* buffer, size_t capacity) -> int64_t {
        const size_t n = std::min(capacity, std::min(bytes.size(), limit) - *offset);
        std::memcpy(buffer, bytes.data() + *offset, n);
        *offset += n;
        return static_cast<int64_t>(n);
    };
}

std::vector<std::string> WorkFiles(const fs::path& folder) {
    std::vector<std::string> found;
    if (!fs::exists(folder)) return found;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.path().filename().string().find(".upload-") != std::string::npos) found.push_back(entry.path());
    return found;
}

class LocationSchemeTest : public ::testing::Test {
protected:
    void SetUp() override {
        const char* root = std::getenv("SHADOW_TEST_SERVER_ROOT");
        if (!root) GTEST_SKIP() << "no test servers (run scripts/test.sh)";
        m_root = root;
        m_folder = "location " + m_dir.Path().filename().string();
        WriteFile(m_dir / "registry.ini", "[SSH]\nPrivateKey=" + std::string(std::getenv("SHADOW_TEST_SSH_KEY")) +
                                              "\nKnownHosts=" + std::getenv("SHADOW_TEST_SSH_KNOWN_HOSTS") + "\n");
    }
    void TearDown() override {
        if (!m_folder.empty()) fs::remove_all(m_root / m_folder);
    }

    // A scheme whose location is this test's folder on the server, written
    // with a blank as people write it.
    IPtr<host::ILocationScheme> Scheme(const char* variable, bool absolute) {
        const char* url = std::getenv(variable);
        if (!url) return {};
        IPtr<IFileArchiveScheme> scheme = Make<IFileArchiveScheme>(L"URLhttp");
        IPtr<IParametersCreatable> parameters = NewParameters();
        const std::string location = std::string(url) + (absolute ? m_root.string() : "") + "/" + m_folder;
        parameters->Add(Str(L"HOSTNAME").Get(), Text(host::FromUtf8(location)).Get(), nullptr, 0);
        parameters->Add(Str(L"TIMEOUT1").Get(), Int(5000).Get(), nullptr, 0);
        parameters->Add(Str(L"TIMEOUTSUBSEQUENT").Get(), Int(5000).Get(), nullptr, 0);
        EXPECT_EQ(scheme->put_Parameters(parameters.Get()), S_OK);
        return QueryAs<host::ILocationScheme>(scheme.Get());
    }

    std::string Fetch(host::ILocationScheme* scheme, const std::wstring& name, bool& complete) {
        ScopedFD fd(::open((m_dir / "fetched").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        complete = scheme->FetchFile(name, fd.Get(), &m_stop).complete;
        return ReadFile(m_dir / "fetched");
    }

    TempDir m_dir;
    ScopedEnv m_registry{"SHADOW_REGISTRY", (m_dir / "registry.ini").c_str()};
    fs::path m_root;
    std::string m_folder;
    std::atomic<bool> m_stop{false};
};

TEST_F(LocationSchemeTest, SendsReplacesFetchesListsRenamesAndRemoves) {
    const std::string first = Pattern(300000), second = Pattern(1000).substr(7);
    for (const Protocol& p : kProtocols) {
        SCOPED_TRACE(p.name);
        IPtr<host::ILocationScheme> scheme = Scheme(p.variable, p.absolute);
        if (!scheme) continue;
        const fs::path here = m_root / m_folder;
        fs::remove_all(here);

        for (const std::string* content : {&first, &second}) {
            const host::TransferError sent = scheme->PutFile(L"sub/deep er/a%b.bin", Reader(*content),
                                                             static_cast<int64_t>(content->size()), &m_stop);
            EXPECT_EQ(sent.status, S_OK) << host::ToUtf8(sent.text);
            EXPECT_EQ(ReadFile(here / "sub/deep er/a%b.bin"), *content);
        }
        bool complete = false;
        EXPECT_EQ(Fetch(scheme.Get(), L"sub/deep er/a%b.bin", complete), second);
        EXPECT_TRUE(complete);

        std::vector<host::LocationEntry> entries;
        EXPECT_EQ(scheme->List(L"sub", entries).status, S_OK);
        ASSERT_EQ(entries.size(), 1u);
        EXPECT_EQ(entries[0].name, L"deep er");
        EXPECT_TRUE(entries[0].folder);
        WriteFile(here / "sub/deep er/.stale.upload-0123456789ab", "left by a crash");
        EXPECT_EQ(scheme->List(L"sub/deep er", entries).status, S_OK);
        ASSERT_EQ(entries.size(), 1u);
        EXPECT_EQ(entries[0].name, L"a%b.bin");
        EXPECT_FALSE(entries[0].folder);
        EXPECT_EQ(entries[0].size, static_cast<int64_t>(second.size()));
        fs::remove(here / "sub/deep er/.stale.upload-0123456789ab");

        WriteFile(here / "sub/b.bin", "old");
        EXPECT_EQ(scheme->Rename(L"sub/deep er/a%b.bin", L"sub/b.bin").status, S_OK);
        EXPECT_EQ(ReadFile(here / "sub/b.bin"), second);
        EXPECT_FALSE(fs::exists(here / "sub/deep er/a%b.bin"));
        for (int i = 0; i < 2; ++i) { // the second time the file is already gone
            const host::TransferError removed = scheme->RemoveFile(L"sub/b.bin");
            EXPECT_EQ(removed.status, S_OK) << host::ToUtf8(removed.text);
        }
        EXPECT_FALSE(fs::exists(here / "sub/b.bin"));
        EXPECT_EQ(scheme->List(L"no such folder", entries).status, S_OK);
        EXPECT_TRUE(entries.empty());
        EXPECT_EQ(WorkFiles(here), std::vector<std::string>{});
    }
}

TEST_F(LocationSchemeTest, RefusesNamesOutsideTheLocationAndContentOfTheWrongSize) {
    const std::string content = Pattern(5000);
    for (const Protocol& p : kProtocols) {
        SCOPED_TRACE(p.name);
        IPtr<host::ILocationScheme> scheme = Scheme(p.variable, p.absolute);
        if (!scheme) continue;
        for (const wchar_t* name : {L"../escape", L"a/../../escape", L"/escape", L"", L"a//b", L"./a", L"a\r\nDELE b",
                                    L"a\\..\\b"}) {
            SCOPED_TRACE(host::ToUtf8(name));
            EXPECT_EQ(scheme->PutFile(name, Reader(content), 5000, &m_stop).status, E_INVALIDARG);
            EXPECT_EQ(scheme->RemoveFile(name).status, E_INVALIDARG);
            EXPECT_EQ(scheme->Rename(L"a", name).status, E_INVALIDARG);
        }
        // Content that ends early, or runs on past its size.
        for (int64_t size : {6000, 4000}) {
            const host::TransferError sent = scheme->PutFile(L"sized.bin", Reader(content), size, &m_stop);
            EXPECT_EQ(sent.status, E_FAIL);
            EXPECT_NE(host::ToUtf8(sent.text).find("the content"), std::string::npos) << host::ToUtf8(sent.text);
            EXPECT_FALSE(fs::exists(m_root / m_folder / "sized.bin"));
        }
        EXPECT_EQ(WorkFiles(m_root / m_folder), std::vector<std::string>{});
    }
    EXPECT_FALSE(fs::exists(m_root.parent_path() / "escape"));
}

// The FTP server with faults picks them by the name's first word.
TEST_F(LocationSchemeTest, FaultsLeaveNothingUnderTheFinalName) {
    IPtr<host::ILocationScheme> scheme = Scheme("SHADOW_TEST_FAULT_FTP_URL", false);
    if (!scheme) GTEST_SKIP() << "no FTP server with faults";
    const std::string content = Pattern(1 << 20);
    const fs::path here = m_root / m_folder;
    struct Case {
        std::wstring name;
        std::string reason;
    } cases[] = {
        {L"drop-a.bin", "could not send"},
        {L"full-a.bin", "452"},
        {L"norename-a.bin", "could not rename"},
        {L"badsize-a.bin", "holds 1048577 of the 1048576 bytes"},
    };
    const std::string url = std::getenv("SHADOW_TEST_FAULT_FTP_URL");
    const std::string password = url.substr(url.find(':', 6) + 1, url.find('@') - url.find(':', 6) - 1);
    for (const Case& c : cases) {
        SCOPED_TRACE(host::ToUtf8(c.name));
        WriteFile(here / "old.bin", "old");
        const host::TransferError sent = scheme->PutFile(c.name, Reader(content), 1 << 20, &m_stop);
        EXPECT_EQ(sent.status, E_FAIL);
        EXPECT_NE(host::ToUtf8(sent.text).find(c.reason), std::string::npos) << host::ToUtf8(sent.text);
        EXPECT_EQ(host::ToUtf8(sent.text).find(password), std::string::npos);
        EXPECT_FALSE(fs::exists(here / c.name));
        EXPECT_EQ(WorkFiles(here), std::vector<std::string>{});
    }
    // A fetch cut off in the middle is not complete.
    WriteFile(here / "drop-b.bin", content);
    bool complete = true;
    EXPECT_LT(Fetch(scheme.Get(), L"drop-b.bin", complete).size(), content.size());
    EXPECT_FALSE(complete);
}

} // namespace
