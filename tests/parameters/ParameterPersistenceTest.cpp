// Saving and loading parameter collections through the host's XML, folder
// and CSV streams.
#include "ParamTestSupport.h"

using namespace paramtest;

namespace {

// A persistable object: the host's own parameter collection holding one
// item "Inner" = `value`.
IPtr<IUnknown> NestedSettings(int value) {
    IPtr<IParametersCreatable> nested =
        CreateHostObject<IParametersCreatable>(L"ParametersCreatable");
    EXPECT_TRUE(nested);
    if (nested) nested->Add(Str(L"Inner").Get(), Int(value).Get(), nullptr, 0);
    return IPtr<IUnknown>(nested.Get());
}

// The component name an object reports.
std::wstring ComponentName(IUnknown* object) {
    IPtr<IObjectInfo> info = QueryAs<IObjectInfo>(object);
    tagREFString name{0, nullptr};
    if (!info || FAILED(info->GetName(0, &name)) || name.m_Length <= 0) return L"<none>";
    return std::wstring(name.m_pString, static_cast<size_t>(name.m_Length));
}

std::wstring NestedValue(IUnknown* object) {
    IPtr<IParameters> nested = QueryAs<IParameters>(object);
    return nested ? ValueAt(nested.Get(), 0) : L"<none>";
}

std::string SaveXML(IParametersCreatable* params, int32_t options) {
    IPtr<IDataStream> stream = NewStream(L"XMLStream");
    EXPECT_EQ(Core(params).Params_SaveXML(stream.Get(), options), S_OK);
    return Squeezed(stream.Get());
}

std::string SaveFolder(IParametersCreatable* params, int32_t options) {
    IPtr<IDataStream> stream = NewStream(L"FolderStream");
    EXPECT_EQ(Core(params).Params_SaveFolderStream(stream.Get(), options), S_OK);
    return Bytes(stream.Get());
}

// Loads `text` from a new stream of the component into `core`.
HRESULT LoadXML(CParametersCore& core, const std::string& text, int32_t options = 0) {
    return core.Params_LoadXML(StreamOf(L"XMLStream", text).Get(), options, 0);
}
HRESULT LoadFolder(CParametersCore& core, const std::string& text, int32_t options = 0) {
    return core.Params_LoadFolderStream(StreamOf(L"FolderStream", text).Get(), options);
}

constexpr const char* kXMLStart = "<?xml version=\"1.0\"?><Document>";

std::string Document(const std::string& body) { return std::string(kXMLStart) + body + "</Document>"; }

} // namespace

TEST(ParameterPersistence, XMLSavesLeafOrFullFormByFlagsAndCompactRules) {
    IPtr<IString> choices = Str(L"Off|On");
    IPtr<IUnknown> nested = NestedSettings(4);
    struct Case {
        const wchar_t* what;
        IPtr<IVariant> value;
        IUnknown* descriptor;
        int32_t flags;
        std::string full;
        std::string compact;
    } cases[] = {
        {L"plain value", Int(21), nullptr, 0, "<P>21</P>", "<P>21</P>"},
        {L"a text", Text(L"x"), nullptr, 6, "<P><Value>x</Value><Flags>#000006</Flags></P>", "<P>x</P>"},
        {L"a choice", Int(1), choices.Get(), 0x43, "<P><Value>1</Value><Flags>#000043</Flags></P>", "<P>1</P>"},
        {L"a colour, red in the low byte", Int(0x0000FF), nullptr, 0x23,
         "<P><Value>255</Value><Flags>#000023</Flags></P>", "<P>#FF0000</P>"},
        {L"a colour with all bytes", Int(0x123456), nullptr, 0x23,
         "<P><Value>1193046</Value><Flags>#000023</Flags></P>", "<P>#563412</P>"},
        {L"a server path", Text(L"/srv"), nullptr, 9, "<P><Value>/srv</Value><Flags>#000009</Flags></P>",
         "<P>/srv</P>"},
        {L"a switch keeps its flags", Int(0), nullptr, 7, "<P><Value>0</Value><Flags>#000007</Flags></P>",
         "<P><Value>0</Value><Flags>#000007</Flags></P>"},
        {L"the no-XML bit is never written", Text(L"y"), nullptr, 0x08000006,
         "<P><Value>y</Value><Flags>#000006</Flags></P>", "<P>y</P>"},
        {L"compact-omit on a switch", Int(1), nullptr, 0x40027,
         "<P><Value>1</Value><Flags>#040027</Flags></P>", "<P><Value>1</Value><Flags>#040027</Flags></P>"},
        {L"compact-omit on an integer", Int(1), nullptr, 0x40003,
         "<P><Value>1</Value><Flags>#040003</Flags></P>", "<P>1</P>"},
        {L"persistable descriptor", Int(2), nested.Get(), 0,
         "<P><Value>2</Value><Object Component=\"ParametersCreatable\"><Inner>4</Inner></Object></P>",
         "<P><Value>2</Value><Object Component=\"ParametersCreatable\"><Inner>4</Inner></Object></P>"},
        {L"compact drops a choice's persistable descriptor", Int(2), nested.Get(), 0x40,
         "<P><Value>2</Value><Flags>#000040</Flags><Object Component=\"ParametersCreatable\"><Inner>4</Inner>"
         "</Object></P>",
         "<P>2</P>"},
    };
    for (const Case& c : cases) {
        auto params = MakeBare({{L"P", c.value.Get(), c.descriptor, c.flags}});
        EXPECT_EQ(SaveXML(params.Get(), 0), Document(c.full)) << c.what;
        EXPECT_EQ(SaveXML(params.Get(), PARAMS_COMPACT), Document(c.compact)) << c.what;
    }
}

