// "ActiveComponentCollection": the components this process made by name, in
// the order of their first use, and the components list it saves.
#include <filesystem>

#include "sdk/ScopeExit.h"
#include "host/runtime/ComponentUse.h"
#include "host/runtime/ModuleLoader.h"
#include "support/HostTestSupport.h"

using namespace hosttest;

namespace {

TEST(ActiveComponentCollection, ListsComponentsInOrderOfFirstUse) {
    IComponentCollection* global = host::GlobalCollection();
    ASSERT_EQ(global->LoadModule(REFLiteral(L"HostTestModule")), S_OK) << host::ToUtf8(host::LastModuleError());
    host::ForgetComponentUseForTesting();
    // "TestEcho" makes a "CreatableString" by name before it is made itself.
    for (const wchar_t* name : {L"SuperCollection", L"TestEcho", L"ExtCollection", L"SuperCollection"})
        Make<IUnknown>(name);
    IPtr<IComponentCollection> active = Make<IComponentCollection>(L"ActiveComponentCollection");
    ASSERT_TRUE(active);
    EXPECT_EQ(Names(active.Get()), (std::vector<std::wstring>{L"SuperCollection", L"CreatableString", L"TestEcho",
                                                              L"ExtCollection", L"ActiveComponentCollection"}));
    // A component made later shows at the next look; its items make
    // instances as the global collection does.
    Make<IUnknown>(L"Variant");
    EXPECT_EQ(Names(active.Get()).back(), L"Variant");
    IPtr<IUnknown> item;
    ASSERT_EQ(active->get_Item(2, item.Out()), S_OK);
    IPtr<IUnknown> echo;
    ASSERT_EQ(QueryAs<IComponentString>(item.Get())->CreateInstance(&IID_IString, echo.OutVoid()), S_OK);
    EXPECT_EQ(TextOf(echo.Get()).substr(0, 4), L"echo");
    EXPECT_EQ(active->Rename(0, Str(L"other").Get()), E_FAIL);
}

TEST(ActiveComponentCollection, SavesOneLinePerModule) {
    IComponentCollection* global = host::GlobalCollection();
    ASSERT_EQ(global->LoadModule(REFLiteral(L"HostTestModule")), S_OK);
    TempDir dir;
    struct Case {
        const char* name;
        bool companion;
        std::string saved;
    } const cases[] = {
        {"no companion", false, "CollectionsEx,\nHostTestModule,\n"},
        {"companion beside the library", true, "CollectionsEx,\nHostTestModule,_binARM64/HostTestModule.so.manifest\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        host::ForgetComponentUseForTesting();
        const std::string manifest = host::ModulePath(L"HostTestModule") + ".manifest";
        if (c.companion) WriteFile(manifest, "");
        ScopeExit remove([&] { std::filesystem::remove(manifest); });
        Make<IUnknown>(L"TestEcho");
        IPtr<IFileArchive> list = Make<IFileArchive>(L"ActiveComponentCollection");
        ASSERT_TRUE(list);
        SetFilename(list.Get(), dir / "components.csv");
        ASSERT_EQ(list->Save(), S_OK);
        // TestEcho's own "CreatableString" is made first: the runtime's
        // line comes first, and once, though three of its components are
        // in use.
        Make<IUnknown>(L"ExtCollection");
        EXPECT_EQ(ReadFile(dir / "components.csv"), c.saved);
    }

    IPtr<IFileArchive> list = Make<IFileArchive>(L"ActiveComponentCollection");
    SetFilename(list.Get(), dir / "missing/components.csv");
    EXPECT_EQ(list->Save(), E_FAIL);
    EXPECT_EQ(list->Load(), E_NOTIMPL);
}

} // namespace
