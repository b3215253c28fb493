#include <thread>

#include "host/settings/Registry.h"
#include "support/HostTestSupport.h"

using namespace hosttest;

namespace {

class RegistryTest : public ::testing::Test {
protected:
    static IPtr<IRegistryEx> NewRegistry() { return Make<IRegistryEx>(L"Registry"); }
    void Seed(const std::string& text) {
        std::filesystem::create_directories(m_file.parent_path());
        WriteFile(m_file, text);
    }
    HRESULT Get(const wchar_t* section, const wchar_t* key, std::wstring* value, int32_t capacity = 256) {
        std::vector<wchar_t> buffer(static_cast<size_t>(capacity) + 1, L'#');
        HRESULT hr = m_registry->GetValue(REFLiteral(section), REFLiteral(key), buffer.data(), capacity);
        *value = buffer.data();
        return hr;
    }
    HRESULT Set(const wchar_t* section, const wchar_t* key, const wchar_t* value) {
        return m_registry->SetValue(REFLiteral(section), REFLiteral(key), REFLiteral(value));
    }

    TempDir m_tmp;
    const std::filesystem::path m_dir = m_tmp.Path();
    const std::filesystem::path m_file = m_dir / "settings" / "registry.ini";
    ScopedEnv m_registryEnv{"SHADOW_REGISTRY", m_file.c_str()};
    ScopedEnv m_logEnv{"SHADOW_EVENT_LOG", (m_dir / "events.log").c_str()};
    IPtr<IRegistryEx> m_registry = NewRegistry();
};

TEST_F(RegistryTest, ValuesRoundTripThroughTheFileAndAreSeenByOtherInstances) {
    ASSERT_EQ(Set(L"Workspace", L"InstallPath", L"/opt/app"), S_OK);
    ASSERT_EQ(Set(L"Mappings", L"Data", L"/srv/dätä"), S_OK);
    ASSERT_EQ(Set(L"Workspace", L"AppPath", L"/home/u/app"), S_OK);
    ASSERT_EQ(Set(L"Workspace", L"InstallPath", L"/opt/app2"), S_OK);

    EXPECT_EQ(ReadFile(m_file), "[Workspace]\nInstallPath=/opt/app2\nAppPath=/home/u/app\n\n"
                               "[Mappings]\nData=/srv/d\xC3\xA4t\xC3\xA4\n");
    m_registry = NewRegistry();
    std::wstring value;
    EXPECT_EQ(Get(L"workspace", L"INSTALLPATH", &value), S_OK) << "names are matched case-blind";
    EXPECT_EQ(value, L"/opt/app2");
    EXPECT_EQ(Get(L"Mappings", L"Data", &value), S_OK);
    EXPECT_EQ(value, L"/srv/dätä");
    EXPECT_EQ(Get(L"Mappings", L"Other", &value), E_FAIL);
    EXPECT_EQ(value, L"");
    EXPECT_EQ(host::RegistryLastError(), L"");
}

TEST_F(RegistryTest, WritesKeepEveryOtherLine) {
    struct Case {
        const char* name;
        std::string before;
        std::function<HRESULT(IRegistryEx*)> change;
        std::string after;
        HRESULT hr = S_OK;
    };
    const std::string file =
        "; settings\n[Workspace]\n# the folder\nInstallPath = /opt/app\n\n[Mappings]\nA=/a\nB=/b\n";
    auto set = [](const wchar_t* s, const wchar_t* k, const wchar_t* v) {
        return [=](IRegistryEx* r) { return r->SetValue(REFLiteral(s), REFLiteral(k), REFLiteral(v)); };
    };
    auto del = [](const wchar_t* s, const wchar_t* k) {
        return [=](IRegistryEx* r) { return r->DeleteValue(REFLiteral(s), REFLiteral(k)); };
    };
    const std::vector<Case> cases = {
        {"change in place", file, set(L"WORKSPACE", L"installpath", L"/new"),
         "; settings\n[Workspace]\n# the folder\nInstallPath=/new\n\n[Mappings]\nA=/a\nB=/b\n"},
        {"add to section", file, set(L"Workspace", L"AppPath", L"/x"),
         "; settings\n[Workspace]\n# the folder\nInstallPath = /opt/app\nAppPath=/x\n\n[Mappings]\nA=/a\nB=/b\n"},
        {"new section", file, set(L"Other", L"K", L"v"), file + "\n[Other]\nK=v\n"},
        {"delete", file, del(L"Mappings", L"A"),
         "; settings\n[Workspace]\n# the folder\nInstallPath = /opt/app\n\n[Mappings]\nB=/b\n"},
        {"unnamed section before the first header", file, set(L"", L"Top", L"1"),
         "; settings\nTop=1\n[Workspace]\n# the folder\nInstallPath = /opt/app\n\n[Mappings]\nA=/a\nB=/b\n"},
        {"line ends kept", "[S]\r\nA=1\r\n", set(L"S", L"B", L"2"), "[S]\r\nA=1\r\nB=2\r\n"},
        {"deleting a missing key", "[S]\nA=1\n", del(L"S", L"B"), "[S]\nA=1\n", S_FALSE},
        {"deleting from a missing section", "[S]\nA=1\n", del(L"T", L"A"), "[S]\nA=1\n", S_FALSE},
        {"blanks around a value are quoted", "", set(L"S", L"K", L"  padded "), "[S]\nK=\"  padded \"\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Seed(c.before);
        EXPECT_EQ(c.change(m_registry.Get()), c.hr);
        EXPECT_EQ(ReadFile(m_file), c.after);
    }
}

TEST_F(RegistryTest, MalformedFileFailsWithAnExplanationAndIsNeverOverwritten) {
    const std::vector<std::pair<std::string, std::wstring>> cases = {
        {"[S]\nA=1\njust words\n", L"line 3"},
        {"[S\nA=1\n", L"line 1"},
        {"[S]\n=value\n", L"line 2"},
        {"[S] extra\n", L"line 1"},
        {"[]\n", L"line 1"},
    };
    for (const auto& [text, where] : cases) {
        SCOPED_TRACE(text);
        Seed(text);
        std::wstring value;
        EXPECT_EQ(Get(L"S", L"A", &value), E_FAIL);
        EXPECT_NE(host::RegistryLastError().find(where), std::wstring::npos) << host::ToUtf8(host::RegistryLastError());
        EXPECT_NE(host::RegistryLastError().find(L"malformed"), std::wstring::npos);
        EXPECT_EQ(Set(L"S", L"A", L"2"), E_FAIL);
        IPtr<INamedCollection> section;
        EXPECT_EQ(m_registry->GetSection(REFLiteral(L"S"), section.Out()), E_FAIL);
        EXPECT_FALSE(section);
        EXPECT_EQ(ReadFile(m_file), text);
    }
    // The explanation went to the event log once, not once per call.
    const std::string log = ReadFile(m_dir / "events.log");
    const std::string first = "line 3";
    size_t at = log.find(first);
    EXPECT_NE(at, std::string::npos) << log;
    EXPECT_EQ(log.find(first, at + 1), std::string::npos) << log;
}

TEST_F(RegistryTest, MissingFileIsAnEmptyRegistryUntilTheFirstWrite) {
    std::wstring value;
    EXPECT_EQ(Get(L"Workspace", L"InstallPath", &value), E_FAIL);
    IPtr<INamedCollection> section;
    EXPECT_EQ(m_registry->GetSection(REFLiteral(L"Workspace"), section.Out()), E_FAIL);
    EXPECT_EQ(host::RegistryLastError(), L"");
    EXPECT_FALSE(std::filesystem::exists(m_file));

    ASSERT_EQ(Set(L"Workspace", L"InstallPath", L"/opt/app"), S_OK) << "the folder is created";
    EXPECT_EQ(ReadFile(m_file), "[Workspace]\nInstallPath=/opt/app\n");
    std::vector<std::string> left;
    for (const auto& entry : std::filesystem::directory_iterator(m_file.parent_path()))
        left.push_back(entry.path().filename().string());
    EXPECT_EQ(left, std::vector<std::string>{"registry.ini"}) << "no temporary file is left";
}

TEST_F(RegistryTest, SectionIsACollectionOfKeysInFileOrder) {
    Seed("[Mappings]\nData=/srv/data\nhome=/home/u\n[Other]\nX=1\n[mappings]\nDATA=/ignored\nLast=/l\n[Empty]\n");
    IPtr<INamedCollection> section;
    ASSERT_EQ(m_registry->GetSection(REFLiteral(L"MAPPINGS"), section.Out()), S_OK);
    EXPECT_EQ(Names(section.Get()), (std::vector<std::wstring>{L"Data", L"home", L"Last"}));
    const wchar_t* values[] = {L"/srv/data", L"/home/u", L"/l"};
    for (int32_t i = 0; i < 3; ++i) {
        IPtr<IUnknown> item;
        ASSERT_EQ(section->get_Item(i, item.Out()), S_OK);
        IPtr<IString> value = item.Query<IString>();
        ASSERT_TRUE(value) << "values are strings";
        EXPECT_EQ(host::ToWide(value.Get()), values[i]);
    }
    int32_t index = -1;
    EXPECT_EQ(section->get_Index(host::MakeString(L"HOME").Get(), &index), S_OK);
    EXPECT_EQ(index, 1);

    IPtr<INamedCollection> empty;
    ASSERT_EQ(m_registry->GetSection(REFLiteral(L"Empty"), empty.Out()), S_OK);
    EXPECT_TRUE(Names(empty.Get()).empty());
}

TEST_F(RegistryTest, GetValueCutsToTheCallersBuffer) {
    Seed("[S]\nK=abcdef\n");
    struct Case {
        int32_t capacity;
        const wchar_t* expected;
    };
    for (const Case& c : {Case{1, L""}, Case{2, L"a"}, Case{4, L"abc"}, Case{6, L"abcde"}, Case{7, L"abcdef"},
                          Case{100, L"abcdef"}}) {
        SCOPED_TRACE(c.capacity);
        std::vector<wchar_t> buffer(static_cast<size_t>(c.capacity) + 1, L'#');
        EXPECT_EQ(m_registry->GetValue(REFLiteral(L"S"), REFLiteral(L"K"), buffer.data(), c.capacity), S_OK);
        EXPECT_STREQ(buffer.data(), c.expected);
        EXPECT_EQ(buffer[static_cast<size_t>(c.capacity)], L'#') << "nothing written past the capacity";
    }
    wchar_t one[1] = {L'#'};
    EXPECT_EQ(m_registry->GetValue(REFLiteral(L"S"), REFLiteral(L"K"), one, 0), E_INVALIDARG);
    EXPECT_EQ(m_registry->GetValue(REFLiteral(L"S"), REFLiteral(L"K"), nullptr, 10), E_POINTER);
}

TEST_F(RegistryTest, NamesAndValuesThatCannotBeStoredAreRefused) {
    Seed("[S]\nA=1\n");
    const std::vector<std::tuple<const wchar_t*, const wchar_t*, const wchar_t*>> cases = {
        {L"S", L"a=b", L"1"}, {L"S", L"", L"1"},   {L"S", L"[k", L"1"},     {L"S", L";k", L"1"},
        {L"S", L" k", L"1"},  {L"S]", L"k", L"1"}, {L"S", L"k\r", L"1"}, {L" S", L"k", L"1"},
    };
    for (const auto& [section, key, value] : cases) {
        SCOPED_TRACE(host::ToUtf8(std::wstring(section) + L"/" + key));
        EXPECT_EQ(Set(section, key, value), E_INVALIDARG);
        EXPECT_FALSE(host::RegistryLastError().empty());
    }
    EXPECT_EQ(ReadFile(m_file), "[S]\nA=1\n");
}

TEST_F(RegistryTest, EveryCharacterOfAValueIsKept) {
    struct Case {
        const char* name;
        std::wstring value;
        std::string line; // as written, without its line end
    };
    const std::vector<Case> cases = {
        {"trailing carriage return", L"value\r", "K=\"value\\r\""},
        {"line feed", L"two\nlines", "K=\"two\\nlines\""},
        {"line break and blanks at the ends", L" a\r\n\t", "K=\"\\u{20}a\\r\\n\\t\""},
        {"blanks at the ends", L"  padded\t", "K=\"  padded\t\""},
        {"separators", L"a=b;c[d]#e", "K=a=b;c[d]#e"},
        {"separators first", L"=[;", "K==[;"},
        {"quoted", L"\"q\"", "K=\"\"q\"\""},
        {"quoted with a line break", L"\"q\n\"", "K=\"\\\"q\\n\\\"\""},
        {"backslashes", L"C:\\new\\t", "K=C:\\new\\t"},
        {"backslashes and a line break", L"C:\\new\n", "K=\"C:\\\\new\\n\""},
        {"NUL and other controls", std::wstring(L"a\0b\x01", 4), "K=\"a\\u{0}b\\u{1}\""},
        {"not a character", std::wstring{L'x', static_cast<wchar_t>(0xD800)}, "K=\"x\\u{d800}\""},
        {"empty", L"", "K="},
    };
    for (const std::string end : {"\n", "\r\n"}) {
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(c.name) + (end == "\n" ? "" : ", CR LF lines"));
            Seed("[S]" + end);
            ASSERT_EQ(m_registry->SetValue(REFLiteral(L"S"), REFLiteral(L"K"), View(c.value)), S_OK);
            EXPECT_EQ(ReadFile(m_file), "[S]" + end + c.line + end);
            std::vector<wchar_t> buffer(c.value.size() + 2, L'#');
            ASSERT_EQ(m_registry->GetValue(REFLiteral(L"S"), REFLiteral(L"K"), buffer.data(),
                                           static_cast<int32_t>(buffer.size())),
                      S_OK);
            EXPECT_EQ(std::wstring(buffer.data(), c.value.size() + 1), c.value + L'\0');
        }
    }
}

