// File name mapping against the registry's installation folder and folder
// mappings, and relative/absolute names.
#include "ParamTestSupport.h"
#include "parameters/FileNameMapping.h"

using namespace paramtest;

namespace {

constexpr const char* kSettings = "[Workspace]\n"
                                  "InstallPath=/opt/app\n"
                                  "AppPath=/home/u/apps\n"
                                  "[Mappings]\n"
                                  "Data=/home/u/data\n"
                                  "Deep=/home/u/data/deep\n"
                                  "Media=/MNT/Media\n";

struct Outcome {
    HRESULT status;
    std::wstring text; // "<null>" when no string came back
};

// Calls `f` with an output slot and takes over what it returned.
template <class F>
Outcome Call(F&& f) {
    IString* out = nullptr;
    const HRESULT status = f(&out);
    IPtr<IString> owned = IPtr<IString>::Adopt(out);
    return {status, owned ? W(owned) : L"<null>"};
}

void ExpectOutcome(const Outcome& got, HRESULT status, const wchar_t* text, const std::wstring& what) {
    EXPECT_EQ(got.status, status) << what;
    EXPECT_EQ(got.text, text) << what;
}

Outcome Map(const wchar_t* name, short relative) {
    return Call([&](IString** out) { return FILENAMEMap(Str(name).Get(), out, relative); });
}

void SetWorkspaceFile(const wchar_t* name) {
    IPtr<IFileArchive> workspace = CreateHostObject<IFileArchive>(L"ActiveWorkspace");
    ASSERT_TRUE(workspace);
    workspace->put_Filename(Str(name).Get());
}

} // namespace

TEST(FileNameMapping, MapReplacesTheInstallationFolderOrAMapping) {
    TestRegistry::Write(kSettings);
    struct Case {
        const wchar_t* name;
        short relative;
        HRESULT status;
        const wchar_t* mapped;
    } cases[] = {
        {L"/opt/app/data/x.csv", 0, S_OK, L"[InstallPath]/data/x.csv"},
        {L"/opt/app/data/x.csv", 1, S_OK, L"data/x.csv"},
        {L"/OPT/APP/x", 0, S_OK, L"[InstallPath]/x"},
        {L"/opt/app", 0, S_OK, L"[InstallPath]"},
        {L"/opt/app", 1, S_OK, L"[InstallPath]"},
        {L"/opt/app/", 1, S_OK, L"[InstallPath]"},
        {L"/opt/app\\x", 1, S_OK, L"x"},
        {L"/opt/apps/x", 0, S_OK, L"[InstallPath]s/x"}, // a plain prefix, no separator check
        {L"//opt/app/x", 0, S_OK, L"[InstallPath]/x"},
        {L"/home/u/data/f.txt", 0, S_OK, L"[Data]/f.txt"},
        {L"/home/u/data/deep/x", 0, S_OK, L"[Data]/deep/x"}, // the first mapping that fits wins
        {L"/mnt/media/song", 1, S_OK, L"[Media]/song"},
        {L"/home/u/dat", 0, E_FAIL, L"<null>"},
        {L"/srv/x", 0, E_FAIL, L"<null>"},
        {L"", 0, E_FAIL, L"<null>"},
    };
    for (const Case& c : cases)
        ExpectOutcome(Map(c.name, c.relative), c.status, c.mapped,
                      std::wstring(c.name) + L" " + std::to_wstring(c.relative));
}

TEST(FileNameMapping, MapWithoutMappingsOrInstallationFolder) {
    TestRegistry::Write("[Workspace]\nAppPath=/x\n");
    // No installation folder matches nothing; the missing section fails.
    ExpectOutcome(Map(L"/opt/app/x", 0), E_FAIL, L"<null>", L"no section");
    TestRegistry::Write("[Workspace]\nInstallPath=/opt/app\n[Mappings]\n");
    ExpectOutcome(Map(L"/srv/x", 0), E_FAIL, L"<null>", L"empty section");
}

TEST(FileNameMapping, UnmapRestoresTheFolder) {
    TestRegistry::Write(kSettings);
    struct Case {
        const wchar_t* mapped;
        HRESULT status;
        const wchar_t* name;
    } cases[] = {
        {L"[InstallPath]/data/x.csv", S_OK, L"/opt/app/data/x.csv"},
        {L"[installpath]\\a\\b", S_OK, L"/opt/app/a/b"},
        {L"[InstallPath]", S_OK, L"/opt/app"},
        {L"[Data]/f", S_OK, L"/home/u/data/f"},
        {L"[data]x", S_OK, L"/home/u/datax"},
        {L"[Unknown]/x", E_FAIL, L"<null>"},
        {L"InstallPath/x", E_FAIL, L"<null>"},
        {L"[InstallPath/x", E_FAIL, L"<null>"},
        {L"", E_FAIL, L"<null>"},
    };
    for (const Case& c : cases) {
        ExpectOutcome(Call([&](IString** out) { return FILENAMEUnmap(Str(c.mapped).Get(), out); }), c.status,
                      c.name, c.mapped);
    }
    IString* out = nullptr;
    EXPECT_EQ(FILENAMEUnmap(nullptr, &out), E_FAIL);
}

