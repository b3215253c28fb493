#include "host/text/FileNameEncoding.h"
#include "support/HostTestSupport.h"

using namespace hosttest;

namespace {

HRESULT OpenFileObject(const std::wstring& path, IUnknown** result) {
    return Make<IUIUtils>(L"UIUtils")->OpenFileObject(View(path), nullptr, REFLiteral(L""), result, 0);
}

} // namespace

TEST(UIUtils, OpenFileObjectGivesTheFileAsArchiveAndStream) {
    TempDir dir;
    ScopedEnv log("SHADOW_EVENT_LOG", (dir / "events.log").c_str());
    const std::wstring path = host::FileNameToWide(dir / "caf\xc3\xa9 \xff.bin");
    WriteFile(host::FileNameToBytes(path), std::string("a\0b", 3));

    IPtr<IUnknown> file;
    ASSERT_EQ(OpenFileObject(path, file.Out()), S_OK);
    IPtr<IFileArchive> archive = QueryAs<IFileArchive>(file.Get());
    ASSERT_TRUE(archive);
    IPtr<IString> name;
    ASSERT_EQ(archive->get_Filename(name.Out()), S_OK);
    EXPECT_EQ(host::ToWide(name.Get()), path);
    EXPECT_EQ(Content(file.Get()), std::string("a\0b", 3));

    IUnknown* poisoned = reinterpret_cast<IUnknown*>(0x1);
    EXPECT_EQ(OpenFileObject(host::FileNameToWide(dir / "missing"), &poisoned), E_FAIL);
    EXPECT_EQ(poisoned, nullptr);
    EXPECT_EQ(OpenFileObject(path, nullptr), E_POINTER);
}

TEST(MessageWindow, WritesLinesOnStandardErrorAsTheVerboseConsole) {
    IPtr<IUILineDisplayable> window = Make<IUILineDisplayable>(L"MessageWindow");
    ASSERT_TRUE(window);
    ::testing::internal::CaptureStderr();
    window->DisplayLine(Str(L"Copy").Get(), Str(L"a.txt").Get(), LINE_STATUS);
    window->DisplayLine(Str(L"Copy").Get(), Str(L"disk full").Get(), LINE_ERROR);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Copy: a.txt\nerror: Copy: disk full\n");
}
