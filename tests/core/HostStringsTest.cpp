// Host strings, variants and collections made through the module's own path
// to the host runtime (./_binARM64/CollectionsEx.so, loaded by the module).
#include <atomic>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "ViewText.h"
#include "core/Helpers.h"
#include "host/base/HostObject.h"
#include "module/Module.h"

namespace {

// The text of a string returned by a maker; the reference is dropped.
std::wstring Take(IString* made) {
    IPtr<IString> s = IPtr<IString>::Adopt(made);
    EXPECT_TRUE(s) << "the maker returned null";
    return TextOf(CREFString(s.Get()));
}

std::wstring Decode(const std::vector<unsigned char>& bytes) {
    return Take(ISCreate(reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size())));
}

IPtr<IVariant> NewVariant() { return IPtr<IVariant>::Adopt(CREFString::CreateVariant()); }

TEST(HostFactories, EachCallMakesANewIndependentObject) {
    IPtr<ICreatableString> a = IPtr<ICreatableString>::Adopt(CREFString::CreateString());
    IPtr<ICreatableString> b = IPtr<ICreatableString>::Adopt(CREFString::CreateString());
    ASSERT_TRUE(a && b);
    a->SetString(L"one", 3);
    EXPECT_EQ(TextOf(CREFString(b.Get())), L"");

    IPtr<ISuperCollection> c = IPtr<ISuperCollection>::Adopt(CREFString::CreateCollection());
    IPtr<ISuperCollection> d = IPtr<ISuperCollection>::Adopt(CREFString::CreateCollection());
    ASSERT_TRUE(c && d);
    EXPECT_EQ(c->Add(a.Get(), a.Get(), nullptr, 0), S_OK);
    int32_t countC = 0, countD = 0;
    c->get_Count(&countC);
    d->get_Count(&countD);
    EXPECT_EQ(countC, 1);
    EXPECT_EQ(countD, 0);
}

TEST(ISCreate, MakesStringsFromTextViewsAndHexValues) {
    EXPECT_EQ(Take(ISCreate(L"abc")), L"abc");
    EXPECT_EQ(Take(ISCreate(static_cast<const wchar_t*>(nullptr))), L"");
    std::wstring text(L"ab\0cdef", 7);
    EXPECT_EQ(Take(ISCreate(CREFString(text.data() + 1, 3))), std::wstring(L"b\0c", 3));

    const std::pair<unsigned, std::wstring> hex[] = {
        {0x00FF00u, L"#00FF00"},  {0u, L"#000000"},         {0xFFFFFFu, L"#FFFFFF"},
        {0xabcdu, L"#00ABCD"},    {0x1000000u, L"#1000000"}, {0xABCDEF12u, L"#ABCDEF12"},
    };
    for (const auto& [value, want] : hex) EXPECT_EQ(Take(ISCreateHex(value)), want) << value;
}

TEST(ISCreateUtf8, DecodesSequencesAndKeepsStrayBytes) {
    const std::pair<std::vector<unsigned char>, std::wstring> cases[] = {
        {{'a', 'b'}, L"ab"},
        {{0xC3, 0xA9}, L"\u00E9"},
        {{0xE2, 0x82, 0xAC}, L"\u20AC"},
        {{0xF0, 0x9F, 0x98, 0x80}, L"\U0001F600"},
        // Stray continuation bytes and a lead byte at the end keep 6 bits.
        {{'a', 0x80, 0xBF}, std::wstring(L"a\0?", 3)},
        {{'a', 0xC3}, L"a\x03"},
        {{0xE2}, L"\""},
        // A sequence cut short keeps the lead bits its mask left.
        {{0xE2, 0x82}, L"\u0082"},
        {{0xF0, 0x9F, 0x98}, L"\u07D8"},
        // Following bytes are taken as they come.
        {{0xC3, 0x41}, L"\u00C1"},
        {{0xF8, 0x88, 0x80, 0x80, 0x80}, std::wstring(1, static_cast<wchar_t>(0x200000))},
    };
    for (const auto& [bytes, want] : cases) EXPECT_EQ(Decode(bytes), want) << "first byte " << int(bytes[0]);

    EXPECT_EQ(Take(ISCreate("abc", 2)), L"ab");
    EXPECT_EQ(Take(ISCreate("abc", -1)), L"");
    EXPECT_EQ(Take(ISCreate(static_cast<const char*>(nullptr), 4)), L"");

    // What the encoder writes reads back, its long forms of 2047 and 65535 too.
    std::wstring text = L"a\u007F\u0080\u07FE\u07FF\u0800\uFFFE\uFFFF\U00010000\U0010FFFF z";
    int length = 0;
    std::unique_ptr<char[]> encoded(_IS2A(ViewOf(text), &length));
    EXPECT_EQ(Take(ISCreate(encoded.get(), length)), text);
}

