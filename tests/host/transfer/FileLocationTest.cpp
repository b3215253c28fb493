// "URLFile" as a location (ILocationScheme): files put, fetched, renamed,
// removed and listed by relative names; names that leave the location and
// links below it are refused; a failed put leaves the old file whole.
#include <fcntl.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "host/base/WorkFile.h"
#include "host/transfer/FileScheme.h"
#include "sdk/ScopedHandles.h"
#include "tests/host/transfer/TransferTestSupport.h"

namespace fs = std::filesystem;
using namespace transfertest;

namespace {

// A reader over `bytes` that fails with `error` once `failAt` bytes are out.
host::ILocationScheme::ContentReader Reader(const std::string& bytes, size_t failAt = SIZE_MAX, int error = ENOSPC) {
    auto at = std::make_shared<size_t>(0);
    return [bytes, at, failAt, error](void* buffer, size_t capacity) -> int64_t {
        if (*at >= failAt) {
            errno = error;
            return -1;
        }
        const size_t n = std::min({capacity, bytes.size() - *at, failAt - *at});
        std::memcpy(buffer, bytes.data() + *at, n);
        *at += n;
        return static_cast<int64_t>(n);
    };
}

class FileLocationTest : public ::testing::Test {
protected:
    void SetUp() override {
        IPtr<IParametersCreatable> parameters = NewParameters();
        parameters->Add(Str(L"HOSTNAME").Get(), Text(host::FromUtf8(m_root.string())).Get(), nullptr, 0);
        m_scheme->put_Parameters(parameters.Get());
    }
    host::TransferError Put(const std::wstring& name, const std::string& bytes) {
        return m_location->PutFile(name, Reader(bytes), static_cast<int64_t>(bytes.size()), nullptr);
    }
    std::vector<std::string> Listed(const std::wstring& folder = L"") {
        std::vector<host::LocationEntry> entries;
        EXPECT_EQ(m_location->List(folder, entries).status, S_OK);
        std::vector<std::string> names;
        for (const auto& e : entries)
            names.push_back(host::ToUtf8(e.name) + (e.folder ? "/" : ":" + std::to_string(e.size)));
        std::sort(names.begin(), names.end());
        return names;
    }
    // Everything in the folder, work files included.
    static std::vector<std::string> OnDisk(const fs::path& folder) {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(folder)) names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    TempDir m_tmp;
    const fs::path m_root = m_tmp.Path() / "dest";
    IPtr<IFileArchiveScheme> m_scheme = Make<IFileArchiveScheme>(L"URLFile");
    IPtr<host::ILocationScheme> m_location = m_scheme.Query<host::ILocationScheme>();
};

} // namespace

TEST_F(FileLocationTest, PutFetchRenameRemoveAndList) {
    ASSERT_TRUE(m_location);
    EXPECT_EQ(m_location->Location(), host::FromUtf8(m_root.string()));
    // Missing folders, the location's own included, are made.
    ASSERT_EQ(Put(L"sub/a.txt", "alpha").status, S_OK);
    ASSERT_EQ(Put(L"b.txt", "bravo!").status, S_OK);
    EXPECT_EQ(ReadFile(m_root / "sub" / "a.txt"), "alpha");
    EXPECT_EQ(Listed(), (std::vector<std::string>{"b.txt:6", "sub/"}));
    EXPECT_EQ(Listed(L"sub"), (std::vector<std::string>{"a.txt:5"}));
    EXPECT_EQ(Listed(L"none"), (std::vector<std::string>{}));

    WriteFile(m_tmp.Path() / "work", "stale bytes, longer than the file");
    ScopedFD work(::open((m_tmp.Path() / "work").c_str(), O_RDWR | O_CLOEXEC));
    host::FetchResult fetched = m_location->FetchFile(L"sub/a.txt", work.Get(), nullptr);
    EXPECT_TRUE(fetched.complete) << host::ToUtf8(fetched.error.text);
    EXPECT_EQ(ReadFile(m_tmp.Path() / "work"), "alpha");

    ASSERT_EQ(m_location->Rename(L"sub/a.txt", L"b.txt").status, S_OK);
    EXPECT_EQ(ReadFile(m_root / "b.txt"), "alpha");
    EXPECT_EQ(m_location->RemoveFile(L"b.txt").status, S_OK);
    EXPECT_EQ(m_location->RemoveFile(L"b.txt").status, S_OK) << "a file already gone is a success";
    EXPECT_EQ(m_location->RemoveFile(L"sub").status, E_FAIL) << "folders are never removed";
    EXPECT_EQ(Listed(), (std::vector<std::string>{"sub/"}));
}

