#include <gtest/gtest.h>

#include "HostParamsSupport.h"
#include "StreamTestSupport.h"

namespace {

using namespace paramstest;

IPtr<IDataStream> Reparsed(const wchar_t* component, IUnknown* saved) {
    IPtr<IDataStream> copy = Make<IDataStream>(component, IID_IDataStream);
    EXPECT_EQ(streamtest::WriteBytes(copy.Get(), streamtest::Content(saved)), S_OK);
    return copy;
}

IPtr<IVariant> Real(double value) {
    IPtr<IVariant> v = host::NewVariant();
    v->put_Double(value);
    return v;
}

int32_t FlagsAt(IParameters* parameters, int32_t index) {
    int32_t flags = -1;
    parameters->get_ItemFlags(index, &flags);
    return flags;
}

// Port = 21 (plain), Mode = 1 with a choice list and flags 0x43, Name =
// "a b" with flags 6, Ratio = 2.5, Nested = 5 whose descriptor is a nested
// collection holding Inner = 7.
IPtr<IParametersCreatable> Sample() {
    IPtr<IParametersCreatable> p = NewParameters();
    IPtr<IParametersCreatable> nested = NewParameters();
    nested->Add(Str(L"Inner").Get(), Int(7).Get(), nullptr, 0);
    p->Add(Str(L"Port").Get(), Int(21).Get(), nullptr, 0);
    p->Add(Str(L"Mode").Get(), Int(1).Get(), Str(L"Off|On").Get(), 0x43);
    p->Add(Str(L"Name").Get(), Str(L"a b").Get(), nullptr, 6);
    p->Add(Str(L"Ratio").Get(), Real(2.5).Get(), nullptr, 0);
    p->Add(Str(L"Nested").Get(), Int(5).Get(), nested.Get(), 0);
    return p;
}

// The same names with other values and no flags or descriptors.
IPtr<IParametersCreatable> Blank() {
    IPtr<IParametersCreatable> p = NewParameters();
    for (const wchar_t* name : {L"nested", L"Port", L"Mode", L"Name", L"Ratio", L"Untouched"})
        p->Add(Str(name).Get(), Int(0).Get(), nullptr, 0);
    return p;
}

int32_t NestedInner(IParameters* parameters, int32_t index) {
    IPtr<IUnknown> descriptor;
    if (FAILED(parameters->get_ItemDescriptor(index, descriptor.Out()))) return -1;
    IPtr<IParameters> nested = descriptor.Query<IParameters>(IID_IParameters);
    return nested ? IntAt(nested.Get(), 0) : -2;
}

class ParametersPersistTest : public ::testing::TestWithParam<const wchar_t*> {
protected:
    bool IsXML() const { return std::wstring(GetParam()) == L"XMLStream"; }
};

TEST_P(ParametersPersistTest, MatchingLoadSetsTheItemsOfTheSameName) {
    IPtr<IParametersCreatable> saved = Sample();
    IPtr<IDataStream> stream = Make<IDataStream>(GetParam(), IID_IDataStream);
    ASSERT_EQ(saved.Query<IDataPersist>(IID_IDataPersist)->Save(stream.Get(), 0), S_OK);

    IPtr<IParametersCreatable> loaded = Blank();
    ASSERT_EQ(loaded.Query<IDataPersist>(IID_IDataPersist)->Load(Reparsed(GetParam(), stream.Get()).Get(), 0), S_OK)
        << streamtest::Content(stream.Get());
    EXPECT_EQ(Names(loaded.Get()),
              (std::vector<std::wstring>{L"nested", L"Port", L"Mode", L"Name", L"Ratio", L"Untouched"}))
        << "nothing appended";
    EXPECT_EQ(IntAt(loaded.Get(), 0), 5);
    EXPECT_EQ(NestedInner(loaded.Get(), 0), 7) << "the nested collection saved and made itself again";
    EXPECT_EQ(IntAt(loaded.Get(), 1), 21);
    EXPECT_EQ(IntAt(loaded.Get(), 2), 1);
    IPtr<IVariant> value;
    loaded->get_ItemVariant(3, value.Out());
    EXPECT_EQ(TextOf(value.Get()), L"a b");
    double ratio = 0;
    loaded->get_ItemVariant(4, value.Out());
    value->get_Double(&ratio);
    EXPECT_EQ(ratio, 2.5);
    EXPECT_EQ(IntAt(loaded.Get(), 5), 0) << "an item the stream does not name keeps its value";
    // Flags come back from XML only; a folder load leaves them as they are.
    EXPECT_EQ(FlagsAt(loaded.Get(), 2), IsXML() ? 0x43 : 0);
    EXPECT_EQ(FlagsAt(loaded.Get(), 3), IsXML() ? 6 : 0);
}

TEST_P(ParametersPersistTest, ClearAndAppendRebuildsTheCollection) {
    IPtr<IParametersCreatable> saved = Sample();
    IPtr<IDataStream> stream = Make<IDataStream>(GetParam(), IID_IDataStream);
    ASSERT_EQ(saved.Query<IDataPersist>(IID_IDataPersist)->Save(stream.Get(), 0), S_OK);
    IPtr<IParametersCreatable> loaded = Blank();
    ASSERT_EQ(loaded.Query<IDataPersist>(IID_IDataPersist)->Load(Reparsed(GetParam(), stream.Get()).Get(), 0x01000000),
              S_OK);
    EXPECT_EQ(Names(loaded.Get()), Names(saved.Get()));
    for (int32_t i = 0; i < 5; ++i) EXPECT_EQ(FlagsAt(loaded.Get(), i), FlagsAt(saved.Get(), i)) << i;
    EXPECT_EQ(IntAt(loaded.Get(), 1), 1);
    IPtr<IUnknown> choices;
    ASSERT_EQ(loaded->get_ItemDescriptor(1, choices.Out()), S_OK);
    EXPECT_EQ(TextOf(choices.Get()), L"Off|On") << "a choice list comes back as a string";
    EXPECT_EQ(NestedInner(loaded.Get(), 4), 7);
}

INSTANTIATE_TEST_SUITE_P(Streams, ParametersPersistTest, ::testing::Values(L"XMLStream", L"FolderStream"),
                         [](const auto& info) { return host::ToUtf8(info.param); });

TEST(ParametersPersist, XMLUsesTheLeafFormOnlyForPlainItems) {
    IPtr<IParametersCreatable> saved = Sample();
    IPtr<IDataStream> stream = Make<IDataStream>(L"XMLStream", IID_IDataStream);
    ASSERT_EQ(saved.Query<IDataPersist>(IID_IDataPersist)->Save(stream.Get(), 0), S_OK);
    const std::string text = streamtest::Content(stream.Get());
    for (const char* expected : {"<Port>21</Port>", "<Ratio>2.5</Ratio>", "<Flags>#000043</Flags>",
                                 "<Value>a b</Value>", "<Flags>#000006</Flags>", "Component=\"ParametersCreatable\""})
        EXPECT_NE(text.find(expected), std::string::npos) << expected << "\n" << text;
}

TEST(ParametersPersist, LoadingAnElementOfAnUnknownNameAddsNothing) {
    IPtr<IDataStream> stream = Make<IDataStream>(L"XMLStream", IID_IDataStream);
    ASSERT_EQ(streamtest::WriteBytes(stream.Get(), "<Document><srcport>22</srcport><Nobody>1</Nobody>"
                                                   "<Mode><value>3</value><FLAGS>#000041</FLAGS></Mode></Document>"),
              S_OK);
    IPtr<IParametersCreatable> loaded = NewParameters();
    loaded->Add(Str(L"SrcPort").Get(), Int(21).Get(), nullptr, 0);
    loaded->Add(Str(L"Mode").Get(), Int(0).Get(), nullptr, 0x43);
    ASSERT_EQ(loaded.Query<IDataPersist>(IID_IDataPersist)->Load(stream.Get(), 0), S_OK);
    EXPECT_EQ(Names(loaded.Get()), (std::vector<std::wstring>{L"SrcPort", L"Mode"}));
    EXPECT_EQ(IntAt(loaded.Get(), 0), 22);
    EXPECT_EQ(IntAt(loaded.Get(), 1), 3);
    EXPECT_EQ(FlagsAt(loaded.Get(), 1), 0x41);
}

} // namespace
