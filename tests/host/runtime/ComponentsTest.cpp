#include <dlfcn.h>

#include <cstdio>

#include "host/runtime/ComponentString.h"
#include "host/runtime/ModuleLoader.h"
#include "support/CountingCollection.h"
#include "support/HostTestSupport.h"

using namespace hosttest;

namespace {

std::wstring Field(IComponentString* s, int32_t field) {
    tagREFString view{0, nullptr};
    if (s->GetField(field, &view) != S_OK) return L"<failed>";
    return std::wstring(view.m_pString, static_cast<size_t>(view.m_Length));
}

} // namespace

TEST(GlobalCollection, CreatesBuiltInComponentsByExactName) {
    IComponentCollection* c = host::GlobalCollection();
    struct Case {
        const wchar_t* name;
        const IID* iid;
        HRESULT hr;
    };
    const Case cases[] = {
        {L"CreatableString", &IID_ICreatableString, S_OK},
        {L"Variant", &IID_IVariant, S_OK},
        {L"SuperCollection", &IID_ISuperCollection, S_OK},
        {L"EventLogGlobal", &IID_IUILineDisplayable, S_OK},
        {L"EventLogGlobal", &IID_IFileArchive, S_OK},
        {L"ComponentString", &IID_IComponentString, S_OK},
        {L"Variant", &IID_IString, E_NOINTERFACE}, // made, but it does not answer that
        {L"creatablestring", &IID_ICreatableString, E_FAIL}, // creation is case-sensitive
        {L"NoSuchComponent", &IID_IUnknown, E_FAIL},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(host::ToUtf8(k.name));
        void* out = reinterpret_cast<void*>(1);
        EXPECT_EQ(c->CreateComponent(REFLiteral(k.name), k.iid, &out), k.hr);
        EXPECT_EQ(out == nullptr, k.hr != S_OK);
        if (out) static_cast<IUnknown*>(out)->Release();
    }
    void* out = nullptr;
    EXPECT_EQ(c->CreateComponent(tagREFString{0, nullptr}, &IID_IUnknown, &out), E_INVALIDARG);
    EXPECT_EQ(c->CreateComponent(REFLiteral(L"Variant"), &IID_IVariant, nullptr), E_POINTER);

    // Two creations are two objects.
    IPtr<IVariant> a, b;
    c->CreateComponent(REFLiteral(L"Variant"), &IID_IVariant, a.OutVoid());
    c->CreateComponent(REFLiteral(L"Variant"), &IID_IVariant, b.OutVoid());
    ASSERT_TRUE(a && b);
    EXPECT_NE(a.Get(), b.Get());
}

TEST(GlobalCollection, NullInterfaceGivesTheComponentString) {
    IComponentCollection* c = host::GlobalCollection();
    IPtr<IComponentString> entry;
    ASSERT_EQ(c->CreateComponent(REFLiteral(L"CreatableString"), nullptr, entry.OutVoid()), S_OK);
    ASSERT_TRUE(entry);
    EXPECT_EQ(Field(entry.Get(), COMPONENT_FIELD_NAME), L"CreatableString");
    EXPECT_EQ(Field(entry.Get(), COMPONENT_FIELD_MODULE), L"CollectionsEx");
    IPtr<ICreatableString> made;
    ASSERT_EQ(entry->CreateInstance(&IID_ICreatableString, made.OutVoid()), S_OK);
    made->SetString(L"ok", 2);
    EXPECT_EQ(host::ToWide(made.Get()), L"ok");

    // The same entry is an item of the collection, found ASCII case-blind.
    int32_t index = -1;
    ASSERT_EQ(c->get_Index(host::MakeString(L"CREATABLESTRING").Get(), &index), S_OK);
    IPtr<IUnknown> item;
    ASSERT_EQ(c->get_Item(index, item.Out()), S_OK);
    EXPECT_EQ(item.Get(), QueryAs<IUnknown>(entry.Get()).Get());
    IPtr<IString> name;
    ASSERT_EQ(c->get_ItemName(index, name.Out()), S_OK);
    EXPECT_EQ(host::ToWide(name.Get()), L"CreatableString");
    EXPECT_EQ(c->Rename(index, host::MakeString(L"Other").Get()), E_FAIL);

    int32_t count = 0;
    ASSERT_EQ(c->get_Count(&count), S_OK);
    EXPECT_GE(count, 6); // at least the runtime's core components
}

