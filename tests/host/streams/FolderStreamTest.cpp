#include <cmath>
#include <limits>

#include "host/streams/FolderFormat.h"
#include "host/streams/StreamNesting.h"
#include "support/HostTestSupport.h"
#include "support/StreamProbe.h"

using namespace hosttest;

namespace {

IPtr<IFolderStream> NewFolder() { return Make<IFolderStream>(L"FolderStream"); }

// "type:value" of a read value, or "missing".
std::wstring Describe(IVariant* v) {
    if (!v) return L"missing";
    int32_t type = -1;
    v->get_Type(&type);
    switch (type) {
    case VARIANT_EMPTY: return L"empty";
    case VARIANT_INTEGER: {
        int32_t i = 0;
        v->get_Integer(&i);
        return L"int:" + std::to_wstring(i);
    }
    case VARIANT_DOUBLE: {
        double d = 0;
        v->get_Double(&d);
        return L"double:" + host::FromUtf8(std::to_string(d));
    }
    case VARIANT_STRING: {
        IPtr<IString> s;
        v->get_String(s.Out());
        return L"string:" + host::ToWide(s.Get());
    }
    default: return L"object";
    }
}

std::wstring ReadBack(IFolderStream* f, const std::wstring& name) {
    IPtr<IVariant> v;
    if (FAILED(f->ReadValue(View(name), v.Out()))) return L"missing";
    return Describe(v.Get());
}

std::string Raw(IFolderStream* f, const std::wstring& name) {
    unsigned int size = 0;
    if (FAILED(f->ReadRaw(View(name), nullptr, 0, &size))) return "<missing>";
    std::string bytes(size, '\0');
    unsigned int read = 0;
    EXPECT_EQ(f->ReadRaw(View(name), bytes.data(), size, &read), S_OK);
    bytes.resize(read);
    return bytes;
}

// The entry names of a folder, in order, with "/" after sub-folders.
std::vector<std::wstring> EntryNames(IFolderStream* f) {
    std::vector<std::wstring> names;
    IPtr<INamedCollection> entries;
    if (FAILED(f->get_Entries(entries.Out()))) return {L"<failed>"};
    int32_t count = 0;
    entries->get_Count(&count);
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name;
        entries->get_ItemName(i, name.Out());
        IPtr<IUnknown> item;
        entries->get_Item(i, item.Out());
        names.push_back(host::ToWide(name.Get()) + (QueryAs<IFolderStream>(item.Get()) ? L"/" : L""));
    }
    return names;
}

// A copy of the folder made from its saved text.
IPtr<IFolderStream> Reparsed(IFolderStream* f) {
    IPtr<IFolderStream> copy = NewFolder();
    EXPECT_EQ(WriteBytes(copy.Get(), Content(f)), S_OK);
    return copy;
}

// `levels` folders nested in each other, one a line (level n opens on line
// n + 1); the innermost opens with `innermost`.
std::string NestedFolders(int levels, const std::string& innermost = "folder \"f\" {") {
    std::string text = "FolderStream 1\n";
    for (int i = 1; i < levels; ++i) text += "folder \"f\" {\n";
    text += innermost + "\n";
    for (int i = 0; i < levels; ++i) text += "}\n";
    return text;
}

} // namespace

TEST(FolderStream, ValuesOfEachTypeRoundTripThroughTheText) {
    IPtr<IFolderStream> f = NewFolder();
    IPtr<IVariant> empty = host::NewVariant();
    ASSERT_EQ(f->WriteValue(REFLiteral(L"i"), Int(-2147483647 - 1).Get()), S_OK);
    ASSERT_EQ(f->WriteValue(REFLiteral(L"s"), Text(L"a \"quoted\" \\ text\nwith\r\ttabs").Get()), S_OK);
    ASSERT_EQ(f->WriteValue(REFLiteral(L"u"), Text(L"\u00e9\u4e2d\U0001F600\u0001\u007f\u0085").Get()), S_OK);
    ASSERT_EQ(f->WriteValue(REFLiteral(L"e"), empty.Get()), S_OK);
    ASSERT_EQ(f->WriteValue(REFLiteral(L"blank"), Text(L"").Get()), S_OK);

    IPtr<IFolderStream> copy = Reparsed(f.Get());
    EXPECT_EQ(ReadBack(copy.Get(), L"i"), L"int:-2147483648");
    EXPECT_EQ(ReadBack(copy.Get(), L"s"), L"string:a \"quoted\" \\ text\nwith\r\ttabs");
    EXPECT_EQ(ReadBack(copy.Get(), L"u"), L"string:\u00e9\u4e2d\U0001F600\u0001\u007f\u0085");
    EXPECT_EQ(ReadBack(copy.Get(), L"e"), L"empty");
    EXPECT_EQ(ReadBack(copy.Get(), L"blank"), L"string:");
    // Non-ASCII text is written as UTF-8; controls are escaped.
    const std::string text = Content(f.Get());
    EXPECT_NE(text.find("\"\xc3\xa9\xe4\xb8\xad\xf0\x9f\x98\x80\\u{1}\\u{7f}\\u{85}\""), std::string::npos) << text;
}