TEST(ParameterPersistence, XMLNamesUnnamedItemsAfterTheirPosition) {
    auto params = MakeBare({{L"a", Int(1).Get()}, {nullptr, Int(2).Get()}});
    EXPECT_EQ(SaveXML(params.Get(), 0), Document("<a>1</a><Item2>2</Item2>"));
}

TEST(ParameterPersistence, XMLLoadMatchesNamesAndChildrenCaseBlind) {
    auto params = Make<CDeclaredParams, IParameters>(IID_IParameters);
    ASSERT_EQ(LoadXML(Declared(params.Get()),
                      Document("<srcport>22</srcport><Stranger>5</Stranger>"
                               "<RUNACTION><value>2</value><FLAGS>#000041</FLAGS></RUNACTION>")),
              S_OK);
    // Unknown elements are ignored; items the document does not mention
    // keep their values.
    EXPECT_EQ(Items(params.Get()),
              (std::vector<std::wstring>{L"SourceRoot=/src", L"SrcPort=22", L"RunAction=2"}));
    EXPECT_EQ(FlagsAt(params.Get(), 2), 0x41);
    EXPECT_EQ(FlagsAt(params.Get(), 1), PARAM_TYPE_INTEGER);
}

TEST(ParameterPersistence, UnnamedItemsLoadFromTheirSavedNames) {
    auto params = MakeBare({{L"a", Int(0).Get()}, {nullptr, Int(0).Get()}, {L"", Int(0).Get()}});
    ASSERT_EQ(LoadXML(Core(params.Get()), Document("<Item2>5</Item2><item3>6</item3><Item1>7</Item1><Item9>8</Item9>")),
              S_OK);
    // "Item1" names the first item only when that one has no name.
    EXPECT_EQ(Items(params.Get()), (std::vector<std::wstring>{L"a=0", L"<fail>=5", L"=6"}));

    ASSERT_EQ(LoadFolder(Core(params.Get()), "FolderStream 1\nint \"Item2\" 9\nint \"Item3\" 10\n"), S_OK);
    EXPECT_EQ(Items(params.Get()), (std::vector<std::wstring>{L"a=0", L"<fail>=9", L"=10"}));
}

TEST(ParameterPersistence, XMLLoadReplaceModeAppendsEveryElement) {
    auto params = Make<CDeclaredParams, IParameters>(IID_IParameters);
    ASSERT_EQ(LoadXML(Declared(params.Get()), Document("<a>1</a><b> text</b><c>1.5</c><d><Value>9</Value></d>"),
                      PARAMS_REPLACE),
              S_OK);
    // Each element's own text is its value; children are not read here.
    EXPECT_EQ(Items(params.Get()), (std::vector<std::wstring>{L"a=1", L"b=text", L"c=1", L"d="}));
    IPtr<IVariant> c;
    params->get_ItemVariant(2, c.Out());
    double real = 0;
    c->get_Double(&real);
    EXPECT_EQ(real, 1.5);
    IPtr<IUnknown> descriptor;
    EXPECT_EQ(params->get_ItemDescriptor(0, descriptor.Out()), E_FAIL);
    EXPECT_EQ(FlagsAt(params.Get(), 0), 0);
}