TEST(ComponentString, FieldsAndBuiltInCreation) {
    struct Case {
        const wchar_t* module;
        const wchar_t* name;
        HRESULT hr;
    };
    const Case cases[] = {
        {L"Collections", L"CreatableString", S_OK},
        {L"CollectionsEx", L"CreatableString", S_OK},
        {L"", L"Variant", S_OK},
        {L"Collections", L"NoSuchComponent", E_FAIL},
        {L"Collections", L"", E_FAIL},
        {L"NoSuchModule", L"CreatableString", E_FAIL},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(host::ToUtf8(std::wstring(k.module) + L"/" + k.name));
        IPtr<IComponentString> s;
        ASSERT_EQ(host::CreateComponentString(&IID_IComponentString, s.OutVoid()), S_OK);
        ASSERT_EQ(s->SetField(COMPONENT_FIELD_MODULE, REFLiteral(k.module)), S_OK);
        ASSERT_EQ(s->SetField(COMPONENT_FIELD_NAME, REFLiteral(k.name)), S_OK);
        EXPECT_EQ(Field(s.Get(), COMPONENT_FIELD_NAME), k.name);
        IPtr<IUnknown> made;
        EXPECT_EQ(s->CreateInstance(&IID_IUnknown, made.OutVoid()), k.hr);
        EXPECT_EQ(static_cast<bool>(made), k.hr == S_OK);
    }
    IPtr<IComponentString> s = host::NewComponentString(L"Variant", L"Collections");
    tagREFString view{0, nullptr};
    EXPECT_EQ(s->SetField(2, REFLiteral(L"x")), E_INVALIDARG);
    EXPECT_EQ(s->GetField(3, &view), E_INVALIDARG);
    EXPECT_EQ(s->SetField(COMPONENT_FIELD_NAME, tagREFString{-1, nullptr}), E_INVALIDARG);
    EXPECT_EQ(Field(s.Get(), COMPONENT_FIELD_NAME), L"Variant"); // unchanged by refused calls
    EXPECT_EQ(s->CreateInstance(&IID_IVariant, nullptr), E_POINTER);
}

TEST(ModuleLoading, MissingModulesFailWithAReason) {
    IComponentCollection* c = host::GlobalCollection();
    struct Case {
        const wchar_t* name;
        const char* path;
    };
    const Case cases[] = {
        {L"DefinitelyMissingModule", "./_binARM64/DefinitelyMissingModule.so"},
        {L"/nonexistent/folder/Module.so", "/nonexistent/folder/Module.so"},
    };
    for (const Case& k : cases) {
        EXPECT_EQ(host::ModulePath(k.name), k.path);
        EXPECT_EQ(c->LoadModule(REFLiteral(k.name)), E_FAIL);
        const std::string why = host::ToUtf8(host::LastModuleError());
        EXPECT_EQ(why.rfind(std::string("Module not available ") + k.path + ", error ", 0), 0u) << why;
        // Hosts that only reach the exported entry points read it as a component.
        IPtr<IString> text;
        ASSERT_EQ(c->CreateComponent(REFLiteral(L"ModuleLoadError"), &IID_IString, text.OutVoid()), S_OK);
        EXPECT_EQ(host::ToWide(text.Get()), host::LastModuleError());
    }
    EXPECT_EQ(c->LoadModule(tagREFString{0, nullptr}), E_INVALIDARG);
    // The runtime itself needs no loading.
    EXPECT_EQ(c->LoadModule(REFLiteral(L"Collections")), S_OK);
    EXPECT_EQ(c->LoadModule(REFLiteral(L"CollectionsEx")), S_OK);

    // A shared object that is no component module.
    Dl_info info{};
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&std::fopen), &info), 0);
    const std::wstring libc = host::FromUtf8(info.dli_fname);
    ASSERT_NE(libc.find(L'/'), std::wstring::npos);
    EXPECT_EQ(c->LoadModule(View(libc)), E_FAIL);
    EXPECT_NE(host::LastModuleError().find(L"has no CreateFunction"), std::wstring::npos);
}

