#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cwchar>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "host/collections/ItemCollection.h"
#include "host/values/HostStrings.h"

namespace {

struct Expect {
    VariantType type;
    bool number;
    HRESULT intResult;
    int32_t integer;
    HRESULT doubleResult;
    double real;
};

void Check(IVariant* v, const Expect& e) {
    int32_t type = -1;
    EXPECT_EQ(v->get_Type(&type), e.type);
    EXPECT_EQ(type, e.type);
    EXPECT_EQ(v->IsNumber(), e.number);
    EXPECT_EQ(v->IsString(), e.type == VARIANT_STRING);
    EXPECT_EQ(v->IsObject(), e.type == VARIANT_OBJECT);
    int32_t i = 99;
    EXPECT_EQ(v->get_Integer(&i), e.intResult);
    EXPECT_EQ(i, e.integer);
    double d = 99.0;
    EXPECT_EQ(v->get_Double(&d), e.doubleResult);
    EXPECT_DOUBLE_EQ(d, e.real);
}

} // namespace

TEST(Variant, ValuesAndConversions) {
    IPtr<IString> someText = host::MakeString(L"12 as object");
    IPtr<ISuperCollection> someObject = host::NewCollection();
    const int32_t kMax = std::numeric_limits<int32_t>::max();
    const int32_t kMin = std::numeric_limits<int32_t>::min();
    struct Case {
        const char* what;
        std::function<void(IVariant*)> set;
        Expect expect;
    };
    auto text = [](const wchar_t* t) { return [t](IVariant* v) { v->put_String(host::MakeString(t).Get()); }; };
    const Case cases[] = {
        {"new", [](IVariant*) {}, {VARIANT_EMPTY, false, E_FAIL, 0, E_FAIL, 0.0}},
        {"integer", [](IVariant* v) { v->put_Integer(-42); }, {VARIANT_INTEGER, true, S_OK, -42, S_OK, -42.0}},
        {"double truncates", [](IVariant* v) { v->put_Double(-2.75); }, {VARIANT_DOUBLE, true, S_OK, -2, S_OK, -2.75}},
        {"huge double clamps", [](IVariant* v) { v->put_Double(3e10); }, {VARIANT_DOUBLE, true, S_OK, kMax, S_OK, 3e10}},
        {"tiny double clamps", [](IVariant* v) { v->put_Double(-3e10); }, {VARIANT_DOUBLE, true, S_OK, kMin, S_OK, -3e10}},
        {"decimal text", text(L" 17.9abc"), {VARIANT_STRING, false, S_OK, 17, S_OK, 17.9}},
        {"signed text", text(L"-12"), {VARIANT_STRING, false, S_OK, -12, S_OK, -12.0}},
        {"exponent text", text(L"1.5e3"), {VARIANT_STRING, false, S_OK, 1500, S_OK, 1500.0}},
        {"hex is not decimal", text(L"0x1F"), {VARIANT_STRING, false, S_OK, 0, S_OK, 0.0}},
        {"no number", text(L"abc"), {VARIANT_STRING, false, E_FAIL, 0, E_FAIL, 0.0}},
        {"words for numbers", text(L"inf"), {VARIANT_STRING, false, E_FAIL, 0, E_FAIL, 0.0}},
        {"empty text", text(L""), {VARIANT_STRING, false, E_FAIL, 0, E_FAIL, 0.0}},
        {"string as object", [&](IVariant* v) { v->put_Unknown(someText.Get()); }, {VARIANT_STRING, false, S_OK, 12, S_OK, 12.0}},
        {"object", [&](IVariant* v) { v->put_Unknown(someObject.Get()); }, {VARIANT_OBJECT, false, E_FAIL, 0, E_FAIL, 0.0}},
        {"null string empties", [&](IVariant* v) { v->put_Integer(3); v->put_String(nullptr); }, {VARIANT_EMPTY, false, E_FAIL, 0, E_FAIL, 0.0}},
        {"null object empties", [&](IVariant* v) { v->put_Integer(3); v->put_Unknown(nullptr); }, {VARIANT_EMPTY, false, E_FAIL, 0, E_FAIL, 0.0}},
        {"clear", [](IVariant* v) { v->put_Double(1.0); v->Clear(); }, {VARIANT_EMPTY, false, E_FAIL, 0, E_FAIL, 0.0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        IPtr<IVariant> v = host::NewVariant();
        c.set(v.Get());
        Check(v.Get(), c.expect);
    }
}

TEST(Variant, StringsAreHeldNotCopied) {
    IPtr<IVariant> v = host::NewVariant();
    IPtr<ICreatableString> s = host::NewString();
    s->SetString(L"abc", 3);
    ASSERT_EQ(v->put_String(s.Get()), S_OK);
    IPtr<IString> back;
    ASSERT_EQ(v->get_String(back.Out()), S_OK);
    EXPECT_EQ(back.Get(), static_cast<IString*>(s.Get()));
    IPtr<IUnknown> object;
    EXPECT_EQ(v->get_Object(object.Out()), E_FAIL);
    EXPECT_FALSE(object);
}

TEST(Variant, PutUnknownCopiesAnotherVariant) {
    IPtr<IVariant> source = host::NewVariant();
    IPtr<IVariant> target = host::NewVariant();
    IPtr<IVariant> holder = host::NewVariant();
    holder->put_Integer(1);

    source->put_Double(2.5);
    ASSERT_EQ(target->put_Unknown(source.Get()), S_OK);
    source->put_Integer(7); // the copy does not follow later changes
    Check(target.Get(), {VARIANT_DOUBLE, true, S_OK, 2, S_OK, 2.5});

    ASSERT_EQ(target->put_Unknown(source.Get()), S_OK);
    Check(target.Get(), {VARIANT_INTEGER, true, S_OK, 7, S_OK, 7.0});

    // An object that is a variant is copied, never held as an object; an
    // object variant copies the object.
    source->put_Unknown(nullptr);
    IPtr<IVariant> objectVariant = host::NewVariant();
    // A collection: an object that is neither string nor variant.
    IPtr<IUnknown> plainObject = QueryAs<IUnknown>(host::NewCollection().Get());
    objectVariant->put_Unknown(plainObject.Get());
    ASSERT_TRUE(objectVariant->IsObject());
    ASSERT_EQ(target->put_Unknown(objectVariant.Get()), S_OK);
    IPtr<IUnknown> got;
    ASSERT_EQ(target->get_Object(got.Out()), S_OK);
    EXPECT_EQ(got.Get(), plainObject.Get());

    ASSERT_EQ(target->put_Unknown(source.Get()), S_OK); // an empty source empties
    EXPECT_EQ(target->get_Type(nullptr), VARIANT_EMPTY);

    holder->put_Integer(5);
    ASSERT_EQ(holder->put_Unknown(holder.Get()), S_OK); // itself: unchanged
    Check(holder.Get(), {VARIANT_INTEGER, true, S_OK, 5, S_OK, 5.0});
}

TEST(Variant, ReadersRunBesideAWriter) {
    IPtr<IVariant> v = host::NewVariant();
    v->put_Integer(1);
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    std::vector<std::thread> readers;
    for (int t = 0; t < 3; ++t) {
        readers.emplace_back([&] {
            while (!stop) {
                IPtr<IString> s;
                if (v->get_String(s.Out()) == S_OK) {
                    if (host::ToWide(s.Get()) != L"text value") ++bad;
                } else {
                    int32_t i = 0;
                    if (v->get_Integer(&i) == S_OK && i != 1) ++bad;
                }
            }
        });
    }
    for (int i = 0; i < 20000; ++i) {
        if (i % 2) v->put_Integer(1);
        else v->put_String(host::MakeString(L"text value").Get()); // the old string dies here
    }
    stop = true;
    for (std::thread& t : readers) t.join();
    EXPECT_EQ(bad.load(), 0);
}

TEST(CreatableString, SetAppendAndTerminator) {
    IPtr<ICreatableString> s = host::NewString();
    tagREFString view{-1, nullptr};
    ASSERT_EQ(s->GetString(&view), S_OK);
    EXPECT_EQ(view.m_Length, 0);
    ASSERT_NE(view.m_pString, nullptr); // usable by wcs functions even when empty
    EXPECT_EQ(view.m_pString[0], L'\0');

    ASSERT_EQ(s->SetString(L"abcdef", 3), S_OK);
    ASSERT_EQ(s->Append(L"XYZ", 2), S_OK);
    s->GetString(&view);
    EXPECT_EQ(std::wstring(view.m_pString, view.m_Length), L"abcXY");
    EXPECT_EQ(std::wcslen(view.m_pString), 5u);

    // Appending the string's own text, and replacing it by part of itself.
    ASSERT_EQ(s->Append(view.m_pString, view.m_Length), S_OK);
    EXPECT_EQ(host::ToWide(s.Get()), L"abcXYabcXY");
    s->GetString(&view);
    ASSERT_EQ(s->SetString(view.m_pString + 3, 4), S_OK);
    EXPECT_EQ(host::ToWide(s.Get()), L"XYab");

    EXPECT_EQ(s->SetString(L"x", -1), E_INVALIDARG);
    EXPECT_EQ(s->Append(L"x", -1), E_INVALIDARG);
    EXPECT_EQ(s->Append(nullptr, 2), E_POINTER);
    EXPECT_EQ(s->Append(nullptr, 0), S_OK);
    EXPECT_EQ(host::ToWide(s.Get()), L"XYab"); // refused calls changed nothing
    ASSERT_EQ(s->SetString(nullptr, 5), S_OK);
    EXPECT_EQ(host::ToWide(s.Get()), L"");
    EXPECT_EQ(s->GetString(nullptr), E_POINTER);
    EXPECT_EQ(host::ToWide(nullptr), L"");
}