TEST(ParameterPersistence, XMLRoundTripRestoresValuesFlagsAndDescriptors) {
    auto saved = MakeBare({
        {L"Port", Int(2121).Get(), nullptr, 3},
        {L"Name", Text(L"a & <b>").Get()},
        {L"Nested", Int(1).Get(), NestedSettings(8).Get(), 5},
    });
    auto loaded = MakeBare({{L"name", Text(L"old").Get()}, {L"port", Int(21).Get()}, {L"nested", Int(0).Get()}});
    ASSERT_EQ(LoadXML(Core(loaded.Get()), SaveXML(saved.Get(), 0)), S_OK);
    EXPECT_EQ(Items(loaded.Get()), (std::vector<std::wstring>{L"name=a & <b>", L"port=2121", L"nested=1"}));
    EXPECT_EQ(FlagsAt(loaded.Get(), 1), 3);
    EXPECT_EQ(FlagsAt(loaded.Get(), 2), 5);
    IPtr<IUnknown> descriptor;
    // The object element made a new descriptor of the saved component.
    ASSERT_EQ(loaded->get_ItemDescriptor(2, descriptor.Out()), S_OK);
    EXPECT_EQ(ComponentName(descriptor.Get()), L"ParametersCreatable");
}

// Saving recurses into the descriptor until the stream refuses to nest
// deeper: 64 levels below the root, two a collection (its item and its
// object element). What is written stays well-formed: an element that was
// not opened is not closed.
TEST(ParameterPersistence, XMLOfACollectionHoldingItselfStopsAtTheNestingLimit) {
    auto looped = MakeBare({{L"Self", Int(1).Get()}});
    looped->put_ItemDescriptor(0, looped.Get());
    const std::string saved = SaveXML(looped.Get(), 0);
    looped->put_ItemDescriptor(0, nullptr); // ends the cycle of references
    std::string body = "<Self><Value>1</Value><Object Component=\"ParamsBare\" /></Self>";
    for (int level = 1; level < 32; ++level)
        body = "<Self><Value>1</Value><Object Component=\"ParamsBare\">" + body + "</Object></Self>";
    EXPECT_EQ(saved, Document(body));
}

TEST(ParameterPersistence, XMLUnkSavesOnlyPersistableValues) {
    auto params = MakeBare({
        {nullptr, NestedSettings(3).Get(), NestedSettings(30).Get(), 5},
        {L"plain", Int(1).Get()},
        {L"obj", NestedSettings(4).Get()},
    });
    IPtr<IDataStream> stream = NewStream(L"XMLStream");
    ASSERT_EQ(Core(params.Get()).Params_SaveXMLUnk(stream.Get(), 0), S_OK);
    const std::string object = "<Object Component=\"ParametersCreatable\">";
    EXPECT_EQ(Squeezed(stream.Get()),
              Document("<Item1><Flags>#000005</Flags>" + object + "<Inner>3</Inner></Object><ItemDescriptor>" +
                       object + "<Inner>30</Inner></Object></ItemDescriptor></Item1><obj>" + object +
                       "<Inner>4</Inner></Object></obj>"));

    // Loading goes into the existing objects.
    IPtr<IUnknown> value = NestedSettings(0), descriptor = NestedSettings(0), other = NestedSettings(0);
    auto loaded = MakeBare({{nullptr, value.Get(), descriptor.Get()}, {L"OBJ", other.Get()}});
    IPtr<IDataStream> reread = StreamOf(L"XMLStream", Bytes(stream.Get()));
    ASSERT_EQ(Core(loaded.Get()).Params_LoadXMLUnk(reread.Get(), 0), S_OK);
    EXPECT_EQ(NestedValue(value.Get()), L"3");
    EXPECT_EQ(NestedValue(descriptor.Get()), L"30");
    EXPECT_EQ(NestedValue(other.Get()), L"4");
    EXPECT_EQ(FlagsAt(loaded.Get(), 0), 5);
}

TEST(ParameterPersistence, FolderSavesValuesAndSubFolders) {
    TestRegistry::Write("");
    auto params = MakeBare({
        {L"SrcPort", Int(21).Get()},
        {L"Login", Text(L"me").Get(), nullptr, 6},
        {L"Hidden", Int(1).Get(), nullptr, 0x04000000},
        {nullptr, Text(L"anon").Get()},
        {L"Nested", Int(2).Get(), NestedSettings(7).Get()},
    });
    EXPECT_EQ(SaveFolder(params.Get(), 0), "FolderStream 1\n"
                                   "int \"SrcPort\" 21\n"
                                   "folder \"Login\" {\n"
                                   "  string \"Value\" \"me\"\n"
                                   "  raw \"Flags\" 4 06000000\n"
                                   "}\n"
                                   "string \"Item4\" \"anon\"\n"
                                   "folder \"Nested\" {\n"
                                   "  int \"Value\" 2\n"
                                   "  object \"Descriptor\" \"ParametersCreatable\" {\n"
                                   "    int \"Inner\" 7\n"
                                   "  }\n"
                                   "}\n");
}

