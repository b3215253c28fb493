#include <atomic>
#include <chrono>
#include <thread>

#include "host/collections/ItemCollection.h"
#include "host/ui/EventLog.h"
#include "support/HostTestSupport.h"

using host::ItemCollectionImpl;
using host::NameMatch;
using namespace hosttest;

namespace {

using Collection = ItemCollectionImpl<>;

IPtr<Collection> MakeCollection(NameMatch match = NameMatch::AsciiCaseBlind) {
    IPtr<ISuperCollection> c = host::NewCollection(match);
    return IPtr<Collection>(static_cast<Collection*>(c.Get()));
}

// The reference count of an object, read without changing it.
uint32_t Refs(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

int32_t IndexOf(ISuperCollection* c, IUnknown* key, HRESULT* hr = nullptr) {
    int32_t index = 42;
    HRESULT result = c->get_Index(key, &index);
    if (hr) *hr = result;
    return index;
}

// Objects that answer no IString (so that as keys they are objects, not
// names), with two interfaces at different addresses.
IPtr<IUILineDisplayable> NewLog() {
    IPtr<IUILineDisplayable> log;
    host::CreateHostComponent<host::EventLog>(&IID_IUILineDisplayable, log.OutVoid());
    return log;
}

} // namespace

TEST(ItemCollection, NameLookupFoldsOnlyAsciiCapitals) {
    struct Case {
        const wchar_t* name;
        int32_t blind; // expected index, ASCII case-blind collection
        int32_t exact; // expected index, exact collection
    };
    const Case cases[] = {
        {L"SrcPort", 0, 0},  {L"srcport", 0, -1}, {L"SRCPORT", 0, -1}, {L"Alpha", 1, 1},
        {L"alpha", 1, 2},    {L"ALPHA", 1, -1},   {L"\u00C4rger", 3, 3}, {L"\u00E4rger", -1, -1},
        {L"", -1, -1},       {L"Beta", -1, -1},   {L"SrcPor", -1, -1},  {L"SrcPort ", -1, -1},
        {L"[rger", -1, -1}, // '[' follows 'Z': not a capital, must not fold to '{'
    };
    for (NameMatch match : {NameMatch::AsciiCaseBlind, NameMatch::Exact}) {
        IPtr<Collection> c = MakeCollection(match);
        IPtr<IString> item = host::MakeString(L"item");
        c->AppendItem(L"SrcPort", item.Get());
        c->AppendItem(L"Alpha", item.Get());
        c->AppendItem(L"alpha", item.Get());
        c->AppendItem(L"\u00C4rger", item.Get());
        c->AppendItem(L"", item.Get()); // an empty name is never found
        c->AppendItem(L"{rger", item.Get());
        for (const Case& k : cases) {
            const int32_t expected = match == NameMatch::Exact ? k.exact : k.blind;
            SCOPED_TRACE(std::wstring(k.name).size());
            EXPECT_EQ(c->FindName(k.name), expected);
            HRESULT hr = S_OK;
            EXPECT_EQ(IndexOf(c.Get(), host::MakeString(k.name).Get(), &hr), expected);
            EXPECT_EQ(hr, expected >= 0 ? S_OK : E_FAIL);
            EXPECT_EQ(IndexOf(c.Get(), Text(k.name).Get(), &hr), expected);
            EXPECT_EQ(hr, expected >= 0 ? S_OK : E_FAIL);
        }
    }
}

TEST(ItemCollection, NumberKeyIsTheIndexWithoutRangeCheck) {
    IPtr<Collection> c = MakeCollection();
    for (const wchar_t* n : {L"a", L"b", L"c"}) c->AppendItem(n, nullptr);
    for (int32_t n : {0, 2, 57, -3}) {
        HRESULT hr = E_FAIL;
        EXPECT_EQ(IndexOf(c.Get(), Int(n).Get(), &hr), n);
        EXPECT_EQ(hr, S_OK);
    }
    IPtr<IVariant> real = host::NewVariant();
    real->put_Double(2.9);
    EXPECT_EQ(IndexOf(c.Get(), real.Get()), 2);
    // An empty variant names nothing.
    HRESULT hr = S_OK;
    EXPECT_EQ(IndexOf(c.Get(), host::NewVariant().Get(), &hr), -1);
    EXPECT_EQ(hr, E_INVALIDARG);
}

TEST(ItemCollection, ObjectKeyFindsItemsBeforeDescriptors) {
    IPtr<IUILineDisplayable> first = NewLog(), described = NewLog(), log = NewLog(), unknown = NewLog();
    IPtr<IFileArchive> archive = log.Query<IFileArchive>();
    ASSERT_NE(static_cast<void*>(archive.Get()), static_cast<void*>(log.Get()));

    IPtr<Collection> c = MakeCollection();
    c->AppendItem(L"x", first.Get(), described.Get()); // a descriptor match, earlier
    c->AppendItem(L"log", archive.Get());
    c->AppendItem(L"y", described.Get());
    struct Case {
        IUnknown* key;
        int32_t index;
        HRESULT hr;
    };
    const Case cases[] = {
        {first.Get(), 0, S_OK},
        {log.Get(), 1, S_OK},       // the same object through another interface
        {described.Get(), 2, S_OK}, // an item beats an earlier descriptor
        {unknown.Get(), 42, E_FAIL}, // not found leaves the index as it was
    };
    for (const Case& k : cases) {
        HRESULT hr = S_OK;
        EXPECT_EQ(IndexOf(c.Get(), k.key, &hr), k.index);
        EXPECT_EQ(hr, k.hr);
        IPtr<IVariant> holder = host::NewVariant();
        holder->put_Unknown(k.key);
        ASSERT_TRUE(holder->IsObject());
        EXPECT_EQ(IndexOf(c.Get(), holder.Get(), &hr), k.index);
        EXPECT_EQ(hr, k.hr);
    }
    ASSERT_EQ(c->Remove(2), S_OK);
    EXPECT_EQ(IndexOf(c.Get(), described.Get()), 0); // now only the descriptor matches
}

TEST(ItemCollection, AddTakesStringKeysAndCopiesThem) {
    IPtr<Collection> c = MakeCollection();
    IPtr<ICreatableString> name = host::NewString();
    name->SetString(L"Page", 4);
    IPtr<IString> item = host::MakeString(L"UIPropPages.UIParametersPropPage");
    ASSERT_EQ(c->Add(name.Get(), item.Get(), nullptr, 7), S_OK);
    ASSERT_EQ(c->Add(Text(L"Second").Get(), item.Get(), nullptr, 0), S_OK);
    ASSERT_EQ(c->Add(nullptr, item.Get(), nullptr, 0), S_OK);
    EXPECT_EQ(c->Add(Int(1).Get(), item.Get(), nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(c->Add(host::NewVariant().Get(), item.Get(), nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(c->ItemCount(), 3);

    // Changing the caller's string later does not rename the item.
    name->SetString(L"Other", 5);
    EXPECT_EQ(c->FindName(L"page"), 0);
    EXPECT_EQ(c->FindName(L"other"), -1);
    EXPECT_EQ(c->FindName(L"second"), 1);

    IPtr<IString> got;
    ASSERT_EQ(c->get_ItemName(0, got.Out()), S_OK);
    EXPECT_EQ(host::ToWide(got.Get()), L"Page");
    // Nor can a name handed out be changed: the index reads its text.
    EXPECT_FALSE(got.Query<ICreatableString>());
    EXPECT_EQ(c->get_ItemName(2, got.Out()), E_FAIL); // added without a name
    EXPECT_FALSE(got);
    int32_t flags = 0;
    ASSERT_EQ(c->get_ItemFlags(0, &flags), S_OK);
    EXPECT_EQ(flags, 7);
    IPtr<IUnknown> back;
    ASSERT_EQ(c->get_Item(0, back.Out()), S_OK);
    EXPECT_EQ(back.Get(), static_cast<IUnknown*>(item.Get()));
}

TEST(ItemCollection, BadIndexesAndMissingParts) {
    IPtr<Collection> c = MakeCollection();
    c->AppendItem(L"only", nullptr);
    IPtr<IUnknown> out;
    IPtr<IString> name;
    int32_t flags = 0;
    for (int32_t bad : {-1, 1, 100}) {
        EXPECT_EQ(c->get_Item(bad, out.Out()), E_INVALIDARG);
        EXPECT_EQ(c->get_ItemName(bad, name.Out()), E_INVALIDARG);
        EXPECT_EQ(c->get_ItemDescriptor(bad, out.Out()), E_INVALIDARG);
        EXPECT_EQ(c->get_ItemFlags(bad, &flags), E_INVALIDARG);
        EXPECT_EQ(c->Rename(bad, nullptr), E_INVALIDARG);
        EXPECT_EQ(c->Remove(bad), E_INVALIDARG);
        EXPECT_EQ(c->ItemAt(bad), nullptr);
        EXPECT_EQ(c->NameAt(bad), L"");
    }
    EXPECT_EQ(c->ItemCount(), 1);
    EXPECT_EQ(c->get_Item(0, out.Out()), E_FAIL);           // stored as null
    EXPECT_EQ(c->get_ItemDescriptor(0, out.Out()), E_FAIL); // none given
    EXPECT_EQ(c->get_Count(nullptr), E_POINTER);
    EXPECT_EQ(c->get_Index(host::MakeString(L"only").Get(), nullptr), E_POINTER);
    int32_t index = 5;
    EXPECT_EQ(c->get_Index(nullptr, &index), E_INVALIDARG);
    EXPECT_EQ(index, -1);
}

TEST(ItemCollection, RemoveShiftsLookupsAndReleases) {
    IPtr<Collection> c = MakeCollection();
    IPtr<IString> tracked = host::MakeString(L"tracked");
    const uint32_t before = Refs(tracked.Get());
    for (const wchar_t* n : {L"a", L"dup", L"b", L"dup", L"c"}) c->AppendItem(n, tracked.Get(), tracked.Get());
    EXPECT_EQ(Refs(tracked.Get()), before + 10);

    ASSERT_EQ(c->Remove(1), S_OK); // the first "dup"
    EXPECT_EQ(Refs(tracked.Get()), before + 8);
    EXPECT_EQ(c->FindName(L"dup"), 2); // the second one, moved down
    EXPECT_EQ(c->FindName(L"b"), 1);
    EXPECT_EQ(c->FindName(L"c"), 3);
    ASSERT_EQ(c->Remove(0), S_OK);
    EXPECT_EQ(c->FindName(L"a"), -1);
    EXPECT_EQ(c->NameAt(0), L"b");

    c->AppendItem(L"a", tracked.Get()); // appended after removals
    EXPECT_EQ(c->FindName(L"A"), 3);

    ASSERT_EQ(c->RemoveAll(), S_OK);
    EXPECT_EQ(c->ItemCount(), 0);
    EXPECT_EQ(Refs(tracked.Get()), before);
    for (const wchar_t* n : {L"a", L"b", L"dup"}) EXPECT_EQ(c->FindName(n), -1);
    c->AppendItem(L"b", nullptr);
    EXPECT_EQ(c->FindName(L"b"), 0);
}

TEST(ItemCollection, RenameMovesTheNameInLookups) {
    IPtr<Collection> c = MakeCollection();
    c->AppendItem(L"x", nullptr);
    c->AppendItem(L"y", nullptr);
    ASSERT_EQ(c->Rename(0, host::MakeString(L"Y").Get()), S_OK);
    EXPECT_EQ(c->FindName(L"x"), -1);
    EXPECT_EQ(c->FindName(L"y"), 0); // the renamed item now comes first
    ASSERT_EQ(c->Rename(0, nullptr), S_OK);
    EXPECT_EQ(c->FindName(L"y"), 1);
    IPtr<IString> name;
    EXPECT_EQ(c->get_ItemName(0, name.Out()), E_FAIL);
}

TEST(ItemCollection, LockExcludesOtherThreadsAndKeepsAPlainFlag) {
    IPtr<Collection> c = MakeCollection();
    ASSERT_EQ(c->CollectionLock(), S_OK);
    ASSERT_EQ(c->CollectionLock(), S_OK); // recursive on the same thread
    EXPECT_EQ(c->IsCollectionLocked(), 1);

    std::atomic<bool> added{false};
    std::atomic<HRESULT> foreignUnlock{S_OK};
    std::thread other([&] {
        foreignUnlock = c->CollectionUnlock(); // not the holder
        c->AppendItem(L"late", nullptr);
        added = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(added.load());
    EXPECT_EQ(c->CollectionUnlock(), S_OK);
    EXPECT_EQ(c->IsCollectionLocked(), 0); // a flag, not a count
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(added.load()); // still held once
    EXPECT_EQ(c->CollectionUnlock(), S_OK);
    other.join();
    EXPECT_TRUE(added.load());
    EXPECT_EQ(foreignUnlock.load(), E_FAIL);
    EXPECT_EQ(c->CollectionUnlock(), E_FAIL);
    EXPECT_EQ(c->ItemCount(), 1);
}

TEST(ItemCollection, LargeListingsLookUpEveryName) {
    // Far too slow if every lookup scanned the list.
    constexpr int32_t kCount = 100000;
    IPtr<Collection> c = MakeCollection();
    for (int32_t i = 0; i < kCount; ++i) c->AppendItem(L"File" + std::to_wstring(i) + L".TXT", nullptr);
    int32_t wrong = 0;
    for (int32_t i = 0; i < kCount; ++i)
        if (c->FindName(L"file" + std::to_wstring(i) + L".txt") != i) ++wrong;
    EXPECT_EQ(wrong, 0);
    ASSERT_EQ(c->Remove(0), S_OK);
    EXPECT_EQ(c->FindName(L"FILE99999.TXT"), kCount - 2);
}
