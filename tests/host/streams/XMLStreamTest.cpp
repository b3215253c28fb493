#include "support/HostTestSupport.h"
#include "host/streams/StreamNesting.h"
#include "support/StreamProbe.h"

using namespace hosttest;

namespace {

IPtr<IXMLStream> NewXML() { return Make<IXMLStream>(L"XMLStream"); }

HRESULT Leaf(IXMLStream* x, const std::wstring& name, const std::wstring& text) {
    return x->WriteElement(View(name), host::MakeString(text).Get());
}

std::wstring NameOf(IXMLStream* x) {
    IPtr<IString> s;
    if (FAILED(x->get_Name(s.Out()))) return L"<no name>";
    return host::ToWide(s.Get());
}

std::wstring TextOf(IXMLStream* x) {
    IPtr<IString> s;
    if (FAILED(x->get_Text(s.Out()))) return L"<no text>";
    return host::ToWide(s.Get());
}

// The element tree below a cursor as "name(text)[children]" lines.
std::wstring Outline(IXMLStream* x) {
    std::wstring out;
    IPtr<IXMLStream> child;
    if (FAILED(x->FirstChild(child.Out()))) return out;
    do {
        out += NameOf(child.Get()) + L"(" + TextOf(child.Get()) + L")";
        const std::wstring inner = Outline(child.Get());
        if (!inner.empty()) out += L"[" + inner + L"]";
        out += L";";
    } while (SUCCEEDED(child->Next()));
    return out;
}

// A root element and `levels` elements nested below it, one a line (the
// element at level n opens on line n + 1).
std::string Nested(int levels) {
    std::string document = "<r>";
    for (int i = 0; i < levels; ++i) document += "\n<e>";
    for (int i = 0; i < levels; ++i) document += "</e>";
    return document + "</r>";
}

IPtr<IXMLStream> Parsed(const std::string& document) {
    IPtr<IXMLStream> x = NewXML();
    EXPECT_EQ(WriteBytes(x.Get(), document), S_OK);
    return x;
}

} // namespace

TEST(XMLStream, CursorWritesReadBackInOrder) {
    IPtr<IXMLStream> x = NewXML();
    ASSERT_EQ(Leaf(x.Get(), L"SrcPort", L"21"), S_OK);
    ASSERT_EQ(x->OpenElement(REFLiteral(L"RunAction")), S_OK);
    ASSERT_EQ(Leaf(x.Get(), L"Value", L"0"), S_OK);
    ASSERT_EQ(Leaf(x.Get(), L"Flags", L"#000043"), S_OK);
    ASSERT_EQ(x->CloseElement(), S_OK);
    ASSERT_EQ(x->WriteElement(REFLiteral(L"Empty"), nullptr), S_OK);
    ASSERT_EQ(Leaf(x.Get(), L"Last", L"end"), S_OK);
    EXPECT_EQ(x->CloseElement(), E_FAIL); // nothing left open

    EXPECT_EQ(NameOf(x.Get()), L"Document");
    EXPECT_EQ(Outline(x.Get()), L"SrcPort(21);RunAction()[Value(0);Flags(#000043);];Empty();Last(end);");
    // The same document read from its serialised bytes.
    EXPECT_EQ(Outline(Parsed(Content(x.Get())).Get()), Outline(x.Get()));
}

TEST(XMLStream, TextRoundTripsExactly) {
    const std::vector<std::wstring> texts = {
        L"plain",
        L"  leading and trailing  ",
        L" ",
        L"<tag> & \"quotes\" 'apostrophes' ]]>",
        L"two\nlines\tand a tab",
        L"Gr\u00fc\u00dfe \u65e5\u672c \U0001F600",
    };
    IPtr<IXMLStream> x = NewXML();
    for (const std::wstring& t : texts) ASSERT_EQ(Leaf(x.Get(), L"t", t), S_OK);
    IPtr<IXMLStream> copy = Parsed(Content(x.Get()));
    IPtr<IXMLStream> element;
    ASSERT_EQ(copy->FirstChild(element.Out()), S_OK);
    for (const std::wstring& t : texts) {
        EXPECT_EQ(TextOf(element.Get()), t);
        element->Next();
    }
    EXPECT_NE(Content(x.Get()).find("Gr\xc3\xbc\xc3\x9f" "e"), std::string::npos) << "UTF-8 in the document";
}

