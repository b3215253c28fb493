// "UnicodeGB2312" and "ASCIIStream" through IStreamTransform, as the module
// calls them: string sources, 32-bit sources, a target whose string takes
// the wide result, and failures that leave the target as it was.
#include <cstring>

#include "host/streams/DataStream.h"
#include "support/HostTestSupport.h"

namespace {

using namespace hosttest;

// A data stream that also answers the string it was made with, as the
// module hands a string to a transform or takes its result.
class StringBackedStream final : public host::HostObject<IDataStream> {
public:
    explicit StringBackedStream(IPtr<IString> text) : m_text(std::move(text)) {}

    HRESULT QueryInterface(const IID& iid, void** out) override {
        if (out && iid == IPtr<IString>::Id()) {
            *out = IPtr<IString>(m_text).Detach();
            return S_OK;
        }
        return HostObject::QueryInterface(iid, out);
    }
    HRESULT Create(void* b, unsigned long s, short g) override { return m_bytes->Create(b, s, g); }
    HRESULT Reset(short clear) override { return m_bytes->Reset(clear); }
    HRESULT Seek(long o, unsigned int from, unsigned long* p) override { return m_bytes->Seek(o, from, p); }
    HRESULT GetStream(void** data, unsigned long* size) override { return m_bytes->GetStream(data, size); }
    HRESULT Read(void* d, unsigned int s, unsigned int* r) override { return m_bytes->Read(d, s, r); }
    HRESULT Write(const void* d, unsigned int s, unsigned int* w) override { return m_bytes->Write(d, s, w); }

private:
    IPtr<IString> m_text;
    IPtr<IDataStream> m_bytes = host::NewDataStream({});
};

IPtr<IDataStream> Over(IPtr<IString> text) {
    IPtr<IDataStream> stream;
    host::CreateHostComponent<StringBackedStream>(stream, std::move(text));
    return stream;
}

std::string WideBytes(const std::wstring& text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
}

class TextTransformTest : public ::testing::Test {
protected:
    TempDir m_tmp;
    const std::filesystem::path m_log = m_tmp.Path() / "events.log";
    ScopedEnv m_logEnv{"SHADOW_EVENT_LOG", m_log.c_str()};
    IPtr<IStreamTransform> m_gb2312 = Make<IStreamTransform>(L"UnicodeGB2312");
    IPtr<IStreamTransform> m_ascii = Make<IStreamTransform>(L"ASCIIStream");
};

TEST_F(TextTransformTest, InterpretReadsEscapesAndWritesThemBack) {
    IPtr<IDataStream> utf8 = host::NewDataStream({});
    ASSERT_EQ(m_ascii->Transform(Over(Str(L"tab\\there \\u{4E2D}\\x21")).Get(), utf8.Get(), TEXT_INTERPRET), S_OK);
    EXPECT_EQ(Content(utf8.Get()), "tab\there \xE4\xB8\xAD!");

    IPtr<ICreatableString> result = host::NewString();
    IPtr<IDataStream> wide = Over(IPtr<IString>(result.Get()));
    ASSERT_EQ(m_ascii->TransformBack(utf8.Get(), wide.Get(), TEXT_WIDE), S_OK);
    EXPECT_EQ(host::ToWide(result.Get()), L"tab\there \u4E2D!");
    EXPECT_EQ(Content(wide.Get()), WideBytes(L"tab\there \u4E2D!"));

    IPtr<IDataStream> escaped = host::NewDataStream({});
    ASSERT_EQ(m_ascii->TransformBack(utf8.Get(), escaped.Get(), TEXT_INTERPRET), S_OK);
    EXPECT_EQ(Content(escaped.Get()), "tab\\there \\u{4E2D}!");
}

TEST_F(TextTransformTest, Gb2312BothWaysAppendingAtThePosition) {
    // A 32-bit source, written after what the target already holds.
    IPtr<IDataStream> source = host::NewDataStream(WideBytes(L"A\u4E2D\u6587"));
    IPtr<IDataStream> target = host::NewDataStream("xy");
    target->Seek(0, 2, nullptr);
    ASSERT_EQ(m_gb2312->Transform(source.Get(), target.Get(), 0), S_OK);
    EXPECT_EQ(Content(target.Get()), "xyA\xD6\xD0\xCE\xC4");

    // A string source read back gives one byte per character.
    IPtr<IDataStream> chars = Over(Str(L"\u00D6\u00D0\u00CE\u00C4"));
    IPtr<IDataStream> text = host::NewDataStream({});
    ASSERT_EQ(m_gb2312->TransformBack(chars.Get(), text.Get(), 0), S_OK);
    EXPECT_EQ(Content(text.Get()), "\xE4\xB8\xAD\xE6\x96\x87");
}

TEST_F(TextTransformTest, AFailedCallLeavesTheTargetAsItWasAndSaysWhy) {
    struct Case {
        const char* what;
        bool gb2312;
        bool back;
        IPtr<IDataStream> source;
        int32_t options;
        const char* logged;
    };
    const Case cases[] = {
        {"no GB2312 form", true, false, Over(Str(L"ok\u20AC")), 0, "UnicodeGB2312: Transform failed: U+20AC"},
        {"string char above a byte", true, true, Over(Str(L"\u0100")), 0, "above 0xFF"},
        {"invalid UTF-8", false, true, host::NewDataStream("ab\xC3("), TEXT_WIDE, "ASCIIStream: TransformBack"},
        {"malformed escape", false, false, Over(Str(L"a\\u{}")), TEXT_INTERPRET, "\\u{} without hex digits"},
        {"partial character", false, false, host::NewDataStream(std::string_view("A\0\0", 3)), 0, "no whole number"},
        {"surrogate", false, false, host::NewDataStream(WideBytes(std::wstring(1, wchar_t(0xDC00)))), 0,
         "U+DC00"},
    };
    for (const Case& c : cases) {
        IPtr<ICreatableString> kept = host::NewString();
        kept->SetString(L"kept", 4);
        IPtr<IDataStream> target = Over(IPtr<IString>(kept.Get()));
        ASSERT_EQ(WriteBytes(target.Get(), "keep"), S_OK);
        IStreamTransform* transform = c.gb2312 ? m_gb2312.Get() : m_ascii.Get();
        const HRESULT hr = c.back ? transform->TransformBack(c.source.Get(), target.Get(), c.options)
                                  : transform->Transform(c.source.Get(), target.Get(), c.options);
        EXPECT_EQ(hr, E_FAIL) << c.what;
        EXPECT_EQ(Content(target.Get()), "keep") << c.what;
        EXPECT_EQ(host::ToWide(kept.Get()), L"kept") << c.what;
        const std::string log = ReadFile(m_log);
        EXPECT_NE(log.find(c.logged), std::string::npos) << c.what << "\n" << log;
    }
}

} // namespace