// An object that answers IObjectInfo with a fixed registered name.
class NamedObject final : public host::HostObject<IObjectInfo> {
public:
    HRESULT GetName(int32_t, tagREFString* name) override {
        *name = REFLiteral(L"Shadow");
        return S_OK;
    }

private:
    ~NamedObject() override = default;
};

TEST(ISCreateVariant, GivesTheStringOrTheObjectName) {
    EXPECT_EQ(ISCreate(static_cast<IVariant*>(nullptr)), nullptr);
    IPtr<IString> text = IPtr<IString>::Adopt(ISCreate(L"value"));
    IPtr<IVariant> s = IPtr<IVariant>::Adopt(IVCreate(text.Get()));
    EXPECT_EQ(Take(ISCreate(s.Get())), L"value");

    IPtr<IUnknown> named = IPtr<IUnknown>::Adopt(new NamedObject());
    IPtr<IVariant> o = NewVariant();
    o->put_Unknown(named.Get());
    ASSERT_TRUE(o->IsObject());
    EXPECT_EQ(Take(ISCreate(o.Get())), L"Shadow");
    // Objects without a name, and empty variants, give an empty string.
    IPtr<ISuperCollection> unnamed = IPtr<ISuperCollection>::Adopt(CREFString::CreateCollection());
    o->put_Unknown(unnamed.Get());
    EXPECT_EQ(Take(ISCreate(o.Get())), L"");
    EXPECT_EQ(Take(ISCreate(NewVariant().Get())), L"");
}

TEST(ISCreateVariant, FormatsNumbersWithDecimalsOrInTheShortestForm) {
    struct Case {
        bool isDouble;
        double value;
        short decimals;
        std::wstring text;
    };
    const Case cases[] = {
        {false, 42, -1, L"42"},       {false, -7, -1, L"-7"},        {false, 5, 2, L"5.00"},
        {true, 0.25, -1, L"0.25"},    {true, 1500, -1, L"1500"},     {true, 1e-07, -1, L"1e-07"},
        {true, 0.1, -1, L"0.1"},      {true, 3.14159, 2, L"3.14"},   {true, 3.14159, 0, L"3"},
        // Too wide for the fixed-point buffer: all digits kept in short form.
        {true, 1e300, 2, L"1e+300"},
    };
    for (const Case& c : cases) {
        IPtr<IVariant> v = NewVariant();
        if (c.isDouble) v->put_Double(c.value);
        else v->put_Integer(static_cast<int32_t>(c.value));
        EXPECT_EQ(Take(c.decimals == -1 ? ISCreate(v.Get()) : ISCreate(v.Get(), c.decimals)), c.text)
            << c.value << " decimals " << c.decimals;
    }
    // A string variant keeps its text by default and is parsed otherwise.
    IPtr<IString> text = IPtr<IString>::Adopt(ISCreate(L"2.5x"));
    IPtr<IVariant> s = IPtr<IVariant>::Adopt(IVCreate(text.Get()));
    EXPECT_EQ(Take(ISCreate(s.Get(), -1)), L"2.5x");
    EXPECT_EQ(Take(ISCreate(s.Get(), 1)), L"2.5");
}

