// The string handed over as a data stream, over a real host data stream.
#include <gtest/gtest.h>

#include <cstring>

#include "core/BaseObject.h"
#include "core/StringDataStream.h"

namespace {

// A host string that counts its references.
struct CountedString final : IString {
    HRESULT QueryInterface(const IID&, void**) override { return E_NOINTERFACE; }
    uint32_t AddRef() override { return ++refs; }
    uint32_t Release() override { return --refs; }
    HRESULT GetString(tagREFString* view) override { return *view = REFLiteral(L"abc"), S_OK; }
    uint32_t refs = 1;
};

TEST(StringDataStream, AnswersItsStringUnlessWithheldAndLetsItGo) {
    void* const poison = reinterpret_cast<void*>(0x5a5a);
    CountedString text;
    IPtr<IDataStream> inner = BASEObject::CreateDataStream();
    ASSERT_TRUE(inner);
    {
        CStringDataStream stream(&text, 0, inner.Get()), withheld(&text, 1, inner.Get()),
            empty(nullptr, 0, inner.Get());
        void* out = nullptr;
        ASSERT_EQ(stream.QueryInterface(IID_IString, &out), S_OK);
        EXPECT_EQ(out, &text);
        EXPECT_EQ(text.refs, 4u); // the test's, two streams', the query's
        text.Release();
        EXPECT_EQ(stream.QueryInterface(IID_IUnknown, &out), S_OK);
        EXPECT_EQ(out, static_cast<IDataStream*>(&stream));
        for (CStringDataStream* refusing : {&withheld, &empty}) {
            out = poison;
            EXPECT_EQ(refusing->QueryInterface(IID_IString, &out), E_NOINTERFACE);
            EXPECT_EQ(out, poison);
        }
    }
    EXPECT_EQ(text.refs, 1u);
}

TEST(StringDataStream, ForwardsToTheInnerStream) {
    IPtr<IDataStream> inner = BASEObject::CreateDataStream();
    ASSERT_TRUE(inner);
    CStringDataStream stream(nullptr, 0, inner.Get());
    ASSERT_EQ(STREAMWriteText(&stream, REFLiteral(L"xyz")), S_OK);
    void* data = nullptr;
    unsigned long size = 0, position = 0;
    ASSERT_EQ(inner->GetStream(&data, &size), S_OK);
    ASSERT_EQ(size, 3 * sizeof(wchar_t));
    EXPECT_EQ(std::memcmp(data, L"xyz", size), 0);
    EXPECT_EQ(stream.Seek(4, 0, &position), S_OK);
    EXPECT_EQ(position, 4u);
    wchar_t read[2] = {};
    unsigned int count = 0;
    EXPECT_EQ(stream.Read(read, sizeof read, &count), S_OK);
    EXPECT_EQ(std::wstring(read, count / sizeof(wchar_t)), L"yz");
    EXPECT_EQ(stream.Reset(1), S_OK);
    EXPECT_EQ(inner->GetStream(&data, &size), S_OK);
    EXPECT_EQ(size, 0u);
}

} // namespace