TEST(FolderStream, DoublesKeepEveryValue) {
    const double values[] = {0.1, 0.0, -0.0, 1e-310, 123456789.125, -1.7976931348623157e308,
                             std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
                             std::nan("")};
    IPtr<IFolderStream> f = NewFolder();
    for (size_t i = 0; i < std::size(values); ++i)
        ASSERT_EQ(f->WriteValue(View(L"v" + std::to_wstring(i)), Real(values[i]).Get()), S_OK);
    IPtr<IFolderStream> copy = Reparsed(f.Get());
    for (size_t i = 0; i < std::size(values); ++i) {
        SCOPED_TRACE(values[i]);
        IPtr<IVariant> v;
        ASSERT_EQ(copy->ReadValue(View(L"v" + std::to_wstring(i)), v.Out()), S_OK);
        double d = 1;
        v->get_Double(&d);
        if (std::isnan(values[i])) {
            EXPECT_TRUE(std::isnan(d));
            continue;
        }
        EXPECT_EQ(d, values[i]); // exactly
        EXPECT_EQ(std::signbit(d), std::signbit(values[i]));
    }
}

TEST(FolderStream, RawBlocksKeepEveryByte) {
    std::string all;
    for (int b = 0; b < 256; ++b) all += static_cast<char>(b);
    const std::vector<std::string> blocks = {std::string("\0\0\0", 3), "\n\r\n", "", all,
                                             std::string("\x06\x00\x00\x00", 4)};
    IPtr<IFolderStream> f = NewFolder();
    for (size_t i = 0; i < blocks.size(); ++i)
        ASSERT_EQ(f->WriteRaw(View(L"r" + std::to_wstring(i)), blocks[i].data(),
                              static_cast<unsigned int>(blocks[i].size())),
                  S_OK);
    IPtr<IFolderStream> copy = Reparsed(f.Get());
    for (size_t i = 0; i < blocks.size(); ++i) EXPECT_EQ(Raw(copy.Get(), L"r" + std::to_wstring(i)), blocks[i]);
    EXPECT_NE(Content(f.Get()).find("raw \"r4\" 4 06000000\n"), std::string::npos);

    // A short buffer takes what fits and says so.
    char two[2] = {};
    unsigned int read = 0;
    EXPECT_EQ(copy->ReadRaw(REFLiteral(L"r1"), two, 2, &read), S_FALSE);
    EXPECT_EQ(read, 2u);
    EXPECT_EQ(std::string(two, 2), "\n\r");
    // Values and raw blocks are not read as each other.
    f->WriteValue(REFLiteral(L"value"), Int(1).Get());
    EXPECT_EQ(f->ReadRaw(REFLiteral(L"value"), two, 2, &read), E_FAIL);
    EXPECT_EQ(ReadBack(f.Get(), L"r0"), L"missing");
}

