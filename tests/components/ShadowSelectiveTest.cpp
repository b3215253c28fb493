// The selective step on real trees: the list and its trims, folder and file
// entries, failures in the event log, the summed statistics and result
// lines, parameters a user added, the parameters file, and a stop.
#include "ConvertHost.h"
#include "MirrorFixture.h"

#include "components/ShadowSelective.h"

namespace {

// Answers "Shadow" in the module's host collection with a new CShadow of
// this program, and counts them.
struct ShadowMaker final : IUnknown {
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    HRESULT QueryInterface(const IID& iid, void** out) override {
        ++made;
        return CObject<CShadow>::_CreateInstance(nullptr, const_cast<IID*>(&iid), out);
    }
    int made = 0;
};

class SelectiveTest : public MirrorTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(fs::exists("_binARM64/CollectionsEx.so")) << "no host runtime: run from the build folder";
        host.Answer(L"Shadow", &shadows);
        MirrorTest::SetUp();
        selective = CreateRegistered<IParametersCreatable>(L"ShadowSelective");
        ASSERT_TRUE(selective);
        BindDisplay(selective.Get(), &display);
        SetText(CShadowSelective::kSourceRoot, src.string());
        SetText(CShadowSelective::kDestinationRoot, dst.string());
        // Two folders and a file of the source tree: docs (6 bytes in two
        // files), more (3 bytes) and lib/a.cfg.
        Write(src / "docs" / "x.txt", "xxxx");
        Write(src / "docs" / "sub" / "y.txt", "yy");
        Write(src / "more" / "z.txt", "zzz");
        Write(src / "lib" / "a.cfg", "config");
        fs::create_directories(dst / "lib");
    }
    void TearDown() override {
        selective.Release();
        MirrorTest::TearDown();
    }

    void SetText(int32_t index, const std::string& text) {
        ASSERT_EQ(S_OK, selective->put_Item(index, ::HostString(text).Get()));
    }
    void SetEntries(const std::vector<std::string>& values) {
        for (size_t i = 0; i < values.size(); ++i)
            SetText(CShadowSelective::kFirstEntry + static_cast<int32_t>(i), values[i]);
    }
    void SetNumber(int32_t index, int value) {
        ASSERT_EQ(S_OK, selective->put_Item(index, IPtr<IVariant>::Adopt(IVCreate(value)).Get()));
    }
    std::string TextAt(IParameters* parameters, int32_t index) {
        IPtr<IVariant> value;
        parameters->get_ItemVariant(index, value.Out());
        return Narrow(IPtr<IString>::Adopt(ISCreate(value.Get())).Get());
    }
    // Runs the step to its end (bounded).
    void Run() {
        IPtr<IStep> step = selective.Query<IStep>();
        ASSERT_EQ(S_OK, step->TurnOn());
        for (int i = 0; i < 3000 && step->IsRunning(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
        ASSERT_FALSE(step->IsRunning());
    }
    std::vector<std::string> ResultLines() {
        std::vector<std::string> lines;
        for (const auto& line : display.Lines())
            if (line.title == "ShadowSelective") lines.push_back(line.text);
        return lines;
    }
    // A result line of less than 1 K: the size in its 12 places, the blank
    // unit, "bytes".
    std::string Result(const char* label, int files, const char* bytes) {
        return std::string(label) + " " + std::to_string(files) + " Files (" + bytes + "  bytes) on " + dst.string() +
               " ";
    }

    ShadowMaker shadows;
    RoutingCollection host;
    RecordingDisplay display;
    IPtr<IParametersCreatable> selective;
};

TEST_F(SelectiveTest, EntriesAreReadLineByLineUntilTheFirstEmptyParameter) {
    struct Case {
        const char* name;
        std::vector<std::string> entries;
        bool folder, file;
    } const cases[] = {
        {"two lines in one parameter", {"docs\nlib/a.cfg"}, true, true},
        {"an empty parameter ends the list", {"docs", "", "lib/a.cfg"}, true, false},
        {"carriage returns and marks trimmed", {"docs\r\n", " \xc3\xaf\xc3\xbe\tlib/a.cfg \x7f\r\n\r\n"}, true, true},
        {"blank lines between entries", {"\n\n  \nlib/a.cfg\n"}, false, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        fs::remove_all(dst);
        fs::create_directories(dst / "lib");
        for (int32_t i = 0; i < 3; ++i) SetText(CShadowSelective::kFirstEntry + i, "");
        SetEntries(c.entries);
        Run();
        EXPECT_EQ(c.folder, fs::exists(dst / "docs" / "sub" / "y.txt"));
        EXPECT_EQ(c.file, fs::exists(dst / "lib" / "a.cfg"));
    }
}

TEST_F(SelectiveTest, SumsTheFoldersAndWritesTheResultLinesButNotTheResultParameters) {
    Write(dst / "docs" / "old", "12345");
    Write(dst / "more" / "gone", "1");
    SetNumber(CShadowSelective::kCleanOlderFiles, 1);
    SetEntries({"docs\nmore", "lib/a.cfg"});
    Run();
    int32_t files = 0;
    double bytes = 0;
    IPtr<IShadow> shadow = selective.Query<IShadow>();
    shadow->GetCopyStatistics(&files, &bytes);
    EXPECT_EQ(std::make_pair(3, 9.0), std::make_pair(files, bytes)); // the file entry is not counted
    shadow->GetDeleteStatistics(&files, &bytes);
    EXPECT_EQ(std::make_pair(2, 6.0), std::make_pair(files, bytes));
    EXPECT_EQ((std::vector<std::string>{Result("Copied", 3, "9           "), Result("Deleted", 2, "6           ")}),
              ResultLines());
    // One inner step for the run; its own lines go to the same display.
    EXPECT_EQ(1, shadows.made);
    EXPECT_TRUE(display.Has("Copying: " + (src / "more" / "z.txt").string(), LINE_STATUS));
    for (int32_t index : {CShadowSelective::kNbCopied, CShadowSelective::kBytesCopied})
        EXPECT_EQ("0", TextAt(selective.Get(), index));
}

TEST_F(SelectiveTest, FailedFileEntriesGoToTheEventLogOnlyAndFolderlessFilesAreNotCreated) {
    fs::remove_all(dst / "lib");
    FailureListener failures;
    host.Answer(L"Shadow", nullptr); // file entries are still copied
    Write(src / "top.cfg", "t");
    SetEntries({"lib/a.cfg\nmissing.txt\ntop.cfg\ndocs\n../outside.cfg"});
    fs::create_directories(dst);
    Run();
    EXPECT_FALSE(fs::exists(dst / "lib"));
    EXPECT_EQ("t", Read(dst / "top.cfg"));
    EXPECT_FALSE(fs::exists(dst / "docs"));
    EXPECT_EQ(1u, failures.Count("cannot copy " + (src / "lib" / "a.cfg").string()));
    EXPECT_EQ(1u, failures.Count("cannot copy " + (src / "missing.txt").string()));
    EXPECT_EQ(1u, failures.Count("cannot create Shadow"));
    EXPECT_EQ(1u, failures.Count("refused entry ../outside.cfg"));
    EXPECT_EQ((std::vector<std::string>{Result("Copied", 0, "0           ")}), ResultLines());
    for (const auto& line : display.Lines()) EXPECT_NE(LINE_ERROR, line.kind) << line.text;
}

TEST_F(SelectiveTest, ParametersAddedAfterTheFortiethAreProcessed) {
    std::vector<std::string> entries(CShadowSelective::kDeclaredEntries, "more");
    SetEntries(entries);
    ASSERT_EQ(S_OK,
              selective->Add(::HostString("Extra").Get(), ::HostString("lib/a.cfg").Get(), nullptr, PARAM_TYPE_TEXT));
    Run();
    EXPECT_EQ("config", Read(dst / "lib" / "a.cfg"));
    EXPECT_EQ("zzz", Read(dst / "more" / "z.txt"));
}

TEST_F(SelectiveTest, TheParametersFileRoundTripsWithItsHeaderAndReportsWhatCannotBeOpened) {
    const fs::path file = root / "list.xml";
    SetEntries({"docs\nmore", "lib/a.cfg"});
    SetNumber(CShadowSelective::kCopyNewOnly, 0);
    ASSERT_EQ(S_OK, selective->Add(::HostString("Extra").Get(), ::HostString("notes").Get(), nullptr, PARAM_TYPE_TEXT));
    IPtr<IFileArchive> archive = selective.Query<IFileArchive>();
    ASSERT_EQ(S_OK, archive->put_Filename(HostString(file).Get()));
    ASSERT_EQ(S_OK, archive->Save());
    EXPECT_TRUE(Read(file).starts_with("<?xml version=\"1.0\"?>\n"
                                       "<?xml-stylesheet href=\"generic.xsl\" type=\"text/xsl\"?>\n"))
        << Read(file);
    for (const std::string& name : Names(root))
        EXPECT_FALSE(name.starts_with("list.xml.")) << name; // no work file left
    IPtr<IString> text;
    archive->get_Name(text.Out());
    EXPECT_EQ("list.xml", Narrow(text.Get()));

    // A new component gets the values back, the added parameter with them,
    // and keeps its declared flags.
    IPtr<IParametersCreatable> loaded = CreateRegistered<IParametersCreatable>(L"ShadowSelective");
    ASSERT_TRUE(loaded);
    IPtr<IFileArchive> loader = loaded.Query<IFileArchive>();
    ASSERT_EQ(S_OK, loader->put_Filename(HostString(file).Get()));
    ASSERT_EQ(S_OK, loader->Load());
    int32_t count = 0, flags = 0;
    loaded->get_Count(&count);
    ASSERT_EQ(50, count);
    loaded->get_ItemName(49, text.Out());
    EXPECT_EQ("Extra", Narrow(text.Get()));
    EXPECT_EQ("notes", TextAt(loaded.Get(), 49));
    EXPECT_EQ("docs\nmore", TextAt(loaded.Get(), CShadowSelective::kFirstEntry));
    EXPECT_EQ(dst.string(), TextAt(loaded.Get(), CShadowSelective::kDestinationRoot));
    EXPECT_EQ("0", TextAt(loaded.Get(), CShadowSelective::kCopyNewOnly));
    loaded->get_ItemFlags(CShadowSelective::kFirstEntry, &flags);
    EXPECT_EQ(PARAM_TYPE_TEXT, flags);

    // A file that cannot be read, or written, is reported on the display
    // and in the event log.
    FailureListener failures;
    for (const fs::path& bad : {root / "none.xml", root / "no" / "list.xml"}) {
        ASSERT_EQ(S_OK, archive->put_Filename(HostString(bad).Get()));
        EXPECT_EQ(E_FAIL, bad.filename() == "none.xml" ? archive->Load() : archive->Save());
        const std::string report = "file open err:\n" + bad.string() + "\n";
        EXPECT_TRUE(display.Has(report, LINE_ERROR)) << bad;
        EXPECT_EQ(1u, failures.Count(report)) << bad;
    }
    EXPECT_FALSE(fs::exists(root / "no"));
}

TEST_F(SelectiveTest, AStopEndsTheInnerStepAndTheList) {
    constexpr int kFolders = 200;
    for (int i = 0; i < kFolders; ++i) Write(src / "big" / std::to_string(i) / "f", "f");
    SetEntries({"big", "lib/a.cfg"});
    // Every file shown takes a while, so that the stop comes mid-folder.
    std::atomic<bool> copying{false};
    display.onLine = [&](const RecordingDisplay::Line& line) {
        if (line.text.rfind("Copying: ", 0) != 0) return;
        copying = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
    };
    IPtr<IStep> step = selective.Query<IStep>();
    ASSERT_EQ(S_OK, step->TurnOn());
    for (int i = 0; i < 5000 && !copying; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ASSERT_TRUE(copying);
    EXPECT_EQ(S_OK, step->TurnOff());
    for (int i = 0; i < 3000 && step->IsRunning(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_FALSE(step->IsRunning());
    display.onLine = nullptr;

    int32_t files = 0;
    selective.Query<IShadow>()->GetCopyStatistics(&files, nullptr);
    EXPECT_GE(files, 1);
    EXPECT_LT(files, kFolders);
    EXPECT_TRUE(display.Has("Aborted", LINE_STATUS)); // the inner step stopped too
    EXPECT_FALSE(fs::exists(dst / "lib" / "a.cfg"));
    EXPECT_EQ(1u, ResultLines().size());
}

} // namespace