TEST_F(FileLocationTest, NamesThatLeaveTheLocationAreRefusedBeforeAnythingIsTouched) {
    fs::create_directories(m_root);
    WriteFile(m_tmp.Path() / "outside", "keep");
    for (const std::wstring name : {L"", L"../outside", L"a/../../outside", L"/etc/passwd", L"./x", L"a//b", L"a/"}) {
        SCOPED_TRACE(host::ToUtf8(name));
        EXPECT_EQ(Put(name, "x").status, E_INVALIDARG);
        EXPECT_EQ(m_location->RemoveFile(name).status, E_INVALIDARG);
        EXPECT_EQ(m_location->Rename(L"x", name).status, E_INVALIDARG);
        ScopedFD work(::open((m_tmp.Path() / "work").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        EXPECT_EQ(m_location->FetchFile(name, work.Get(), nullptr).error.status, E_INVALIDARG);
    }
    EXPECT_EQ(ReadFile(m_tmp.Path() / "outside"), "keep");
    EXPECT_EQ(OnDisk(m_root), std::vector<std::string>{});
}

TEST_F(FileLocationTest, LinksBelowTheLocationAreNotFollowed) {
    fs::create_directories(m_root);
    fs::create_directories(m_tmp.Path() / "elsewhere");
    WriteFile(m_tmp.Path() / "elsewhere" / "f", "theirs");
    fs::create_directory_symlink(m_tmp.Path() / "elsewhere", m_root / "dir");
    fs::create_symlink(m_tmp.Path() / "elsewhere" / "f", m_root / "f");
    EXPECT_EQ(Put(L"dir/f", "mine").status, E_FAIL);
    // A link under the target's own name is replaced, its target untouched.
    EXPECT_EQ(Put(L"f", "mine").status, S_OK);
    EXPECT_FALSE(fs::is_symlink(m_root / "f"));
    EXPECT_EQ(m_location->RemoveFile(L"dir/f").status, E_FAIL);
    EXPECT_EQ(ReadFile(m_tmp.Path() / "elsewhere" / "f"), "theirs");
}

TEST_F(FileLocationTest, AFailedPutLeavesTheOldFileAndNoWorkFile) {
    ASSERT_EQ(Put(L"t", "old content").status, S_OK);
    for (bool named : {false, true}) {
        host::UseNamedWorkFilesForTesting(named);
        const std::string bytes = Pattern(3 << 20);
        // The disk fills up after 2 MB; the content ends early; it runs on.
        EXPECT_EQ(m_location->PutFile(L"t", Reader(bytes, 2 << 20), 3 << 20, nullptr).code, ENOSPC);
        EXPECT_EQ(m_location->PutFile(L"t", Reader(bytes), 4 << 20, nullptr).status, E_FAIL);
        EXPECT_EQ(m_location->PutFile(L"t", Reader(bytes), 1 << 20, nullptr).status, E_FAIL);
        std::atomic<bool> stop{true};
        EXPECT_EQ(m_location->PutFile(L"t", Reader(bytes), 3 << 20, &stop).status, E_ABORT);
        EXPECT_EQ(ReadFile(m_root / "t"), "old content");
        EXPECT_EQ(OnDisk(m_root), std::vector<std::string>{"t"});
    }
    host::UseNamedWorkFilesForTesting(false);
}

TEST_F(FileLocationTest, SeenAsAListingItSendsListsAndDeletes) {
    IPtr<IDataStream> data = Make<IDataStream>(L"DataStream");
    ASSERT_EQ(WriteBytes(data.Get(), "sent"), S_OK);
    EXPECT_EQ(m_scheme->Transfer(Str(L"x.txt").Get(), data.Get()), S_OK);
    EXPECT_EQ(m_scheme->Transfer(Str(L"y.txt").Get(), data.Get()), S_OK);
    EXPECT_EQ(m_scheme->Transfer(Str(L"../x.txt").Get(), data.Get()), E_INVALIDARG);
    fs::create_directories(m_root / "folder");
    IPtr<IFileNameCollection> listing = m_scheme.Query<IFileNameCollection>();
    ASSERT_TRUE(listing);
    ASSERT_EQ(listing->Scan(), S_OK);
    IPtr<ISuperCollection> items = m_scheme.Query<ISuperCollection>();
    EXPECT_EQ(Names(items.Get()), (std::vector<std::wstring>{L"x.txt", L"y.txt"}));
    IPtr<IUnknown> first;
    ASSERT_EQ(items->get_Item(0, first.Out()), S_OK);
    IPtr<IString> path;
    QueryAs<IFileArchive>(first.Get())->get_Filename(path.Out());
    EXPECT_EQ(m_scheme->Delete(path.Get()), S_OK);
    EXPECT_EQ(Names(items.Get()), (std::vector<std::wstring>{L"y.txt"}));
    EXPECT_EQ(m_scheme->Delete(Str(L"x.txt").Get()), E_FAIL) << "gone already";
    EXPECT_EQ(ReadFile(m_root / "y.txt"), "sent");
}