TEST(FileNameMapping, CreateAbsolute) {
    struct Case {
        const wchar_t* base;
        const wchar_t* name;
        const wchar_t* absolute;
    } cases[] = {
        // The relative names the table below makes lead back to their names.
        {L"/home/u/app", L"..\\data/f", L"/home/u/data/f"},
        {L"/home/u/app", L"..\\app/sub/file", L"/home/u/app/sub/file"},
        {L"/home/u/app", L"..\\x/y/z", L"/home/u/x/y/z"},
        {L"/home/u/app", L"ab", L"ab"}, // short names stay as they are
        {L"/home/u/app", L"a\\b", L"/home/u/app/a/b"},
        {L"/home/u/app", L"..\\..\\x", L"/home/x"},
        {L"/home/u/app", L"../x", L"/home/u/app/../x"}, // only the backslash form climbs
        {L"/ab/c", L"..\\..\\x", L"/ab/c/x"},           // too few folders: the whole base
        {L"/a/b", L"..\\x", L"/a/b/x"},                 // the kept part would be too short
        {L"/home/u/app", L"C:\\x\\y", L"C:/x/y"},
        {L"/home/u/app", L"/abs\\p", L"/abs/p"},
        {L"/home/u/app", L"", L""},
    };
    for (const Case& c : cases) {
        Outcome got = Call(
            [&](IString** out) { return FILENAMECreateAbsolute(Str(c.base).Get(), Str(c.name).Get(), out); });
        ExpectOutcome(got, S_OK, c.absolute, std::wstring(c.base) + L" + " + c.name);
    }
    // A name with separators to normalise is not changed in place.
    IPtr<IString> name = Str(L"/x\\y");
    IString* out = nullptr;
    FILENAMECreateAbsolute(nullptr, name.Get(), &out);
    IPtr<IString> owned = IPtr<IString>::Adopt(out);
    EXPECT_EQ(W(owned), L"/x/y");
    EXPECT_EQ(W(name), L"/x\\y");
}

TEST(FileNameMapping, CreateRelative) {
    struct Case {
        const wchar_t* base;
        const wchar_t* name;
        HRESULT status;
        const wchar_t* relative;
    } cases[] = {
        {L"/home/u/app", L"/home/u/data/f", S_OK, L"..\\data/f"},
        {L"/HOME/U/app", L"/home/u/data/f", S_OK, L"..\\data/f"},
        {L"/home/u/app/bin", L"/home/u/data/f", S_OK, L"..\\..\\data/f"},
        {L"/home/u/app/", L"/home/u/app/sub/file", S_OK, L"sub/file"},
        {L"/home/u/app", L"/home/u/app/sub/file", S_OK, L"..\\app/sub/file"},
        {L"/home/u/app", L"/home/u/x/y/z", S_OK, L"..\\x/y/z"},
        {L"/home/u/app", L"/srv/x", S_FALSE, L"/srv/x"},
        {L"/opt/app", L"/opt/apps/x", S_FALSE, L"/opt/apps/x"}, // only one shared separator
        {L"", L"/x", S_OK, L"/x"},
        {L"/x", L"", S_OK, L""},
    };
    for (const Case& c : cases) {
        Outcome got = Call(
            [&](IString** out) { return FILENAMECreateRelative(Str(c.base).Get(), Str(c.name).Get(), out); });
        ExpectOutcome(got, c.status, c.relative, std::wstring(c.base) + L" ~ " + c.name);
    }
}

TEST(FileNameMapping, InstallAndApplicationFolders) {
    TestRegistry::Write(kSettings);
    ExpectOutcome(Call([](IString** out) { return FILENAMEGetInstallPath(out); }), S_OK, L"/opt/app", L"install");

    SetWorkspaceFile(L"/home/u/ws/project.wsp");
    ExpectOutcome(Call([](IString** out) { return FILENAMEGetAppPath(out); }), S_OK, L"/home/u/ws",
                  L"workspace folder");
    ExpectOutcome(Call([](IString** out) { return FILENAMECreateAbsolute(Str(L"x/y.txt").Get(), out, 1); }),
                  S_OK, L"/home/u/ws/x/y.txt", L"against the workspace");
    ExpectOutcome(Call([](IString** out) { return FILENAMECreateAbsolute(Str(L"..\\lib").Get(), out, 0); }),
                  S_OK, L"/opt/lib", L"against the installation");
    for (const wchar_t* file : {L"", L"/root.wsp", L"plain.wsp"}) {
        SetWorkspaceFile(file);
        ExpectOutcome(Call([](IString** out) { return FILENAMEGetAppPath(out); }), S_OK, L"/home/u/apps", file);
    }

    TestRegistry::Write("");
    ExpectOutcome(Call([](IString** out) { return FILENAMEGetInstallPath(out); }), E_FAIL, L"", L"no key");
    ExpectOutcome(Call([](IString** out) { return FILENAMEGetAppPath(out); }), E_FAIL, L"", L"no key");
    SetWorkspaceFile(L"");
}
