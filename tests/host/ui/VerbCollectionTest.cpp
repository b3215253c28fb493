#include "support/HostTestSupport.h"

using namespace hosttest;

TEST(UIVerbCollection, KeepsVerbsInOrderWithSeparatorsWithoutText) {
    IPtr<IUIVerbCollection> verbs = Make<IUIVerbCollection>(L"UIVerbCollection");
    ASSERT_TRUE(verbs);
    EXPECT_EQ(verbs->AddVerb(Str(L"Run").Get(), 8), S_OK);
    EXPECT_EQ(verbs->AddVerb(nullptr, 2), S_OK);
    EXPECT_EQ(verbs->AddVerb(Str(L"").Get(), 2), S_OK);
    EXPECT_EQ(verbs->AddVerb(Str(L"Commit").Get(), 130), S_OK);

    int32_t count = 0;
    ASSERT_EQ(verbs->get_Count(&count), S_OK);
    EXPECT_EQ(count, 4);
    const std::pair<std::wstring, int32_t> expected[] = {{L"Run", 8}, {L"", 2}, {L"", 2}, {L"Commit", 130}};
    for (int32_t i = 0; i < 4; ++i) {
        IPtr<IString> text;
        int32_t code = -1;
        IPtr<IUnknown> item;
        ASSERT_EQ(verbs->get_Verb(i, text.Out(), &code), S_OK) << i;
        ASSERT_EQ(verbs->get_Item(i, item.Out()), S_OK) << i;
        EXPECT_EQ(std::make_pair(host::ToWide(text.Get()), code), expected[i]) << i;
        EXPECT_EQ(TextOf(item.Get()), expected[i].first) << i;
    }
    for (int32_t bad : {-1, 4}) {
        IString* poisoned = reinterpret_cast<IString*>(0x1);
        int32_t code = 77;
        EXPECT_EQ(verbs->get_Verb(bad, &poisoned, &code), E_INVALIDARG) << bad;
        EXPECT_EQ(poisoned, reinterpret_cast<IString*>(0x1)) << bad;
        EXPECT_EQ(code, 77) << bad;
        IPtr<IUnknown> item;
        EXPECT_EQ(verbs->get_Item(bad, item.Out()), E_INVALIDARG) << bad;
        EXPECT_FALSE(item) << bad;
    }
}
