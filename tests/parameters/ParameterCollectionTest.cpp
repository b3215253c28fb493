// The parameter collection: lookup, access, Set, Copy, Sort, growth and
// index checks.
#include "ParamTestSupport.h"

using namespace paramtest;

namespace {

IPtr<IParametersCreatable> WithItems(std::initializer_list<std::pair<const wchar_t*, int>> items) {
    IPtr<IParametersCreatable> params = MakeBare();
    for (const auto& [name, value] : items) params->Add(Str(name).Get(), Int(value).Get(), nullptr, 0);
    return params;
}

IPtr<IUnknown> NewObject() { return IPtr<IUnknown>::Adopt(CREFString::CreateCollection()); }

} // namespace

TEST(ParameterCollection, DuplicateNamesAreKeptAndTheFirstIsFound) {
    auto params = WithItems({{L"Port", 1}, {L"PORT", 2}, {L"Port", 3}});
    EXPECT_EQ(Items(params.Get()), (std::vector<std::wstring>{L"Port=1", L"PORT=2", L"Port=3"}));
    EXPECT_EQ(IndexOf(params.Get(), Str(L"port").Get()), 0);
}

TEST(ParameterCollection, NameLookupFoldsAsciiCapitalsOnly) {
    auto params = WithItems({{L"", 0}, {L"SrcPort", 1}, {L"\u00C4rger", 2}, {L"a_Z", 3}});
    struct Case {
        const wchar_t* key;
        int32_t index;
        HRESULT status;
    } cases[] = {
        {L"SrcPort", 1, S_OK},          {L"SRCPORT", 1, S_OK},       {L"srcport", 1, S_OK},
        {L"\u00C4rger", 2, S_OK},       {L"\u00E4rger", -1, E_FAIL}, // non-ASCII capitals are not folded
        {L"A_z", 3, S_OK},              {L"a_", -1, E_FAIL},         {L"SrcPort ", -1, E_FAIL},
        {L"", -1, E_FAIL}, // an empty name never matches, not even the unnamed item
    };
    for (const Case& c : cases) {
        int32_t index = -100;
        EXPECT_EQ(params->get_Index(Str(c.key).Get(), &index), c.status) << c.key;
        EXPECT_EQ(index, c.index) << c.key;
    }
    int32_t index = 0;
    EXPECT_EQ(MakeBare()->get_Index(Str(L"x").Get(), &index), E_FAIL);
    EXPECT_EQ(index, -1);
}

TEST(ParameterCollection, VariantKeys) {
    auto params = WithItems({{L"a", 1}, {L"b", 2}, {L"c", 3}});
    // A number is the index itself, without a range check.
    EXPECT_EQ(IndexOf(params.Get(), Int(57).Get()), 57);
    EXPECT_EQ(IndexOf(params.Get(), Int(-4).Get()), -4);
    EXPECT_EQ(IndexOf(params.Get(), Text(L"C").Get()), 2);
    int32_t index = 0;
    IPtr<IVariant> empty = IPtr<IVariant>::Adopt(CREFString::CreateVariant());
    EXPECT_EQ(params->get_Index(empty.Get(), &index), E_FAIL);
}

TEST(ParameterCollection, ObjectKeysMatchHeldObjectsBeforeDescriptors) {
    IPtr<IUnknown> x = NewObject(), y = NewObject(), stranger = NewObject();
    auto params = MakeBare({
        {L"described", Int(0).Get(), x.Get()},
        {L"holder", x.Get()},
        {L"other", Int(0).Get(), y.Get()},
    });
    EXPECT_EQ(IndexOf(params.Get(), x.Get()), 1);
    EXPECT_EQ(IndexOf(params.Get(), y.Get()), 2);
    // A variant holding the object finds it too.
    IPtr<IVariant> holding = params::NewVariantFrom(y.Get());
    EXPECT_EQ(IndexOf(params.Get(), holding.Get()), 2);
    int32_t index = 42;
    EXPECT_EQ(params->get_Index(stranger.Get(), &index), E_FAIL);
    EXPECT_EQ(index, 42); // left as it was
}

