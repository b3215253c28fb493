#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "host/base/ComponentRegistry.h"
#include "host/files/ExtCollection.h"
#include "host/files/FileNameCollection.h"
#include "host/text/FileNameEncoding.h"
#include "support/HostTestSupport.h"
#include <random>
#include "host/files/NamePattern.h"

namespace fs = std::filesystem;
using namespace hosttest;

namespace {

struct Listing {
    IPtr<IFileNameCollection> files;
    IPtr<ISuperCollection> items;
};

// A new listing made by name, as the module makes it.
Listing NewListing(const std::string& folder, int32_t folders = 0, IExtCollection* ext = nullptr) {
    Listing l;
    host::HostCreator create = host::FindHostComponent(REFLiteral(L"FileNameCollection"));
    EXPECT_NE(create, nullptr);
    if (!create) return l;
    EXPECT_EQ(create(&IID_IFileNameCollection, l.files.OutVoid()), S_OK);
    l.items = l.files.Query<ISuperCollection>();
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
    IPtr<IFileArchive> entry = ItemAt(items, index).Query<IFileArchive>();
    IPtr<IString> name;
    EXPECT_EQ(entry->get_Name(name.Out()), S_OK);
    IPtr<IString> itemName;
    EXPECT_EQ(items->get_ItemName(index, itemName.Out()), S_OK);
    EXPECT_EQ(host::ToWide(itemName.Get()), host::ToWide(name.Get())); // item-named by the entry name
    return host::ToWide(name.Get());
}

int64_t AttributeOf(ISuperCollection* items, int32_t index, int32_t which) {
    IPtr<IFileAttributes> attributes = ItemAt(items, index).Query<IFileAttributes>();
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
    std::string Root() const { return m_dir.Root(); }
    std::string Path(const std::string& relative) const { return m_dir.File(relative); }
    void File(const std::string& relative, size_t size) const { WriteFile(Path(relative), std::string(size, 'x')); }
    void Folder(const std::string& relative) const { fs::create_directories(Path(relative)); }
    void Link(const std::string& target, const std::string& relative) const {
        ASSERT_EQ(symlink(target.c_str(), Path(relative).c_str()), 0);
    }

    TempDir m_dir;
};

TEST_F(FileNameCollectionTest, ListsFilesOrFoldersSortedByName) {
    File("b.txt", 3);
    File("a.txt", 10);
    File("C.doc", 0);
    File(".hidden", 1);
    Folder("sub2/inner");
    Folder("sub1");
    File("sub1/deeper.txt", 5);

    Listing files = NewListing(Root(), 0);
    ASSERT_EQ(files.files->Scan(), S_OK);
    EXPECT_EQ(Names(files.items.Get()), (Names_{L".hidden", L"C.doc", L"a.txt", L"b.txt"}));
    const int64_t sizes[] = {1, 0, 10, 3};
    for (int32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(AttributeOf(files.items.Get(), i, FILE_ATTRIBUTE_SIZE), sizes[i]) << i;
        EXPECT_EQ(AttributeOf(files.items.Get(), i, FILE_ATTRIBUTE_FOLDER), 0) << i;
        EXPECT_TRUE(S_ISREG(AttributeOf(files.items.Get(), i, FILE_ATTRIBUTE_MODE))) << i;
    }

    Listing folders = NewListing(Root(), 1);
    ASSERT_EQ(folders.files->Scan(), S_OK);
    EXPECT_EQ(Names(folders.items.Get()), (Names_{L"sub1", L"sub2"}));
    for (int32_t i = 0; i < 2; ++i) {
        EXPECT_EQ(AttributeOf(folders.items.Get(), i, FILE_ATTRIBUTE_FOLDER), 1);
        EXPECT_TRUE(S_ISDIR(AttributeOf(folders.items.Get(), i, FILE_ATTRIBUTE_MODE)));
    }

    // The full path joins folder and name with one "/".
    IPtr<IFileArchive> entry = ItemAt(folders.items.Get(), 1).Query<IFileArchive>();
    IPtr<IString> path;
    ASSERT_EQ(entry->get_Filename(path.Out()), S_OK);
    EXPECT_EQ(host::ToWide(path.Get()), host::FileNameToWide(Path("sub2")));
    Listing slashed = NewListing(Root() + "/", 1);
    ASSERT_EQ(slashed.files->Scan(), S_OK);
    entry = ItemAt(slashed.items.Get(), 0).Query<IFileArchive>();
    ASSERT_EQ(entry->get_Filename(path.Out()), S_OK);
    EXPECT_EQ(host::ToWide(path.Get()), host::FileNameToWide(Path("sub1")));
}

TEST_F(FileNameCollectionTest, ModificationTimeKeepsNanoseconds) {
    File("timed", 1);
    const timespec times[2] = {{1700000000, 5}, {1234567890, 987654321}};
    ASSERT_EQ(utimensat(AT_FDCWD, Path("timed").c_str(), times, 0), 0);
    Listing l = NewListing(Root());
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
    for (const std::string& name : raw) File(name, name.size());
    Listing l = NewListing(Root());
    ASSERT_EQ(l.files->Scan(), S_OK);
    const Names_ expected = {L"bad\xDCFF\xDCC3(.txt", L"caf\u00e9.txt", L"smile\U0001F600",
                             L"\u65e5\u672c", L"\uE000", L"\xDCFE"};
    ASSERT_EQ(Names(l.items.Get()), expected);
    for (int32_t i = 0; i < static_cast<int32_t>(expected.size()); ++i) {
        // The wide path leads back to the very file listed.
        IPtr<IFileArchive> entry = ItemAt(l.items.Get(), i).Query<IFileArchive>();
        IPtr<IString> path;
        ASSERT_EQ(entry->get_Filename(path.Out()), S_OK);
        struct stat st;
        ASSERT_EQ(stat(host::FileNameToBytes(host::ToWide(path.Get())).c_str(), &st), 0) << i;
        EXPECT_EQ(st.st_size, AttributeOf(l.items.Get(), i, FILE_ATTRIBUTE_SIZE));
    }
}

TEST_F(FileNameCollectionTest, LinksToFilesListAsFilesAndOthersNever) {
    File("target.bin", 42);
    Folder("realdir");
    Link("target.bin", "link-to-file");
    Link("link-to-file", "link-to-link");
    Link("realdir", "link-to-dir");
    Link("missing", "dangling");
    Link(Root(), "link-to-root"); // a loop if it were walked
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);

