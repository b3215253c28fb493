// "FASService" between local folders reached through "URLFile": update,
// install, commit and their refusals, a local edit kept beside the new
// version, and a stop in the middle that leaves both sides consistent
// (through a side that blocks until it sees the stop flag).
#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

#include "host/archive/SchemeFile.h"
#include "host/base/HostObject.h"
#include "host/transfer/LocationScheme.h"
#include "sdk/FileArchiveService.h"
#include "support/HostTestSupport.h"

namespace fs = std::filesystem;
using namespace hosttest;

namespace {

class Recorder final : public host::HostObject<IUILineDisplayable> {
public:
    HRESULT DisplayLine(IString* title, IString* text, uint32_t kind) override {
        std::lock_guard hold(m_lock);
        m_lines.push_back({host::ToUtf8(host::ToWide(title)), host::ToUtf8(host::ToWide(text)), kind});
        return S_OK;
    }
    // The texts of the lines with `title`, sorted.
    std::vector<std::string> Texts(const std::string& title) {
        std::lock_guard hold(m_lock);
        std::vector<std::string> texts;
        for (const Line& line : m_lines)
            if (line.title == title) texts.push_back(line.text);
        std::sort(texts.begin(), texts.end());
        return texts;
    }
    bool Has(const std::string& part, uint32_t kind) {
        std::lock_guard hold(m_lock);
        for (const Line& line : m_lines)
            if (line.kind == kind && (line.title + ": " + line.text).find(part) != std::string::npos) return true;
        return false;
    }
    void Clear() {
        std::lock_guard hold(m_lock);
        m_lines.clear();
    }

private:
    struct Line {
        std::string title, text;
        uint32_t kind;
    };
    std::mutex m_lock;
    std::vector<Line> m_lines;
};

// A side that hands everything to a real one, except that fetching or
// sending the file `block` waits until the operation's stop flag is set
// and then ends as stopped.
class BlockingSide final : public host::HostObject<IFileArchiveScheme, host::ILocationScheme> {
public:
    BlockingSide(IPtr<IFileArchiveScheme> inner, std::wstring block)
        : m_inner(std::move(inner)), m_location(m_inner.Query<host::ILocationScheme>()), m_block(std::move(block)) {}

    std::atomic<bool> entered{false};

    HRESULT put_Parameters(IParameters* p) override { return m_inner->put_Parameters(p); }
    HRESULT Transfer(IString* n, IDataStream* d) override { return m_inner->Transfer(n, d); }
    HRESULT Delete(IString* n) override { return m_inner->Delete(n); }
    std::wstring Location() override { return m_location->Location(); }
    host::FetchResult FetchFile(const std::wstring& name, int fd, const std::atomic<bool>* stop) override {
        if (name != m_block) return m_location->FetchFile(name, fd, stop);
        host::FetchResult result;
        result.error = WaitForStop(stop);
        return result;
    }
    host::TransferError PutFile(const std::wstring& name, const ContentReader& read, int64_t size,
                                const std::atomic<bool>* stop) override {
        return name == m_block ? WaitForStop(stop) : m_location->PutFile(name, read, size, stop);
    }
    host::TransferError Rename(const std::wstring& f, const std::wstring& t) override { return m_location->Rename(f, t); }
    host::TransferError RemoveFile(const std::wstring& n) override { return m_location->RemoveFile(n); }
    host::TransferError List(const std::wstring& f, std::vector<host::LocationEntry>& e) override {
        return m_location->List(f, e);
    }

private:
    host::TransferError WaitForStop(const std::atomic<bool>* stop) {
        entered = true;
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!(stop && stop->load()) && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        host::TransferError error;
        error.status = E_ABORT;
        error.text = L"stopped";
        return error;
    }