TEST(ParameterCollection, AddWrapsValuesInVariants) {
    auto params = MakeBare();
    IPtr<IVariant> own = Int(7);
    params->Add(Str(L"own").Get(), own.Get(), nullptr, 0);
    params->Add(Str(L"none").Get(), nullptr, nullptr, 0);
    params->Add(Str(L"text").Get(), Str(L"abc").Get(), nullptr, 0);
    params->Add(nullptr, Int(1).Get(), nullptr, 5);

    IPtr<IVariant> stored;
    ASSERT_EQ(params->get_ItemVariant(0, stored.Out()), S_OK);
    EXPECT_EQ(stored.Get(), own.Get()); // a given variant is stored itself
    EXPECT_EQ(ValueAt(params.Get(), 1), L"");
    ASSERT_EQ(params->get_ItemVariant(1, stored.Out()), S_OK);
    EXPECT_TRUE(stored->IsString());
    EXPECT_EQ(ValueAt(params.Get(), 2), L"abc");
    IPtr<IString> name;
    EXPECT_EQ(params->get_ItemName(3, name.Out()), E_FAIL);
    EXPECT_EQ(FlagsAt(params.Get(), 3), 5);
}

TEST(ParameterCollection, GetItemUnwrapsTheValue) {
    IPtr<IUnknown> object = NewObject();
    auto params = MakeBare({{L"text", Text(L"hello").Get()}, {L"number", Int(3).Get()}, {L"object", object.Get()}});

    IPtr<IUnknown> item;
    ASSERT_EQ(params->get_Item(0, item.Out()), S_OK);
    IPtr<IString> text = item.Query<IString>();
    ASSERT_TRUE(text);
    EXPECT_EQ(W(text), L"hello");
    ASSERT_EQ(params->get_Item(1, item.Out()), S_OK);
    EXPECT_TRUE(item.Query<IVariant>());
    ASSERT_EQ(params->get_Item(2, item.Out()), S_OK);
    EXPECT_TRUE(params::SameObject(item.Get(), object.Get()));
    EXPECT_EQ(params->get_Item(0, nullptr), E_POINTER);
}

TEST(ParameterCollection, PutItemReplacesTheVariantWithoutChangingIt) {
    auto params = WithItems({{L"a", 1}});
    IPtr<IVariant> old;
    params->get_ItemVariant(0, old.Out());
    ASSERT_EQ(params->put_Item(0, Str(L"two").Get()), S_OK);
    EXPECT_EQ(VariantText(old.Get()), L"1");
    EXPECT_EQ(ValueAt(params.Get(), 0), L"two");
    ASSERT_EQ(params->put_Item(0, nullptr), S_OK);
    EXPECT_EQ(ValueAt(params.Get(), 0), L"<empty>");
}

TEST(ParameterCollection, BadIndexesAreRefusedAndChangeNothing) {
    auto params = WithItems({{L"a", 1}, {L"b", 2}});
    for (int32_t bad : {-1, 2, 100}) {
        IPtr<IUnknown> unknown;
        IPtr<IVariant> variant;
        IPtr<IString> string;
        int32_t flags = 0;
        EXPECT_EQ(params->get_Item(bad, unknown.Out()), E_INVALIDARG);
        EXPECT_EQ(params->get_ItemVariant(bad, variant.Out()), E_INVALIDARG);
        EXPECT_EQ(params->get_ItemName(bad, string.Out()), E_INVALIDARG);
        EXPECT_EQ(params->put_Item(bad, Int(9).Get()), E_INVALIDARG);
        EXPECT_EQ(params->Rename(bad, Str(L"z").Get()), E_INVALIDARG);
        EXPECT_EQ(params->Iterate(bad, string.Out(), variant.Out(), unknown.Out(), &flags), E_INVALIDARG);
        EXPECT_EQ(params->get_ItemDescriptor(bad, unknown.Out()), E_INVALIDARG);
        EXPECT_EQ(params->put_ItemDescriptor(bad, nullptr), E_INVALIDARG);
        EXPECT_EQ(params->get_ItemFlags(bad, &flags), E_INVALIDARG);
        EXPECT_EQ(params->put_ItemFlags(bad, 1), E_INVALIDARG);
        EXPECT_EQ(params->Remove(bad), E_INVALIDARG);
    }
    EXPECT_EQ(Items(params.Get()), (std::vector<std::wstring>{L"a=1", L"b=2"}));
}