    // A listing of names only sorts entries into files and folders alike.
    for (int32_t namesOnly : {0, 1}) {
        Listing files = NewListing(Root(), 0);
        files.files->put_Option(FILENAME_OPTION_NAMES_ONLY, namesOnly);
        ASSERT_EQ(files.files->Scan(), S_OK);
        EXPECT_EQ(Names(files.items.Get()), (Names_{L"link-to-file", L"link-to-link", L"target.bin"}));
        for (int32_t i = 0; i < 3 && !namesOnly; ++i)
            EXPECT_EQ(AttributeOf(files.items.Get(), i, FILE_ATTRIBUTE_SIZE), 42);

        Listing folders = NewListing(Root(), 1);
        folders.files->put_Option(FILENAME_OPTION_NAMES_ONLY, namesOnly);
        ASSERT_EQ(folders.files->Scan(), S_OK);
        EXPECT_EQ(Names(folders.items.Get()), (Names_{L"realdir"}));
        EXPECT_EQ(AttributeOf(folders.items.Get(), 0, FILE_ATTRIBUTE_FOLDER), 1);
    }
}

TEST_F(FileNameCollectionTest, EmptyMissingAndUnreadableFolders) {
    Listing empty = NewListing(Root());
    EXPECT_EQ(empty.files->Scan(), S_OK);
    EXPECT_TRUE(Names(empty.items.Get()).empty());

    File("plain", 1);
    for (const std::string& folder : {Path("missing"), Path("plain"), std::string()}) {
        Listing l = NewListing(Root());
        ASSERT_EQ(l.files->Scan(), S_OK);
        ASSERT_EQ(Names(l.items.Get()).size(), 1u);
        // A failed scan leaves no stale entries behind.
        l.files->put_Folder(Str(host::FileNameToWide(folder)).Get());
        EXPECT_EQ(l.files->Scan(), E_FAIL) << folder;
        EXPECT_TRUE(Names(l.items.Get()).empty()) << folder;
    }
}

TEST_F(FileNameCollectionTest, LooksNamesUpExactly) {
    for (const char* name : {"a.txt", "B.txt", "c.txt"}) File(name, 1);
    Listing l = NewListing(Root());
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
        EXPECT_EQ(hr == S_OK ? index : -1, c.index) << c.name;
    }
}

