// ShadowUpload with a recording source listing and destination scheme: the
// walk over a source that shrinks as files are deleted, failed sends and
// deletions, a single file archive as source, the closing line, and the
// inputs it cannot run without.
#include <set>

#include "components/ShadowUpload.h"
#include "tests/components/ConvertHost.h"
#include "tests/components/MirrorFixture.h"

namespace {

// An entry that names a file and has no content of its own.
class PathEntry : public IFileArchive {
public:
    explicit PathEntry(std::string path) : m_path(std::move(path)) {}
    CONVERT_NOT_COUNTED(IFileArchive)
    HRESULT get_Filename(IString** name) override { return *name = ::HostString(m_path).Detach(), S_OK; }
    HRESULT put_Filename(IString*) override { return E_NOTIMPL; }
    HRESULT get_Filter(IString**) override { return E_NOTIMPL; }
    HRESULT get_Name(IString**) override { return E_NOTIMPL; }
    HRESULT Load() override { return E_NOTIMPL; }
    HRESULT Save() override { return E_NOTIMPL; }

private:
    std::string m_path;
};

// A listing face whose settings and scan do nothing: the fakes below hold
// their entries already.
class InertListing : public IFileNameCollection {
public:
    HRESULT put_Folder(IString*) override { return S_OK; }
    HRESULT get_Folder(IString**) override { return E_NOTIMPL; }
    HRESULT put_Extensions(IExtCollection*) override { return S_OK; }
    HRESULT put_Option(int32_t, int32_t) override { return S_OK; }
    HRESULT get_Option(int32_t, int32_t*) override { return E_NOTIMPL; }
    HRESULT Scan() override { return S_OK; }
};

// A source that is one file: a listing face over a single file archive.
class SingleFile final : public InertListing, public PathEntry {
public:
    explicit SingleFile(std::string path) : PathEntry(std::move(path)) {}
    IUnknown* Self() { return static_cast<IFileNameCollection*>(this); }
    HRESULT QueryInterface(const IID& iid, void** out) override {
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_IFileNameCollection) *out = static_cast<IFileNameCollection*>(this);
        else if (iid == IID_IFileArchive) *out = static_cast<IFileArchive*>(this);
        return *out ? S_OK : E_NOINTERFACE;
    }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
};

// A listing over a host collection that records the indexes asked for and
// deletes by full path (names in `refused` are not deleted).
class RecordingSource final : public ISuperCollection, InertListing, IFileArchiveScheme, IUIRefreshableObject, IUIManager {
public:
    std::vector<int32_t> asked;
    std::vector<std::string> deletes;
    std::set<std::string> refused;
    int refreshes = 0, updates = 0;
    IPtr<ISuperCollection> items = IPtr<ISuperCollection>::Adopt(CREFString::CreateCollection());

    HRESULT QueryInterface(const IID& iid, void** out) override {
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_ISuperCollection || iid == IID_INamedCollection ||
            iid == IID_ISimpleCollection)
            *out = static_cast<ISuperCollection*>(this);
        else if (iid == IID_IFileNameCollection) *out = static_cast<IFileNameCollection*>(this);
        else if (iid == IID_IFileArchiveScheme) *out = static_cast<IFileArchiveScheme*>(this);
        else if (iid == IID_IUIRefreshableObject) *out = static_cast<IUIRefreshableObject*>(this);
        else if (iid == IID_IUIManager) *out = static_cast<IUIManager*>(this);
        return *out ? S_OK : E_NOINTERFACE;
    }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }

    IUnknown* Self() { return static_cast<ISuperCollection*>(this); }
    HRESULT get_Count(int32_t* count) override { return items->get_Count(count); }
    HRESULT get_Item(int32_t index, IUnknown** item) override {
        asked.push_back(index);
        return items->get_Item(index, item);
    }
    HRESULT get_Index(IUnknown* key, int32_t* index) override { return items->get_Index(key, index); }
    HRESULT get_ItemName(int32_t index, IString** name) override { return items->get_ItemName(index, name); }
    HRESULT Rename(int32_t index, IString* name) override { return items->Rename(index, name); }
    HRESULT CollectionLock() override { return items->CollectionLock(); }
    HRESULT CollectionUnlock() override { return items->CollectionUnlock(); }
    HRESULT IsCollectionLocked() override { return items->IsCollectionLocked(); }
    HRESULT Add(IUnknown* key, IUnknown* item, IUnknown* d, int32_t flags) override { return items->Add(key, item, d, flags); }
    HRESULT Remove(int32_t index) override { return items->Remove(index); }
    HRESULT RemoveAll() override { return items->RemoveAll(); }
    HRESULT get_ItemDescriptor(int32_t index, IUnknown** d) override { return items->get_ItemDescriptor(index, d); }
    HRESULT get_ItemFlags(int32_t index, int32_t* flags) override { return items->get_ItemFlags(index, flags); }


    HRESULT put_Parameters(IParameters*) override { return S_OK; }
    HRESULT Transfer(IString*, IDataStream*) override { return E_NOTIMPL; }
    // Only a full path deletes, as the step tries that first.
    HRESULT Delete(IString* pathOrName) override {
        const std::string path = Narrow(pathOrName);
        deletes.push_back(path);
        if (refused.count(fs::path(path).filename().string()) || path.find('/') == std::string::npos) return E_FAIL;
        int32_t count = 0;
        items->get_Count(&count);
        for (int32_t i = 0; i < count; ++i) {
            IPtr<IUnknown> item;
            IPtr<IString> name;
            items->get_Item(i, item.Out());
            if (IPtr<IFileArchive> entry = QueryAs<IFileArchive>(item.Get())) entry->get_Filename(name.Out());
            if (name && Narrow(name.Get()) == path) return items->Remove(i);
        }
        return E_FAIL;
    }
    HRESULT Refresh(int32_t what) override { return refreshes += what == 0, S_OK; }
    HRESULT Update(int32_t what) override { return updates += what == 0, S_OK; }
};