TEST(ParameterPersistence, FolderCompactRules) {
    TestRegistry::Write("");
    IPtr<IString> choices = Str(L"A|B");
    struct Case {
        const wchar_t* what;
        IUnknown* descriptor;
        int32_t flags;
        std::string saved;
    } cases[] = {
        {L"an integer loses its type", nullptr, 3, "int \"P\" 1\n"},
        {L"a server path loses its flags", nullptr, 9, "int \"P\" 1\n"},
        {L"a choice loses its list", choices.Get(), 0x43, "int \"P\" 1\n"},
        {L"compact-omit leaves the item out", nullptr, 0x40027, ""},
        {L"never in folders", nullptr, 0x04000005, "int \"P\" 1\n"}, // the type rule clears the bit first
        {L"never in folders, with a type", nullptr, 0x04000007, ""},
        {L"a switch keeps its flags", nullptr, 7, "folder \"P\" {\n  int \"Value\" 1\n  raw \"Flags\" 4 07000000\n}\n"},
    };
    for (const Case& c : cases) {
        auto params = MakeBare({{L"P", Int(1).Get(), c.descriptor, c.flags}});
        EXPECT_EQ(SaveFolder(params.Get(), PARAMS_COMPACT), "FolderStream 1\n" + c.saved) << c.what;
    }
}

TEST(ParameterPersistence, FolderLoadMatchesItemsAndKeepsTheirFlags) {
    TestRegistry::Write("");
    auto params = Make<CDeclaredParams, IParameters>(IID_IParameters);
    ASSERT_EQ(LoadFolder(Declared(params.Get()), "FolderStream 1\n"
                                                 "int \"srcport\" 22\n"
                                                 "int \"Stranger\" 5\n"
                                                 "folder \"RunAction\" {\n"
                                                 "  int \"Value\" 2\n"
                                                 "  raw \"Flags\" 4 07000000\n"
                                                 "}\n"),
              S_OK);
    EXPECT_EQ(Items(params.Get()),
              (std::vector<std::wstring>{L"SourceRoot=/src", L"SrcPort=22", L"RunAction=2"}));
    EXPECT_EQ(FlagsAt(params.Get(), 2), 0x43);
    IPtr<IUnknown> descriptor;
    EXPECT_EQ(params->get_ItemDescriptor(2, descriptor.Out()), S_OK); // no "Descriptor" entry: kept
}

TEST(ParameterPersistence, FolderLoadAppendAndReplaceModes) {
    TestRegistry::Write("");
    const std::string text = "FolderStream 1\n"
                             "int \"x\" 1\n"
                             "folder \"Path\" {\n"
                             "  string \"Value\" \"a\\\\b\\\\c\"\n"
                             "  raw \"Flags\" 4 20000000\n"
                             "}\n"
                             "folder \"Nested\" {\n"
                             "  int \"Value\" 3\n"
                             "  object \"Descriptor\" \"ParametersCreatable\" {\n"
                             "    int \"Inner\" 6\n"
                             "  }\n"
                             "}\n";
    struct Case {
        int32_t options;
        std::vector<std::wstring> items;
    } cases[] = {
        {PARAMS_APPEND, {L"old=0", L"x=1", L"Path=a/b/c", L"Nested=3"}},
        {PARAMS_REPLACE, {L"x=1", L"Path=a/b/c", L"Nested=3"}},
    };
    for (const Case& c : cases) {
        auto params = MakeBare({{L"old", Int(0).Get()}});
        ASSERT_EQ(LoadFolder(Core(params.Get()), text, c.options), S_OK);
        EXPECT_EQ(Items(params.Get()), c.items) << c.options;
        const int32_t last = static_cast<int32_t>(c.items.size()) - 1;
        EXPECT_EQ(FlagsAt(params.Get(), last - 1), 0x20); // appended items keep the saved flags
        IPtr<IUnknown> descriptor;
        ASSERT_EQ(params->get_ItemDescriptor(last, descriptor.Out()), S_OK);
        EXPECT_EQ(ComponentName(descriptor.Get()), L"ParametersCreatable");
    }
}