TEST(XMLStream, ReadsHandWrittenDocuments) {
    IPtr<IXMLStream> x = Parsed(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<?xml-stylesheet href=\"generic.xsl\" type=\"text/xsl\"?>\n"
        "<!-- a comment before the root -->\n"
        "<Config>\n"
        "  <Name>first</Name>\n"
        "  <!-- comments and whitespace between elements are skipped -->\n"
        "  <Unknown attr=\"1\"><Deep><Deeper>x</Deeper></Deep></Unknown>\n"
        "  <Mixed>a<b/>c<![CDATA[<d>]]></Mixed>\n"
        "  <Entity>&lt;&#65;&#x42;&amp;</Entity>\n"
        "  <Empty/>\n"
        "</Config>\n");
    EXPECT_EQ(NameOf(x.Get()), L"Config");
    EXPECT_EQ(Outline(x.Get()),
              L"Name(first);Unknown()[Deep()[Deeper(x);];];Mixed(ac<d>)[b();];Entity(<AB&);Empty();");
    // Writing into a loaded document appends inside its root.
    ASSERT_EQ(Leaf(x.Get(), L"Added", L"1"), S_OK);
    EXPECT_NE(Content(x.Get()).find("<Added>1</Added>\n</Config>"), std::string::npos) << Content(x.Get());
    EXPECT_NE(Content(x.Get()).find("generic.xsl"), std::string::npos) << "processing instructions are kept";
}

TEST(XMLStream, CursorsAreIndependent) {
    IPtr<IXMLStream> x = Parsed("<r><a>1</a><b>2</b><c>3</c></r>");
    IPtr<IXMLStream> first, second;
    ASSERT_EQ(x->FirstChild(first.Out()), S_OK);
    ASSERT_EQ(x->FirstChild(second.Out()), S_OK);
    ASSERT_EQ(first->Next(), S_OK);
    ASSERT_EQ(first->Next(), S_OK);
    EXPECT_EQ(first->Next(), E_FAIL);
    EXPECT_EQ(NameOf(first.Get()), L"c"); // a failed Next leaves the cursor
    EXPECT_EQ(NameOf(second.Get()), L"a");
    EXPECT_EQ(x->Next(), E_FAIL); // the root has no siblings
    IPtr<IXMLStream> none;
    EXPECT_EQ(second->FirstChild(none.Out()), E_FAIL);
    EXPECT_FALSE(none);
}

TEST(XMLStream, ChildCursorWritesIntoItsElement) {
    IPtr<IXMLStream> x = Parsed("<r><a/><b/></r>");
    IPtr<IXMLStream> a;
    ASSERT_EQ(x->FirstChild(a.Out()), S_OK);
    ASSERT_EQ(a->OpenElement(REFLiteral(L"inner")), S_OK);
    ASSERT_EQ(Leaf(a.Get(), L"leaf", L"v"), S_OK);
    ASSERT_EQ(a->CloseElement(), S_OK);
    ASSERT_EQ(a->Next(), S_OK);
    ASSERT_EQ(Leaf(a.Get(), L"inB", L"w"), S_OK);
    EXPECT_EQ(Outline(x.Get()), L"a()[inner()[leaf(v);];];b()[inB(w);];");
}

TEST(XMLStream, InvalidElementNamesWriteNothing) {
    const std::vector<std::wstring> bad = {L"", L"two words", L"1st", L"-x", L"a<b", L"new\nline", L"a&b"};
    IPtr<IXMLStream> x = NewXML();
    for (const std::wstring& name : bad) {
        SCOPED_TRACE(host::ToUtf8(name));
        EXPECT_EQ(Leaf(x.Get(), name, L"v"), E_INVALIDARG);
        EXPECT_EQ(x->OpenElement(View(name)), E_INVALIDARG);
    }
    EXPECT_EQ(Outline(x.Get()), L"");
    EXPECT_EQ(Leaf(x.Get(), L"ns:\u00e9l\u00e9ment_2.x-y", L"ok"), S_OK);
    EXPECT_EQ(Outline(Parsed(Content(x.Get())).Get()), L"ns:\u00e9l\u00e9ment_2.x-y(ok);");
}

