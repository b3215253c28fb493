// "DataStreamEx" as the module uses it: made by name, keys from put_Key or
// the settings registry, failures reported to the event log with nothing
// handed out, and output other programs read.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstring>

#include "host/streams/DataStream.h"
#include "host/transform/TransformSettings.h"
#include "support/HostTestSupport.h"

using namespace hosttest;

extern char** environ;

namespace {

// Runs a native program (python and coreutils are never emulated) with
// `input` on stdin and returns its stdout; "<exit N>" when it fails.
std::string RunFilter(const std::vector<std::string>& argv, const std::string& input, const TempDir& tmp) {
    const std::string in = tmp / "filter.in", out = tmp / "filter.out";
    WriteFile(in, input);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    pid_t pid = -1;
    const int rc = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) return std::string("<cannot start ") + argv[0] + ": " + std::strerror(rc) + ">";
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {}
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return "<exit " + std::to_string(status) + ">";
    return ReadFile(out);
}

// A saved object: it writes a fixed text into the stream it is given.
class Saver final : public host::HostObject<IDataPersist> {
public:
    HRESULT Save(IDataStream* stream, int32_t) override {
        unsigned int written = 0;
        return stream->Write("saved object", 12, &written);
    }
    HRESULT Load(IDataStream*, int32_t) override { return S_OK; }
};

IUnknown* const kPoison = reinterpret_cast<IUnknown*>(0x1);

class DataStreamExTest : public ::testing::Test {
protected:
    void SetUp() override { host::transform::SetIterationsForTesting(2); }
    void TearDown() override { host::transform::SetIterationsForTesting(0); }

    void Configure(const std::string& lines) { WriteFile(m_dir / "registry.ini", "[DataStreamEx]\n" + lines); }

    // The transformed content, or "<failed: last log line>" with the checks
    // every failure must pass.
    std::string Run(const std::string& input, int32_t options, bool revert) {
        IPtr<IDataStream> source = host::NewDataStream(input);
        IUnknown* result = kPoison;
        const HRESULT hr = revert ? m_ex->RevertStream(source.Get(), &result, options)
                                  : m_ex->TransformStream(source.Get(), &result, options);
        return Outcome(hr, result);
    }
    std::string Outcome(HRESULT hr, IUnknown* result) {
        IPtr<IUnknown> owned = IPtr<IUnknown>::Adopt(result == kPoison ? nullptr : result);
        if (hr == S_OK) return Content(owned.Get());
        EXPECT_EQ(hr, E_FAIL);
        EXPECT_EQ(result, nullptr) << "a failure hands out nothing";
        return "<failed: " + LastLogLine() + ">";
    }
    std::string LastLogLine() {
        QueryAs<IFileArchive>(Make<IUILineDisplayable>(L"EventLogGlobal").Get())->Save();
        std::string text = ReadFile(m_dir / "events.log"), last;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) last = line.substr(line.find(' ', 11) + 1);
        return last;
    }
    void SetKey(const wchar_t* key) { ASSERT_EQ(m_ex->put_Key(key ? Str(key).Get() : nullptr), S_OK); }

    TempDir m_tmp;
    const std::filesystem::path m_dir = m_tmp.Path();
    ScopedEnv m_registryEnv{"SHADOW_REGISTRY", (m_dir / "registry.ini").c_str()};
    ScopedEnv m_logEnv{"SHADOW_EVENT_LOG", (m_dir / "events.log").c_str()};
    IPtr<IDataStreamEx> m_ex = Make<IDataStreamEx>(L"DataStreamEx");
};

TEST_F(DataStreamExTest, KeyComesFromPutKeyElseTheSettingsAndIsNeverLogged) {
    const int32_t sealed = STREAM_ENCRYPT | STREAM_AUTHENTICATE | STREAM_AUTO_HEADER;
    EXPECT_EQ(Run("secret", sealed, false),
              "<failed: DataStreamEx: transform: no key: give one with put_Key or set the key \"Key\" in the section "
              "\"DataStreamEx\" of the settings registry [error]>");

    Configure("Key=configured pass\n");
    const std::string byConfigured = Run("secret", sealed, false);
    SetKey(L"given päss");
    const std::string byGiven = Run("secret", sealed, false);
    EXPECT_EQ(Run(byGiven, STREAM_AUTO_HEADER, true), "secret");
    const std::string refused = Run(byConfigured, STREAM_AUTO_HEADER, true);
    EXPECT_EQ(refused, "<failed: DataStreamEx: revert: the protected content cannot be restored: the key is wrong, or "
                       "the content was changed or truncated [error]>");
    SetKey(nullptr);
    EXPECT_EQ(Run(byConfigured, STREAM_AUTO_HEADER, true), "secret") << "null falls back to the settings";
    std::string truncated = byConfigured.substr(0, byConfigured.size() - 5);
    EXPECT_EQ(Run(truncated, STREAM_AUTO_HEADER, true), refused);
    EXPECT_EQ(ReadFile(m_dir / "events.log").find("pass"), std::string::npos) << "no key text in the log";
}

