// The release packager on real temporary trees: which platforms a value of
// "OS" selects, how a components list becomes the modules and the extra
// files, the preferred Windows module, the closing line, refused paths and
// links, and the parameters written back. The host's "StringCollection"
// is a small fake that reads the list's lines from the file; "Shadow" is the
// module's own.
#include "components/ShadowVelmix.h"

#include "ConvertHost.h"
#include "MirrorFixture.h"

namespace {

// The host's string collection as the packager opens it: a file archive
// whose Load reads the file's lines, "\r" at their ends dropped.
struct FakeLines final : IFileArchive, IStringCollection {
    HRESULT QueryInterface(const IID& iid, void** out) override {
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_IFileArchive) *out = static_cast<IFileArchive*>(this);
        if (iid == IID_IStringCollection) *out = static_cast<IStringCollection*>(this);
        return *out ? S_OK : E_NOINTERFACE;
    }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    HRESULT get_Filename(IString**) override { return E_NOTIMPL; }
    HRESULT put_Filename(IString* name) override { return path = Narrow(name), S_OK; }
    HRESULT get_Filter(IString**) override { return E_NOTIMPL; }
    HRESULT get_Name(IString**) override { return E_NOTIMPL; }
    HRESULT Load() override {
        lines.clear();
        std::ifstream in(path, std::ios::binary);
        if (!in) return E_FAIL;
        for (std::string line; std::getline(in, line);) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            lines.push_back(line);
        }
        return S_OK;
    }
    HRESULT Save() override { return E_NOTIMPL; }
    HRESULT get_Count(int32_t* count) override { return *count = static_cast<int32_t>(lines.size()), S_OK; }
    HRESULT get_Item(int32_t index, IUnknown** item) override {
        IPtr<IString> line;
        get_Line(index, line.Out());
        *item = line.Detach();
        return *item ? S_OK : E_INVALIDARG;
    }
    HRESULT get_Line(int32_t index, IString** line) override {
        if (index < 0 || index >= static_cast<int32_t>(lines.size())) return E_INVALIDARG;
        *line = HostString(lines[static_cast<size_t>(index)]).Detach();
        return S_OK;
    }
    std::string path;
    std::vector<std::string> lines;
};

class ShadowVelmixTest : public ::testing::Test {
protected:
    void SetUp() override {
        // The product tree: a module "a" for every platform, the runners.
        for (const char* folder : {"_binWIN32", "_binWIN64"}) Write(prd / folder / "a.dll", "dll");
        Write(prd / "_binMAC/a.dylib", "dylib");
        for (const char* folder : {"_binLIN32", "_binLIN64", "_binARM64", "_binARM32"})
            Write(prd / folder / "a.so", "so");
        for (const char* runner : {"Ludra.exe", "Ludra.exe.manifest", "Ludra32.exe", "Ludra32.exe.manifest", "Ludra",
                                   "Ludra.ico", "Ludra.app/Contents/Info.plist"})
            Write(prd / runner, "runner");
        // The common tree: the list folder and six files of 10 bytes, one
        // in each folder step.
        for (const char* list : {"vmCmn/Strings.txt", "vmCmn/default.dic"}) Write(cmn / list, "list");
        for (const char* file : {"root.txt", "icons/i.png", "icons/UI/u.png", "help/helpstyle.css", "help/images/h.png",
                                 "slides/s.txt"})
            Write(cmn / file, "0123456789");
        Components("a,\n");

        host.Answer(L"StringCollection", static_cast<IFileArchive*>(&lines));
        host.Answer(L"EventLogGlobal", &eventLog);
        ASSERT_EQ(S_OK, CObject<CShadow>::_CreateInstance(nullptr, &IID_IShadow, shadow.OutVoid()));
        host.Answer(L"Shadow", shadow.Get());
        step = CreateRegistered(L"ShadowVelmix");
        ASSERT_TRUE(step);
        // The display, bound to the step's input.
        workspace = IPtr<ISuperCollection>::Adopt(CREFString::CreateCollection());
        IPtr<IString> name = HostString("Console");
        workspace->Add(name.Get(), &display, nullptr, 0);
        IPtr<IUnknown> input;
        ASSERT_EQ(S_OK, step.Query<IInputParameters>()->get_Item(0, input.Out()));
        input.Query<IInputParameter>()->put_SourceComponent(name.Get());
        step.Query<IBindableObject>()->Bind(workspace.Get(), nullptr);

        SetText(CShadowVelmix::kSourceCSV, (cmn / "vmCmn/Components.csv").string());
        SetText(CShadowVelmix::kSourcePath, prd.string());
        SetText(CShadowVelmix::kCommonSourcePath, cmn.string());
        SetText(CShadowVelmix::kDestinationPath, rel.string());
    }

