#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>
#include <thread>

#include "host/text/FileNameEncoding.h"
#include "support/HostTestSupport.h"

namespace fs = std::filesystem;
using namespace hosttest;

namespace {

// Polls `done` for up to ten seconds: the programs run on their own.
template <class F>
bool Within(F done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

bool Holds(const std::string& path, const std::string& content) {
    return Within([&] { return fs::exists(path) && ReadFile(path) == content; });
}

mode_t ModeOf(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

// A word that keeps the path as it is (the test folders hold no quote).
std::string Quote(const std::string& path) { return "'" + path + "'"; }

class OSUtilsTest : public ::testing::Test {
protected:
    HRESULT Run(const std::string& line) {
        return Make<IOSUtils>(L"OSUtils")->Run(Str(host::FileNameToWide(line)).Get());
    }
    std::string Log() const { return ReadFile(m_dir / "events.log"); }
    std::string Data(const std::string& name) {
        const std::string path = m_dir / name;
        WriteFile(path, "payload of " + name);
        ::chmod(path.c_str(), 0644);
        return path;
    }

    TempDir m_dir;
    ScopedEnv m_registryEnv{"SHADOW_REGISTRY", (m_dir / "registry.ini").c_str()};
    ScopedEnv m_logEnv{"SHADOW_EVENT_LOG", (m_dir / "events.log").c_str()};
};

} // namespace

TEST_F(OSUtilsTest, HandlerGetsTheFileAndTheOtherWordsAndTheFileIsNotRun) {
    WriteFile(m_dir / "registry.ini", "[FileHandlers]\n"
                                      "first=/bin/cp %f\n"
                                      "last=/bin/cp\n"
                                      "fixed=/bin/cp %f " + Quote(m_dir / "fixed copy") + "\n");
    struct Case {
        const char* file;
        std::string rest;
        std::string copy;
    } cases[] = {
        {"doc.first", Quote(m_dir / "copy one"), m_dir / "copy one"},
        {"doc.last", Quote(m_dir / "copy two"), m_dir / "copy two"},
        {"doc.fixed", "", m_dir / "fixed copy"},
        // A path with blanks, joined to its argument unquoted.
        {"my doc.first", Quote(m_dir / "copy three"), m_dir / "copy three"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        const std::string data = Data(c.file);
        const bool blanks = std::string(c.file).find(' ') != std::string::npos;
        ASSERT_EQ(Run((blanks ? data : Quote(data)) + " " + c.rest), S_OK) << Log();
        EXPECT_TRUE(Holds(c.copy, ReadFile(data)));
        EXPECT_EQ(ModeOf(data), 0644u);
    }
}

TEST_F(OSUtilsTest, DataFileWithoutHandlerFailsNamingTheSection) {
    WriteFile(m_dir / "registry.ini", "[FileHandlers]\ndat=/bin/cp %f\n");
    // The key matches the extension exactly: "DAT" is not "dat".
    for (const char* name : {"notes.txt", "upper.DAT", "no-extension"}) {
        SCOPED_TRACE(name);
        const std::string data = Data(name);
        EXPECT_EQ(Run(Quote(data)), E_FAIL);
        const std::string log = Log();
        EXPECT_NE(log.find("OSUtils: no program is registered to open \"" + data + "\""), std::string::npos) << log;
        EXPECT_NE(log.find("[FileHandlers]"), std::string::npos);
        EXPECT_EQ(ModeOf(data), 0644u);
    }
}

TEST_F(OSUtilsTest, StartsProgramsWithoutAShellAndReapsThem) {
    const std::string literal[] = {m_dir / "a;b", m_dir / "$(id)", m_dir / "`id`"};
    ASSERT_EQ(Run("/usr/bin/touch " + literal[0] + " " + literal[1] + " " + Quote(literal[2])), S_OK) << Log();
    ASSERT_EQ(Run("touch " + Quote(m_dir / "on path")), S_OK) << Log();
    for (const std::string& path : literal) EXPECT_TRUE(Holds(path, "")) << path;
    EXPECT_TRUE(Holds(m_dir / "on path", ""));
    EXPECT_TRUE(Within([] {
        siginfo_t info{};
        return ::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) != 0 && errno == ECHILD;
    })) << "a child was left for the test to reap";
}

TEST_F(OSUtilsTest, FailuresAreRefusedAndLogged) {
    WriteFile(m_dir / "registry.ini", "[FileHandlers]\nm=/bin/cp %f\nbad='open\n");
    const std::string bad = Data("doc.bad");
    struct Case {
        std::string line;
        HRESULT hr;
        std::string logged;
    } cases[] = {
        {" ", E_INVALIDARG, "OSUtils: the command line is empty"},
        {"prog 'open", E_INVALIDARG, "OSUtils: the command line cannot be split"},
        {m_dir / "missing-program", E_FAIL, "OSUtils: cannot start \"" + m_dir / "missing-program" + "\": No such"},
        {"shadow-test-no-such-program", E_FAIL, "cannot start \"shadow-test-no-such-program\""},
        {m_dir / "gone.m", E_FAIL, "OSUtils: cannot open \"" + m_dir / "gone.m" + "\": No such"},
        {bad, E_FAIL, "OSUtils: the handler of [FileHandlers] bad is not a command line"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        EXPECT_EQ(Run(c.line), c.hr);
        EXPECT_NE(Log().find(c.logged), std::string::npos) << Log();
    }
}
