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

// Runs python's zlib (never emulated) over `input`: `call` is the zlib
// call to make on the bytes; its result, or "<exit N>".
std::string Python(const std::string& call, const std::string& input, const TempDir& tmp) {
    const std::string in = tmp / "filter.in", out = tmp / "filter.out";
    WriteFile(in, input);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const std::string script = "import zlib,sys; b=sys.stdin.buffer.read(); sys.stdout.buffer.write(zlib." + call + ")";
    char* args[] = {const_cast<char*>("/usr/bin/python3"), const_cast<char*>("-c"), const_cast<char*>(script.c_str()),
                    nullptr};
    pid_t pid = -1;
    const int rc = posix_spawn(&pid, args[0], &actions, nullptr, args, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) return std::string("<cannot start python3: ") + std::strerror(rc) + ">";
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
    EXPECT_EQ(Run(byConfigured, STREAM_AUTO_HEADER, true),
              "<failed: DataStreamEx: revert: the protected content cannot be restored: the key is wrong, or the "
              "content was changed or truncated [error]>");
    SetKey(nullptr);
    EXPECT_EQ(Run(byConfigured, STREAM_AUTO_HEADER, true), "secret") << "null falls back to the settings";
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

// Base64 and hex output are checked against the standard vectors in
// StreamLayersTest; the compressed formats are checked against zlib here.
TEST_F(DataStreamExTest, CompressedOutputIsReadByZlibAndBack) {
    std::string input;
    for (int i = 0; i < 3000; ++i) input += "line " + std::to_string(i * 7919 % 1000) + (i % 5 ? " " : "\n");
    input += std::string("\0\xff\x80", 3);
    EXPECT_EQ(Python("decompress(b)", Run(input, STREAM_COMPRESS_ZLIB, false), m_tmp), input);
    EXPECT_EQ(Python("decompress(b, -15)", Run(input, STREAM_COMPRESS_RAW, false), m_tmp), input);
    EXPECT_EQ(Run(Python("compress(b, 9)", input, m_tmp), STREAM_COMPRESS_ZLIB, true), input);
}

} // namespace