TEST(FolderStream, NestedFoldersAndEntryOrder) {
    IPtr<IFolderStream> f = NewFolder();
    f->WriteValue(REFLiteral(L"zeta"), Int(1).Get());
    IPtr<IFolderStream> params;
    ASSERT_EQ(f->OpenFolder(REFLiteral(L"Parameters"), 1, params.Out()), S_OK);
    params->WriteValue(REFLiteral(L"SrcPort"), Int(21).Get());
    IPtr<IFolderStream> deeper;
    ASSERT_EQ(params->OpenFolder(REFLiteral(L"Deeper"), 1, deeper.Out()), S_OK);
    deeper->WriteValue(REFLiteral(L"x"), Text(L"deep").Get());
    f->WriteValue(REFLiteral(L"alpha"), Int(2).Get());
    f->WriteValue(REFLiteral(L"ZETA"), Int(3).Get()); // replaces "zeta" in place

    IPtr<IFolderStream> copy = Reparsed(f.Get());
    EXPECT_EQ(EntryNames(copy.Get()), (std::vector<std::wstring>{L"ZETA", L"Parameters/", L"alpha"}));
    EXPECT_EQ(ReadBack(copy.Get(), L"zeta"), L"int:3");
    IPtr<IFolderStream> p, d;
    ASSERT_EQ(copy->OpenFolder(REFLiteral(L"parameters"), 0, p.Out()), S_OK);
    EXPECT_EQ(EntryNames(p.Get()), (std::vector<std::wstring>{L"SrcPort", L"Deeper/"}));
    ASSERT_EQ(p->OpenFolder(REFLiteral(L"Deeper"), 0, d.Out()), S_OK);
    EXPECT_EQ(ReadBack(d.Get(), L"x"), L"string:deep");

    IPtr<IFolderStream> none;
    EXPECT_EQ(copy->OpenFolder(REFLiteral(L"Inputs"), 0, none.Out()), E_FAIL);
    EXPECT_EQ(copy->OpenFolder(REFLiteral(L"alpha"), 1, none.Out()), E_FAIL); // a value, not a folder
    EXPECT_EQ(copy->WriteValue(REFLiteral(L"Parameters"), Int(0).Get()), E_FAIL);
    EXPECT_EQ(EntryNames(copy.Get()), (std::vector<std::wstring>{L"ZETA", L"Parameters/", L"alpha"}));
}

TEST(FolderStream, NamesWithAnyCharacters) {
    const std::vector<std::wstring> names = {L"with spaces", L"new\nline", L"quote\" and \\", L"\u00fcml\u00e4ut",
                                             L"\u65e5\u672c", L"tab\there", L"{", L"}", L"#not a comment"};
    IPtr<IFolderStream> f = NewFolder();
    for (size_t i = 0; i < names.size(); ++i)
        ASSERT_EQ(f->WriteValue(View(names[i]), Int(static_cast<int32_t>(i)).Get()), S_OK);
    IPtr<IFolderStream> sub;
    ASSERT_EQ(f->OpenFolder(REFLiteral(L"folder }\n{"), 1, sub.Out()), S_OK);
    IPtr<IFolderStream> copy = Reparsed(f.Get());
    for (size_t i = 0; i < names.size(); ++i)
        EXPECT_EQ(ReadBack(copy.Get(), names[i]), L"int:" + std::to_wstring(i)) << host::ToUtf8(names[i]);
    EXPECT_EQ(copy->OpenFolder(REFLiteral(L"folder }\n{"), 0, sub.Out()), S_OK);
    EXPECT_EQ(f->WriteValue(REFLiteral(L""), Int(1).Get()), E_INVALIDARG);
}

TEST(FolderStream, EntriesListValuesRawBlocksAndFolders) {
    IPtr<IFolderStream> f = NewFolder();
    f->WriteValue(REFLiteral(L"n"), Int(7).Get());
    f->WriteRaw(REFLiteral(L"bytes"), "a\0b", 3);
    IPtr<IFolderStream> sub;
    f->OpenFolder(REFLiteral(L"Inputs"), 1, sub.Out());
    IPtr<INamedCollection> entries;
    ASSERT_EQ(f->get_Entries(entries.Out()), S_OK);
    int32_t count = 0;
    entries->get_Count(&count);
    ASSERT_EQ(count, 3);
    IPtr<IUnknown> item;
    entries->get_Item(0, item.Out());
    EXPECT_EQ(Describe(QueryAs<IVariant>(item.Get()).Get()), L"int:7");
    entries->get_Item(1, item.Out());
    IPtr<IVariant> rawItem = QueryAs<IVariant>(item.Get());
    ASSERT_TRUE(rawItem && rawItem->IsObject());
    IPtr<IUnknown> block;
    rawItem->get_Object(block.Out());
    EXPECT_EQ(Content(block.Get()), std::string("a\0b", 3));
    // The named lookup that finds a section, and the folder it gives.
    int32_t index = -1;
    ASSERT_EQ(entries->get_Index(host::MakeString(L"inputs").Get(), &index), S_OK);
    EXPECT_EQ(index, 2);
    entries->get_Item(index, item.Out());
    IPtr<IFolderStream> inputs = QueryAs<IFolderStream>(item.Get());
    ASSERT_TRUE(inputs);
    inputs->WriteValue(REFLiteral(L"x"), Int(1).Get());
    EXPECT_EQ(ReadBack(sub.Get(), L"x"), L"int:1"); // the same folder
}