TEST(ParameterPersistence, FolderRoundTripMapsFileNames) {
    TestRegistry::Write("[Workspace]\nInstallPath=/opt/app/bin\n[Mappings]\nData=/home/u/data\n");
    auto saved = MakeBare({
        {L"Installed", Text(L"/opt/app/bin/cfg/x.csv").Get(), nullptr, 6},
        {L"Beside", Text(L"/opt/app/bin/data/y").Get(), nullptr, 0x26},
        {L"Mapped", Text(L"/home/u/data/z").Get(), nullptr, 6},
        {L"Elsewhere", Text(L"/srv/w").Get(), nullptr, 6},
    });
    const std::string text = SaveFolder(saved.Get(), 0);
    EXPECT_NE(text.find("\"[InstallPath]/cfg/x.csv\""), std::string::npos) << text;
    EXPECT_NE(text.find("\"..\\\\bin/data/y\""), std::string::npos) << text; // relative to the installation
    EXPECT_NE(text.find("raw \"Flags\" 4 26010000"), std::string::npos) << text;
    EXPECT_NE(text.find("\"[Data]/z\""), std::string::npos) << text;
    EXPECT_NE(text.find("\"/srv/w\""), std::string::npos) << text;
    // The items keep their own texts.
    EXPECT_EQ(ValueAt(saved.Get(), 0), L"/opt/app/bin/cfg/x.csv");
    EXPECT_EQ(FlagsAt(saved.Get(), 1), 0x26);

    for (int32_t options : {0, static_cast<int32_t>(PARAMS_REPLACE)}) {
        auto loaded = MakeBare();
        for (const wchar_t* name : {L"Installed", L"Beside", L"Mapped", L"Elsewhere"})
            loaded->Add(Str(name).Get(), Text(L"").Get(), nullptr, 6);
        EXPECT_EQ(LoadFolder(Core(loaded.Get()), text, options), S_OK);
        EXPECT_EQ(Items(loaded.Get()),
                  (std::vector<std::wstring>{L"Installed=/opt/app/bin/cfg/x.csv", L"Beside=/opt/app/bin/data/y",
                                             L"Mapped=/home/u/data/z", L"Elsewhere=/srv/w"}))
            << options;
    }
}

TEST(ParameterPersistence, CSVLine) {
    struct Case {
        int32_t options;
        std::string line;
    } cases[] = {
        {PARAMS_CSV_NAMES, "a=1,b=2,c=3"},
        {0, "1,2,3"},
        {PARAMS_COMPACT, "1,3"},
        {PARAMS_COMPACT | PARAMS_CSV_NAMES, "a=1,c=3"},
    };
    for (const Case& c : cases) {
        auto params = MakeBare({
            {L"a", Int(1).Get()},
            {L"b", Int(2).Get(), nullptr, 0x40000},
            {L"c", Text(L"3").Get()},
        });
        IPtr<IDataStream> stream = NewStream(L"CSVStream");
        ASSERT_EQ(Core(params.Get()).Params_SaveCSV(stream.Get(), c.options), S_OK);
        EXPECT_EQ(Bytes(stream.Get()), c.line) << c.options;
    }
}

TEST(ParameterPersistence, StreamsWithoutTheInterfaceAreLeftAlone) {
    auto params = MakeBare({{L"a", Int(1).Get()}});
    IPtr<IDataStream> csv = NewStream(L"CSVStream");
    IPtr<IDataStream> xml = NewStream(L"XMLStream");
    CParametersCore& core = Core(params.Get());
    EXPECT_EQ(core.Params_SaveXML(csv.Get(), 0), S_OK);
    EXPECT_EQ(core.Params_SaveFolderStream(csv.Get(), 0), S_OK);
    EXPECT_EQ(core.Params_LoadXML(csv.Get(), PARAMS_REPLACE, 0), S_OK);
    EXPECT_EQ(core.Params_LoadFolderStream(xml.Get(), PARAMS_REPLACE), S_OK);
    EXPECT_EQ(core.Params_SaveCSV(xml.Get(), 0), S_OK);
    EXPECT_EQ(core.Params_SaveXML(nullptr, 0), S_OK);
    EXPECT_EQ(Bytes(csv.Get()), "");
    EXPECT_EQ(Items(params.Get()), std::vector<std::wstring>{L"a=1"});
}