TEST(ModuleLoading, LoadedModulesMakeComponentsByName) {
    IComponentCollection* c = host::GlobalCollection();
    IPtr<IUnknown> made;
    if (!host::FindModuleCreator(L"TestEcho", nullptr)) { // not loaded yet in this process
        EXPECT_EQ(c->CreateComponent(REFLiteral(L"TestEcho"), &IID_IUnknown, made.OutVoid()), E_FAIL);
    }

    ASSERT_EQ(c->LoadModule(REFLiteral(L"HostTestModule")), S_OK) << host::ToUtf8(host::LastModuleError());
    // The module made its component from our CreatableString, through the
    // collection it was initialised with.
    ASSERT_EQ(c->CreateComponent(REFLiteral(L"TestEcho"), &IID_IString, made.OutVoid()), S_OK);
    EXPECT_EQ(TextOf(made.Get()), L"echo, initialised 1");
    EXPECT_EQ(c->CreateComponent(REFLiteral(L"testecho"), &IID_IString, made.OutVoid()), E_FAIL);

    // Loading again, by name or by path, neither reopens nor reinitialises.
    ASSERT_EQ(c->LoadModule(REFLiteral(L"HostTestModule")), S_OK);
    ASSERT_EQ(c->LoadModule(REFLiteral(L"./_binARM64/HostTestModule.so")), S_OK);
    ASSERT_EQ(c->CreateComponent(REFLiteral(L"TestEcho"), &IID_IString, made.OutVoid()), S_OK);
    EXPECT_EQ(TextOf(made.Get()), L"echo, initialised 1");

    // Once resolved, the component has its entry, naming its module.
    IPtr<IComponentString> entry;
    ASSERT_EQ(c->CreateComponent(REFLiteral(L"TestEcho"), nullptr, entry.OutVoid()), S_OK);
    EXPECT_EQ(Field(entry.Get(), COMPONENT_FIELD_MODULE), L"HostTestModule");
    int32_t index = -1;
    EXPECT_EQ(c->get_Index(host::MakeString(L"TestEcho").Get(), &index), S_OK);

    // A component string naming the module makes it too.
    IPtr<IComponentString> named = host::NewComponentString(L"TestEcho", L"HostTestModule");
    ASSERT_EQ(named->CreateInstance(&IID_IString, made.OutVoid()), S_OK);
    EXPECT_EQ(TextOf(made.Get()), L"echo, initialised 1");
    named = host::NewComponentString(L"NotInThatModule", L"HostTestModule");
    EXPECT_EQ(named->CreateInstance(&IID_IUnknown, made.OutVoid()), E_FAIL);
}

// The built shared object, as a host or module sees it through dlopen.
class ExportedEntryPoints : public ::testing::Test {
protected:
    void SetUp() override {
        m_handle = dlopen("./_binARM64/CollectionsEx.so", RTLD_NOW);
        ASSERT_NE(m_handle, nullptr) << dlerror();
        m_create = reinterpret_cast<CreateFunctionFunction>(dlsym(m_handle, "CreateFunction"));
        m_initialize = reinterpret_cast<InitializeModuleFunction>(dlsym(m_handle, "InitializeModule"));
        ASSERT_NE(m_create, nullptr);
        ASSERT_NE(m_initialize, nullptr);
    }
    // The handle is never closed: like the runtime itself, tests keep
    // modules loaded for the life of the process.
    void* m_handle = nullptr;
    CreateFunctionFunction m_create = nullptr;
    InitializeModuleFunction m_initialize = nullptr;
};