TEST(FolderStream, ObjectVariantsAreNotValues) {
    IPtr<IFolderStream> f = NewFolder();
    IPtr<IVariant> holder = host::NewVariant();
    holder->put_Unknown(host::NewVariant().Query<IUnknown>().Get()); // copies: still empty
    IPtr<IUnknown> someObject = Make<IUnknown>(L"DataStream");
    holder->put_Unknown(someObject.Get());
    ASSERT_TRUE(holder->IsObject());
    EXPECT_EQ(f->WriteValue(REFLiteral(L"o"), holder.Get()), E_INVALIDARG);
    EXPECT_EQ(f->WriteValue(REFLiteral(L"o"), nullptr), E_POINTER);
    EXPECT_EQ(EntryNames(f.Get()), std::vector<std::wstring>{});
    EXPECT_NE(ErrorText(f.Get()).find("'o'"), std::string::npos);
}

TEST(FolderStream, FilesSaveAndLoadTheWholeTree) {
    TempDir dir;
    const std::string path = dir.File("tree.fst");
    IPtr<IFolderStream> f = NewFolder();
    IPtr<IFolderStream> sub;
    f->OpenFolder(REFLiteral(L"Parameters"), 1, sub.Out());
    sub->WriteValue(REFLiteral(L"Name"), Text(L"\u00e4").Get());
    SetFilename(sub.Get(), path); // any folder of the tree saves the tree
    ASSERT_EQ(sub.Query<IFileArchive>()->Save(), S_OK) << ErrorText(f.Get());
    EXPECT_EQ(ReadFile(path), "FolderStream 1\nfolder \"Parameters\" {\n  string \"Name\" \"\xc3\xa4\"\n}\n");

    IPtr<IFolderStream> loaded = NewFolder();
    SetFilename(loaded.Get(), path);
    ASSERT_EQ(loaded.Query<IFileArchive>()->Load(), S_OK);
    IPtr<IFolderStream> p;
    ASSERT_EQ(loaded->OpenFolder(REFLiteral(L"Parameters"), 0, p.Out()), S_OK);
    EXPECT_EQ(ReadBack(p.Get(), L"Name"), L"string:\u00e4");

    // Loading again takes the old folders out of the tree.
    ASSERT_EQ(loaded.Query<IFileArchive>()->Load(), S_OK);
    EXPECT_EQ(p->WriteValue(REFLiteral(L"lost"), Int(1).Get()), E_FAIL);
    EXPECT_NE(ErrorText(p.Get()).find("taken out"), std::string::npos);
}

TEST(FolderStream, MalformedFilesLeaveTheFolderAndExplain) {
    TempDir dir;
    IPtr<IFolderStream> f = NewFolder();
    f->WriteValue(REFLiteral(L"kept"), Int(1).Get());
    WriteFile(dir.File("bad.fst"), "FolderStream 1\nint \"a\" 1\nint \"b\" one\n");
    SetFilename(f.Get(), dir.File("bad.fst"));
    IPtr<IFileArchive> archive = f.Query<IFileArchive>();
    EXPECT_EQ(archive->Load(), E_FAIL);
    EXPECT_EQ(ErrorText(f.Get()), dir.File("bad.fst") + ": line 3: 'one' is not a 32-bit integer");
    EXPECT_EQ(EntryNames(f.Get()), std::vector<std::wstring>{L"kept"});

    SetFilename(f.Get(), dir.File("missing.fst"));
    EXPECT_EQ(archive->Load(), E_FAIL);
    EXPECT_NE(ErrorText(f.Get()).find("missing.fst"), std::string::npos);
    EXPECT_EQ(EntryNames(f.Get()), std::vector<std::wstring>{L"kept"});

    // Bad bytes written to a folder are dropped at its next use.
    ASSERT_EQ(WriteBytes(f.Get(), "FolderStream 1\nfolder \"x\" {\n"), S_OK);
    EXPECT_EQ(f->WriteValue(REFLiteral(L"other"), Int(2).Get()), E_FAIL);
    EXPECT_EQ(ErrorText(f.Get()), "line 2: the folder opened here is not closed");
    EXPECT_EQ(EntryNames(f.Get()), std::vector<std::wstring>{L"kept"});
}