    static void Write(const fs::path& path, const std::string& content) {
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << content;
    }
    void Components(const std::string& text) { Write(cmn / "vmCmn/Components.csv", text); }
    void SetText(int32_t index, const std::string& text) { step->put_Item(index, HostString(text).Get()); }
    std::string Text(int32_t index) {
        IPtr<IUnknown> value;
        step->get_Item(index, value.Out());
        return Narrow(TextOf(value.Get()));
    }
    static std::string Narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }
    static std::string Narrow(IString* text) { return ::Narrow(text); }

    int32_t Run() {
        EXPECT_EQ(S_OK, step.Query<IStep>()->TurnOn());
        int32_t files = -1;
        static_cast<CShadowVelmix*>(step.Query<IStep>().Get())->GetCopyStatistics(&files, nullptr);
        return files;
    }
    // The texts of the display's lines that start with `prefix`, in order.
    std::vector<std::string> Shown(const std::string& prefix) {
        std::vector<std::string> texts;
        for (const auto& line : display.Lines())
            if (line.text.rfind(prefix, 0) == 0) texts.push_back(line.text);
        return texts;
    }
    // The names in each "_bin..." folder of the release, and its runners.
    std::vector<std::string> Release() {
        std::vector<std::string> found;
        if (!fs::exists(rel)) return found;
        for (const auto& entry : fs::recursive_directory_iterator(rel)) {
            const std::string path = fs::relative(entry.path(), rel).string();
            if (path.rfind("_bin", 0) == 0 || path.rfind("Ludra", 0) == 0) found.push_back(path);
        }
        std::sort(found.begin(), found.end());
        return found;
    }

    testsupport::TempFolder folder{"shadow-velmix"};
    const fs::path root = folder.Path(), prd = root / "prd", cmn = root / "cmn", rel = root / "out/rel";
    FakeLines lines;
    RecordingDisplay display, eventLog;
    IPtr<IShadow> shadow;
    RoutingCollection host;
    IPtr<ISuperCollection> workspace;
    IPtr<IParameters> step;
};

TEST_F(ShadowVelmixTest, OSSelectsPlatformsCaseBlindOverTheShorterLength) {
    struct Case {
        std::string os;
        std::vector<std::string> progress, release;
        int32_t files; // modules, then the six common files
    } const cases[] = {
        {"WIN",
         {"Windows...", "Windows..."},
         {"Ludra.exe", "Ludra.exe.manifest", "Ludra32.exe", "Ludra32.exe.manifest", "_binWIN32", "_binWIN32/a.dll",
          "_binWIN64", "_binWIN64/a.dll"},
         2 + 6},
        {"win64", {"Windows..."}, {"Ludra.exe", "Ludra.exe.manifest", "_binWIN64", "_binWIN64/a.dll"}, 1 + 6},
        {"MACOS", {"MAC..."}, {"Ludra.app", "Ludra.app/Contents", "Ludra.app/Contents/Info.plist", "_binMAC",
                               "_binMAC/a.dylib"}, 1 + 6},
        {"arm", {"ARM64....", "ARM32...."}, {"Ludra", "Ludra.ico", "_binARM32", "_binARM32/a.so", "_binARM64",
                                             "_binARM64/a.so"}, 2 + 6},
        {"", {}, {}, 6},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("OS '" + c.os + "'");
        fs::remove_all(rel);
        SetText(CShadowVelmix::kOS, c.os);
        const size_t before = display.Lines().size();
        EXPECT_EQ(Run(), c.files);
        std::vector<std::string> progress;
        const auto all = display.Lines();
        for (size_t i = before; i < all.size(); ++i)
            if (all[i].text.find("....") != std::string::npos || all[i].text == "Windows..." || all[i].text == "MAC...")
                progress.push_back(all[i].text);
        EXPECT_EQ(progress, c.progress);
        EXPECT_EQ(Release(), c.release);
        // The common files whatever the platforms.
        for (const char* file :
             {"vmCmn/Components.csv", "root.txt", "icons/UI/u.png", "help/images/h.png", "slides/s.txt"})
            EXPECT_TRUE(fs::is_regular_file(rel / file)) << file;
    }
}