TEST(XMLStream, MalformedInputKeepsTheDocumentAndExplains) {
    struct Case {
        std::string document;
        const char* where;
    };
    const std::string tooDeep = "line 66, column 2: elements are nested too deep (more than 64 levels)";
    const Case cases[] = {
        {"<r><a></r>", "line 1"},
        {"<r>\n  <a>\n</r>", "line 3"},
        {"<r attr=unquoted/>", "line 1"},
        {"<r><a></a", "line 1"},
        {"not xml at all", "line 1"},
        {"<!-- only a comment -->\nand text", "line 2"},
        {Nested(host::kMaxStreamNesting + 1), tooDeep.c_str()},
        {Nested(100000), tooDeep.c_str()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.document.substr(0, 60));
        IPtr<IXMLStream> x = Parsed("<r><kept>yes</kept></r>");
        ASSERT_EQ(Outline(x.Get()), L"kept(yes);");
        ASSERT_EQ(WriteBytes(x.Get(), c.document), S_OK);
        IPtr<IXMLStream> child;
        EXPECT_EQ(x->FirstChild(child.Out()), E_FAIL);
        EXPECT_NE(ErrorText(x.Get()).find(c.where), std::string::npos) << ErrorText(x.Get());
        EXPECT_EQ(Outline(x.Get()), L"kept(yes);"); // the bad input is gone, the document stays
    }
}

TEST(XMLStream, ElementsAtTheNestingLimitAreReadButTakeNoChild) {
    IPtr<IXMLStream> x = Parsed(Nested(host::kMaxStreamNesting));
    IPtr<IXMLStream> cursor = x;
    for (int level = 1; level <= host::kMaxStreamNesting; ++level) {
        IPtr<IXMLStream> child;
        ASSERT_EQ(cursor->FirstChild(child.Out()), S_OK) << level;
        cursor = child;
    }
    // The deepest element takes no child, of any kind; nothing is written.
    IPtr<IUnknown> object = streamtest::NewProbe(L"p", 1);
    EXPECT_EQ(Leaf(cursor.Get(), L"leaf", L"v"), E_FAIL);
    EXPECT_EQ(cursor->OpenElement(REFLiteral(L"open")), E_FAIL);
    EXPECT_EQ(cursor->OpenObjectElement(object.Get()), E_FAIL);
    EXPECT_NE(ErrorText(x.Get()).find("nested too deep"), std::string::npos) << ErrorText(x.Get());
    IPtr<IXMLStream> none;
    EXPECT_EQ(cursor->FirstChild(none.Out()), E_FAIL);
}

TEST(XMLStream, StaleCursorsFailAfterTheDocumentIsReplaced) {
    IPtr<IXMLStream> x = Parsed("<r><a>1</a></r>");
    IPtr<IXMLStream> a;
    ASSERT_EQ(x->FirstChild(a.Out()), S_OK);
    ASSERT_EQ(WriteBytes(x.Get(), "<other><b>2</b></other>"), S_OK);
    EXPECT_EQ(Outline(x.Get()), L"b(2);");
    EXPECT_EQ(NameOf(a.Get()), L"<no name>");
    EXPECT_EQ(Leaf(a.Get(), L"x", L"y"), E_FAIL);
    EXPECT_EQ(Outline(x.Get()), L"b(2);");

    IPtr<IDataStream> bytes = x.Query<IDataStream>();
    ASSERT_EQ(bytes->Reset(1), S_OK); // clears the document
    EXPECT_EQ(Outline(x.Get()), L"");
    EXPECT_EQ(NameOf(x.Get()), L"<no name>");
}