TEST(ParameterCollection, SortOrdersByCodeAndReversesWithBit2) {
    struct Case {
        std::vector<const wchar_t*> names;
        int32_t order;
        std::vector<std::wstring> expected;
    } cases[] = {
        {{L"b", L"B", L"a"}, 0, {L"B", L"a", L"b"}},
        {{L"b", L"B", L"a"}, 2, {L"b", L"a", L"B"}},
        {{L"b", L"B", L"a"}, 1, {L"B", L"a", L"b"}}, // other bits are ignored
        {{L"b", L"B", L"a"}, 6, {L"b", L"a", L"B"}},
        {{L"ab", L"a", L"abc", L"Z"}, 0, {L"Z", L"a", L"ab", L"abc"}}, // a prefix comes first
        {{L"b", L"a", L"d", L"c"}, 2, {L"d", L"c", L"b", L"a"}},       // an even count reverses fully
        {{L"only"}, 2, {L"only"}},
    };
    for (const Case& c : cases) {
        auto params = MakeBare();
        for (size_t i = 0; i < c.names.size(); ++i)
            params->Add(Str(c.names[i]).Get(), Int(static_cast<int>(i)).Get(), nullptr, static_cast<int>(i));
        ASSERT_EQ(params->Sort(c.order), S_OK);
        EXPECT_EQ(Names(params.Get()), c.expected) << "order " << c.order;
        // Values and flags travel with their names.
        for (size_t i = 0; i < c.expected.size(); ++i) {
            size_t original = 0;
            while (c.names[original] != c.expected[i]) ++original;
            EXPECT_EQ(FlagsAt(params.Get(), static_cast<int32_t>(i)), static_cast<int32_t>(original));
        }
    }
}

TEST(ParameterCollection, SetModes) {
    IPtr<IString> choices = Str(L"A|B");
    IPtr<IString> other = Str(L"C|D");
    struct Case {
        const wchar_t* name;
        IUnknown* descriptor;
        int32_t flags;
        short mode;
        bool keepsDescriptor;
        IUnknown* newDescriptor;
        int32_t expectedFlags;
    } cases[] = {
        {L"mode 0 keeps", nullptr, 0, 0, true, nullptr, 0x43},
        {L"mode 1 clears the descriptor", nullptr, 0, 1, false, nullptr, 0x43},
        {L"mode 2 overwrites flags with 0", nullptr, 0, 2, true, nullptr, 0},
        {L"mode 3 clears both", nullptr, 0, 3, false, nullptr, 0},
        {L"given descriptor and flags", other.Get(), 7, 0, false, other.Get(), 7},
        {L"given descriptor wins over mode 1", other.Get(), 0, 1, false, other.Get(), 0x43},
    };
    for (const Case& c : cases) {
        auto params = MakeBare({{L"Run", Int(1).Get(), choices.Get(), 0x43}});
        ASSERT_EQ(params->Set(Str(L"RUN").Get(), Int(5).Get(), c.descriptor, c.flags, c.mode), S_OK) << c.name;
        EXPECT_EQ(Items(params.Get()), std::vector<std::wstring>{L"Run=5"}) << c.name;
        EXPECT_EQ(FlagsAt(params.Get(), 0), c.expectedFlags) << c.name;
        IPtr<IUnknown> descriptor;
        HRESULT hr = params->get_ItemDescriptor(0, descriptor.Out());
        if (c.keepsDescriptor) {
            EXPECT_EQ(descriptor.Get(), static_cast<IUnknown*>(choices.Get())) << c.name;
        } else if (c.newDescriptor) {
            EXPECT_EQ(descriptor.Get(), c.newDescriptor) << c.name;
        } else {
            EXPECT_EQ(hr, E_FAIL) << c.name;
        }
    }
}