    IPtr<IFileArchiveScheme> m_inner;
    IPtr<host::ILocationScheme> m_location;
    std::wstring m_block;
};

IPtr<IFileArchiveScheme> SideAt(const fs::path& folder) {
    fs::create_directories(folder);
    IPtr<IFileArchiveScheme> scheme = Make<IFileArchiveScheme>(L"URLFile");
    IPtr<IParametersCreatable> parameters = NewParameters();
    parameters->Add(Str(L"HOSTNAME").Get(), Text(host::FromUtf8(folder.string())).Get(), nullptr, 0);
    scheme->put_Parameters(parameters.Get());
    return scheme;
}

// The user's files of a folder (the service's own entries left out) with
// their content, and every other entry by name.
std::map<std::string, std::string> Files(const fs::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const std::string name = fs::relative(entry.path(), folder).string();
        if (entry.is_regular_file() && name != ".fas-state" && name != "scheme.fas") files[name] = ReadFile(entry);
    }
    return files;
}

class FASServiceTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_service);
        m_service->put_LineDisplay(m_lines.Get());
    }
    void Write(const fs::path& file, const std::string& content) {
        fs::create_directories(file.parent_path());
        WriteFile(file, content);
    }
    // Writes the server's scheme file describing the server.
    void Publish() {
        int32_t files = -1;
        ASSERT_EQ(m_service->SaveSchemeFile(m_serverSide.Get(), m_serverSide.Get(), &files), S_OK);
        EXPECT_EQ(files, static_cast<int32_t>(Files(m_server).size()));
    }
    HRESULT Run(const fs::path& client, int32_t mode) {
        return m_service->Transfer(m_serverSide.Get(), SideAt(client).Get(), mode);
    }
    uint64_t Serial(const fs::path& file, host::fas::SchemeKind kind) {
        host::fas::SchemeFile parsed;
        std::wstring why;
        EXPECT_TRUE(host::fas::ParseSchemeFile(ReadFile(file), kind, parsed, why)) << host::ToUtf8(why);
        return parsed.serial;
    }
    uint64_t ClientSerial(const fs::path& client) {
        return fs::exists(client / ".fas-state") ? Serial(client / ".fas-state", host::fas::SchemeKind::ClientState)
                                                 : 0;
    }

    TempDir m_tmp;
    const fs::path m_server = m_tmp.Path() / "server";
    const fs::path m_client = m_tmp.Path() / "client";
    IPtr<IFileArchiveScheme> m_serverSide = SideAt(m_server);
    IPtr<IFASService> m_service = Make<IFASService>(L"FASService");
    IPtr<Recorder> m_lines = IPtr<Recorder>::Adopt(new Recorder);
};

} // namespace

TEST_F(FASServiceTest, UpdateFetchesWhatChangedAndChecksEveryFile) {
    Write(m_server / "a.txt", "alpha");
    Write(m_server / "b.txt", "bravo");
    Write(m_server / "sub" / "c.txt", "charlie");
    Publish();
    ASSERT_EQ(Run(m_client, FAS_UPDATE), S_OK);
    EXPECT_EQ(Files(m_client), Files(m_server));
    EXPECT_EQ(ClientSerial(m_client), 1u);

    Write(m_server / "b.txt", "bravo 2");
    Write(m_server / "d.txt", "delta");
    Publish();
    // The preview says what would come and changes nothing.
    m_lines->Clear();
    ASSERT_EQ(m_service->LoadSchemeFile(m_serverSide.Get(), SideAt(m_client).Get()), S_OK);
    EXPECT_EQ(m_lines->Texts("Would fetch"), (std::vector<std::string>{"b.txt", "d.txt"}));
    EXPECT_EQ(ReadFile(m_client / "b.txt"), "bravo");

    m_lines->Clear();
    ASSERT_EQ(Run(m_client, FAS_UPDATE), S_OK);
    EXPECT_EQ(m_lines->Texts("Fetched"), (std::vector<std::string>{"b.txt", "d.txt"}));
    EXPECT_EQ(Files(m_client), Files(m_server));
    EXPECT_EQ(ClientSerial(m_client), 2u);

    // A server file that no longer matches its scheme file is refused; the
    // client's copy stays, no work file is left, the serial stays.
    Write(m_server / "a.txt", "ALPHA");
    ASSERT_EQ(Run(m_client, FAS_UPDATE_ALL), E_FAIL);
    EXPECT_TRUE(m_lines->Has("a.txt: its SHA-256 differs", LINE_ERROR));
    EXPECT_EQ(ReadFile(m_client / "a.txt"), "alpha");
    EXPECT_FALSE(fs::exists(m_client / ".a.txt.fas-part"));
    EXPECT_EQ(Files(m_client).size(), 4u);
}