TEST(XMLStream, ByteFaceFollowsTheDocument) {
    IPtr<IXMLStream> x = NewXML();
    IPtr<IDataStream> bytes = x.Query<IDataStream>();
    Leaf(x.Get(), L"a", L"1");
    char head[6] = {};
    unsigned int read = 0;
    ASSERT_EQ(bytes->Read(head, 5, &read), S_OK);
    EXPECT_EQ(std::string(head, read), "<?xml");
    Leaf(x.Get(), L"b", L"2"); // a change makes a new snapshot, read from the start
    std::string all(400, '\0');
    bytes->Read(all.data(), 400, &read);
    all.resize(read);
    EXPECT_EQ(all, Content(x.Get()));
    EXPECT_NE(all.find("<b>2</b>"), std::string::npos);
    // Created over a caller's buffer: the buffer holds a document.
    std::string doc = "<root><z>9</z></root>";
    ASSERT_EQ(bytes->Create(doc.data(), static_cast<unsigned long>(doc.size()), 0), S_OK);
    EXPECT_EQ(Outline(x.Get()), L"z(9);");
}

TEST(XMLStream, FilesSaveAndLoad) {
    TempDir dir;
    const std::string path = dir.File("params.xml");
    IPtr<IXMLStream> x = NewXML();
    SetFilename(x.Get(), path);
    Leaf(x.Get(), L"Name", L"\u00e4\u00f6\u00fc");
    IPtr<IFileArchive> archive = x.Query<IFileArchive>();
    ASSERT_EQ(archive->Save(), S_OK) << ErrorText(x.Get());
    const std::string saved = ReadFile(path);
    EXPECT_EQ(saved.rfind("<?xml version=\"1.0\"?>", 0), 0u) << saved;
    EXPECT_NE(saved.find("<Name>\xc3\xa4\xc3\xb6\xc3\xbc</Name>"), std::string::npos) << saved;

    IPtr<IString> name;
    ASSERT_EQ(archive->get_Name(name.Out()), S_OK);
    EXPECT_EQ(host::ToWide(name.Get()), L"params.xml"); // the archive's name, not an element's
    EXPECT_EQ(NameOf(x.Get()), L"Document");

    IPtr<IXMLStream> other = NewXML();
    SetFilename(other.Get(), path);
    ASSERT_EQ(other.Query<IFileArchive>()->Load(), S_OK);
    EXPECT_EQ(Outline(other.Get()), L"Name(\u00e4\u00f6\u00fc);");
    EXPECT_EQ(ErrorText(other.Get()), "");
    // No temporary file is left beside it.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.Path()), {}), 1);
}

TEST(XMLStream, FileErrorsKeepThePreviousDocument) {
    TempDir dir;
    IPtr<IXMLStream> x = Parsed("<r><kept/></r>");
    IPtr<IFileArchive> archive = x.Query<IFileArchive>();
    EXPECT_EQ(archive->Load(), E_FAIL); // no file name yet
    EXPECT_EQ(archive->Save(), E_FAIL);

    WriteFile(dir.File("bad.xml"), "<?xml version=\"1.0\"?>\n<r>\n<open>\n</r>\n");
    SetFilename(x.Get(), dir.File("bad.xml"));
    EXPECT_EQ(archive->Load(), E_FAIL);
    EXPECT_NE(ErrorText(x.Get()).find("bad.xml: line 4"), std::string::npos) << ErrorText(x.Get());
    EXPECT_EQ(Outline(x.Get()), L"kept();");

    SetFilename(x.Get(), dir.File("missing.xml"));
    EXPECT_EQ(archive->Load(), E_FAIL);
    EXPECT_NE(ErrorText(x.Get()).find("missing.xml"), std::string::npos);
    EXPECT_EQ(Outline(x.Get()), L"kept();");

    SetFilename(x.Get(), dir.File("no/such/folder/x.xml"));
    EXPECT_EQ(archive->Save(), E_FAIL);
    EXPECT_NE(ErrorText(x.Get()).find("x.xml"), std::string::npos);

    // An empty file is an empty document.
    WriteFile(dir.File("empty.xml"), "");
    SetFilename(x.Get(), dir.File("empty.xml"));
    EXPECT_EQ(archive->Load(), S_OK);
    EXPECT_EQ(Outline(x.Get()), L"");
}