TEST_F(ShadowVelmixTest, ConsecutiveModulesMergeAndEveryExtraFileIsCopied) {
    struct Case {
        std::string csv;
        std::vector<std::string> copied; // the modules' lines, in order
        int32_t files;
    } const cases[] = {
        {"a,more/x\na,more/y\nb,more/z\n", {"Copying: a", "Copying: b"}, 2 + 6 + 3},
        {"a,more/x\nb,more/y\na,more/z\n", {"Copying: a", "Copying: b", "Copying: a"}, 3 + 6 + 3},
        // Front trimmed only; an empty first field skips the line.
        {"\xc3\xaf\t a,more/x\r\n ,more/y\nmissing,more/z,more\n", {"Copying: a", "Copying: missing"}, 2 + 6 + 2},
    };
    Write(prd / "_binWIN64/b.dll", "b");
    for (const char* extra : {"more/x", "more/y", "more/z"}) Write(cmn / extra, "");
    SetText(CShadowVelmix::kOS, "WIN64");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.csv);
        fs::remove_all(rel);
        Components(c.csv);
        const size_t before = Shown("Copying: ").size();
        // A module missing from the product tree counts all the same.
        EXPECT_EQ(Run(), c.files);
        std::vector<std::string> modules = Shown("Copying: ");
        modules.erase(modules.begin(), modules.begin() + static_cast<std::ptrdiff_t>(before));
        modules.erase(std::remove_if(modules.begin(), modules.end(),
                                     [](const std::string& l) { return l.find('/') != std::string::npos; }),
                      modules.end());
        EXPECT_EQ(modules, c.copied);
        EXPECT_TRUE(fs::is_regular_file(rel / "more/z"));
    }
}

TEST_F(ShadowVelmixTest, AVelmixModuleIsPreferredOverItsDll) {
    SetText(CShadowVelmix::kOS, "WIN64");
    Run();
    EXPECT_EQ(Release(), (std::vector<std::string>{"Ludra.exe", "Ludra.exe.manifest", "_binWIN64", "_binWIN64/a.dll"}));
    fs::remove_all(rel);
    Write(prd / "_binWIN64/a.velmix", "velmix");
    Run();
    EXPECT_EQ(Release(),
              (std::vector<std::string>{"Ludra.exe", "Ludra.exe.manifest", "_binWIN64", "_binWIN64/a.velmix"}));
}

TEST_F(ShadowVelmixTest, TheClosingLineCountsFilesAndBytesLeftAligned) {
    SetText(CShadowVelmix::kOS, "LIN64");
    Run();
    ASSERT_FALSE(display.Lines().empty());
    // One module (no bytes) and six common files of 10 bytes.
    EXPECT_EQ(display.Lines().back().text, "Copied 7 Files (60           bytes)");
    EXPECT_EQ(display.Lines().back().kind, LINE_STATUS);
}

