// A folder listing as a location: files sent into its folder, and the
// deletion of listed files with its refusals (a file changed since it was
// listed, a folder replaced since the scan, a name that is no entry).
#include <utime.h>

#include "host/base/ComponentRegistry.h"
#include "host/text/FileNameEncoding.h"
#include "support/HostTestSupport.h"

namespace fs = std::filesystem;
using namespace hosttest;

namespace {

class ListingLocationTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(m_folder);
        for (const char* name : {"a", "b", "c"}) WriteFile(m_folder / name, std::string("content of ") + name);
        fs::create_directories(m_folder / "sub");
        ASSERT_EQ(host::FindHostComponent(REFLiteral(L"FileNameCollection"))(&IID_IFileNameCollection,
                                                                            m_listing.OutVoid()),
                  S_OK);
        m_listing->put_Folder(Str(host::FileNameToWide(m_folder.string())).Get());
        ASSERT_EQ(m_listing->Scan(), S_OK);
    }
    HRESULT Delete(const std::string& pathOrName) {
        return m_listing.Query<IFileArchiveScheme>()->Delete(Str(host::FromUtf8(pathOrName)).Get());
    }
    std::vector<std::wstring> Listed() { return Names(m_listing.Query<ISuperCollection>().Get()); }

    TempDir m_tmp;
    const fs::path m_folder = m_tmp.Path() / "src";
    IPtr<IFileNameCollection> m_listing;
};

} // namespace

TEST_F(ListingLocationTest, DeletesListedFilesByPathOrNameAndTheRestMoveUp) {
    EXPECT_EQ(Delete((m_folder / "a").string()), S_OK);
    EXPECT_EQ(Listed(), (std::vector<std::wstring>{L"b", L"c"}));
    EXPECT_EQ(Delete("b"), S_OK);
    EXPECT_EQ(Listed(), (std::vector<std::wstring>{L"c"}));
    EXPECT_FALSE(fs::exists(m_folder / "a"));
    EXPECT_FALSE(fs::exists(m_folder / "b"));
    EXPECT_EQ(m_listing.Query<IUIRefreshableObject>()->Refresh(0), S_OK);
    EXPECT_EQ(m_listing.Query<IUIManager>()->Update(0), S_OK);
    EXPECT_EQ(Listed(), (std::vector<std::wstring>{L"c"}));
}

TEST_F(ListingLocationTest, RefusesWhatTheListingDoesNotVouchFor) {
    struct Case {
        const char* name;
        std::function<void()> change;
        std::string target;
    } cases[] = {
        {"not an entry", [] {}, "missing"},
        {"a folder, not a file", [] {}, "sub"},
        {"outside the folder", [] {}, "../src/a"},
        {"grown", [&] { WriteFile(m_folder / "a", "content of a, and more"); }, "a"},
        {"same size, touched", [&] {
             struct utimbuf when {1000, 1000};
             ::utime((m_folder / "b").c_str(), &when);
         }, "b"},
        {"folder replaced", [&] {
             fs::rename(m_folder, m_tmp.Path() / "old");
             fs::create_directories(m_folder);
             WriteFile(m_folder / "c", "content of c");
             fs::last_write_time(m_folder / "c", fs::last_write_time(m_tmp.Path() / "old" / "c"));
         }, "c"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        c.change();
        EXPECT_EQ(Delete(c.target), E_FAIL);
    }
    EXPECT_TRUE(fs::exists(m_tmp.Path() / "old" / "a"));
    EXPECT_TRUE(fs::exists(m_tmp.Path() / "old" / "b"));
    EXPECT_TRUE(fs::exists(m_folder / "c"));
    EXPECT_EQ(Listed(), (std::vector<std::wstring>{L"a", L"b", L"c"}));
}

TEST_F(ListingLocationTest, SendsIntoItsFolder) {
    IPtr<IDataStream> data = Make<IDataStream>(L"DataStream");
    ASSERT_EQ(WriteBytes(data.Get(), "sent bytes"), S_OK);
    auto scheme = m_listing.Query<IFileArchiveScheme>();
    EXPECT_EQ(scheme->Transfer(Str(L"in/new").Get(), data.Get()), S_OK);
    EXPECT_EQ(ReadFile(m_folder / "in" / "new"), "sent bytes");
    EXPECT_EQ(scheme->Transfer(Str(L"../escape").Get(), data.Get()), E_INVALIDARG);
    EXPECT_FALSE(fs::exists(m_tmp.Path() / "escape"));
}