// A destination that keeps what it is sent; names in `failing` fail.
class RecordingDestination final : public InertListing, IFileArchiveScheme {
public:
    std::vector<std::pair<std::string, std::string>> sent;
    std::set<std::string> failing;

    HRESULT QueryInterface(const IID& iid, void** out) override {
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_IFileNameCollection) *out = static_cast<IFileNameCollection*>(this);
        else if (iid == IID_IFileArchiveScheme) *out = static_cast<IFileArchiveScheme*>(this);
        return *out ? S_OK : E_NOINTERFACE;
    }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    IUnknown* Self() { return static_cast<IFileNameCollection*>(this); }
    HRESULT put_Parameters(IParameters*) override { return S_OK; }
    HRESULT Transfer(IString* name, IDataStream* data) override {
        const std::string text = Narrow(name);
        if (failing.count(text)) return E_FAIL;
        std::string bytes;
        char buffer[4];
        unsigned int read = 0;
        while (SUCCEEDED(data->Read(buffer, sizeof buffer, &read)) && read > 0) bytes.append(buffer, read);
        sent.emplace_back(text, bytes);
        return S_OK;
    }
    HRESULT Delete(IString*) override { return E_NOTIMPL; }
};

// Binds the three inputs (null leaves one unbound).
void BindInputs(IUnknown* step, std::initializer_list<IUnknown*> objects) {
    IPtr<ISuperCollection> sources = IPtr<ISuperCollection>::Adopt(CREFString::CreateCollection());
    IPtr<IInputParameters> inputs = QueryAs<IInputParameters>(step);
    int32_t index = 0;
    for (IUnknown* object : objects) {
        if (object) {
            IPtr<IString> name = ::HostString("input" + std::to_string(index));
            IPtr<IUnknown> input;
            ASSERT_EQ(S_OK, inputs->get_Item(index, input.Out()));
            input.Query<IInputParameter>()->put_SourceComponent(name.Get());
            sources->Add(name.Get(), object, nullptr, 0);
        }
        ++index;
    }
    QueryAs<IBindableObject>(step)->Bind(sources.Get(), nullptr);
}

class ShadowUploadTest : public MirrorTest {
protected:
    void SetUp() override {
        MirrorTest::SetUp();
        upload = CreateRegistered<IShadow>(L"ShadowUpload");
        ASSERT_TRUE(upload);
    }
    // Adds a file entry named `name` holding `content`.
    void AddFile(const std::string& name, const std::string& content) {
        Write(src / name, content);
        m_entries.push_back(std::make_unique<PathEntry>((src / name).string()));
        source.items->Add(::HostString(name).Get(), m_entries.back().get(), nullptr, 0);
    }
    HRESULT Run(IUnknown* from, IUnknown* to, int32_t deleteUploaded = 1) {
        QueryAs<IParameters>(upload.Get())->put_Item(0, IPtr<IVariant>::Adopt(IVCreate(deleteUploaded)).Get());
        BindInputs(upload.Get(), {from, to, &display});
        return static_cast<CShadowUpload*>(upload.Get())->Execute(nullptr);
    }
    std::vector<std::string> Titles() {
        std::vector<std::string> titles;
        for (const auto& line : display.Lines())
            titles.push_back(line.title + (line.text.empty() ? "" : " " + line.text) +
                             (line.kind == LINE_UPLOAD_ERROR ? " !" : ""));
        return titles;
    }

    // Before the source, whose items point at them.
    std::vector<std::unique_ptr<PathEntry>> m_entries;
    RecordingSource source;
    RecordingDestination destination;
    RecordingDisplay display;
    // Last, so that it goes first: its bound inputs hold the objects above.
    IPtr<IShadow> upload;
};

} // namespace

