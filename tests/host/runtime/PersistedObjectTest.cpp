// Objects kept in XML and folder streams: recorded by component name, saved
// by themselves, and made again through the global component collection.

#include "support/HostTestSupport.h"
#include "support/StreamProbe.h"

using namespace hosttest;
using namespace streamtest;

namespace {

// An object that can save itself but does not tell its component name.
class Nameless final : public host::HostObject<IDataPersist> {
public:
    HRESULT Save(IDataStream*, int32_t) override { return S_OK; }
    HRESULT Load(IDataStream*, int32_t) override { return S_OK; }
};

IPtr<IUnknown> NewNameless() {
    IPtr<IUnknown> object;
    host::CreateHostComponent<Nameless>(object);
    return object;
}

// Writes a probe the way a parameter collection writes its descriptors: an
// object element, the object's own save into the same stream, and the close.
void WriteObjectElement(IXMLStream* x, IUnknown* object) {
    ASSERT_EQ(x->OpenObjectElement(object), S_OK);
    ASSERT_EQ(QueryAs<IDataPersist>(object)->Save(QueryAs<IDataStream>(x).Get(), 0),
              S_OK);
    ASSERT_EQ(x->CloseElement(), S_OK);
}

} // namespace

TEST(PersistedObjects, XMLObjectElementsRecreateNestedObjects) {
    IPtr<IXMLStream> x = Make<IXMLStream>(L"XMLStream");
    ASSERT_EQ(x->OpenElement(REFLiteral(L"Item")), S_OK);
    x->WriteElement(REFLiteral(L"Value"), host::MakeString(L"0").Get());
    IPtr<IUnknown> inner = NewProbe(L"inner \u00e9", 2);
    IPtr<IUnknown> outer = NewProbe(L"outer", 1, inner.Get());
    WriteObjectElement(x.Get(), outer.Get());
    ASSERT_EQ(x->CloseElement(), S_OK);
    const std::string text = Content(x.Get());
    EXPECT_NE(text.find("<Object Component=\"StreamProbe\">"), std::string::npos) << text;

    // Read back from the text, as a new document.
    IPtr<IXMLStream> copy = Make<IXMLStream>(L"XMLStream");
    ASSERT_EQ(WriteBytes(copy.Get(), text), S_OK);
    IPtr<IXMLStream> item, child;
    ASSERT_EQ(copy->FirstChild(item.Out()), S_OK);
    ASSERT_EQ(item->FirstChild(child.Out()), S_OK);
    IPtr<IUnknown> none;
    EXPECT_EQ(child->CreateObject(none.Out()), E_FAIL); // <Value> describes no object
    EXPECT_FALSE(none);
    EXPECT_NE(ErrorText(copy.Get()).find("<Value>"), std::string::npos);
    ASSERT_EQ(child->Next(), S_OK);
    IPtr<IUnknown> made;
    ASSERT_EQ(child->CreateObject(made.Out()), S_OK) << ErrorText(copy.Get());
    StreamProbe* probe = AsProbe(made.Get());
    ASSERT_NE(probe, nullptr);
    EXPECT_EQ(probe->label, L"outer");
    EXPECT_EQ(probe->number, 1);
    EXPECT_EQ(probe->loadedFrom, L"xml");
    StreamProbe* nested = AsProbe(probe->child.Get());
    ASSERT_NE(nested, nullptr);
    EXPECT_EQ(nested->label, L"inner \u00e9");
    EXPECT_EQ(nested->number, 2);
    EXPECT_EQ(probe->child.Get() == inner.Get(), false); // a new object
}

TEST(PersistedObjects, XMLRefusesObjectsItCannotRecreate) {
    IPtr<IXMLStream> x = Make<IXMLStream>(L"XMLStream");
    IPtr<IUnknown> plain = Make<IUnknown>(L"Variant");
    IPtr<IUnknown> nameless = NewNameless();
    EXPECT_EQ(x->OpenObjectElement(nameless.Get()), E_FAIL);
    EXPECT_NE(ErrorText(x.Get()).find("component name"), std::string::npos);
    EXPECT_EQ(x->OpenObjectElement(plain.Get()), E_FAIL);
    EXPECT_EQ(x->OpenObjectElement(nullptr), E_FAIL);
    EXPECT_EQ(x->CloseElement(), E_FAIL); // nothing was opened
    IPtr<IXMLStream> child;
    EXPECT_EQ(x->FirstChild(child.Out()), E_FAIL);

    // An element naming a component that does not exist.
    ASSERT_EQ(WriteBytes(x.Get(), "<r><Object Component=\"NoSuchThing\"/></r>"), S_OK);
    ASSERT_EQ(x->FirstChild(child.Out()), S_OK);
    IPtr<IUnknown> made;
    EXPECT_EQ(child->CreateObject(made.Out()), E_FAIL);
    EXPECT_NE(ErrorText(x.Get()).find("NoSuchThing"), std::string::npos);
}