TEST(FolderStream, WrittenBytesReplaceOnlyThatFolder) {
    IPtr<IFolderStream> f = NewFolder();
    f->WriteValue(REFLiteral(L"top"), Int(1).Get());
    IPtr<IFolderStream> sub, inner;
    f->OpenFolder(REFLiteral(L"sub"), 1, sub.Out());
    sub->OpenFolder(REFLiteral(L"inner"), 1, inner.Out());
    ASSERT_EQ(WriteBytes(sub.Get(), "FolderStream 1\nstring \"fresh\" \"yes\"\n"), S_OK);
    EXPECT_EQ(EntryNames(sub.Get()), std::vector<std::wstring>{L"fresh"});
    EXPECT_EQ(EntryNames(f.Get()), (std::vector<std::wstring>{L"top", L"sub/"}));
    EXPECT_EQ(Content(f.Get()), "FolderStream 1\nint \"top\" 1\nfolder \"sub\" {\n  string \"fresh\" \"yes\"\n}\n");
    EXPECT_EQ(inner->WriteValue(REFLiteral(L"x"), Int(1).Get()), E_FAIL); // no longer in the tree

    IPtr<IDataStream> bytes = sub.Query<IDataStream>();
    ASSERT_EQ(bytes->Reset(1), S_OK);
    EXPECT_EQ(Content(f.Get()), "FolderStream 1\nint \"top\" 1\nfolder \"sub\" {\n}\n");
}

TEST(FolderFormat, MalformedTextIsRefusedWithTheLine) {
    struct Malformed {
        const char* text;
        const char* error;
    };
    const Malformed cases[] = {
        {"", "the text does not start with 'FolderStream 1'"},
        {"int \"a\" 1\n", "line 1: the text does not start with 'FolderStream 1'"},
        {"FolderStream 2\n", "line 1: unsupported version 2"},
        {"FolderStream 1 extra\n", "line 1: unexpected text 'extra'"},
        {"FolderStream 1\ninteger \"a\" 1\n", "line 2: unknown entry type 'integer'"},
        {"FolderStream 1\nint a 1\n", "line 2: missing name in double quotes"},
        {"FolderStream 1\nint \"a 1\n", "line 2: the name has no closing quote"},
        {"FolderStream 1\nint \"\" 1\n", "line 2: an entry name is empty"},
        {"FolderStream 1\nint \"a\"\n", "line 2: missing integer"},
        {"FolderStream 1\nint \"a\" 2147483648\n", "line 2: '2147483648' is not a 32-bit integer"},
        {"FolderStream 1\nint \"a\" 12x\n", "line 2: '12x' is not a 32-bit integer"},
        {"FolderStream 1\nint \"a\" 1 2\n", "line 2: unexpected text '2'"},
        {"FolderStream 1\ndouble \"a\" 1.5.2\n", "line 2: '1.5.2' is not a number"},
        {"FolderStream 1\nstring \"a\" \"bad \\q escape\"\n", "line 2: unknown escape '\\q'"},
        {"FolderStream 1\nstring \"a\" \"\\u{110000000}\"\n", "line 2: invalid character number in \\u{110000000}"},
        {"FolderStream 1\nstring \"a\" \"\\u41\"\n", "line 2: \\u must be followed by {hex digits}"},
        {"FolderStream 1\nstring \"a\" \"\xff\"\n", "line 2: invalid UTF-8 in the text"},
        {"FolderStream 1\nstring \"a\" \"\xed\xa0\x80\"\n", "line 2: invalid UTF-8 in the text"},
        {"FolderStream 1\nstring \"a\" \"\xc0\xaf\"\n", "line 2: invalid UTF-8 in the text"},
        {"FolderStream 1\nstring \"a\" \"\x01\"\n", "line 2: a control character in the text must be escaped"},
        {"FolderStream 1\nraw \"a\" 2 0a\n", "line 2: the block should have 2 bytes but has 1"},
        {"FolderStream 1\nraw \"a\" 1 0a0\n", "line 2: the block should have 1 bytes but has 1 and a half"},
        {"FolderStream 1\nraw \"a\" 2 0g00\n", "line 2: '0g' is not a hexadecimal byte"},
        {"FolderStream 1\nraw \"a\" -1 00\n", "line 2: '-1' is not a byte count"},
        {"FolderStream 1\nraw \"a\" 2\n", "line 2: missing hexadecimal bytes"},
        {"FolderStream 1\nfolder \"a\"\n", "line 2: missing {"},
        {"FolderStream 1\nfolder \"a\" [\n}\n", "line 2: expected '{'"},
        {"FolderStream 1\nfolder \"a\" {\n", "line 2: the folder opened here is not closed"},
        {"FolderStream 1\nfolder \"a\" {\nfolder \"b\" {\n}\n", "line 2: the folder opened here is not closed"},
        {"FolderStream 1\nfolder \"a\" {\n}\nfolder \"b\" {\n", "line 4: the folder opened here is not closed"},
        {"FolderStream 1\n}\n", "line 2: '}' without an open folder"},
        {"FolderStream 1\nfolder \"a\" {\n} }\n", "line 3: unexpected text '}'"},
        {"FolderStream 1\nobject \"a\" \"\" {\n}\n", "line 2: the component name is empty"},
        {"FolderStream 1\nobject \"a\" {\n}\n", "line 2: missing component name in double quotes"},
        {"FolderStream 1\nint \"a\" 1\nint \"A\" 2\n", "line 3: a second entry named \"A\""},
        {"FolderStream 1\nfolder \"f\" {\n  int \"x\" 1\n  empty \"X\"\n}\n", "line 4: a second entry named \"X\""},
    };
    for (const Malformed& c : cases) {
        SCOPED_TRACE(c.text);
        host::FolderNode folder;
        std::string error;
        EXPECT_FALSE(host::ParseFolder(c.text, folder, error));
        EXPECT_EQ(error, c.error);
        EXPECT_TRUE(folder.Entries().empty());
    }
}

