#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/base/WorkFile.h"
#include "host/text/FileNameEncoding.h"
#include "sdk/ScopeExit.h"
#include "sdk/ScopedHandles.h"
#include "support/HostTestSupport.h"

using namespace hosttest;

namespace {

IPtr<IFileDataStream> NewFile() { return Make<IFileDataStream>(L"File"); }

// A host string for a file-name path given as bytes.
IPtr<IString> PathOf(const std::string& bytes) { return host::MakeString(host::FileNameToWide(bytes)); }

mode_t ModeOf(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

size_t Entries(const TempDir& dir) {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(dir.Path()), {}));
}

} // namespace

TEST(FileDataStream, OpensFilesAsContentAndText) {
    TempDir dir;
    struct Case { const char* what; std::string name, bytes; } cases[] = {
        {"text and high bytes", "plain.txt", std::string("hi\0\xff\x80 there", 10)},
        {"empty file", "empty", ""},
        {"name that is not UTF-8", "caf\xe9\xff.bin", "x"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        WriteFile(dir / c.name, c.bytes);
        IPtr<IFileDataStream> file = NewFile();
        ASSERT_EQ(file->Open(PathOf(dir / c.name).Get()), S_OK) << ErrorText(file.Get());
        EXPECT_EQ(Content(file.Get()), c.bytes);
        std::wstring expected;
        for (unsigned char b : c.bytes) expected.push_back(b);
        EXPECT_EQ(TextOf(file.Get()), expected);
    }
}

TEST(FileDataStream, WritesNeverReachTheFile) {
    TempDir dir;
    WriteFile(dir / "f", "abc");
    IPtr<IFileDataStream> file = NewFile();
    ASSERT_EQ(file->Open(PathOf(dir / "f").Get()), S_OK);
    ASSERT_EQ(WriteBytes(file.Get(), "X"), S_OK); // in place, over the mapping
    EXPECT_EQ(Content(file.Get()), "Xbc");
    ASSERT_EQ(file->Seek(0, 2, nullptr), S_OK);
    ASSERT_EQ(WriteBytes(file.Get(), "def"), S_OK); // grows: copied
    EXPECT_EQ(Content(file.Get()), "Xbcdef");
    EXPECT_EQ(ReadFile(dir / "f"), "abc");
}

TEST(FileDataStream, SaveStreamReplacesWholeAndKeepsTheMode) {
    for (bool named : {false, true}) {
        SCOPED_TRACE(named ? "named work file" : "nameless work file");
        host::UseNamedWorkFilesForTesting(named);
        ScopeExit back([] { host::UseNamedWorkFilesForTesting(false); });
        TempDir dir;
        WriteFile(dir / "old", "old content");
        ASSERT_EQ(::chmod((dir / "old").c_str(), 0640), 0);
        IPtr<IFileDataStream> file = NewFile();
        IPtr<IDataStream> content = Make<IDataStream>(L"DataStream");
        WriteBytes(content.Get(), "new");
        ASSERT_EQ(file->SaveStream(content.Get(), PathOf(dir / "old").Get()), S_OK) << ErrorText(file.Get());
        EXPECT_EQ(ReadFile(dir / "old"), "new");
        EXPECT_EQ(ModeOf(dir / "old"), 0640u);

        // A new file: the stream's own content, the mode any new file gets.
        WriteBytes(file.Get(), "own");
        ASSERT_EQ(file->SaveStream(nullptr, PathOf(dir / "fresh").Get()), S_OK);
        EXPECT_EQ(ReadFile(dir / "fresh"), "own");
        ScopedFD reference(::open((dir / "reference").c_str(), O_CREAT | O_WRONLY, 0666));
        EXPECT_EQ(ModeOf(dir / "fresh"), ModeOf(dir / "reference"));
        EXPECT_EQ(Entries(dir), 3u) << "no work file is left behind";
    }
}

TEST(FileDataStream, SaveStreamRefusesALinkAndLeavesItsTarget) {
    TempDir dir;
    WriteFile(dir / "target", "keep");
    ASSERT_EQ(::symlink("target", (dir / "link").c_str()), 0);
    IPtr<IFileDataStream> file = NewFile();
    WriteBytes(file.Get(), "overwrite?");
    EXPECT_EQ(file->SaveStream(nullptr, PathOf(dir / "link").Get()), E_FAIL);
    EXPECT_NE(ErrorText(file.Get()).find(dir / "link"), std::string::npos) << ErrorText(file.Get());
    EXPECT_EQ(ReadFile(dir / "target"), "keep");
    EXPECT_TRUE(std::filesystem::is_symlink(dir.Path() / "link"));
    EXPECT_EQ(Entries(dir), 2u);
}

TEST(FileDataStream, OpenFailuresNameTheFileAndTheReason) {
    TempDir dir;
    const std::pair<std::string, const char*> cases[] = {{dir / "missing", "No such file or directory"},
                                                         {dir.Root(), "not a regular file"}};
    for (const auto& [path, reason] : cases) {
        IPtr<IFileDataStream> file = NewFile();
        EXPECT_EQ(file->Open(PathOf(path).Get()), E_FAIL);
        EXPECT_EQ(ErrorText(file.Get()), path + ": " + reason);
    }
}

TEST(FileDataStream, StaysAnObjectInAVariant) {
    // It answers IString, but a variant keeps a data stream as an object.
    IPtr<IVariant> value = host::NewVariant();
    ASSERT_EQ(value->put_Unknown(NewFile().Get()), S_OK);
    EXPECT_TRUE(value->IsObject());
}

TEST(FileDataStream, AnswersAsAFileArchiveOfItsPath) {
    TempDir dir;
    WriteFile(dir / "one.txt", "first");
    WriteFile(dir / "two.txt", "second");
    IPtr<IFileDataStream> file = NewFile();
    IPtr<IFileArchive> archive = QueryAs<IFileArchive>(file.Get());
    ASSERT_TRUE(archive);
    auto text = [&](HRESULT (IFileArchive::*get)(IString**)) {
        IPtr<IString> value;
        return SUCCEEDED((archive.Get()->*get)(value.Out())) ? host::ToUtf8(host::ToWide(value.Get())) : "<failed>";
    };
    ASSERT_EQ(file->Open(PathOf(dir / "one.txt").Get()), S_OK);
    EXPECT_EQ(text(&IFileArchive::get_Filename), dir / "one.txt");
    EXPECT_EQ(text(&IFileArchive::get_Name), "one.txt");
    EXPECT_EQ(file->Open(PathOf(dir / "missing").Get()), E_FAIL);
    EXPECT_EQ(text(&IFileArchive::get_Filename), dir / "one.txt");

    SetFilename(file.Get(), dir / "two.txt");
    ASSERT_EQ(archive->Load(), S_OK);
    EXPECT_EQ(Content(file.Get()), "second");
    ASSERT_EQ(WriteBytes(file.Get(), "S"), S_OK);
    ASSERT_EQ(archive->Save(), S_OK);
    EXPECT_EQ(ReadFile(dir / "two.txt"), "Second");
    EXPECT_EQ(ReadFile(dir / "one.txt"), "first");
}