TEST_F(FASServiceTest, LocalEditIsKeptBesideTheNewVersion) {
    Write(m_server / "a.txt", "one");
    Publish();
    ASSERT_EQ(Run(m_client, FAS_UPDATE), S_OK);
    Write(m_client / "a.txt", "mine");
    Write(m_client / "own.txt", "never on the server");
    Write(m_server / "a.txt", "two");
    Write(m_server / "own.txt", "the server's");
    Write(m_server / "link.txt", "through a link");
    Write(m_tmp.Path() / "outside.txt", "outside");
    fs::create_symlink(m_tmp.Path() / "outside.txt", m_client / "link.txt");
    Publish();
    for (int32_t mode : {FAS_UPDATE, FAS_INSTALL}) {
        SCOPED_TRACE(mode);
        m_lines->Clear();
        ASSERT_EQ(Run(m_client, mode), S_OK);
        EXPECT_EQ(ReadFile(m_client / "a.txt"), "mine");
        EXPECT_EQ(ReadFile(m_client / "a.txt.fas-new"), "two");
        // A file the service never placed is the user's too.
        EXPECT_EQ(ReadFile(m_client / "own.txt"), "never on the server");
        EXPECT_EQ(ReadFile(m_client / "own.txt.fas-new"), "the server's");
        // A link is neither followed nor replaced.
        EXPECT_TRUE(fs::is_symlink(m_client / "link.txt"));
        EXPECT_EQ(ReadFile(m_tmp.Path() / "outside.txt"), "outside");
        EXPECT_EQ(ReadFile(m_client / "link.txt.fas-new"), "through a link");
        EXPECT_TRUE(m_lines->Has("a.txt was changed here and is kept; the server's version is a.txt.fas-new",
                                 LINE_STATUS));
    }
    // Committing it now would drop the server's change.
    EXPECT_EQ(m_service->Commit(SideAt(m_client).Get(), m_serverSide.Get()), E_FAIL);
    EXPECT_TRUE(m_lines->Has("merge a.txt.fas-new", LINE_ERROR));
    EXPECT_EQ(ReadFile(m_server / "a.txt"), "two");
}

TEST_F(FASServiceTest, InstallPutsNothingInPlaceUnlessEveryFileChecks) {
    Write(m_server / "a.txt", "alpha");
    Write(m_server / "b.txt", "bravo");
    Write(m_server / "sub" / "c.txt", "charlie");
    Publish();
    Write(m_server / "b.txt", "BRAVO"); // same size, other content
    ASSERT_EQ(Run(m_client, FAS_INSTALL), E_FAIL);
    EXPECT_TRUE(m_lines->Has("b.txt: its SHA-256 differs", LINE_ERROR));
    EXPECT_TRUE(fs::is_empty(m_client)) << "nothing placed, no staging left";

    Publish();
    ASSERT_EQ(Run(m_client, FAS_INSTALL), S_OK);
    EXPECT_EQ(Files(m_client), Files(m_server));
    EXPECT_EQ(ClientSerial(m_client), 2u);

    // Files the install placed and the scheme file drops go, unless changed
    // here; files the user added stay.
    Write(m_client / "b.txt", "edited");
    Write(m_client / "mine.txt", "user's");
    fs::remove(m_server / "b.txt");
    fs::remove(m_server / "sub" / "c.txt");
    Publish();
    ASSERT_EQ(Run(m_client, FAS_INSTALL), S_OK);
    EXPECT_EQ(Files(m_client), (std::map<std::string, std::string>{
                                   {"a.txt", "alpha"}, {"b.txt", "edited"}, {"mine.txt", "user's"}}));
    EXPECT_EQ(m_lines->Texts("Removed"), (std::vector<std::string>{"sub/c.txt"}));
    EXPECT_EQ(ClientSerial(m_client), 3u);
}