TEST_F(ShadowVelmixTest, PathsLeavingTheTreesAndLinksInTheReleaseAreRefused) {
    Write(root / "secret.txt", "secret");
    Components("a,../secret.txt\na,/etc/hostname\na,sub/ok.txt\n");
    Write(cmn / "sub/ok.txt", "ok");
    fs::create_directories(rel);
    fs::create_directories(root / "elsewhere");
    fs::create_directory_symlink(root / "elsewhere", rel / "icons");
    SetText(CShadowVelmix::kOS, "");
    Run();
    EXPECT_TRUE(display.Has("Refused, outside the common tree: ../secret.txt", LINE_ERROR));
    EXPECT_TRUE(display.Has("Refused, outside the common tree: /etc/hostname", LINE_ERROR));
    EXPECT_FALSE(fs::exists(root / "out/secret.txt"));
    EXPECT_TRUE(fs::is_empty(root / "elsewhere"));
    EXPECT_TRUE(fs::is_regular_file(rel / "sub/ok.txt"));
    size_t refused = 0, links = 0;
    for (const auto& line : eventLog.Lines()) {
        refused += line.text.rfind("refused ", 0) == 0;
        links += line.text.find("symbolic link") != std::string::npos;
    }
    EXPECT_EQ(refused, 2u);
    EXPECT_GE(links, 1u);
}

TEST_F(ShadowVelmixTest, BackslashDefaultsAreDeclaredAndConvertedPathsWrittenBack) {
    IPtr<IParameters> fresh = CreateRegistered(L"ShadowVelmix");
    ASSERT_TRUE(fresh);
    const std::vector<std::tuple<std::string, std::string, int32_t, std::string>> expected = {
        {"SourceCSV", ".\\vmCmn\\components.csv", 0x16, ""},
        {"SourcePath", ".\\Prd_Data\\Corvane", 0x26, ""},
        {"CommonSourcePath", ".\\", 0x26, ""},
        {"DestinationPath", ".\\Prd_Release\\CorvaneWIN64", 0x26, ""},
        {"OS", "WIN64", 0x46, "WIN32|WIN64|MAC|LIN32|LIN64|ARM64|ARM32"},
    };
    for (int32_t i = 0; i < static_cast<int32_t>(expected.size()); ++i) {
        IPtr<IString> name;
        IPtr<IVariant> value;
        IPtr<IUnknown> descriptor;
        int32_t flags = 0;
        ASSERT_EQ(S_OK, fresh->Iterate(i, name.Out(), value.Out(), descriptor.Out(), &flags));
        IPtr<IString> text;
        value->get_String(text.Out());
        EXPECT_EQ(std::make_tuple(Narrow(name.Get()), Narrow(text.Get()), flags, Narrow(TextOf(descriptor.Get()))),
                  expected[static_cast<size_t>(i)]);
    }

    // The three paths with backslashes: used and stored with "/"; the
    // common path is used as it is.
    auto backslashed = [](std::string path) {
        std::replace(path.begin(), path.end(), '/', '\\');
        return path;
    };
    SetText(CShadowVelmix::kSourceCSV, backslashed((cmn / "vmCmn/Components.csv").string()));
    SetText(CShadowVelmix::kSourcePath, backslashed(prd.string()));
    SetText(CShadowVelmix::kDestinationPath, backslashed(rel.string()));
    SetText(CShadowVelmix::kCommonSourcePath, cmn.string() + "\\");
    SetText(CShadowVelmix::kOS, "WIN64");
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(Text(CShadowVelmix::kSourceCSV), (cmn / "vmCmn/Components.csv").string());
    EXPECT_EQ(Text(CShadowVelmix::kSourcePath), prd.string());
    EXPECT_EQ(Text(CShadowVelmix::kDestinationPath), rel.string());
    EXPECT_EQ(Text(CShadowVelmix::kCommonSourcePath), cmn.string() + "\\");
    EXPECT_TRUE(fs::is_regular_file(rel / "_binWIN64/a.dll"));

    // Without a list, a product tree or a release nothing is done.
    fs::remove_all(rel);
    SetText(CShadowVelmix::kSourcePath, "");
    EXPECT_EQ(Run(), 0);
    EXPECT_FALSE(fs::exists(rel));
}

} // namespace