TEST_F(FileNameCollectionTest, ManyFilesAreAllFoundByName) {
    constexpr int kFiles = 2000;
    for (int i = 0; i < kFiles; ++i) File("f" + std::to_string(i), 0);
    Listing l = NewListing(Root());
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
    for (const char* name : {"a.txt", "b.doc", "c.TXT", "d.txt.bak", "x"}) File(name, 1);
    Folder("folder.d");
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
        Listing files = NewListing(Root(), 0, ext.Get());
        ASSERT_EQ(files.files->Scan(), S_OK);
        EXPECT_EQ(Names(files.items.Get()), c.expected) << c.patterns.size();
        // Folders are not filtered, so that a walk reaches all of them.
        Listing folders = NewListing(Root(), 1, ext.Get());
        ASSERT_EQ(folders.files->Scan(), S_OK);
        EXPECT_EQ(Names(folders.items.Get()), (Names_{L"folder.d"}));
    }

    // The entry tells the pattern that selected it; patterns added after
    // attaching count at the next scan.
    IPtr<IExtCollection> ext = NewExtensions({L"*.doc"});
    Listing l = NewListing(Root(), 0, ext.Get());
    ext->AddExtension(REFLiteral(L"*.txt"), REFLiteral(L"*"));
    ASSERT_EQ(l.files->Scan(), S_OK);
    ASSERT_EQ(Names(l.items.Get()), (Names_{L"a.txt", L"b.doc"}));
    IPtr<IString> filter;
    ItemAt(l.items.Get(), 0).Query<IFileArchive>()->get_Filter(filter.Out());
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
    Listing l = NewListing(Root());
    int32_t value = -1;
    EXPECT_EQ(l.files->get_Option(18, &value), S_FALSE);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(l.files->get_Option(FILENAME_OPTION_FOLDERS, &value), S_OK);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(l.files->get_Option(1, nullptr), E_POINTER);

    EXPECT_EQ(l.files->put_Folder(nullptr), E_POINTER);

    IPtr<IExtCollection> foreign;
    ASSERT_EQ(host::CreateHostComponent<ForeignExtensions>(foreign), S_OK);
    EXPECT_EQ(l.files->put_Extensions(foreign.Get()), E_INVALIDARG);
    EXPECT_EQ(l.files->put_Extensions(nullptr), S_OK);
}

// The packaging step's request: every name ("*", kind "FileArchive.File")
// with options 24 and 22 set lists the files directly in the folder, each
// with its full path and size; sub-folders and what they hold are steps of
// their own.
TEST_F(FileNameCollectionTest, PackagingRequestListsTheFilesOfOneFolder) {
    File("help.css", 3);
    File(".hidden", 1);
    Folder("images");
    File("images/a.png", 5);
    IPtr<IExtCollection> ext = NewExtensions({});
    ASSERT_EQ(ext->AddExtension(REFLiteral(L"*"), REFLiteral(L"FileArchive.File")), S_OK);
    Listing l = NewListing(Root(), 0, ext.Get());
    l.files->put_Option(24, 1);
    l.files->put_Option(22, 1);
    ASSERT_EQ(l.files->Scan(), S_OK);
    EXPECT_EQ(Names(l.items.Get()), (Names_{L".hidden", L"help.css"}));
    EXPECT_EQ(AttributeOf(l.items.Get(), 1, FILE_ATTRIBUTE_SIZE), 3);
    IPtr<IString> path;
    ASSERT_EQ(ItemAt(l.items.Get(), 1).Query<IFileArchive>()->get_Filename(path.Out()), S_OK);
    EXPECT_EQ(host::ToWide(path.Get()), host::FileNameToWide(Path("help.css")));
    for (int32_t option : {24, 22}) {
        int32_t value = 0;
        EXPECT_EQ(l.files->get_Option(option, &value), S_OK);
        EXPECT_EQ(value, 1) << option;
    }
}

TEST_F(FileNameCollectionTest, EntriesOutliveARescan) {
    File("first", 1);
    Listing l = NewListing(Root());
    ASSERT_EQ(l.files->Scan(), S_OK);
    IPtr<IFileArchive> kept = ItemAt(l.items.Get(), 0).Query<IFileArchive>();
    File("second", 2);
    fs::remove(Path("first"));
    ASSERT_EQ(l.files->Scan(), S_OK);
    EXPECT_EQ(Names(l.items.Get()), (Names_{L"second"}));
    IPtr<IString> name;
    ASSERT_EQ(kept->get_Name(name.Out()), S_OK);
    EXPECT_EQ(host::ToWide(name.Get()), L"first");
    EXPECT_EQ(kept->Load(), E_NOTIMPL);
    int64_t value = 0;
    EXPECT_EQ(kept.Query<IFileAttributes>()->get_Attribute(5, &value), E_INVALIDARG);
}

struct DecodeCase {
    std::string bytes;
    std::wstring wide;
};