TEST_F(FASServiceTest, UnsoundSchemeFilesAreRefused) {
    Write(m_server / "a.txt", "one");
    Publish();
    const std::string first = ReadFile(m_server / "scheme.fas");
    Write(m_server / "a.txt", "two");
    Publish();
    ASSERT_EQ(Run(m_client, FAS_INSTALL), S_OK);
    const std::string second = ReadFile(m_server / "scheme.fas");
    host::fas::SchemeFile own{host::fas::SchemeKind::Manifest, 3,
                              {host::fas::SchemeRow{L".fas-state", 3, 0, 0644, std::string(64, 'a'), false}}};
    struct Case {
        const char* what;
        std::string scheme;
        const char* says;
    } cases[] = {
        {"older", first, "has serial 1, older than serial 2"},
        {"altered", [&] {
             std::string bad = second;
             bad[bad.find(" a.txt") - 1] ^= 1;
             return bad;
         }(), "the rows were altered"},
        {"cut short", second.substr(0, second.size() - 10), "cut short"},
        {"the client's own entries", FormatSchemeFile(own), "names .fas-state, a name the service keeps"},
    };
    for (const Case& c : cases) {
        WriteFile(m_server / "scheme.fas", c.scheme);
        for (int32_t mode : {FAS_UPDATE, FAS_UPDATE_ALL, FAS_INSTALL, FAS_INSTALL_ALL}) {
            m_lines->Clear();
            EXPECT_EQ(Run(m_client, mode), E_FAIL) << c.what << " " << mode;
            EXPECT_TRUE(m_lines->Has(c.says, LINE_ERROR)) << c.what << " " << mode;
        }
        EXPECT_EQ(Files(m_client), (std::map<std::string, std::string>{{"a.txt", "two"}})) << c.what;
        EXPECT_EQ(ClientSerial(m_client), 2u) << c.what;
    }
}

TEST_F(FASServiceTest, CommitSendsChangesAndRefusesAStaleClient) {
    const fs::path other = m_tmp.Path() / "other";
    Write(m_server / "a.txt", "one");
    Write(m_server / "gone.txt", "to be deleted");
    Publish();
    ASSERT_EQ(Run(m_client, FAS_UPDATE), S_OK);
    ASSERT_EQ(Run(other, FAS_INSTALL), S_OK);

    Write(m_client / "a.txt", "one, edited");
    Write(m_client / "new" / "n.txt", "new");
    fs::remove(m_client / "gone.txt");
    m_lines->Clear();
    ASSERT_EQ(m_service->Commit(SideAt(m_client).Get(), m_serverSide.Get()), S_OK);
    EXPECT_EQ(m_lines->Texts("Uploaded"), (std::vector<std::string>{"a.txt", "new/n.txt"}));
    EXPECT_EQ(ReadFile(m_server / "a.txt"), "one, edited");
    EXPECT_EQ(ReadFile(m_server / "new" / "n.txt"), "new");
    EXPECT_EQ(Serial(m_server / "scheme.fas", host::fas::SchemeKind::Manifest), 2u);
    EXPECT_EQ(ClientSerial(m_client), 2u);
    // Deleted here: left out of the scheme file, left on the server.
    EXPECT_EQ(ReadFile(m_server / "scheme.fas").find("gone.txt"), std::string::npos);
    EXPECT_TRUE(fs::exists(m_server / "gone.txt"));

    // The other client has not seen serial 2.
    Write(other / "a.txt", "other's edit");
    m_lines->Clear();
    EXPECT_EQ(m_service->Commit(SideAt(other).Get(), m_serverSide.Get()), E_FAIL);
    EXPECT_TRUE(m_lines->Has("moved on to serial 2", LINE_ERROR));
    EXPECT_EQ(ReadFile(m_server / "a.txt"), "one, edited");
    // An install there removes what the commit left out, and keeps the
    // edit beside the committed version.
    ASSERT_EQ(Run(other, FAS_INSTALL), S_OK);
    EXPECT_EQ(Files(other), (std::map<std::string, std::string>{{"a.txt", "other's edit"},
                                                                {"a.txt.fas-new", "one, edited"},
                                                                {"new/n.txt", "new"}}));
}