TEST_F(RegistryTest, ValuesWrittenWithoutEscapesReadAsBefore) {
    const std::vector<std::pair<std::string, std::wstring>> cases = {
        {"K=C:\\new\\dir", L"C:\\new\\dir"},
        {"K = \"  C:\\new \" ", L"  C:\\new "},
        {"K=\"\"C:\\new\"\"", L"\"C:\\new\""},
        {"K=\"\"", L""},
        // Quotes written by hand around text that needs none: a backslash
        // that starts no escape stands for itself.
        {"K=\"C:\\dir\"", L"C:\\dir"},
    };
    for (const auto& [line, value] : cases) {
        SCOPED_TRACE(line);
        Seed("[S]\n" + line + "\n");
        std::wstring read;
        ASSERT_EQ(Get(L"S", L"K", &read), S_OK);
        EXPECT_EQ(read, value);
    }
}

TEST_F(RegistryTest, ConcurrentWritersLoseNoKeys) {
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t) {
        writers.emplace_back([t] {
            IPtr<IRegistryEx> registry = NewRegistry();
            for (int i = 0; i < 10; ++i) {
                std::wstring key = L"K" + std::to_wstring(t) + L"_" + std::to_wstring(i);
                registry->SetValue(REFLiteral(L"S"), REFLiteral(key.c_str()), REFLiteral(L"v"));
            }
        });
    }
    for (std::thread& writer : writers) writer.join();
    IPtr<INamedCollection> section;
    ASSERT_EQ(m_registry->GetSection(REFLiteral(L"S"), section.Out()), S_OK);
    EXPECT_EQ(Names(section.Get()).size(), 40u);
}

TEST(RegistryPathTest, FollowsTheEnvironment) {
    struct Case {
        const char* registry;
        const char* config;
        const char* home;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {"/x/reg.ini", "/cfg", "/home/u", "/x/reg.ini"},
        {nullptr, "/cfg", "/home/u", "/cfg/shadow/registry.ini"},
        {"", "", "/home/u", "/home/u/.config/shadow/registry.ini"},
        {nullptr, nullptr, nullptr, ""},
    };
    for (const Case& c : cases) {
        ScopedEnv registry("SHADOW_REGISTRY", c.registry), config("XDG_CONFIG_HOME", c.config), home("HOME", c.home);
        EXPECT_EQ(host::RegistryPath(), c.expected);
    }
}

} // namespace