TEST(FolderFormat, HandWrittenTextIsRead) {
    const std::string text =
        "# written by hand\r\n"
        "\r\n"
        "FolderStream 1\r\n"
        "   # indented comment\n"
        "int\t\"n\"   -12\n"
        "raw \"r\" 2 0AfF\n"
        "raw \"none\" 0\n"
        "double \"d\" 1e3\n"
        "folder \"f\" {\n"
        "object \"o\" \"StreamProbe\" {\n"
        "string \"Label\" \"\\u{48}i \\\"there\\\"\"\n"
        "}\n"
        "}\n";
    host::FolderNode folder;
    std::string error;
    ASSERT_TRUE(host::ParseFolder(text, folder, error)) << error;
    ASSERT_EQ(folder.Entries().size(), 5u);
    EXPECT_EQ(std::get<int32_t>(folder.Entries()[0].value), -12);
    EXPECT_EQ(std::get<host::RawBlock>(folder.Entries()[1].value).bytes, "\x0a\xff");
    EXPECT_EQ(std::get<host::RawBlock>(folder.Entries()[2].value).bytes, "");
    EXPECT_EQ(std::get<double>(folder.Entries()[3].value), 1000.0);
    const auto& sub = std::get<host::SubFolder>(folder.Entries()[4].value);
    ASSERT_EQ(sub.node->Entries().size(), 1u);
    const auto& object = std::get<host::ObjectRecord>(sub.node->Entries()[0].value);
    EXPECT_EQ(object.component, L"StreamProbe");
    ASSERT_EQ(object.content->Entries().size(), 1u);
    EXPECT_EQ(std::get<host::TextValue>(object.content->Entries()[0].value).text, L"Hi \"there\"");
    // Written back in the canonical form, which reads back the same.
    const std::string canonical = host::SerialiseFolder(folder);
    EXPECT_EQ(canonical,
              "FolderStream 1\n"
              "int \"n\" -12\n"
              "raw \"r\" 2 0aff\n"
              "raw \"none\" 0\n"
              "double \"d\" 1000\n"
              "folder \"f\" {\n"
              "  object \"o\" \"StreamProbe\" {\n"
              "    string \"Label\" \"Hi \\\"there\\\"\"\n"
              "  }\n"
              "}\n");
    host::FolderNode again;
    ASSERT_TRUE(host::ParseFolder(canonical, again, error)) << error;
    EXPECT_EQ(host::SerialiseFolder(again), canonical);
}

