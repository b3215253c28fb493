// The rules every parameter collection keeps, run against both collections:
// the module's (IParametersImpl, on a bare test component) and the host's
// "ParametersCreatable". Lookup, access, Set, Get, Copy, Sort, growth, the
// locked flag and index checks. What only the module's collection does is
// at the end of this file; what only the host's does is in
// tests/host/parameters/ParametersCreatableTest.cpp.
#include "ParamTestSupport.h"

#include "host/parameters/ParametersCreatable.h"

using namespace paramtest;

namespace {

IPtr<IUnknown> NewObject() { return IPtr<IUnknown>::Adopt(CREFString::CreateCollection()); }

// One collection under test: how to make an empty one, and how many items it
// has room for before it grows.
struct Implementation {
    const char* name;
    IPtr<IParametersCreatable> (*make)();
    int32_t (*capacity)(IParametersCreatable*);
};

void PrintTo(const Implementation& implementation, std::ostream* out) { *out << implementation.name; }

const Implementation kImplementations[] = {
    {"Module", [] { return MakeBare(); }, [](IParametersCreatable* p) { return Core(p).ParameterCapacity(); }},
    {"Host",
     [] {
         IPtr<IParametersCreatable> params;
         EXPECT_EQ(host::CreateParametersCreatable(&IID_IParametersCreatable, params.OutVoid()), S_OK);
         return params;
     },
     [](IParametersCreatable* p) { return static_cast<host::ParametersCreatable*>(p)->Capacity(); }},
};

class ParameterRules : public ::testing::TestWithParam<Implementation> {
protected:
    IPtr<IParametersCreatable> New(std::initializer_list<Item> items = {}) { return Fill(GetParam().make(), items); }
    IPtr<IParametersCreatable> WithNumbers(std::initializer_list<std::pair<const wchar_t*, int>> items) {
        IPtr<IParametersCreatable> params = New();
        for (const auto& [name, value] : items) params->Add(Str(name).Get(), Int(value).Get(), nullptr, 0);
        return params;
    }
    int32_t Capacity(const IPtr<IParametersCreatable>& params) { return GetParam().capacity(params.Get()); }
};

INSTANTIATE_TEST_SUITE_P(Both, ParameterRules, ::testing::ValuesIn(kImplementations),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(ParameterRules, NamesAreKeptAsGivenAndLookupFoldsAsciiCapitalsOnly) {
    auto params = WithNumbers({{L"", 0}, {L"SrcPort", 1}, {L"SRCPORT", 2}, {L"\u00E4bc", 3}, {L"a_Z", 4}});
    // Add checks no name: duplicates and empty names are kept.
    EXPECT_EQ(Names(params.Get()), (std::vector<std::wstring>{L"", L"SrcPort", L"SRCPORT", L"\u00E4bc", L"a_Z"}));
    struct Case {
        const wchar_t* key;
        int32_t index; // -1: not found
    } cases[] = {
        {L"SrcPort", 1},  {L"SRCPORT", 1}, {L"srcport", 1}, // the first match wins
        {L"\u00E4BC", 3}, {L"\u00C4BC", -1},                // non-ASCII capitals are not folded
        {L"A_z", 4},      {L"SrcPor", -1}, {L"SrcPort ", -1},
        {L"", -1}, // an empty name never matches, not even the unnamed item
    };
    for (const Case& c : cases) {
        IPtr<IString> name = Str(c.key);
        IPtr<IVariant> variant = Text(c.key);
        for (IUnknown* key : {static_cast<IUnknown*>(name.Get()), static_cast<IUnknown*>(variant.Get())}) {
            const char* form = key == name.Get() ? "" : " in a variant";
            int32_t index = -100;
            EXPECT_EQ(params->get_Index(key, &index), c.index < 0 ? E_FAIL : S_OK) << "key " << c.key << form;
            EXPECT_EQ(index, c.index) << "key " << c.key << form;
        }
    }
    int32_t index = 0;
    EXPECT_EQ(New()->get_Index(Str(L"x").Get(), &index), E_FAIL);
    EXPECT_EQ(index, -1);
}

TEST_P(ParameterRules, NumbersAreIndexesAndObjectsMatchHeldValuesBeforeDescriptors) {
    IPtr<IUnknown> x = NewObject(), y = NewObject(), stranger = NewObject();
    IPtr<IString> choices = Str(L"A|B");
    auto params = New({
        {L"described", Int(0).Get(), x.Get()},
        {L"holder", x.Get()},
        {L"other", Int(0).Get(), y.Get()},
        {L"choices", Int(0).Get(), choices.Get()},
    });
    // A number is the index itself, without a range check.
    EXPECT_EQ(IndexOf(params.Get(), Int(57).Get()), 57);
    EXPECT_EQ(IndexOf(params.Get(), Int(-4).Get()), -4);
    EXPECT_EQ(IndexOf(params.Get(), x.Get()), 1);
    EXPECT_EQ(IndexOf(params.Get(), y.Get()), 2);
    EXPECT_EQ(IndexOf(params.Get(), params::NewVariantFrom(y.Get()).Get()), 2);
    EXPECT_EQ(IndexOf(params.Get(), choices.Get()), -1); // a string is a name, even a descriptor's
    for (IPtr<IUnknown> key : {stranger, IPtr<IUnknown>(params::NewVariantFrom(stranger.Get()).Get())}) {
        int32_t index = 42;
        EXPECT_EQ(params->get_Index(key.Get(), &index), E_FAIL);
        EXPECT_EQ(index, 42); // left as it was
    }
}

TEST_P(ParameterRules, ItemsKeepWhatTheyAreGiven) {
    IPtr<IVariant> own = Int(7);
    IPtr<IString> choices = Str(L"A|B");
    auto params = New({{L"own", own.Get()},
                       {L"none", nullptr},
                       {L"text", Str(L"abc").Get()},
                       {nullptr, Int(1).Get(), nullptr, INT32_MIN}});

    IPtr<IVariant> stored;
    ASSERT_EQ(params->get_ItemVariant(0, stored.Out()), S_OK);
    EXPECT_EQ(stored.Get(), own.Get()); // a given variant is stored itself
    ASSERT_EQ(params->get_ItemVariant(1, stored.Out()), S_OK);
    EXPECT_TRUE(stored->IsString()); // no value is the empty string
    EXPECT_EQ(VariantText(stored.Get()), L"");
    EXPECT_EQ(ValueAt(params.Get(), 2), L"abc");
    IPtr<IString> name;
    EXPECT_EQ(params->get_ItemName(3, name.Out()), E_FAIL);
    ASSERT_EQ(params->Rename(3, Str(L"named").Get()), S_OK);
    EXPECT_EQ(NameAt(params.Get(), 3), L"named");

    IPtr<IUnknown> descriptor;
    EXPECT_EQ(params->get_ItemDescriptor(0, descriptor.Out()), E_FAIL);
    ASSERT_EQ(params->put_ItemDescriptor(0, choices.Get()), S_OK);
    ASSERT_EQ(params->get_ItemDescriptor(0, descriptor.Out()), S_OK);
    EXPECT_EQ(descriptor.Get(), static_cast<IUnknown*>(choices.Get()));
    ASSERT_EQ(params->put_ItemDescriptor(0, nullptr), S_OK);
    EXPECT_EQ(params->get_ItemDescriptor(0, descriptor.Out()), E_FAIL);

    // Flags are stored verbatim, every bit of them.
    EXPECT_EQ(FlagsAt(params.Get(), 3), INT32_MIN);
    EXPECT_EQ(FlagsAt(params.Get(), 1), 0);
    for (int32_t flags : {0x43, INT32_MIN, -1}) {
        ASSERT_EQ(params->put_ItemFlags(2, flags), S_OK);
        EXPECT_EQ(FlagsAt(params.Get(), 2), flags);
    }
}

TEST_P(ParameterRules, GetItemUnwrapsTheValueAndPutItemReplacesTheVariant) {
    IPtr<IUnknown> object = NewObject();
    auto params = New({{L"text", Text(L"hello").Get()}, {L"number", Int(3).Get()}, {L"object", object.Get()}});

    IPtr<IUnknown> item;
    ASSERT_EQ(params->get_Item(0, item.Out()), S_OK);
    EXPECT_EQ(W(item.Query<IString>()), L"hello");
    ASSERT_EQ(params->get_Item(1, item.Out()), S_OK);
    EXPECT_TRUE(item.Query<IVariant>());
    ASSERT_EQ(params->get_Item(2, item.Out()), S_OK);
    EXPECT_TRUE(params::SameObject(item.Get(), object.Get()));

    // The old variant is replaced, not changed.
    IPtr<IVariant> old;
    params->get_ItemVariant(1, old.Out());
    ASSERT_EQ(params->put_Item(1, Str(L"two").Get()), S_OK);
    EXPECT_EQ(VariantText(old.Get()), L"3");
    EXPECT_EQ(ValueAt(params.Get(), 1), L"two");
    ASSERT_EQ(params->put_Item(1, nullptr), S_OK);
    EXPECT_EQ(ValueAt(params.Get(), 1), L"<empty>");
}

TEST_P(ParameterRules, BadIndexesAndMissingOutputsAreRefusedAndChangeNothing) {
    auto params = WithNumbers({{L"a", 1}, {L"b", 2}});
    for (int32_t bad : {-1, 2, 100}) {
        IPtr<IUnknown> unknown;
        IPtr<IVariant> variant;
        IPtr<IString> string;
        int32_t flags = 0;
        EXPECT_EQ(params->get_Item(bad, unknown.Out()), E_INVALIDARG) << bad;
        EXPECT_EQ(params->get_ItemVariant(bad, variant.Out()), E_INVALIDARG) << bad;
        EXPECT_EQ(params->get_ItemName(bad, string.Out()), E_INVALIDARG) << bad;
        EXPECT_EQ(params->put_Item(bad, Int(9).Get()), E_INVALIDARG) << bad;
        EXPECT_EQ(params->Rename(bad, Str(L"z").Get()), E_INVALIDARG) << bad;
        EXPECT_EQ(params->Iterate(bad, string.Out(), variant.Out(), unknown.Out(), &flags), E_INVALIDARG) << bad;
        EXPECT_EQ(params->get_ItemDescriptor(bad, unknown.Out()), E_INVALIDARG) << bad;
        EXPECT_EQ(params->put_ItemDescriptor(bad, nullptr), E_INVALIDARG) << bad;
        EXPECT_EQ(params->get_ItemFlags(bad, &flags), E_INVALIDARG) << bad;
        EXPECT_EQ(params->put_ItemFlags(bad, 1), E_INVALIDARG) << bad;
        EXPECT_EQ(params->Remove(bad), E_INVALIDARG) << bad;
    }
    EXPECT_EQ(params->get_Count(nullptr), E_POINTER);
    EXPECT_EQ(params->get_Index(Str(L"a").Get(), nullptr), E_POINTER);
    EXPECT_EQ(params->get_Item(0, nullptr), E_POINTER);
    EXPECT_EQ(params->get_ItemVariant(0, nullptr), E_POINTER);
    EXPECT_EQ(params->get_ItemName(0, nullptr), E_POINTER);
    EXPECT_EQ(params->get_ItemDescriptor(0, nullptr), E_POINTER);
    EXPECT_EQ(params->get_ItemFlags(0, nullptr), E_POINTER);
    EXPECT_EQ(Items(params.Get()), (std::vector<std::wstring>{L"a=1", L"b=2"}));
}

TEST_P(ParameterRules, SortOrdersByCodeAndReversesWithBit2) {
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
        auto params = New();
        for (size_t i = 0; i < c.names.size(); ++i)
            params->Add(Str(c.names[i]).Get(), Int(static_cast<int>(i)).Get(), nullptr, 10 + static_cast<int>(i));
        ASSERT_EQ(params->Sort(c.order), S_OK);
        EXPECT_EQ(Names(params.Get()), c.expected) << "order " << c.order;
        // Values and flags travel with their names.
        for (size_t i = 0; i < c.expected.size(); ++i) {
            size_t original = 0;
            while (c.names[original] != c.expected[i]) ++original;
            EXPECT_EQ(ValueAt(params.Get(), static_cast<int32_t>(i)), std::to_wstring(original));
            EXPECT_EQ(FlagsAt(params.Get(), static_cast<int32_t>(i)), 10 + static_cast<int32_t>(original));
        }
    }
}

TEST_P(ParameterRules, SetModes) {
    IPtr<IString> choices = Str(L"A|B");
    IPtr<IString> other = Str(L"C|D");
    struct Case {
        const char* name;
        IUnknown* descriptor;
        int32_t flags;
        short mode;
        IUnknown* expectedDescriptor;
        int32_t expectedFlags;
    } cases[] = {
        {"mode 0 keeps", nullptr, 0, 0, choices.Get(), 0x43},
        {"mode 1 clears the descriptor", nullptr, 0, 1, nullptr, 0x43},
        {"mode 2 overwrites flags with 0", nullptr, 0, 2, choices.Get(), 0},
        {"mode 3 clears both", nullptr, 0, 3, nullptr, 0},
        {"given descriptor and flags", other.Get(), 7, 0, other.Get(), 7},
        {"given descriptor wins over mode 1", other.Get(), 0, 1, other.Get(), 0x43},
    };
    for (const Case& c : cases) {
        auto params = New({{L"Run", Int(1).Get(), choices.Get(), 0x43}});
        ASSERT_EQ(params->Set(Str(L"RUN").Get(), Int(5).Get(), c.descriptor, c.flags, c.mode), S_OK) << c.name;
        // Found by name, not appended; the item keeps its own name.
        EXPECT_EQ(Items(params.Get()), std::vector<std::wstring>{L"Run=5"}) << c.name;
        EXPECT_EQ(FlagsAt(params.Get(), 0), c.expectedFlags) << c.name;
        IPtr<IUnknown> descriptor;
        EXPECT_EQ(params->get_ItemDescriptor(0, descriptor.Out()), c.expectedDescriptor ? S_OK : E_FAIL) << c.name;
        EXPECT_EQ(descriptor.Get(), c.expectedDescriptor) << c.name;
    }
}

TEST_P(ParameterRules, SetAppendsUnknownNamesAndRefusesOtherKeys) {
    IPtr<IString> choices = Str(L"X|Y");
    auto params = WithNumbers({{L"a", 1}});
    EXPECT_EQ(params->Set(Str(L"b").Get(), Int(2).Get(), choices.Get(), 6, 0), S_OK);
    EXPECT_EQ(params->Set(Text(L"c").Get(), nullptr, nullptr, 0, 0), S_OK); // named by the variant's text
    EXPECT_EQ(Items(params.Get()), (std::vector<std::wstring>{L"a=1", L"b=2", L"c="}));
    EXPECT_EQ(FlagsAt(params.Get(), 1), 6);
    IPtr<IUnknown> descriptor;
    ASSERT_EQ(params->get_ItemDescriptor(1, descriptor.Out()), S_OK);
    EXPECT_EQ(descriptor.Get(), static_cast<IUnknown*>(choices.Get()));
    // A number key out of range is an index that does not exist.
    EXPECT_EQ(params->Set(Int(9).Get(), Int(4).Get(), nullptr, 0, 0), E_INVALIDARG);
    EXPECT_EQ(params->Set(Int(0).Get(), Int(4).Get(), nullptr, 0, 0), S_OK);
    // An object no item holds, and no key at all, give no name to append.
    EXPECT_EQ(params->Set(NewObject().Get(), Int(5).Get(), nullptr, 0, 0), E_FAIL);
    EXPECT_EQ(params->Set(nullptr, Int(5).Get(), nullptr, 0, 0), E_FAIL);
    EXPECT_EQ(Items(params.Get()), (std::vector<std::wstring>{L"a=4", L"b=2", L"c="}));
}

TEST_P(ParameterRules, GetReturnsTheIndexAndWritesTheRequestedOutputs) {
    IPtr<IString> choices = Str(L"On|Off");
    auto params = New({{L"n", Int(4).Get(), nullptr, 3}, {L"t", Text(L"txt").Get(), choices.Get(), 0x43}});

    IPtr<IUnknown> value, descriptor;
    int32_t flags = 0;
    EXPECT_EQ(params->Get(Str(L"T").Get(), value.Out(), descriptor.Out(), &flags, 0), 1);
    EXPECT_TRUE(value.Query<IVariant>()); // mode 0 gives the variant
    EXPECT_EQ(descriptor.Get(), static_cast<IUnknown*>(choices.Get()));
    EXPECT_EQ(flags, 0x43);
    EXPECT_EQ(params->Get(Str(L"t").Get(), value.Out(), nullptr, nullptr, 2), 1);
    EXPECT_FALSE(value.Query<IVariant>()); // mode 2 unwraps the string
    EXPECT_EQ(W(value.Query<IString>()), L"txt");
    EXPECT_EQ(params->Get(Str(L"n").Get(), nullptr, descriptor.Out(), &flags, 0), 0);
    EXPECT_FALSE(descriptor);
    EXPECT_EQ(flags, 3);

    IUnknown* untouched = reinterpret_cast<IUnknown*>(0x1);
    flags = 77;
    EXPECT_EQ(params->Get(Str(L"missing").Get(), &untouched, nullptr, &flags, 3), -1);
    EXPECT_EQ(params->Get(Int(5).Get(), &untouched, nullptr, &flags, 0), -1);
    EXPECT_EQ(untouched, reinterpret_cast<IUnknown*>(0x1));
    EXPECT_EQ(flags, 77);
}

TEST_P(ParameterRules, IterateSkipsNullOutputsAndLeavesAMissingDescriptor) {
    auto params = New({{L"a", Int(1).Get(), nullptr, 9}});
    IUnknown* descriptor = reinterpret_cast<IUnknown*>(0x1);
    IPtr<IString> name;
    int32_t flags = 0;
    ASSERT_EQ(params->Iterate(0, name.Out(), nullptr, &descriptor, &flags), S_OK);
    EXPECT_EQ(descriptor, reinterpret_cast<IUnknown*>(0x1));
    EXPECT_EQ(W(name), L"a");
    EXPECT_EQ(flags, 9);
    EXPECT_EQ(params->Iterate(0, nullptr, nullptr, nullptr, nullptr), S_OK);
}

TEST_P(ParameterRules, CopyMergesByNameAndNeverSharesVariants) {
    IPtr<IString> choices = Str(L"X|Y");
    auto target = New({{L"a", Int(1).Get(), choices.Get(), 3}, {L"b", Int(2).Get()}});
    auto source = New({{L"A", Int(10).Get()}, {L"c", Int(30).Get(), choices.Get(), 6}});

    ASSERT_EQ(target->Copy(source.Get()), S_OK);
    // Overwritten in place under its own name, or appended in order.
    EXPECT_EQ(Items(target.Get()), (std::vector<std::wstring>{L"a=10", L"b=2", L"c=30"}));
    // Descriptor and flags come from the source even when empty.
    IPtr<IUnknown> descriptor;
    EXPECT_EQ(target->get_ItemDescriptor(0, descriptor.Out()), E_FAIL);
    EXPECT_EQ(FlagsAt(target.Get(), 0), 0);
    ASSERT_EQ(target->get_ItemDescriptor(2, descriptor.Out()), S_OK);
    EXPECT_EQ(descriptor.Get(), static_cast<IUnknown*>(choices.Get())); // shared, not copied
    EXPECT_EQ(FlagsAt(target.Get(), 2), 6);

    for (int32_t i : {0, 1}) {
        IPtr<IVariant> sourceValue;
        source->get_ItemVariant(i, sourceValue.Out());
        sourceValue->put_Integer(99);
    }
    EXPECT_EQ(target->Copy(nullptr), S_OK);
    EXPECT_EQ(Items(target.Get()), (std::vector<std::wstring>{L"a=10", L"b=2", L"c=30"}));
}

TEST_P(ParameterRules, CapacityGrowsByADoublingStepAndRemoveAllKeepsIt) {
    struct Step {
        int items;
        int32_t capacity;
    } steps[] = {{0, 0}, {1, 10}, {10, 10}, {11, 30}, {30, 30}, {31, 70}, {71, 150}, {151, 310}};
    auto params = New();
    int added = 0;
    for (const Step& s : steps) {
        while (added < s.items) params->Add(Str(L"p").Get(), Int(added++).Get(), nullptr, 0);
        EXPECT_EQ(Capacity(params), s.capacity) << s.items << " items";
    }
    ASSERT_EQ(params->RemoveAll(), S_OK);
    EXPECT_TRUE(Items(params.Get()).empty());
    for (int i = 0; i < 310; ++i) params->Add(Str(L"q").Get(), Int(i).Get(), nullptr, 0);
    EXPECT_EQ(Capacity(params), 310); // no growth until the kept room is used up
    params->Add(Str(L"r").Get(), nullptr, nullptr, 0);
    EXPECT_EQ(Capacity(params), 630); // the step goes on from where it was
    EXPECT_EQ(ValueAt(params.Get(), 309), L"309");
}

TEST_P(ParameterRules, RemoveMovesLaterItemsDown) {
    auto params = WithNumbers({{L"a", 1}, {L"b", 2}, {L"c", 3}});
    ASSERT_EQ(params->Remove(0), S_OK);
    EXPECT_EQ(Items(params.Get()), (std::vector<std::wstring>{L"b=2", L"c=3"}));
    ASSERT_EQ(params->Remove(1), S_OK);
    EXPECT_EQ(Items(params.Get()), std::vector<std::wstring>{L"b=2"});
}

TEST_P(ParameterRules, LockedFlagIsAPlainWordNotACount) {
    auto params = New();
    EXPECT_EQ(params->IsCollectionLocked(), 0);
    EXPECT_EQ(params->CollectionLock(), S_OK);
    EXPECT_EQ(params->CollectionLock(), S_OK);
    EXPECT_EQ(params->IsCollectionLocked(), 1);
    EXPECT_EQ(params->CollectionUnlock(), S_OK);
    EXPECT_EQ(params->IsCollectionLocked(), 0); // after the first unlock of nested pairs
    EXPECT_EQ(params->CollectionUnlock(), S_OK);
}

// ---- The module's collection only

// The host's collection refuses such a key with E_INVALIDARG.
TEST(ParameterCollection, AnEmptyVariantKeyFindsNothing) {
    int32_t index = 0;
    IPtr<IVariant> empty = IPtr<IVariant>::Adopt(CREFString::CreateVariant());
    EXPECT_EQ(MakeBare({{L"a", Int(1).Get()}})->get_Index(empty.Get(), &index), E_FAIL);
    EXPECT_EQ(index, -1);
}

// The host's collection keeps its items in a vector and makes no promise
// about where they live.
TEST(ParameterCollection, RemoveAllKeepsTheArrayForReuse) {
    auto params = MakeBare();
    for (int i = 0; i < 12; ++i) params->Add(Str(L"p").Get(), Int(i).Get(), nullptr, 0);
    const void* array = Core(params.Get()).ParameterArray();
    ASSERT_EQ(params->RemoveAll(), S_OK);
    for (int i = 0; i < 30; ++i) params->Add(Str(L"q").Get(), Int(i).Get(), nullptr, 0);
    EXPECT_EQ(Core(params.Get()).ParameterArray(), array);
    params->Add(Str(L"r").Get(), nullptr, nullptr, 0);
    EXPECT_NE(Core(params.Get()).ParameterArray(), array);
}

TEST(ParameterCollection, DeclaredComponentReadsByIndex) {
    auto params = Make<CDeclaredParams, IParameters>(IID_IParameters);
    ASSERT_TRUE(params);
    IPtr<IUnknown> choices;
    ASSERT_EQ(params->get_ItemDescriptor(2, choices.Out()), S_OK);
    EXPECT_EQ(W(choices.Query<IString>()), L"Update|Install|Commit");
    auto* component = static_cast<CDeclaredParams*>(params.Get());
    EXPECT_EQ(component->ParameterInteger(1), 21);
    EXPECT_EQ(component->ParameterInteger(0, -1), -1);
    EXPECT_EQ(W(component->ParameterText(0)), L"/src");
    EXPECT_FALSE(component->ParameterText(1));
}

} // namespace
