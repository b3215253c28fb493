// "StringCollection": a text file read as lines and written back.
#include "support/HostTestSupport.h"

using namespace hosttest;

namespace {

IPtr<IFileArchive> NewLines(const std::string& path) {
    IPtr<IFileArchive> file = Make<IFileArchive>(L"StringCollection");
    if (file) SetFilename(file.Get(), path);
    return file;
}

std::vector<std::wstring> Read(IUnknown* file) {
    IPtr<IStringCollection> lines = QueryAs<IStringCollection>(file);
    int32_t count = -1;
    EXPECT_EQ(lines->get_Count(&count), S_OK);
    std::vector<std::wstring> text;
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> line;
        EXPECT_EQ(lines->get_Line(i, line.Out()), S_OK);
        text.push_back(host::ToWide(line.Get()));
    }
    return text;
}

TEST(StringCollection, LoadReadsTheFileAsLines) {
    struct Case {
        const char* name;
        std::string bytes;
        std::vector<std::wstring> lines;
    } const cases[] = {
        {"byte-order mark and CRLF", "\xEF\xBB\xBF" "a\r\nb\r\n", {L"a", L"b"}},
        {"empty line kept, last without end", "a\r\n\r\nb", {L"a", L"", L"b"}},
        {"one CR only, also at the end", "x\r\r\ny\r", {L"x\r", L"y"}},
        {"UTF-8, nothing unquoted", "caf\xC3\xA9,\"q, r\"\n", {L"caf\u00E9,\"q, r\""}},
        {"not UTF-8", "\xFF\n", {L"\uFFFD"}},
        {"mark only", "\xEF\xBB\xBF", {}},
    };
    TempDir dir;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WriteFile(dir / "list.csv", c.bytes);
        IPtr<IFileArchive> file = NewLines(dir / "list.csv");
        ASSERT_TRUE(file);
        ASSERT_EQ(file->Load(), S_OK);
        EXPECT_EQ(Read(file.Get()), c.lines);
    }
}

TEST(StringCollection, MissingFileLoadsNoLines) {
    TempDir dir;
    WriteFile(dir / "list.csv", "a\n");
    IPtr<IFileArchive> file = NewLines(dir / "list.csv");
    ASSERT_EQ(file->Load(), S_OK);
    SetFilename(file.Get(), dir / "missing.csv");
    EXPECT_EQ(file->Load(), E_FAIL);
    EXPECT_EQ(Read(file.Get()), std::vector<std::wstring>{});
    SetFilename(file.Get(), dir.Root());
    EXPECT_EQ(file->Load(), E_FAIL);
    IPtr<IString> line;
    EXPECT_EQ(QueryAs<IStringCollection>(file.Get())->get_Line(0, line.Out()), E_INVALIDARG);
}

TEST(StringCollection, SaveWritesTheLinesThroughAWorkFile) {
    TempDir dir;
    IPtr<IFileArchive> file = NewLines(dir / "out.csv");
    IPtr<ISuperCollection> items = file.Query<ISuperCollection>();
    for (const wchar_t* text : {L"a,x", L"", L"caf\u00E9"})
        ASSERT_EQ(items->Add(nullptr, Str(text).Get(), nullptr, 0), S_OK);

    // A link under the name is replaced, not followed.
    WriteFile(dir / "target", "kept");
    std::filesystem::create_symlink(dir / "target", dir / "out.csv");
    ASSERT_EQ(file->Save(), S_OK);
    EXPECT_EQ(ReadFile(dir / "out.csv"), "a,x\n\ncaf\xC3\xA9\n");
    EXPECT_EQ(ReadFile(dir / "target"), "kept");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.Path()), {}), 2); // no work file left

    IPtr<IFileArchive> back = NewLines(dir / "out.csv");
    ASSERT_EQ(back->Load(), S_OK);
    EXPECT_EQ(Read(back.Get()), (std::vector<std::wstring>{L"a,x", L"", L"caf\u00E9"}));

    SetFilename(file.Get(), dir / "no-folder/out.csv");
    EXPECT_EQ(file->Save(), E_FAIL);
    SetFilename(file.Get(), "");
    EXPECT_EQ(file->Save(), E_FAIL);
}

} // namespace