TEST_F(DataStreamExTest, SettingsBoundDecompressionAndAreChecked) {
    const std::string packed = Run(std::string(4 << 20, 'z'), STREAM_COMPRESS_ZLIB, false);
    Configure("MaxInflatedBytes=1000000\n");
    EXPECT_EQ(Run(packed, STREAM_COMPRESS_ZLIB, true),
              "<failed: DataStreamEx: revert: the decompressed content exceeds the limit of 1000000 bytes (setting "
              "[DataStreamEx] MaxInflatedBytes) [error]>");
    Configure("MaxInflatedBytes=lots\n");
    EXPECT_NE(Run(packed, STREAM_COMPRESS_ZLIB, true).find("MaxInflatedBytes in the section DataStreamEx is not a number"),
              std::string::npos);
    Configure("MaxInflatedBytes=4194304\n");
    EXPECT_EQ(Run(packed, STREAM_COMPRESS_ZLIB, true).size(), size_t{4} << 20);
}

TEST_F(DataStreamExTest, TransformObjectTakesStreamsAndSavingObjects) {
    auto transform = [&](IUnknown* source, int32_t options) {
        IUnknown* result = kPoison;
        const HRESULT hr = m_ex->TransformObject(source, &result, 0, options);
        return Outcome(hr, result);
    };
    IPtr<IUnknown> saver;
    ASSERT_EQ(host::CreateHostComponent<Saver>(saver), S_OK);
    EXPECT_EQ(transform(saver.Get(), STREAM_MIMEHEX), "7361766564206f626a656374");
    EXPECT_EQ(transform(host::NewDataStream("ab").Get(), STREAM_MIME64), "YWI=");
    EXPECT_EQ(transform(Str(L"text").Get(), 0),
              "<failed: DataStreamEx: the object to transform is neither a data stream nor an object that saves "
              "itself [error]>");
}

TEST_F(DataStreamExTest, OutputIsReadByOtherPrograms) {
    std::string input;
    for (int i = 0; i < 3000; ++i) input += "line " + std::to_string(i * 7919 % 1000) + (i % 5 ? " " : "\n");
    input += std::string("\0\xff\x80", 3);
    const std::string inflate = "import zlib,sys; sys.stdout.buffer.write(zlib.decompress(sys.stdin.buffer.read()%s))";
    char script[200];
    std::snprintf(script, sizeof script, inflate.c_str(), "");
    EXPECT_EQ(RunFilter({"/usr/bin/python3", "-c", script}, Run(input, STREAM_COMPRESS_ZLIB, false), m_tmp), input);
    std::snprintf(script, sizeof script, inflate.c_str(), ", -15");
    EXPECT_EQ(RunFilter({"/usr/bin/python3", "-c", script}, Run(input, STREAM_COMPRESS_RAW, false), m_tmp), input);
    EXPECT_EQ(Run(input, STREAM_MIME64, false), RunFilter({"/usr/bin/base64", "-w0"}, input, m_tmp));
    std::string hex = RunFilter({"/usr/bin/od", "-An", "-v", "-tx1"}, input, m_tmp);
    std::erase_if(hex, [](char c) { return c == ' ' || c == '\n'; });
    EXPECT_EQ(Run(input, STREAM_MIMEHEX, false), hex);
    // And what they write reverts here.
    const std::string deflated = RunFilter(
        {"/usr/bin/python3", "-c", "import zlib,sys; sys.stdout.buffer.write(zlib.compress(sys.stdin.buffer.read(), 9))"},
        input, m_tmp);
    EXPECT_EQ(Run(deflated, STREAM_COMPRESS_ZLIB, true), input);
}

} // namespace
