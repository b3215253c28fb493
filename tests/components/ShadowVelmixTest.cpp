// The release packager on real temporary trees, with the host's own
// "StringCollection" reading the list: which platforms a value of "OS"
// selects, how a components list becomes the modules and the extra files,
// the preferred Windows module, the closing line, refused paths and links,
// and the paths written back.
#include "components/ShadowVelmix.h"

#include "ConvertHost.h"
#include "MirrorFixture.h"

namespace {

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

        host.Answer(L"EventLogGlobal", &eventLog);
        ASSERT_EQ(S_OK, CObject<CShadow>::_CreateInstance(nullptr, &IID_IShadow, shadow.OutVoid()));
        host.Answer(L"Shadow", shadow.Get());
        step = CreateRegistered(L"ShadowVelmix");
        ASSERT_TRUE(step);
        BindDisplay(step.Get(), &display);

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
        return Narrow(QueryAs<IString>(value.Get()).Get());
    }

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
    RecordingDisplay display, eventLog;
    IPtr<IShadow> shadow;
    RoutingCollection host;
    IPtr<IParameters> step;
};

TEST_F(ShadowVelmixTest, OSSelectsPlatformsCaseBlindOverTheShorterLength) {
    struct Case {
        std::string os;
        std::vector<std::string> progress, release;
        int files; // modules, then the six common files of 10 bytes
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
        Run();
        std::vector<std::string> progress;
        const auto all = display.Lines();
        ASSERT_GT(all.size(), before);
        EXPECT_EQ(all.back().text, "Copied " + std::to_string(c.files) + " Files (60           bytes)");
        EXPECT_EQ(all.back().kind, LINE_STATUS);
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
    Write(prd / "_binWIN64/a.velmix", "velmix");
    SetText(CShadowVelmix::kOS, "WIN64");
    Run();
    EXPECT_EQ(Release(),
              (std::vector<std::string>{"Ludra.exe", "Ludra.exe.manifest", "_binWIN64", "_binWIN64/a.velmix"}));
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
    const auto log = eventLog.Lines();
    EXPECT_EQ(std::ranges::count_if(log, [](const auto& line) { return line.text.starts_with("refused "); }), 2);
    EXPECT_TRUE(std::ranges::any_of(
        log, [](const auto& line) { return line.text.find("symbolic link") != std::string::npos; }));
}

TEST_F(ShadowVelmixTest, BackslashedPathsAreUsedAndWrittenBackWithSlashes) {
    // The common path is used as it is.
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