TEST(FolderFormat, CharactersOutsideUnicodeSurviveAsEscapes) {
    host::FolderNode folder;
    const std::wstring odd{static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x110000), L'x'};
    folder.Append({L"odd", host::TextValue{odd}});
    const std::string text = host::SerialiseFolder(folder);
    EXPECT_EQ(text, "FolderStream 1\nstring \"odd\" \"\\u{d800}\\u{110000}x\"\n");
    host::FolderNode back;
    std::string error;
    ASSERT_TRUE(host::ParseFolder(text, back, error)) << error;
    EXPECT_EQ(std::get<host::TextValue>(back.Entries()[0].value).text, odd);
}

TEST(FolderFormat, NestingIsBoundedAtTheLimit) {
    struct Case {
        std::string text;
        int depth; // of the folder read into
        std::string error;
    };
    const int limit = host::kMaxStreamNesting;
    const std::string tooDeep = ": folders and objects are nested too deep (more than 64 levels)";
    const Case cases[] = {
        {NestedFolders(limit), 0, ""},
        {NestedFolders(limit, "object \"o\" \"StreamProbe\" {"), 0, ""},
        {NestedFolders(limit + 1), 0, "line 66" + tooDeep},
        {NestedFolders(limit + 1, "object \"o\" \"StreamProbe\" {"), 0, "line 66" + tooDeep},
        {NestedFolders(100000), 0, "line 66" + tooDeep},
        {NestedFolders(limit - 4), 4, ""},
        {NestedFolders(limit - 3), 4, "line 62" + tooDeep},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text.substr(0, 60) + "... at depth " + std::to_string(c.depth));
        host::FolderNode folder(c.depth);
        std::string error;
        EXPECT_EQ(host::ParseFolder(c.text, folder, error), c.error.empty());
        EXPECT_EQ(error, c.error);
    }
}

TEST(FolderStream, FoldersNestUpToTheLimitAndNoDeeper) {
    std::vector<IPtr<IFolderStream>> levels{NewFolder()};
    while (levels.size() <= static_cast<size_t>(host::kMaxStreamNesting)) {
        IPtr<IFolderStream> sub;
        ASSERT_EQ(levels.back()->OpenFolder(REFLiteral(L"f"), 1, sub.Out()), S_OK) << levels.size();
        levels.push_back(sub);
    }
    IFolderStream* deepest = levels.back().Get();
    IPtr<IFolderStream> none;
    EXPECT_EQ(deepest->OpenFolder(REFLiteral(L"g"), 1, none.Out()), E_FAIL);
    EXPECT_EQ(deepest->WriteObject(REFLiteral(L"o"), streamtest::NewProbe(L"p", 1).Get()), E_FAIL);
    EXPECT_NE(ErrorText(deepest).find("'o': folders and objects are nested too deep"), std::string::npos)
        << ErrorText(deepest);
    EXPECT_EQ(deepest->WriteValue(REFLiteral(L"v"), Int(1).Get()), S_OK) << "values still fit";
    EXPECT_EQ(EntryNames(Reparsed(levels[0].Get()).Get()), std::vector<std::wstring>{L"f/"});

    // Bytes written to a folder nest below the levels above it.
    IFolderStream* fourth = levels[4].Get();
    ASSERT_EQ(WriteBytes(fourth, NestedFolders(host::kMaxStreamNesting - 3)), S_OK);
    EXPECT_EQ(EntryNames(fourth), std::vector<std::wstring>{L"<failed>"});
    EXPECT_NE(ErrorText(fourth).find("line 62: folders and objects are nested too deep"), std::string::npos)
        << ErrorText(fourth);
    ASSERT_EQ(WriteBytes(fourth, NestedFolders(host::kMaxStreamNesting - 4)), S_OK);
    EXPECT_EQ(EntryNames(fourth), std::vector<std::wstring>{L"f/"});
}
