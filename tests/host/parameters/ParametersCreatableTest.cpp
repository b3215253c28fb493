#include <algorithm>
#include <thread>

#include "host/parameters/ParametersCreatable.h"
#include "support/HostTestSupport.h"

namespace {

using namespace hosttest;

class ParametersCreatableTest : public ::testing::Test {
protected:
    void SetUp() override { m_params = NewParameters(); }
    void Add(const std::wstring& name, int32_t value, IUnknown* descriptor = nullptr, int32_t flags = 0) {
        ASSERT_EQ(m_params->Add(Str(name).Get(), Int(value).Get(), descriptor, flags), S_OK);
    }
    int32_t IndexOf(IUnknown* key, HRESULT expected) {
        int32_t index = -7;
        EXPECT_EQ(m_params->get_Index(key, &index), expected);
        return index;
    }
    IPtr<IParametersCreatable> m_params;
};

TEST_F(ParametersCreatableTest, LookupByNameFoldsOnlyAsciiCapitalsAndFindsTheFirst) {
    Add(L"SrcPort", 1);
    Add(L"SrcPort", 2);
    Add(L"äbc", 3);
    Add(L"", 4);
    EXPECT_EQ(Names(m_params.Get()), (std::vector<std::wstring>{L"SrcPort", L"SrcPort", L"äbc", L""}))
        << "duplicates and empty names are kept";
    struct Case {
        const wchar_t* key;
        HRESULT hr;
        int32_t index;
    };
    for (const Case& c : {Case{L"SrcPort", S_OK, 0}, Case{L"SRCPORT", S_OK, 0}, Case{L"srcport", S_OK, 0},
                          Case{L"äBC", S_OK, 2}, Case{L"ÄBC", E_FAIL, -1}, Case{L"", E_FAIL, -1},
                          Case{L"SrcPor", E_FAIL, -1}}) {
        SCOPED_TRACE(host::ToUtf8(c.key));
        EXPECT_EQ(IndexOf(Str(c.key).Get(), c.hr), c.index);
        EXPECT_EQ(IndexOf(Text(c.key).Get(), c.hr), c.index) << "a variant holding the name";
    }
}

TEST_F(ParametersCreatableTest, LookupByNumberAndByObject) {
    IPtr<IString> descriptor = Str(L"A|B");
    IPtr<IParametersCreatable> nested = NewParameters();
    Add(L"a", 1);
    IPtr<IVariant> objectValue = host::NewVariant();
    objectValue->put_Unknown(NewParameters().Get()); // an object that is neither string nor variant
    IPtr<IUnknown> object;
    objectValue->get_Object(object.Out());
    ASSERT_EQ(m_params->Add(Str(L"b").Get(), objectValue.Get(), nullptr, 0), S_OK);
    ASSERT_EQ(m_params->Add(Str(L"c").Get(), Int(3).Get(), object.Get(), 0), S_OK) << "same object as descriptor";
    ASSERT_EQ(m_params->Add(Str(L"d").Get(), Int(4).Get(), descriptor.Get(), 0), S_OK);
    ASSERT_EQ(m_params->Add(Str(L"e").Get(), Int(5).Get(), nested.Get(), 0), S_OK);

    EXPECT_EQ(IndexOf(Int(57).Get(), S_OK), 57) << "a number is the index, without a range check";
    EXPECT_EQ(IndexOf(object.Get(), S_OK), 1) << "values first";
    EXPECT_EQ(IndexOf(nested.Get(), S_OK), 4) << "then descriptors";
    EXPECT_EQ(IndexOf(descriptor.Get(), E_FAIL), -1) << "a string key is a name, not an object";
    IPtr<IVariant> objectKey = host::NewVariant();
    objectKey->put_Unknown(Make<IUnknown>(L"ParametersCreatable").Get());
    EXPECT_EQ(IndexOf(objectKey.Get(), E_FAIL), -7) << "an unknown object leaves the index alone";
    EXPECT_EQ(IndexOf(nullptr, E_INVALIDARG), -1);
    EXPECT_EQ(IndexOf(host::NewVariant().Get(), E_INVALIDARG), -1);
}

TEST_F(ParametersCreatableTest, ValuesAreWrappedAndIndexesChecked) {
    ASSERT_EQ(m_params->Add(Str(L"none").Get(), nullptr, nullptr, 0), S_OK);
    ASSERT_EQ(m_params->Add(Str(L"text").Get(), Str(L"hello").Get(), nullptr, 6), S_OK);
    IPtr<IVariant> value;
    ASSERT_EQ(m_params->get_ItemVariant(0, value.Out()), S_OK);
    EXPECT_TRUE(value->IsString()) << "no value is the empty string";
    EXPECT_EQ(TextOf(value.Get()), L"");
    IPtr<IUnknown> item;
    ASSERT_EQ(m_params->get_Item(1, item.Out()), S_OK);
    EXPECT_EQ(TextOf(item.Get()), L"hello");
    EXPECT_TRUE(item.Query<IString>()) << "get_Item unwraps the string";

    IPtr<IVariant> old;
    m_params->get_ItemVariant(1, old.Out());
    ASSERT_EQ(m_params->put_Item(1, Int(9).Get()), S_OK);
    EXPECT_EQ(TextOf(old.Get()), L"hello") << "the old variant is replaced, not changed";
    EXPECT_EQ(IntAt(m_params.Get(), 1), 9);
    ASSERT_EQ(m_params->put_Item(1, nullptr), S_OK);
    m_params->get_ItemVariant(1, value.Out());
    int32_t type = -1;
    EXPECT_EQ(value->get_Type(&type), VARIANT_EMPTY);

    EXPECT_EQ(m_params->put_Item(2, Int(1).Get()), E_INVALIDARG) << "index equal to the count";
    EXPECT_EQ(m_params->put_Item(-1, Int(1).Get()), E_INVALIDARG);
    EXPECT_EQ(m_params->get_ItemVariant(2, value.Out()), E_INVALIDARG);
    EXPECT_EQ(m_params->put_ItemFlags(2, 1), E_INVALIDARG);
    EXPECT_EQ(m_params->Remove(2), E_INVALIDARG);
    EXPECT_EQ(m_params->get_ItemDescriptor(0, item.Out()), E_FAIL) << "no descriptor";
}

TEST_F(ParametersCreatableTest, SortIsCaseSensitiveAndBitTwoReverses) {
    struct Case {
        std::vector<std::wstring> names;
        int32_t order;
        std::vector<std::wstring> expected;
    };
    const std::vector<Case> cases = {
        {{L"b", L"B", L"a"}, 0, {L"B", L"a", L"b"}},
        {{L"b", L"B", L"a"}, 2, {L"b", L"a", L"B"}},
        {{L"b", L"B", L"a"}, 1, {L"B", L"a", L"b"}},
        {{L"ab", L"a", L"Z", L"abc"}, 0, {L"Z", L"a", L"ab", L"abc"}},
        {{L"x"}, 2, {L"x"}},
    };
    for (const Case& c : cases) {
        m_params->RemoveAll();
        for (size_t i = 0; i < c.names.size(); ++i) {
            const int32_t n = static_cast<int32_t>(i);
            Add(c.names[i], n, nullptr, 10 + n);
        }
        ASSERT_EQ(m_params->Sort(c.order), S_OK);
        EXPECT_EQ(Names(m_params.Get()), c.expected) << "order " << c.order;
        // Values and flags travel with their names.
        for (int32_t i = 0; i < static_cast<int32_t>(c.names.size()); ++i) {
            const auto at = std::find(c.names.begin(), c.names.end(), c.expected[static_cast<size_t>(i)]);
            const int32_t original = static_cast<int32_t>(at - c.names.begin());
            int32_t flags = 0;
            m_params->get_ItemFlags(i, &flags);
            EXPECT_EQ(IntAt(m_params.Get(), i), original);
            EXPECT_EQ(flags, 10 + original);
        }
    }
}

TEST_F(ParametersCreatableTest, SetModesDecideWhatIsKept) {
    IPtr<IString> choices = Str(L"Off|On");
    IPtr<IString> other = Str(L"A|B");
    struct Case {
        const char* name;
        IUnknown* descriptor;
        int32_t flags;
        short mode;
        IUnknown* expectedDescriptor;
        int32_t expectedFlags;
    };
    const std::vector<Case> cases = {
        {"mode 0 keeps descriptor and flags", nullptr, 0, 0, choices.Get(), 0x43},
        {"given descriptor and flags replace", other.Get(), 0x26, 0, other.Get(), 0x26},
        {"mode 1 clears the descriptor", nullptr, 0, 1, nullptr, 0x43},
        {"mode 2 writes flags 0", nullptr, 0, 2, choices.Get(), 0},
        {"mode 3 clears both", nullptr, 0, 3, nullptr, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        m_params->RemoveAll();
        Add(L"Mode", 0, choices.Get(), 0x43);
        ASSERT_EQ(m_params->Set(Str(L"MODE").Get(), Int(2).Get(), c.descriptor, c.flags, c.mode), S_OK);
        IPtr<IUnknown> descriptor;
        m_params->get_ItemDescriptor(0, descriptor.Out());
        int32_t flags = -1;
        m_params->get_ItemFlags(0, &flags);
        EXPECT_EQ(descriptor.Get(), c.expectedDescriptor);
        EXPECT_EQ(flags, c.expectedFlags);
        EXPECT_EQ(IntAt(m_params.Get(), 0), 2);
        EXPECT_EQ(Names(m_params.Get()), std::vector<std::wstring>{L"Mode"}) << "found by name, not appended";
    }
    ASSERT_EQ(m_params->Set(Str(L"New").Get(), Int(5).Get(), nullptr, 3, 0), S_OK);
    ASSERT_EQ(m_params->Set(Text(L"FromVariant").Get(), nullptr, nullptr, 0, 0), S_OK);
    EXPECT_EQ(Names(m_params.Get()), (std::vector<std::wstring>{L"Mode", L"New", L"FromVariant"}));
    EXPECT_EQ(m_params->Set(Int(9).Get(), Int(1).Get(), nullptr, 0, 0), E_INVALIDARG) << "number key out of range";
    EXPECT_EQ(m_params->Set(nullptr, Int(1).Get(), nullptr, 0, 0), E_FAIL) << "no key, no name to append";
}

TEST_F(ParametersCreatableTest, GetReturnsTheIndexAndUnwrapsOnRequest) {
    IPtr<IString> choices = Str(L"Off|On");
    ASSERT_EQ(m_params->Add(Str(L"Host").Get(), Str(L"example").Get(), choices.Get(), 6), S_OK);
    Add(L"Port", 21);
    IPtr<IUnknown> value, descriptor;
    int32_t flags = 0;
    EXPECT_EQ(m_params->Get(Str(L"host").Get(), value.Out(), descriptor.Out(), &flags, 0), 0);
    EXPECT_TRUE(value.Query<IVariant>()) << "mode 0 gives the variant";
    EXPECT_EQ(descriptor.Get(), choices.Get());
    EXPECT_EQ(flags, 6);
    EXPECT_EQ(m_params->Get(Str(L"host").Get(), value.Out(), nullptr, nullptr, 2), 0);
    EXPECT_FALSE(value.Query<IVariant>()) << "mode 2 unwraps the string";
    EXPECT_EQ(TextOf(value.Get()), L"example");
    EXPECT_EQ(m_params->Get(Str(L"Port").Get(), nullptr, nullptr, &flags, 0), 1);

    IUnknown* untouched = reinterpret_cast<IUnknown*>(0x1);
    flags = 77;
    EXPECT_EQ(m_params->Get(Str(L"Missing").Get(), &untouched, nullptr, &flags, 3), -1);
    EXPECT_EQ(untouched, reinterpret_cast<IUnknown*>(0x1));
    EXPECT_EQ(flags, 77);
}

TEST_F(ParametersCreatableTest, CopyMergesByNameWithOwnVariants) {
    IPtr<IString> choices = Str(L"Off|On");
    Add(L"Keep", 1);
    Add(L"Shared", 2, choices.Get(), 0x43);
    IPtr<IParametersCreatable> source = NewParameters();
    ASSERT_EQ(source->Add(Str(L"SHARED").Get(), Int(20).Get(), nullptr, 0), S_OK);
    ASSERT_EQ(source->Add(Str(L"Added").Get(), Int(30).Get(), choices.Get(), 7), S_OK);

    ASSERT_EQ(m_params->Copy(source.Get()), S_OK);
    EXPECT_EQ(Names(m_params.Get()), (std::vector<std::wstring>{L"Keep", L"Shared", L"Added"}))
        << "overwritten in place, keeping its own name";
    EXPECT_EQ(IntAt(m_params.Get(), 1), 20);
    IPtr<IUnknown> descriptor;
    EXPECT_EQ(m_params->get_ItemDescriptor(1, descriptor.Out()), E_FAIL) << "cleared: the source has none";
    int32_t flags = -1;
    m_params->get_ItemFlags(1, &flags);
    EXPECT_EQ(flags, 0);
    m_params->get_ItemDescriptor(2, descriptor.Out());
    EXPECT_EQ(descriptor.Get(), choices.Get()) << "descriptors are shared";

    IPtr<IVariant> sourceValue, copiedValue;
    source->get_ItemVariant(1, sourceValue.Out());
    m_params->get_ItemVariant(2, copiedValue.Out());
    EXPECT_NE(sourceValue.Get(), copiedValue.Get());
    sourceValue->put_Integer(99);
    EXPECT_EQ(IntAt(m_params.Get(), 2), 30) << "changing the source's variant leaves the copy alone";
    EXPECT_EQ(m_params->Copy(nullptr), S_OK);
}

TEST_F(ParametersCreatableTest, CapacityGrowsByADoublingStepAndRemoveAllKeepsIt) {
    auto* concrete = static_cast<host::ParametersCreatable*>(m_params.Get());
    EXPECT_EQ(concrete->Capacity(), 0);
    std::vector<int32_t> capacities;
    for (int32_t i = 0; i < 151; ++i) {
        Add(L"p" + std::to_wstring(i), i);
        if (capacities.empty() || capacities.back() != concrete->Capacity()) capacities.push_back(concrete->Capacity());
    }
    EXPECT_EQ(capacities, (std::vector<int32_t>{10, 30, 70, 150, 310}));
    ASSERT_EQ(m_params->RemoveAll(), S_OK);
    int32_t count = -1;
    m_params->get_Count(&count);
    EXPECT_EQ(count, 0);
    for (int32_t i = 0; i < 200; ++i) Add(L"q", i);
    EXPECT_EQ(concrete->Capacity(), 310) << "no growth until the old capacity is reached";
}

TEST_F(ParametersCreatableTest, LockFlagIsAPlainWordAndOnlyTheHolderUnlocks) {
    EXPECT_EQ(m_params->IsCollectionLocked(), 0);
    m_params->CollectionLock();
    m_params->CollectionLock();
    EXPECT_EQ(m_params->IsCollectionLocked(), 1);
    HRESULT fromOtherThread = S_OK;
    std::thread([&] { fromOtherThread = m_params->CollectionUnlock(); }).join();
    EXPECT_EQ(fromOtherThread, E_FAIL);
    EXPECT_EQ(m_params->CollectionUnlock(), S_OK);
    EXPECT_EQ(m_params->IsCollectionLocked(), 0) << "not a count";
    EXPECT_EQ(m_params->CollectionUnlock(), S_OK);
    EXPECT_EQ(m_params->CollectionUnlock(), E_FAIL);
}

} // namespace
