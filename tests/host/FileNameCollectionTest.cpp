#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/ComponentRegistry.h"
#include "host/ExtCollection.h"
#include "host/FileNameCollection.h"
#include "host/FileNameEncoding.h"
#include "host/HostStrings.h"

namespace fs = std::filesystem;

namespace {

// A temporary folder, removed with everything in it at the end of a test.
class TempTree final {
public:
    TempTree() {
        std::string pattern = (fs::temp_directory_path() / "listing-XXXXXX").string();
        const char* made = mkdtemp(pattern.data());
        if (!made) throw std::runtime_error("mkdtemp failed");
        m_root = made;
    }
    ~TempTree() {
        std::error_code ignored;
        fs::remove_all(m_root, ignored);
    }
    const std::string& Root() const { return m_root; }
    // Paths are bytes relative to the root.
    std::string Path(const std::string& relative) const { return m_root + "/" + relative; }
    void File(const std::string& relative, size_t size) const {
        std::ofstream(Path(relative), std::ios::binary) << std::string(size, 'x');
    }
    void Folder(const std::string& relative) const { fs::create_directories(Path(relative)); }
    void Link(const std::string& target, const std::string& relative) const {
        ASSERT_EQ(symlink(target.c_str(), Path(relative).c_str()), 0);
    }

private:
    std::string m_root;
};

struct Listing {
    IPtr<IFileNameCollection> files;
    IPtr<ISuperCollection> items;
};

IPtr<IString> Str(std::wstring_view text) { return host::MakeString(text); }

// A new listing made by name, as the module makes it.
Listing NewListing(const std::string& folder, int32_t folders = 0, IExtCollection* ext = nullptr) {
    Listing l;
    host::HostCreator create = host::FindHostComponent(REFLiteral(L"FileNameCollection"));
    EXPECT_NE(create, nullptr);
    if (!create) return l;
    EXPECT_EQ(create(&IID_IFileNameCollection, l.files.OutVoid()), S_OK);
    l.items = l.files.Query<ISuperCollection>(IID_ISuperCollection);
    l.files->put_Folder(Str(host::FileNameToWide(folder)).Get());
    l.files->put_Option(FILENAME_OPTION_FOLDERS, folders);
    if (ext) l.files->put_Extensions(ext);
    return l;
}

IPtr<IExtCollection> NewExtensions(std::initializer_list<const wchar_t*> patterns) {
    IPtr<IExtCollection> ext;
    host::HostCreator create = host::FindHostComponent(REFLiteral(L"ExtCollection"));
    EXPECT_NE(create, nullptr);
    if (create) create(&IID_IExtCollection, ext.OutVoid());
    for (const wchar_t* p : patterns) EXPECT_EQ(ext->AddExtension(REFLiteral(p), REFLiteral(L"File")), S_OK);
    return ext;
}

IPtr<IUnknown> ItemAt(ISuperCollection* items, int32_t index) {
    IPtr<IUnknown> item;
    EXPECT_EQ(items->get_Item(index, item.Out()), S_OK);
    return item;
}

std::wstring NameOf(ISuperCollection* items, int32_t index) {
    IPtr<IFileArchive> entry = ItemAt(items, index).Query<IFileArchive>(IID_IFileArchive);
    IPtr<IString> name;
    EXPECT_EQ(entry->get_Name(name.Out()), S_OK);
    IPtr<IString> itemName;
    EXPECT_EQ(items->get_ItemName(index, itemName.Out()), S_OK);
    EXPECT_EQ(host::ToWide(itemName.Get()), host::ToWide(name.Get())); // item-named by the entry name
    return host::ToWide(name.Get());
}

int64_t AttributeOf(ISuperCollection* items, int32_t index, int32_t which) {
    IPtr<IFileAttributes> attributes = ItemAt(items, index).Query<IFileAttributes>(IID_IFileAttributes);
    int64_t value = -1;
    EXPECT_EQ(attributes->get_Attribute(which, &value), S_OK);
    return value;
}

std::vector<std::wstring> Names(ISuperCollection* items) {
    int32_t count = -1;
    EXPECT_EQ(items->get_Count(&count), S_OK);
    std::vector<std::wstring> names;
    for (int32_t i = 0; i < count; ++i) names.push_back(NameOf(items, i));
    return names;
}

using Names_ = std::vector<std::wstring>;

class FileNameCollectionTest : public ::testing::Test {
protected:
    TempTree tree;
};

TEST_F(FileNameCollectionTest, ListsFilesOrFoldersSortedByName) {
    tree.File("b.txt", 3);
    tree.File("a.txt", 10);
    tree.File("C.doc", 0);
    tree.File(".hidden", 1);
    tree.Folder("sub2/inner");
    tree.Folder("sub1");
    tree.File("sub1/deeper.txt", 5);

    Listing files = NewListing(tree.Root(), 0);
    ASSERT_EQ(files.files->Scan(), S_OK);
    EXPECT_EQ(Names(files.items.Get()), (Names_{L".hidden", L"C.doc", L"a.txt", L"b.txt"}));
    const int64_t sizes[] = {1, 0, 10, 3};
    for (int32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(AttributeOf(files.items.Get(), i, FILE_ATTRIBUTE_SIZE), sizes[i]) << i;
        EXPECT_EQ(AttributeOf(files.items.Get(), i, FILE_ATTRIBUTE_FOLDER), 0) << i;
        EXPECT_TRUE(S_ISREG(AttributeOf(files.items.Get(), i, FILE_ATTRIBUTE_MODE))) << i;
    }

    Listing folders = NewListing(tree.Root(), 1);
    ASSERT_EQ(folders.files->Scan(), S_OK);
    EXPECT_EQ(Names(folders.items.Get()), (Names_{L"sub1", L"sub2"}));
    for (int32_t i = 0; i < 2; ++i) {
        EXPECT_EQ(AttributeOf(folders.items.Get(), i, FILE_ATTRIBUTE_FOLDER), 1);
        EXPECT_TRUE(S_ISDIR(AttributeOf(folders.items.Get(), i, FILE_ATTRIBUTE_MODE)));
    }

    // The full path joins folder and name with one "/".
    IPtr<IFileArchive> entry = ItemAt(folders.items.Get(), 1).Query<IFileArchive>(IID_IFileArchive);
    IPtr<IString> path;
    ASSERT_EQ(entry->get_Filename(path.Out()), S_OK);
    EXPECT_EQ(host::ToWide(path.Get()), host::FileNameToWide(tree.Path("sub2")));
    Listing slashed = NewListing(tree.Root() + "/", 1);
    ASSERT_EQ(slashed.files->Scan(), S_OK);
    entry = ItemAt(slashed.items.Get(), 0).Query<IFileArchive>(IID_IFileArchive);
    ASSERT_EQ(entry->get_Filename(path.Out()), S_OK);
    EXPECT_EQ(host::ToWide(path.Get()), host::FileNameToWide(tree.Path("sub1")));
}

TEST_F(FileNameCollectionTest, ModificationTimeKeepsNanoseconds) {
    tree.File("timed", 1);
    const timespec times[2] = {{1700000000, 5}, {1234567890, 987654321}};
    ASSERT_EQ(utimensat(AT_FDCWD, tree.Path("timed").c_str(), times, 0), 0);
    Listing l = NewListing(tree.Root());
    ASSERT_EQ(l.files->Scan(), S_OK);
    EXPECT_EQ(AttributeOf(l.items.Get(), 0, FILE_ATTRIBUTE_MODIFIED), 1234567890987654321LL);
}

TEST_F(FileNameCollectionTest, NamesDecodeAndRoundTripToTheSameBytes) {
    const std::string raw[] = {
        "caf\xc3\xa9.txt", "\xe6\x97\xa5\xe6\x9c\xac", "smile\xf0\x9f\x98\x80",
        "bad\xff\xc3(.txt", // not UTF-8
        "\xee\x80\x80",     // U+E000
        "\xfe",             // not UTF-8: sorts after U+E000 by its byte
    };
    for (const std::string& name : raw) tree.File(name, name.size());
    Listing l = NewListing(tree.Root());
    ASSERT_EQ(l.files->Scan(), S_OK);
    const Names_ expected = {L"bad\xDCFF\xDCC3(.txt", L"caf\u00e9.txt", L"smile\U0001F600",
                             L"\u65e5\u672c", L"\uE000", L"\xDCFE"};
    ASSERT_EQ(Names(l.items.Get()), expected);
    for (int32_t i = 0; i < static_cast<int32_t>(expected.size()); ++i) {
        // The wide path leads back to the very file listed.
        IPtr<IFileArchive> entry = ItemAt(l.items.Get(), i).Query<IFileArchive>(IID_IFileArchive);
        IPtr<IString> path;
        ASSERT_EQ(entry->get_Filename(path.Out()), S_OK);
        struct stat st;
        ASSERT_EQ(stat(host::FileNameToBytes(host::ToWide(path.Get())).c_str(), &st), 0) << i;
        EXPECT_EQ(st.st_size, AttributeOf(l.items.Get(), i, FILE_ATTRIBUTE_SIZE));
    }
}

TEST_F(FileNameCollectionTest, LinksToFilesListAsFilesAndOthersNever) {
    tree.File("target.bin", 42);
    tree.Folder("realdir");
    tree.Link("target.bin", "link-to-file");
    tree.Link("link-to-file", "link-to-link");
    tree.Link("realdir", "link-to-dir");
    tree.Link("missing", "dangling");
    tree.Link(tree.Root(), "link-to-root"); // a loop if it were walked
    ASSERT_EQ(mkfifo(tree.Path("pipe").c_str(), 0600), 0);

    Listing files = NewListing(tree.Root(), 0);
    ASSERT_EQ(files.files->Scan(), S_OK);
    EXPECT_EQ(Names(files.items.Get()), (Names_{L"link-to-file", L"link-to-link", L"target.bin"}));
    for (int32_t i = 0; i < 3; ++i) EXPECT_EQ(AttributeOf(files.items.Get(), i, FILE_ATTRIBUTE_SIZE), 42);

    Listing folders = NewListing(tree.Root(), 1);
    ASSERT_EQ(folders.files->Scan(), S_OK);
    EXPECT_EQ(Names(folders.items.Get()), (Names_{L"realdir"}));
}

TEST_F(FileNameCollectionTest, EmptyMissingAndUnreadableFolders) {
    Listing empty = NewListing(tree.Root());
    EXPECT_EQ(empty.files->Scan(), S_OK);
    EXPECT_TRUE(Names(empty.items.Get()).empty());

    tree.File("plain", 1);
    struct Case {
        std::string folder;
    };
    const Case failing[] = {{tree.Path("missing")}, {tree.Path("plain")}, {""}};
    for (const Case& c : failing) {
        Listing l = NewListing(tree.Root());
        ASSERT_EQ(l.files->Scan(), S_OK);
        ASSERT_EQ(Names(l.items.Get()).size(), 1u);
        // A failed scan leaves no stale entries behind.
        l.files->put_Folder(Str(host::FileNameToWide(c.folder)).Get());
        EXPECT_EQ(l.files->Scan(), E_FAIL) << c.folder;
        EXPECT_TRUE(Names(l.items.Get()).empty()) << c.folder;
    }
}

TEST_F(FileNameCollectionTest, LooksNamesUpExactly) {
    for (const char* name : {"a.txt", "B.txt", "c.txt"}) tree.File(name, 1);
    Listing l = NewListing(tree.Root());
    ASSERT_EQ(l.files->Scan(), S_OK);
    struct Case {
        const wchar_t* name;
        int32_t index;
    };
    const Case cases[] = {{L"B.txt", 0}, {L"a.txt", 1}, {L"c.txt", 2}, {L"A.txt", -1}, {L"b.txt", -1}, {L"", -1}};
    for (const Case& c : cases) {
        int32_t index = -1;
        HRESULT hr = l.items->get_Index(Str(c.name).Get(), &index);
        EXPECT_EQ(hr, c.index >= 0 ? S_OK : E_FAIL) << c.name;
        if (c.index >= 0) {
            EXPECT_EQ(index, c.index) << c.name;
        }
    }
}

TEST_F(FileNameCollectionTest, ManyFilesAreAllFoundByName) {
    constexpr int kFiles = 2000;
    for (int i = 0; i < kFiles; ++i) tree.File("f" + std::to_string(i), 0);
    Listing l = NewListing(tree.Root());
    ASSERT_EQ(l.files->Scan(), S_OK);
    Names_ names = Names(l.items.Get());
    ASSERT_EQ(names.size(), static_cast<size_t>(kFiles));
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
    for (int32_t i = 0; i < kFiles; ++i) {
        int32_t index = -1;
        ASSERT_EQ(l.items->get_Index(Str(names[i]).Get(), &index), S_OK);
        ASSERT_EQ(index, i);
    }
}

TEST_F(FileNameCollectionTest, FiltersFileNamesByPattern) {
    for (const char* name : {"a.txt", "b.doc", "c.TXT", "d.txt.bak", "x"}) tree.File(name, 1);
    tree.Folder("folder.d");
    struct Case {
        std::initializer_list<const wchar_t*> patterns;
        Names_ expected;
    };
    const Case cases[] = {
        {{}, {L"a.txt", L"b.doc", L"c.TXT", L"d.txt.bak", L"x"}}, // an empty collection filters nothing
        {{L"*"}, {L"a.txt", L"b.doc", L"c.TXT", L"d.txt.bak", L"x"}},
        {{L"*.txt"}, {L"a.txt"}},
        {{L"*.txt", L"*.doc"}, {L"a.txt", L"b.doc"}},
        {{L"*.doc;*.bak"}, {L"b.doc", L"d.txt.bak"}},
        {{L"?"}, {L"x"}},
        {{L"*.pdf"}, {}},
    };
    for (const Case& c : cases) {
        IPtr<IExtCollection> ext = NewExtensions(c.patterns);
        Listing files = NewListing(tree.Root(), 0, ext.Get());
        ASSERT_EQ(files.files->Scan(), S_OK);
        EXPECT_EQ(Names(files.items.Get()), c.expected) << c.patterns.size();
        // Folders are not filtered, so that a walk reaches all of them.
        Listing folders = NewListing(tree.Root(), 1, ext.Get());
        ASSERT_EQ(folders.files->Scan(), S_OK);
        EXPECT_EQ(Names(folders.items.Get()), (Names_{L"folder.d"}));
    }

    // The entry tells the pattern that selected it; patterns added after
    // attaching count at the next scan.
    IPtr<IExtCollection> ext = NewExtensions({L"*.doc"});
    Listing l = NewListing(tree.Root(), 0, ext.Get());
    ext->AddExtension(REFLiteral(L"*.txt"), REFLiteral(L"*"));
    ASSERT_EQ(l.files->Scan(), S_OK);
    ASSERT_EQ(Names(l.items.Get()), (Names_{L"a.txt", L"b.doc"}));
    IPtr<IString> filter;
    ItemAt(l.items.Get(), 0).Query<IFileArchive>(IID_IFileArchive)->get_Filter(filter.Out());
    EXPECT_EQ(host::ToWide(filter.Get()), L"*.txt");
    int32_t count = 0;
    EXPECT_EQ(ext->get_Count(&count), S_OK);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(ext->AddExtension(REFLiteral(L""), REFLiteral(L"File")), E_INVALIDARG);
}

// An extension collection the listing cannot read.
class ForeignExtensions final : public host::HostObject<IExtCollection> {
public:
    HRESULT AddExtension(tagREFString, tagREFString) override { return S_OK; }
    HRESULT get_Count(int32_t* count) override {
        *count = 0;
        return S_OK;
    }
};

TEST_F(FileNameCollectionTest, OptionsAndSettings) {
    Listing l = NewListing(tree.Root());
    int32_t value = -1;
    EXPECT_EQ(l.files->get_Option(18, &value), S_FALSE);
    EXPECT_EQ(value, 0);
    for (int32_t option : {18, 22, 24, 25, 99}) {
        EXPECT_EQ(l.files->put_Option(option, option * 2), S_OK);
        EXPECT_EQ(l.files->get_Option(option, &value), S_OK);
        EXPECT_EQ(value, option * 2);
    }
    EXPECT_EQ(l.files->get_Option(FILENAME_OPTION_FOLDERS, &value), S_OK);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(l.files->get_Option(1, nullptr), E_POINTER);

    IPtr<IString> folder;
    ASSERT_EQ(l.files->get_Folder(folder.Out()), S_OK);
    EXPECT_EQ(host::ToWide(folder.Get()), host::FileNameToWide(tree.Root()));
    EXPECT_EQ(l.files->put_Folder(nullptr), E_POINTER);

    IPtr<IExtCollection> foreign;
    ASSERT_EQ(host::CreateHostComponent<ForeignExtensions>(&IID_IExtCollection, foreign.OutVoid()), S_OK);
    EXPECT_EQ(l.files->put_Extensions(foreign.Get()), E_INVALIDARG);
    EXPECT_EQ(l.files->put_Extensions(nullptr), S_OK);
}

TEST_F(FileNameCollectionTest, EntriesOutliveARescan) {
    tree.File("first", 1);
    Listing l = NewListing(tree.Root());
    ASSERT_EQ(l.files->Scan(), S_OK);
    IPtr<IFileArchive> kept = ItemAt(l.items.Get(), 0).Query<IFileArchive>(IID_IFileArchive);
    tree.File("second", 2);
    fs::remove(tree.Path("first"));
    ASSERT_EQ(l.files->Scan(), S_OK);
    EXPECT_EQ(Names(l.items.Get()), (Names_{L"second"}));
    IPtr<IString> name;
    ASSERT_EQ(kept->get_Name(name.Out()), S_OK);
    EXPECT_EQ(host::ToWide(name.Get()), L"first");
    EXPECT_EQ(kept->Load(), E_NOTIMPL);
    int64_t value = 0;
    EXPECT_EQ(kept.Query<IFileAttributes>(IID_IFileAttributes)->get_Attribute(5, &value), E_INVALIDARG);
}

} // namespace
