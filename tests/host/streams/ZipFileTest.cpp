#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <map>

#include "host/base/WorkFile.h"
#include "host/text/FileNameEncoding.h"
#include "sdk/ScopeExit.h"
#include "support/HostTestSupport.h"

extern char** environ;

using namespace hosttest;
namespace fs = std::filesystem;

namespace {

IPtr<IZipFile> NewZip() { return Make<IZipFile>(L"ZipFile"); }

IPtr<IString> PathOf(const std::string& bytes) { return host::MakeString(host::FileNameToWide(bytes)); }

// Runs a program (no shell) with its output in `out`; its exit code.
int RunProgram(std::vector<std::string> args, const std::string& out) {
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = -1;
    const int rc = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (rc != 0 || ::waitpid(pid, &status, 0) < 0) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Every entry below `root` (links not followed): relative path to its
// kind, permission bits and content.
std::map<std::string, std::string> Tree(const fs::path& root) {
    std::map<std::string, std::string> tree;
    for (const fs::directory_entry& e : fs::recursive_directory_iterator(root)) {
        struct stat status {};
        ::lstat(e.path().c_str(), &status);
        std::string what = std::to_string(status.st_mode);
        if (S_ISREG(status.st_mode)) what += ":" + ReadFile(e.path());
        tree[fs::relative(e.path(), root).string()] = what;
    }
    return tree;
}

IPtr<IDataStream> Saved(IZipFile* zip) {
    IPtr<IDataStream> stream = Make<IDataStream>(L"DataStream");
    EXPECT_EQ(QueryAs<IDataPersist>(zip)->Save(stream.Get(), 0), S_OK);
    return stream;
}

// The bytes of an archive that python's zipfile writes (stored, not
// compressed) with the given entry names, each holding "x".
std::string PythonArchiveBytes(const TempDir& dir, const std::vector<std::string>& names) {
    std::vector<std::string> args{"/usr/bin/python3", "-c",
                                  "import sys, zipfile, warnings\nwarnings.simplefilter('ignore')\n"
                                  "with zipfile.ZipFile(sys.argv[1], 'w') as z:\n"
                                  "    for n in sys.argv[2:]: z.writestr(n, 'x')\n",
                                  dir / "made.zip"};
    args.insert(args.end(), names.begin(), names.end());
    EXPECT_EQ(RunProgram(args, dir / "python.out"), 0);
    return ReadFile(dir / "made.zip");
}

// A ZipFile loaded from `bytes`; null when Load refuses them.
IPtr<IZipFile> Loaded(const std::string& bytes) {
    IPtr<IZipFile> zip = NewZip();
    IPtr<IDataStream> stream = Make<IDataStream>(L"DataStream");
    WriteBytes(stream.Get(), bytes);
    if (FAILED(QueryAs<IDataPersist>(zip.Get())->Load(stream.Get(), 0))) return {};
    return zip;
}

} // namespace

TEST(ZipFile, FolderRoundTripsThroughAStream) {
    TempDir dir;
    const fs::path src = dir.Path() / "src";
    fs::create_directories(src / "a" / "b");
    WriteFile(src / "a" / "b" / "deep.txt", "deep");
    WriteFile(src / "empty", "");
    std::string big;
    for (int i = 0; i < 300000; ++i) big.push_back(static_cast<char>(i * 7 % 251));
    WriteFile(src / "big.bin", big);
    WriteFile(src / "caf\xe9", "latin-1 name");
    ASSERT_EQ(::chmod((src / "a" / "b" / "deep.txt").c_str(), 0750), 0);
    ASSERT_EQ(::chmod((src / "empty").c_str(), 0600), 0);
    const auto expected = Tree(src);
    ASSERT_EQ(::symlink("big.bin", (src / "link").c_str()), 0);

    IPtr<IZipFile> zip = NewZip();
    ASSERT_EQ(zip->AddFolder(PathOf(src.string()).Get()), S_OK) << ErrorText(zip.Get());
    IPtr<IDataStream> stream = Saved(zip.Get());
    WriteFile(dir / "out.zip", Content(stream.Get()));
    // Another reader inflates the same bytes; the link is not packed (the
    // extracted tree below has none).
    ASSERT_EQ(RunProgram({"/usr/bin/python3", "-m", "zipfile", "-e", dir / "out.zip", dir / "py"}, dir / "log"), 0);
    EXPECT_EQ(ReadFile(dir / "py/big.bin"), big);
    EXPECT_EQ(ReadFile(dir / "py/a/b/deep.txt"), "deep");

    IPtr<IZipFile> loaded = NewZip();
    ASSERT_EQ(QueryAs<IDataPersist>(loaded.Get())->Load(stream.Get(), 0), S_OK) << ErrorText(loaded.Get());
    for (bool named : {false, true}) {
        host::UseNamedWorkFilesForTesting(named);
        ScopeExit back([] { host::UseNamedWorkFilesForTesting(false); });
        const fs::path dst = dir.Path() / "new" / (named ? "named" : "nameless");
        ASSERT_EQ(loaded->ExtractTo(PathOf(dst.string()).Get()), S_OK) << ErrorText(loaded.Get());
        EXPECT_EQ(Tree(dst), expected) << (named ? "named work files" : "nameless work files");
    }
}

TEST(ZipFile, ExtractionRefusesUnsafeArchivesBeforeWriting) {
    const std::vector<std::vector<std::string>> cases = {
        {"ok.txt", "../x"}, {"ok.txt", "/abs"}, {"ok.txt", "a/../../x"}, {"ok.txt", "a/./x"}, {"d", "d"},
        {"a", "a/b"},
    };
    for (const auto& names : cases) {
        SCOPED_TRACE(names.back());
        TempDir dir;
        IPtr<IZipFile> zip = Loaded(PythonArchiveBytes(dir, names));
        if (!zip) continue; // refused already when loaded
        EXPECT_EQ(zip->ExtractTo(PathOf(dir / "out").Get()), E_FAIL);
        EXPECT_FALSE(fs::exists(dir.Path() / "out"));
        EXPECT_FALSE(fs::exists(dir.Path() / "x"));
        EXPECT_NE(ErrorText(zip.Get()), "");
    }
}

TEST(ZipFile, ExtractionNeverOverwritesNorFollowsALink) {
    TempDir dir;
    IPtr<IZipFile> zip = Loaded(PythonArchiveBytes(dir, {"first", "sub/inner", "taken"}));
    ASSERT_TRUE(zip);

    fs::create_directories(dir.Path() / "out");
    WriteFile(dir / "out/taken", "mine");
    EXPECT_EQ(zip->ExtractTo(PathOf(dir / "out").Get()), E_FAIL);
    EXPECT_EQ(ErrorText(zip.Get()), dir / "out/taken" + ": exists; it is not overwritten");
    EXPECT_EQ(ReadFile(dir / "out/taken"), "mine");
    EXPECT_FALSE(fs::exists(dir.Path() / "out" / "first")) << "nothing is written";

    fs::remove(dir.Path() / "out" / "taken");
    fs::create_directories(dir.Path() / "elsewhere");
    ASSERT_EQ(::symlink((dir / "elsewhere").c_str(), (dir / "out/sub").c_str()), 0);
    EXPECT_EQ(zip->ExtractTo(PathOf(dir / "out").Get()), E_FAIL);
    EXPECT_NE(ErrorText(zip.Get()).find(dir / "out/sub"), std::string::npos) << ErrorText(zip.Get());
    EXPECT_TRUE(fs::is_empty(dir.Path() / "elsewhere"));
    EXPECT_FALSE(fs::exists(dir.Path() / "out" / "first"));
}

TEST(ZipFile, AFailedAddLeavesTheArchiveAsItWas) {
    TempDir dir;
    fs::create_directories(dir.Path() / "src");
    WriteFile(dir / "src/f", "content");
    IPtr<IZipFile> zip = NewZip();
    ASSERT_EQ(zip->AddFolder(PathOf(dir / "src").Get()), S_OK);
    const std::string before = Content(Saved(zip.Get()).Get());

    EXPECT_EQ(zip->AddFolder(PathOf(dir / "missing").Get()), E_FAIL);
    EXPECT_EQ(ErrorText(zip.Get()), dir / "missing" + ": No such file or directory");
    EXPECT_EQ(zip->AddFolder(PathOf(dir / "src").Get()), E_FAIL) << "f is in the archive already";
    EXPECT_EQ(Content(Saved(zip.Get()).Get()), before);
}

TEST(ZipFile, AnEntryWhoseCRCFailsIsNeverLinkedIn) {
    TempDir dir;
    std::string bytes = PythonArchiveBytes(dir, {"f"});
    // A stored entry's data follows its 30-byte local header and its name.
    ASSERT_EQ(bytes.at(31), 'x');
    bytes[31] = 'y';
    IPtr<IZipFile> zip = Loaded(bytes);
    ASSERT_TRUE(zip);
    EXPECT_EQ(zip->ExtractTo(PathOf(dir / "out").Get()), E_FAIL);
    EXPECT_NE(ErrorText(zip.Get()).find("CRC"), std::string::npos) << ErrorText(zip.Get());
    EXPECT_TRUE(fs::is_empty(dir.Path() / "out")) << "no file and no work file";
}