TEST(ParameterCollection, SetAppendsUnknownNamesAndRefusesOtherKeys) {
    auto params = WithItems({{L"a", 1}});
    EXPECT_EQ(params->Set(Str(L"b").Get(), Int(2).Get(), nullptr, 6, 0), S_OK);
    EXPECT_EQ(params->Set(Text(L"c").Get(), Int(3).Get(), nullptr, 0, 0), S_OK);
    EXPECT_EQ(Items(params.Get()), (std::vector<std::wstring>{L"a=1", L"b=2", L"c=3"}));
    EXPECT_EQ(FlagsAt(params.Get(), 1), 6);
    // A number key out of range is an index that does not exist.
    EXPECT_EQ(params->Set(Int(9).Get(), Int(4).Get(), nullptr, 0, 0), E_INVALIDARG);
    EXPECT_EQ(params->Set(Int(0).Get(), Int(4).Get(), nullptr, 0, 0), S_OK);
    EXPECT_EQ(params->Set(NewObject().Get(), Int(4).Get(), nullptr, 0, 0), E_FAIL);
    EXPECT_EQ(Items(params.Get()), (std::vector<std::wstring>{L"a=4", L"b=2", L"c=3"}));
}

TEST(ParameterCollection, CopyMergesByNameAndNeverSharesVariants) {
    IPtr<IString> choices = Str(L"X|Y");
    auto target = MakeBare({{L"a", Int(1).Get(), choices.Get(), 3}, {L"b", Int(2).Get()}});
    auto source = MakeBare({{L"A", Int(10).Get()}, {L"c", Int(30).Get(), choices.Get(), 6}});

    ASSERT_EQ(target->Copy(source.Get()), S_OK);
    EXPECT_EQ(Items(target.Get()), (std::vector<std::wstring>{L"a=10", L"b=2", L"c=30"}));
    // Descriptor and flags come from the source even when empty.
    IPtr<IUnknown> descriptor;
    EXPECT_EQ(target->get_ItemDescriptor(0, descriptor.Out()), E_FAIL);
    EXPECT_EQ(FlagsAt(target.Get(), 0), 0);
    ASSERT_EQ(target->get_ItemDescriptor(2, descriptor.Out()), S_OK);
    EXPECT_EQ(descriptor.Get(), static_cast<IUnknown*>(choices.Get())); // shared, not copied
    EXPECT_EQ(FlagsAt(target.Get(), 2), 6);

    IPtr<IVariant> sourceValue;
    source->get_ItemVariant(0, sourceValue.Out());
    sourceValue->put_Integer(99);
    EXPECT_EQ(ValueAt(target.Get(), 0), L"10");
    EXPECT_EQ(target->Copy(nullptr), S_OK);
    EXPECT_EQ(Names(target.Get()).size(), 3u);
}

TEST(ParameterCollection, CapacityGrowsByADoublingStep) {
    struct Step {
        int items;
        int32_t capacity;
    } steps[] = {{1, 10}, {10, 10}, {11, 30}, {30, 30}, {31, 70}, {71, 150}, {151, 310}};
    auto params = MakeBare();
    int added = 0;
    for (const Step& s : steps) {
        while (added < s.items) params->Add(Str(L"p").Get(), Int(added++).Get(), nullptr, 0);
        EXPECT_EQ(Core(params.Get()).ParameterCapacity(), s.capacity) << s.items << " items";
    }
}

TEST(ParameterCollection, RemoveAllKeepsTheArrayForReuse) {
    auto params = MakeBare();
    for (int i = 0; i < 12; ++i) params->Add(Str(L"p").Get(), Int(i).Get(), nullptr, 0);
    const void* array = Core(params.Get()).ParameterArray();
    ASSERT_EQ(params->RemoveAll(), S_OK);
    EXPECT_TRUE(Items(params.Get()).empty());
    for (int i = 0; i < 30; ++i) params->Add(Str(L"q").Get(), Int(i).Get(), nullptr, 0);
    EXPECT_EQ(Core(params.Get()).ParameterArray(), array);
    EXPECT_EQ(Core(params.Get()).ParameterCapacity(), 30);
    params->Add(Str(L"r").Get(), nullptr, nullptr, 0);
    EXPECT_NE(Core(params.Get()).ParameterArray(), array);
    EXPECT_EQ(ValueAt(params.Get(), 29), L"29");
}