TEST_F(ShadowUploadTest, SentFilesLeaveTheSourceWhileTheIndexStaysAtZero) {
    AddFile("a", "alpha");
    AddFile("b", "bravo");
    AddFile("c", "charlie");
    EXPECT_EQ(S_OK, Run(source.Self(), destination.Self()));
    EXPECT_EQ(destination.sent, (std::vector<std::pair<std::string, std::string>>{
                                    {"a", "alpha"}, {"b", "bravo"}, {"c", "charlie"}}));
    EXPECT_EQ(source.asked, (std::vector<int32_t>{0, 0, 0}));
    int32_t left = -1;
    source.get_Count(&left);
    EXPECT_EQ(left, 0);
    EXPECT_EQ(source.refreshes, 3);
    EXPECT_EQ(source.updates, 1);
    EXPECT_EQ(Titles(), (std::vector<std::string>{"Uploading a", "Uploaded a", "Uploading b", "Uploaded b",
                                                  "Uploading c", "Uploaded c", "Uploaded"}));
    int32_t files = 0;
    double bytes = 0;
    upload->GetCopyStatistics(&files, &bytes);
    EXPECT_EQ(std::make_pair(files, bytes), std::make_pair(3, 17.0));
    upload->GetDeleteStatistics(&files, &bytes);
    EXPECT_EQ(std::make_pair(files, bytes), std::make_pair(3, 17.0));
}

TEST_F(ShadowUploadTest, FailuresAdvanceTheIndexAndTheLastFileDecidesTheResult) {
    struct Case {
        const char* name;
        std::set<std::string> failing, refused;
        HRESULT result;
        std::vector<int32_t> asked;
        std::vector<std::string> titles;
    } cases[] = {
        {"refused deletion", {}, {"a"}, S_OK, {0, 1, 1},
         {"Uploading a", "Uploaded a", "Uploading b", "Uploaded b", "Uploading c", "Uploaded c", "Uploaded"}},
        {"last send fails", {"c"}, {}, E_FAIL, {0, 0, 0},
         {"Uploading a", "Uploaded a", "Uploading b", "Uploaded b", "Uploading c", "Upload Error c !"}},
        {"first send fails", {"a"}, {}, S_OK, {0, 1, 1},
         {"Uploading a", "Upload Error a !", "Uploading b", "Uploaded b", "Uploading c", "Uploaded c", "Uploaded"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        source.items->RemoveAll();
        source.asked.clear();
        AddFile("a", "1");
        AddFile("b", "2");
        AddFile("c", "3");
        source.refused = c.refused;
        destination.failing = c.failing;
        RecordingDisplay lines;
        upload = CreateRegistered<IShadow>(L"ShadowUpload");
        QueryAs<IParameters>(upload.Get())->put_Item(0, IPtr<IVariant>::Adopt(IVCreate(1)).Get());
        BindInputs(upload.Get(), {source.Self(), destination.Self(), &lines});
        EXPECT_EQ(c.result, static_cast<CShadowUpload*>(upload.Get())->Execute(nullptr));
        EXPECT_EQ(source.asked, c.asked);
        std::vector<std::string> titles;
        for (const auto& line : lines.Lines())
            titles.push_back(line.title + (line.text.empty() ? "" : " " + line.text) +
                             (line.kind == LINE_UPLOAD_ERROR ? " !" : ""));
        EXPECT_EQ(titles, c.titles);
        upload.Release(); // before `lines`, which it holds
    }
}

TEST_F(ShadowUploadTest, ASingleFileArchiveIsOneEntryAndAnItemWithoutOneIsReported) {
    Write(src / "one.txt", "only");
    SingleFile file((src / "one.txt").string());
    EXPECT_EQ(S_OK, Run(file.Self(), destination.Self()));
    EXPECT_EQ(destination.sent, (std::vector<std::pair<std::string, std::string>>{{"one.txt", "only"}}));
    EXPECT_TRUE(fs::exists(src / "one.txt")) << "a single archive has no scheme to delete through";

    source.items->Add(::HostString("stray").Get(), ::HostString("not a file").Get(), nullptr, 0);
    EXPECT_EQ(S_OK, Run(source.Self(), destination.Self()));
    EXPECT_EQ(display.Lines().back().title, "Uploaded");
    EXPECT_TRUE(display.Has("stray", LINE_UPLOAD_ERROR));
}

TEST_F(ShadowUploadTest, MissingInputsAreBadArguments) {
    AddFile("a", "alpha");
    EXPECT_EQ(E_INVALIDARG, Run(source.Self(), nullptr));
    EXPECT_EQ(E_INVALIDARG, Run(nullptr, destination.Self()));
    EXPECT_EQ(E_INVALIDARG, Run(::HostString("not a listing").Get(), destination.Self()));
    EXPECT_TRUE(destination.sent.empty());
    EXPECT_TRUE(display.Lines().empty());
}