TEST_F(FASServiceTest, AStopLeavesBothSidesConsistent) {
    Write(m_server / "a.txt", "alpha");
    Write(m_server / "b.txt", "bravo");
    Write(m_server / "c.txt", "charlie");
    Publish();
    struct Case {
        const char* what;
        int32_t mode; // -1: commit
        std::map<std::string, std::string> client;
    } cases[] = {
        {"install places nothing", FAS_INSTALL, {}},
        {"update keeps the files placed whole", FAS_UPDATE, {{"a.txt", "alpha"}}},
        {"commit writes no scheme file", -1, {{"a.txt", "ALPHA"}, {"b.txt", "BRAVO"}, {"c.txt", "charlie"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const fs::path client = m_tmp.Path() / c.what;
        if (c.mode < 0) {
            ASSERT_EQ(Run(client, FAS_UPDATE), S_OK);
            Write(client / "a.txt", "ALPHA");
            Write(client / "b.txt", "BRAVO");
        }
        const std::string scheme = ReadFile(m_server / "scheme.fas");
        IPtr<BlockingSide> side = IPtr<BlockingSide>::Adopt(new BlockingSide(m_serverSide, L"b.txt"));
        HRESULT result = 0x7777;
        std::thread run([&] {
            IPtr<IFileArchiveScheme> clientSide = SideAt(client);
            result = c.mode < 0 ? m_service->Commit(clientSide.Get(), side.Get())
                                : m_service->Transfer(side.Get(), clientSide.Get(), c.mode);
        });
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!side->entered && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        EXPECT_EQ(m_service->IsRunning(), S_OK);
        EXPECT_EQ(m_service->Stop(), S_OK);
        run.join();
        EXPECT_EQ(result, E_ABORT);
        EXPECT_EQ(m_service->IsRunning(), S_FALSE);
        EXPECT_EQ(Files(client), c.client);
        EXPECT_EQ(ReadFile(m_server / "scheme.fas"), scheme);
        EXPECT_EQ(ClientSerial(client), c.mode < 0 ? 1u : 0u);
    }
    // The stopped commit sent a.txt before it stopped; a reader of the old
    // scheme file is not fooled by it.
    EXPECT_EQ(ReadFile(m_server / "a.txt"), "ALPHA");
    const fs::path reader = m_tmp.Path() / "reader";
    EXPECT_EQ(Run(reader, FAS_INSTALL), E_FAIL);
    EXPECT_TRUE(fs::is_empty(reader));
}

TEST_F(FASServiceTest, UIUtilsWritesTheSchemeFileOfASide) {
    Write(m_server / "a.txt", "alpha");
    Write(m_server / "sub" / "b.txt", "bravo");
    IPtr<IUIUtils> utils = Make<IUIUtils>(L"UIUtils");
    int32_t files = -1;
    ASSERT_EQ(utils->CreateSchemeFile(m_serverSide.Get(), Str(L"lists/all.fas").Get(), &files), S_OK);
    EXPECT_EQ(files, 2);
    EXPECT_EQ(Serial(m_server / "lists" / "all.fas", host::fas::SchemeKind::Manifest), 1u);
    EXPECT_EQ(utils->CreateSchemeFile(m_serverSide.Get(), Str(L"../out.fas").Get(), &files), E_FAIL);
    EXPECT_EQ(utils->CreateSchemeFile(Str(L"no side").Get(), nullptr, &files), E_INVALIDARG);
}