TEST_F(ExportedEntryPoints, OnlyTheTwoNamesAndOnlyExactly) {
    const CreatorFunction kUntouched = reinterpret_cast<CreatorFunction>(0x1);
    struct Case {
        const wchar_t* text;
        int32_t length;
        HRESULT hr;
    };
    const Case cases[] = {
        {L"GlobalComponentCollection", 25, S_OK},
        {L"ComponentString", 15, S_OK},
        {L"ComponentStringAndMore", 15, S_OK}, // the length decides, no terminator needed
        {L"componentstring", 15, E_FAIL},
        {L"ComponentString", 14, E_FAIL},
        {L"ComponentString", 16, E_FAIL}, // counts the terminator
        {L"CreatableString", 15, E_FAIL}, // made through the collection only
        {L"", 0, E_FAIL},
        {L"ComponentString", -15, E_FAIL},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(host::ToUtf8(k.text) + " " + std::to_string(k.length));
        CreatorFunction slot = kUntouched;
        EXPECT_EQ(m_create(k.length, k.text, &slot), k.hr);
        EXPECT_EQ(slot != kUntouched, k.hr == S_OK);
    }
}

TEST_F(ExportedEntryPoints, BootstrapAsAModuleDoes) {
    CountingCollection outer; // an outer host; outlives every use by the runtime below
    outer.createAnswer = E_ABORT;
    EXPECT_EQ(m_initialize(nullptr, nullptr), S_OK);

    // A component string set to "Collections"/"CreatableString" makes strings.
    CreatorFunction makeString = nullptr;
    ASSERT_EQ(m_create(15, L"ComponentString", &makeString), S_OK);
    IPtr<IComponentString> entry;
    IID wanted = IID_IComponentString;
    ASSERT_EQ(makeString(nullptr, &wanted, entry.OutVoid()), S_OK);
    ASSERT_EQ(entry->SetField(COMPONENT_FIELD_MODULE, REFLiteral(L"Collections")), S_OK);
    ASSERT_EQ(entry->SetField(COMPONENT_FIELD_NAME, REFLiteral(L"CreatableString")), S_OK);
    IPtr<ICreatableString> text;
    ASSERT_EQ(entry->CreateInstance(&IID_ICreatableString, text.OutVoid()), S_OK);
    ASSERT_EQ(text->SetString(L"bootstrapped", 12), S_OK);
    EXPECT_EQ(host::ToWide(text.Get()), L"bootstrapped");

    // The global collection is one object per loaded runtime.
    CreatorFunction makeCollection = nullptr;
    ASSERT_EQ(m_create(25, L"GlobalComponentCollection", &makeCollection), S_OK);
    IPtr<IComponentCollection> first, second;
    wanted = IID_IComponentCollection;
    ASSERT_EQ(makeCollection(nullptr, &wanted, first.OutVoid()), S_OK);
    ASSERT_EQ(makeCollection(nullptr, &wanted, second.OutVoid()), S_OK);
    EXPECT_EQ(first.Get(), second.Get());
    IPtr<IVariant> v;
    ASSERT_EQ(first->CreateComponent(REFLiteral(L"Variant"), &IID_IVariant, v.OutVoid()), S_OK);
    EXPECT_EQ(m_initialize(nullptr, first.Get()), S_OK); // handed its own collection back
    IPtr<IUnknown> none;
    EXPECT_EQ(first->CreateComponent(REFLiteral(L"OnlyOutside"), &IID_IUnknown, none.OutVoid()), E_FAIL);

    // Names nobody here makes fall through to the outer host's collection,
    // once: an outer collection that asks back does not recurse.
    outer.askBack = first.Get();
    ASSERT_EQ(m_initialize(nullptr, &outer), S_OK);
    EXPECT_EQ(outer.Refs(), 1u);
    EXPECT_EQ(first->CreateComponent(REFLiteral(L"OnlyOutside"), &IID_IUnknown, none.OutVoid()), E_ABORT);
    EXPECT_EQ(outer.asked, L"OnlyOutside");
    EXPECT_EQ(outer.calls, 1);
    ASSERT_EQ(first->CreateComponent(REFLiteral(L"Variant"), &IID_IVariant, v.OutVoid()), S_OK);
    EXPECT_EQ(outer.calls, 1); // built-ins never ask outside
    EXPECT_EQ(m_initialize(nullptr, nullptr), S_OK);
    EXPECT_EQ(outer.Refs(), 0u);
}