TEST(ParameterCollection, RemoveMovesLaterItemsDown) {
    auto params = WithItems({{L"a", 1}, {L"b", 2}, {L"c", 3}});
    ASSERT_EQ(params->Remove(0), S_OK);
    EXPECT_EQ(Items(params.Get()), (std::vector<std::wstring>{L"b=2", L"c=3"}));
    ASSERT_EQ(params->Remove(1), S_OK);
    EXPECT_EQ(Items(params.Get()), std::vector<std::wstring>{L"b=2"});
}

TEST(ParameterCollection, GetReturnsTheIndexAndWritesRequestedOutputs) {
    IPtr<IString> choices = Str(L"On|Off");
    auto params = MakeBare({{L"n", Int(4).Get(), nullptr, 3}, {L"t", Text(L"txt").Get(), choices.Get(), 0x43}});

    IPtr<IUnknown> value, descriptor;
    int32_t flags = 0;
    EXPECT_EQ(params->Get(Str(L"T").Get(), value.Out(), descriptor.Out(), &flags, 2), 1);
    ASSERT_TRUE(value.Query<IString>()); // mode 2 unwraps the string
    EXPECT_EQ(descriptor.Get(), static_cast<IUnknown*>(choices.Get()));
    EXPECT_EQ(flags, 0x43);
    EXPECT_EQ(params->Get(Str(L"t").Get(), value.Out(), nullptr, nullptr, 0), 1);
    EXPECT_TRUE(value.Query<IVariant>()); // mode 0 keeps the variant
    EXPECT_EQ(params->Get(Str(L"n").Get(), value.Out(), descriptor.Out(), nullptr, 0), 0);
    EXPECT_FALSE(descriptor);

    IUnknown* untouched = reinterpret_cast<IUnknown*>(0x1);
    flags = 77;
    EXPECT_EQ(params->Get(Str(L"missing").Get(), &untouched, nullptr, &flags, 0), -1);
    EXPECT_EQ(params->Get(Int(5).Get(), &untouched, nullptr, &flags, 0), -1);
    EXPECT_EQ(untouched, reinterpret_cast<IUnknown*>(0x1));
    EXPECT_EQ(flags, 77);
}

TEST(ParameterCollection, IterateSkipsNullOutputsAndLeavesAMissingDescriptor) {
    auto params = MakeBare({{L"a", Int(1).Get(), nullptr, 9}});
    IUnknown* descriptor = reinterpret_cast<IUnknown*>(0x1);
    IPtr<IString> name;
    int32_t flags = 0;
    ASSERT_EQ(params->Iterate(0, name.Out(), nullptr, &descriptor, &flags), S_OK);
    EXPECT_EQ(descriptor, reinterpret_cast<IUnknown*>(0x1));
    EXPECT_EQ(W(name), L"a");
    EXPECT_EQ(flags, 9);
}

TEST(ParameterCollection, DeclaredComponentReadsByIndex) {
    auto params = Make<CDeclaredParams, IParameters>(IID_IParameters);
    ASSERT_TRUE(params);
    EXPECT_EQ(Items(params.Get()),
              (std::vector<std::wstring>{L"SourceRoot=/src", L"SrcPort=21", L"RunAction=0"}));
    EXPECT_EQ(FlagsAt(params.Get(), 2), 0x43);
    IPtr<IUnknown> choices;
    ASSERT_EQ(params->get_ItemDescriptor(2, choices.Out()), S_OK);
    EXPECT_EQ(W(choices.Query<IString>()), L"Update|Install|Commit");
    auto* component = static_cast<CDeclaredParams*>(params.Get());
    EXPECT_EQ(component->ParameterInteger(1), 21);
    EXPECT_EQ(component->ParameterInteger(0, -1), -1);
    EXPECT_EQ(W(component->ParameterText(0)), L"/src");
    EXPECT_FALSE(component->ParameterText(1));
}