TEST(FileNameEncoding, DecodesValidUtf8AndEscapesEveryOtherByte) {
    const DecodeCase cases[] = {
        {"plain.txt", L"plain.txt"},
        {"caf\xc3\xa9", L"caf\u00e9"},
        {"\xe6\x97\xa5", L"\u65e5"},
        {"\xf0\x9f\x98\x80", L"\U0001F600"},
        {"\xef\xbf\xbf", L"\uFFFF"},
        {"\xdf\xbf", L"\u07FF"},
        // Stray continuation byte, lone lead byte at the end.
        {"a\x80" "b", L"a\xDC80" L"b"},
        {"a\xc3", L"a\xDCC3"},
        // A lead byte followed by a byte that does not continue it: only the
        // lead byte is escaped, the rest decodes on its own.
        {"\xc3(", L"\xDCC3("},
        // Overlong forms, an encoded surrogate, a value above U+10FFFF.
        {"\xc0\xaf", L"\xDCC0\xDCAF"},
        {"\xe0\x80\xaf", L"\xDCE0\xDC80\xDCAF"},
        {"\xed\xa0\x80", L"\xDCED\xDCA0\xDC80"},
        {"\xf4\x90\x80\x80", L"\xDCF4\xDC90\xDC80\xDC80"},
        {"\xff\xfe", L"\xDCFF\xDCFE"},
    };
    for (const DecodeCase& c : cases) {
        EXPECT_EQ(host::FileNameToWide(c.bytes), c.wide) << c.bytes;
        EXPECT_EQ(host::FileNameToBytes(c.wide), c.bytes) << c.bytes;
    }
}

TEST(FileNameEncoding, AnyByteStringRoundTrips) {
    for (int b = 1; b < 256; ++b) {
        std::string one(1, static_cast<char>(b));
        EXPECT_EQ(host::FileNameToBytes(host::FileNameToWide(one)), one) << b;
    }
    std::mt19937 random(7);
    std::uniform_int_distribution<int> byte(1, 255), length(1, 40);
    for (int i = 0; i < 2000; ++i) {
        std::string bytes;
        for (int n = length(random); n > 0; --n) bytes.push_back(static_cast<char>(byte(random)));
        ASSERT_EQ(host::FileNameToBytes(host::FileNameToWide(bytes)), bytes);
    }
}

TEST(FileNameEncoding, TextThatNoNameYieldsBecomesReplacementCharacter) {
    // Surrogates outside the escape range and values beyond Unicode.
    const std::wstring cases[] = {std::wstring(1, wchar_t(0xD800)), std::wstring(1, wchar_t(0xDC7F)),
                                  std::wstring(1, wchar_t(0xDD00)), std::wstring(1, wchar_t(0x110000))};
    for (const std::wstring& w : cases) EXPECT_EQ(host::FileNameToBytes(w), "\xef\xbf\xbd") << unsigned(w[0]);
}

struct PatternCase {
    const wchar_t* pattern;
    const wchar_t* name;
    bool matches;
};

TEST(NamePattern, MatchesWholeNames) {
    const PatternCase cases[] = {
        {L"*", L"", true},
        {L"*", L".profile", true},
        {L"*.txt", L"notes.txt", true},
        {L"*.txt", L"notes.txt.bak", false},
        {L"*.txt", L".txt", true},
        {L"*.txt", L"notes.TXT", false}, // case counts
        {L"?.c", L"a.c", true},
        {L"?.c", L"ab.c", false},
        {L"?.c", L".c", false},
        {L"a*b*c", L"aXXbYYc", true},
        {L"a*b*c", L"aXXcYYb", false},
        {L"a*b", L"abab", true},        // the star has to give back the first "b"
        {L"*ab*ab", L"xabyabab", true}, // and back-track more than once
        {L"**", L"x", true},
        {L"*?", L"", false},
        {L"caf\u00e9*", L"caf\u00e9.jpg", true},
        {L"exact", L"exact", true},
        {L"exact", L"exac", false},
        {L"", L"", true},
        {L"", L"x", false},
    };
    for (const PatternCase& c : cases)
        EXPECT_EQ(host::MatchNamePattern(c.pattern, c.name), c.matches) << c.pattern << " vs " << c.name;
}

TEST(NamePattern, ListsSeparatedBySemicolons) {
    const PatternCase cases[] = {
        {L"*.jpg;*.png", L"a.png", true},
        {L"*.jpg;*.png", L"a.jpg", true},
        {L"*.jpg;*.png", L"a.gif", false},
        {L" *.jpg ; *.png ", L"a.png", true}, // blanks around patterns
        {L";;", L"", false},                  // empty patterns match nothing
        {L"", L"", false},
        {L"*.txt;", L"a.txt", true},
    };
    for (const PatternCase& c : cases)
        EXPECT_EQ(host::MatchNamePatternList(c.pattern, c.name), c.matches) << c.pattern << " vs " << c.name;
}

TEST(NamePattern, LongNamesStayFast) {
    // A pattern with many stars against a long name that fails only at the
    // end: an exponential matcher would not finish.
    std::wstring name(20000, L'a');
    EXPECT_FALSE(host::MatchNamePattern(L"*a*a*a*a*a*a*a*a*b", name));
    name += L'b';
    EXPECT_TRUE(host::MatchNamePattern(L"*a*a*a*a*a*a*a*a*b", name));
}

} // namespace