TEST(PersistedObjects, FolderObjectsRoundTripThroughTheText) {
    IPtr<IFolderStream> f = Make<IFolderStream>(L"FolderStream");
    IPtr<IUnknown> inner = NewProbe(L"in\nner", -5);
    IPtr<IUnknown> outer = NewProbe(L"outer", 7, inner.Get());
    ASSERT_EQ(f->WriteObject(REFLiteral(L"Descriptor"), outer.Get()), S_OK);
    EXPECT_EQ(Content(f.Get()),
              "FolderStream 1\n"
              "object \"Descriptor\" \"StreamProbe\" {\n"
              "  string \"Label\" \"outer\"\n"
              "  int \"Number\" 7\n"
              "  object \"Child\" \"StreamProbe\" {\n"
              "    string \"Label\" \"in\\nner\"\n"
              "    int \"Number\" -5\n"
              "  }\n"
              "}\n");

    IPtr<IFolderStream> loaded = Reparsed(L"FolderStream", f.Get()).Query<IFolderStream>();
    IPtr<IUnknown> made;
    ASSERT_EQ(loaded->ReadObject(REFLiteral(L"descriptor"), made.Out()), S_OK);
    StreamProbe* probe = AsProbe(made.Get());
    ASSERT_NE(probe, nullptr);
    EXPECT_EQ(probe->loadedFrom, L"folder");
    EXPECT_EQ(probe->number, 7);
    ASSERT_NE(AsProbe(probe->child.Get()), nullptr);
    EXPECT_EQ(AsProbe(probe->child.Get())->label, L"in\nner");

    // Listed, an object entry is a variant holding the object made again.
    IPtr<INamedCollection> entries;
    ASSERT_EQ(loaded->get_Entries(entries.Out()), S_OK);
    IPtr<IUnknown> item;
    ASSERT_EQ(entries->get_Item(0, item.Out()), S_OK);
    IPtr<IVariant> held = QueryAs<IVariant>(item.Get());
    ASSERT_TRUE(held && held->IsObject());
    IPtr<IUnknown> object;
    held->get_Object(object.Out());
    ASSERT_NE(AsProbe(object.Get()), nullptr);
    EXPECT_EQ(AsProbe(object.Get())->label, L"outer");
    // Objects are not values.
    IPtr<IVariant> value;
    EXPECT_EQ(loaded->ReadValue(REFLiteral(L"Descriptor"), value.Out()), E_FAIL);
}

TEST(PersistedObjects, FolderWritesNothingForObjectsThatCannotBeSaved) {
    IPtr<IFolderStream> f = Make<IFolderStream>(L"FolderStream");
    ASSERT_EQ(f->WriteObject(REFLiteral(L"kept"), NewProbe(L"first", 1).Get()), S_OK);
    const std::string before = Content(f.Get());
    struct Case {
        const char* what;
        IPtr<IUnknown> object;
    };
    const Case cases[] = {
        {"nameless", NewNameless()},
        {"not persistable", Make<IUnknown>(L"Variant")},
        {"refusing", NewProbe(StreamProbe::kRefusingLabel, 2)},
        {"null", IPtr<IUnknown>()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(f->WriteObject(REFLiteral(L"kept"), c.object.Get()), E_FAIL);
        EXPECT_EQ(f->WriteObject(REFLiteral(L"new"), c.object.Get()), E_FAIL);
        EXPECT_EQ(Content(f.Get()), before);
        EXPECT_FALSE(ErrorText(f.Get()).empty());
    }
    // An object entry naming an unknown component is listed as an empty
    // variant and cannot be read.
    ASSERT_EQ(WriteBytes(f.Get(), "FolderStream 1\nobject \"o\" \"NoSuchThing\" {\n}\n"), S_OK);
    IPtr<IUnknown> made;
    EXPECT_EQ(f->ReadObject(REFLiteral(L"o"), made.Out()), E_FAIL);
    EXPECT_NE(ErrorText(f.Get()).find("NoSuchThing"), std::string::npos);
    IPtr<INamedCollection> entries;
    ASSERT_EQ(f->get_Entries(entries.Out()), S_OK);
    IPtr<IUnknown> item;
    entries->get_Item(0, item.Out());
    int32_t type = -1;
    QueryAs<IVariant>(item.Get())->get_Type(&type);
    EXPECT_EQ(type, VARIANT_EMPTY);
}