TEST(IVCreateConvert, ChoosesTheTypeTheTextLooksLike) {
    struct Case {
        std::wstring text;
        VariantType type;
        double number;     // integer and double results
        std::wstring rest; // the view after trimming, and the string held
    };
    const Case cases[] = {
        {L" 42", VARIANT_INTEGER, 42, L"42"},
        {L"-12345678", VARIANT_INTEGER, -12345678, L"-12345678"},
        {L"-", VARIANT_INTEGER, 0, L"-"},
        {L"\u00EF\u00FE\t7", VARIANT_INTEGER, 7, L"7"},
        {L"-1.5", VARIANT_DOUBLE, -1.5, L"-1.5"},
        {L".5", VARIANT_DOUBLE, 0.5, L".5"},
        // Ten or more characters could overflow and stay text.
        {L"1234567890", VARIANT_STRING, 0, L"1234567890"},
        {L"-123456789", VARIANT_STRING, 0, L"-123456789"},
        {L"12a", VARIANT_STRING, 0, L"12a"},
        {L"1.2.3", VARIANT_STRING, 0, L"1.2.3"},
        {L"--1", VARIANT_STRING, 0, L"--1"},
        {L"\u00BB1", VARIANT_STRING, 0, L"\u00BB1"},
        {L"  ", VARIANT_STRING, 0, L""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.text.begin(), c.text.end()));
        std::wstring text = c.text;
        CREFString view = ViewOf(text);
        IPtr<IVariant> v = IPtr<IVariant>::Adopt(IVCreateConvert(view));
        ASSERT_TRUE(v);
        EXPECT_EQ(TextOf(view), c.rest);
        int32_t type = -1, integer = 0;
        double real = 0;
        IPtr<IString> s;
        EXPECT_EQ(v->get_Type(&type), c.type);
        v->get_Integer(&integer);
        v->get_Double(&real);
        v->get_String(s.Out());
        if (c.type == VARIANT_INTEGER) {
            EXPECT_EQ(integer, static_cast<int32_t>(c.number));
        } else if (c.type == VARIANT_DOUBLE) {
            EXPECT_DOUBLE_EQ(real, c.number);
        } else {
            EXPECT_EQ(TextOf(CREFString(s.Get())), c.rest);
        }
    }
}

// A stream that can be asked for the text it was made from; it lives on the
// stack, so its counting does nothing.
class TextStream final : public IDataStream {
public:
    explicit TextStream(IString* text) : m_text(text) {}
    HRESULT QueryInterface(const IID& iid, void** out) override {
        *out = iid == IID_IString ? static_cast<IUnknown*>(m_text.Get())
               : iid == IID_IDataStream || iid == IID_IUnknown ? static_cast<IDataStream*>(this)
                                                               : nullptr;
        if (!*out) return E_NOINTERFACE;
        static_cast<IUnknown*>(*out)->AddRef();
        return S_OK;
    }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    HRESULT Create(void*, unsigned long, short) override { return E_NOTIMPL; }
    HRESULT Reset(short) override { return E_NOTIMPL; }
    HRESULT Seek(long, unsigned int, unsigned long*) override { return E_NOTIMPL; }
    HRESULT GetStream(void**, unsigned long*) override { return E_NOTIMPL; }
    HRESULT Read(void*, unsigned int, unsigned int*) override { return E_NOTIMPL; }
    HRESULT Write(const void*, unsigned int, unsigned int*) override { return E_NOTIMPL; }

private:
    IPtr<IString> m_text;
};

TEST(REFStringFromHostObjects, BorrowsTheHostText) {
    IPtr<IString> text = IPtr<IString>::Adopt(ISCreate(L"borrowed"));
    tagREFString own{};
    text->GetString(&own);
    CREFString view(text.Get());
    EXPECT_EQ(view.m_pString, own.m_pString) << "no copy is made";
    EXPECT_EQ(view.m_Length, 8);

    TextStream stream(text.Get());
    EXPECT_EQ(TextOf(CREFString(static_cast<IDataStream*>(&stream))), L"borrowed");
    // A stream without a string face, and null, give an empty view.
    IPtr<IDataStream> plain = CreateHostObject<IDataStream>(L"DataStream");
    ASSERT_TRUE(plain);
    EXPECT_EQ(CREFString(plain.Get()).m_Length, 0);
    EXPECT_EQ(CREFString(static_cast<IString*>(nullptr)).m_pString, nullptr);
}

} // namespace
